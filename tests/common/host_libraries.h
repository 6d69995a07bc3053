// Logging and expression libraries of somebody else's behind the operations: they answer as a test says
// and remember what they were asked. Links in place of ostrane_log and ostrane_expr.
#ifndef OSTRANE_TESTS_COMMON_HOST_LIBRARIES_H_
#define OSTRANE_TESTS_COMMON_HOST_LIBRARIES_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/expr.h"
#include "common/log.h"
#include "common/protobuf_record.h"

struct HostLine {
    LogCategory* category = nullptr;
    int32_t priority = 0;
    std::string file;
    int32_t line = 0;
    std::string function;
    void* data = nullptr;
    std::string text;
};

// What a matching was handed, before it wrote anything.
struct HostMatch {
    const ProtobufRecord* record = nullptr;  // of the resolver
    OstraneCommon::ExprType filterType = OstraneCommon::EXPR_NONE;
    OstraneCommon::ExprType arrayType = OstraneCommon::EXPR_NONE;
    OstraneCommon::PbField array = OstraneCommon::PbField();
    OstraneCommon::IndexRangeList ranges;
    size_t marks = 0;
    int matchCount = 0;
    int minMatch = 0;
};

struct Host {
    // Logging: the answer of LogCanWrite, "priority id class" of each question, and what was written.
    int canWrite = 1;
    std::vector<std::string> questions;
    std::vector<HostLine> lines;

    // Expressions: whether casts are taken, what they give, and how many texts of values and trees were
    // made.
    bool isCastTaken = true;
    uint64_t bits = 7;
    double number = 1.5;
    const std::string* text = nullptr;
    int textsMade = 0;
    int parseResult = 0;
    int matchResult = 0;
    bool isEveryElementMarked = false;
    // The matchings that were asked for, and what is done while one is made.
    std::vector<HostMatch> matches;
    std::function<void()> whileMatching;

    // The call of the expression library, from 1, that fails by what it returns; 0 for none. And the question
    // of the log that is answered with no.
    int failingCall = 0;
    int calls = 0;
    size_t refusedQuestion = 0;
};

// What the matching returns when it is the call that fails.
constexpr int HOST_MATCH_FAILED = -77;

// The one host of the program.
Host& TheHost();

#endif  // OSTRANE_TESTS_COMMON_HOST_LIBRARIES_H_
