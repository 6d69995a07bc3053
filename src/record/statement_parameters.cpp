#include "record/statement_parameters.h"

#include <new>
#include <nlohmann/json.hpp>
#include <utility>

#include "common/err_code.h"

namespace OstraneRecord {
namespace {

// Deeper lists than this are refused: no field takes them, and what walks a value is recursive.
constexpr size_t kMaxListDepth = 200;

// Receives one JSON value. Not read through nlohmann's own tree, because that turns an integer beyond
// 64 bits into a double.
class ValueReader {
public:
    using number_integer_t = nlohmann::json::number_integer_t;
    using number_unsigned_t = nlohmann::json::number_unsigned_t;
    using number_float_t = nlohmann::json::number_float_t;
    using string_t = nlohmann::json::string_t;
    using binary_t = nlohmann::json::binary_t;

    bool null() { return Add(ParameterValue::MakeNull()); }
    bool boolean(bool value) { return Add(ParameterValue::MakeBool(value)); }
    bool number_integer(number_integer_t value) { return Add(ParameterValue::MakeInt(value)); }
    bool number_unsigned(number_unsigned_t value) { return Add(ParameterValue::MakeUInt(value)); }
    bool number_float(number_float_t value, const string_t& text) {
        if (text.find_first_of(".eE") == string_t::npos) {
            return Fail(OstraneErrCode::GEN_ERR_ERR, "the integer " + text + " is beyond 64 bits");
        }
        return Add(ParameterValue::MakeDouble(value));
    }
    bool string(string_t& value) {
        ParameterValue text = ParameterValue::MakeString(std::move(value));
        text.kind = ParameterValue::Kind::Base64;
        return Add(std::move(text));
    }
    bool binary(binary_t&) { return Fail(OstraneErrCode::GEN_ERR_ERR, "not JSON"); }
    bool start_object(size_t) {
        return Fail(OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, "a parameter cannot be a JSON object");
    }
    bool key(string_t&) { return false; }
    bool end_object() { return false; }
    bool start_array(size_t) {
        if (m_open.size() >= kMaxListDepth) {
            return Fail(OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, "lists are nested too deep");
        }
        m_open.emplace_back();
        return true;
    }
    bool end_array() {
        ParameterValue list = ParameterValue::MakeList(std::move(m_open.back()));
        m_open.pop_back();
        return Add(std::move(list));
    }
    bool parse_error(size_t position, const std::string& token, const nlohmann::json::exception& reason) {
        constexpr int OUT_OF_RANGE = 406;  // as the library numbers it: JSON, but no double
        if (reason.id == OUT_OF_RANGE) {
            return Fail(OstraneErrCode::COMMON_ERR_INVALID_EXPR_TYPE, "no number is as large as " + token);
        }
        // Most of what is no JSON is a text as one would type it.
        return Fail(OstraneErrCode::GEN_ERR_ERR,
                    "not JSON at byte " + std::to_string(position) + "; a text stands in double quotes");
    }

    int code = 0;
    std::string message;
    ParameterValue read;

private:
    bool Add(ParameterValue item) {
        if (m_open.empty()) {
            read = std::move(item);
        } else {
            m_open.back().push_back(std::move(item));
        }
        return true;
    }

    bool Fail(int failure, std::string reason) {
        code = failure;
        message = std::move(reason);
        return false;
    }

    std::vector<std::vector<ParameterValue>> m_open;  // lists, innermost last
};

int ReadJson(const std::string& json, ParameterValue& out, std::string& message) {
    ValueReader reader;
    if (!nlohmann::json::sax_parse(json, &reader)) {
        message = reader.message.empty() ? "not JSON" : reader.message;
        return reader.code == 0 ? OstraneErrCode::GEN_ERR_ERR : reader.code;
    }
    out = std::move(reader.read);
    return 0;
}

int ReadAll(const std::vector<std::string>& values, StatementParameters& out, InputError& error) {
    std::vector<ParameterValue> read(values.size());
    for (size_t i = 0; i < values.size(); ++i) {
        std::string reason;
        const int code = ReadJson(values[i], read[i], reason);
        if (code != 0) {
            return FailInput(error, code, "parameter " + std::to_string(i + 1) + ": " + reason);
        }
    }
    out.positional = std::move(read);
    return 0;
}

}  // namespace

ParameterValue ParameterValue::MakeNull() {
    return ParameterValue();
}

ParameterValue ParameterValue::MakeBool(bool value) {
    ParameterValue made;
    made.kind = Kind::Bool;
    made.boolean = value;
    return made;
}

ParameterValue ParameterValue::MakeInt(int64_t value) {
    ParameterValue made;
    made.kind = value < 0 ? Kind::Int : Kind::UInt;
    made.bits = static_cast<uint64_t>(value);
    return made;
}

ParameterValue ParameterValue::MakeUInt(uint64_t value) {
    ParameterValue made;
    made.kind = Kind::UInt;
    made.bits = value;
    return made;
}

ParameterValue ParameterValue::MakeDouble(double value) {
    ParameterValue made;
    made.kind = Kind::Double;
    made.number = value;
    return made;
}

ParameterValue ParameterValue::MakeString(std::string value) {
    ParameterValue made;
    made.kind = Kind::String;
    made.text = std::move(value);
    return made;
}

ParameterValue ParameterValue::MakeBytes(std::string value) {
    ParameterValue made;
    made.kind = Kind::Bytes;
    made.text = std::move(value);
    return made;
}

ParameterValue ParameterValue::MakeList(std::vector<ParameterValue> items) {
    ParameterValue made;
    made.kind = Kind::List;
    made.items = std::move(items);
    return made;
}

int ParameterValue::FromJson(const std::string& json, ParameterValue& out, std::string& message) {
    try {
        return ReadJson(json, out, message);
    } catch (const std::bad_alloc&) {
        message = "out of memory";
        return OstraneErrCode::GEN_ERR_ERR;
    }
}

int StatementParameters::FromJson(const std::vector<std::string>& values, StatementParameters& out, InputError& error) {
    error = InputError();
    try {
        return ReadAll(values, out, error);
    } catch (const std::bad_alloc&) {
        // Told without the parameter's number, which would need memory too.
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR, "out of memory");
    }
}

}  // namespace OstraneRecord
