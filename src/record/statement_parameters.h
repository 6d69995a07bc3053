// Values for the parameters `?` and `:name` of a statement list.
#ifndef OSTRANE_RECORD_STATEMENT_PARAMETERS_H_
#define OSTRANE_RECORD_STATEMENT_PARAMETERS_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "record/input_error.h"

namespace OstraneRecord {

// A value that a statement never parses: quotes and keywords in it are only text.
struct ParameterValue {
    enum class Kind {
        Null,
        Bool,
        Int,   // negative
        UInt,  // not negative
        Double,
        String,
        Bytes,
        Base64,  // text that stands for bytes where bytes are wanted, and for itself elsewhere
        List,
    };

    static ParameterValue MakeNull();
    static ParameterValue MakeBool(bool value);
    static ParameterValue MakeInt(int64_t value);
    static ParameterValue MakeUInt(uint64_t value);
    static ParameterValue MakeDouble(double value);
    static ParameterValue MakeString(std::string value);
    static ParameterValue MakeBytes(std::string value);
    static ParameterValue MakeList(std::vector<ParameterValue> items);

    // Reads one JSON value: integers exactly up to 64 bits, a text as Base64, a list of values as a list.
    // Returns 0, or COMMON_ERR_INVALID_EXPR_TYPE for an object and GEN_ERR_ERR for what is not JSON or a
    // number beyond 64 bits, with the reason in `message` and `out` untouched. No exception leaves it.
    static int FromJson(const std::string& json, ParameterValue& out, std::string& message);

    Kind kind = Kind::Null;
    bool boolean = false;
    uint64_t bits = 0;  // of Int, in two's complement, and UInt
    double number = 0;
    std::string text;  // of String, Bytes and Base64
    std::vector<ParameterValue> items;
};

// The values of one execution. A value that no statement asks for is an error when it is bound, so that a
// misspelt name is found.
struct StatementParameters {
    // Takes texts of one JSON value each as the values of `?`, in place of those that `out` has. Returns 0, or the
    // code of ParameterValue::FromJson with the parameter's number and the reason in `error`, and `out` untouched. No
    // exception leaves it.
    static int FromJson(const std::vector<std::string>& values, StatementParameters& out, InputError& error);

    std::vector<ParameterValue> positional;       // of `?`, the first one first
    std::map<std::string, ParameterValue> named;  // of `:name`, without the colon
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_STATEMENT_PARAMETERS_H_
