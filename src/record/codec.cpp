// Each format is a pair of functions; what all share (the limit of 2 GiB, required fields, exceptions) stands
// around them.
#include "record/codec.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/message.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <string_view>
#include <vector>

#include "common/err_code.h"
#include "expr/code_point.h"
#include "record/json_decode.h"
#include "record/json_encode.h"
#include "record/protobuf_compat.h"
#include "record/wire_check.h"

namespace OstraneRecord {

using google::protobuf::Message;

namespace {

// Sizes are `int` inside libprotobuf.
constexpr size_t MAX_SIZE = static_cast<size_t>(std::numeric_limits<int>::max());
// What protobuf's binary readers take.
constexpr int MAX_NESTING = 100;
// Of missing required fields named in one error.
constexpr size_t MAX_NAMED_FIELDS = 8;

struct Ending {
    const char* ending;
    RecordFormat format;
};

constexpr Ending ENDINGS[] = {
    {".json", RecordFormat::Json},     {".ndjson", RecordFormat::Ndjson},   {".jsonl", RecordFormat::Ndjson},
    {".txtpb", RecordFormat::Text},    {".textproto", RecordFormat::Text},  {".pbtxt", RecordFormat::Text},
    {".prototxt", RecordFormat::Text}, {".pb", RecordFormat::Binary},       {".bin", RecordFormat::Binary},
    {".binpb", RecordFormat::Binary},  {".delim", RecordFormat::Delimited},
};

constexpr RecordFormat FORMATS[] = {RecordFormat::Json, RecordFormat::Ndjson, RecordFormat::Text, RecordFormat::Binary,
                                    RecordFormat::Delimited};

// Keeps the first error of the text parser, whose lines and columns count from 0.
class TextErrorCollector : public google::protobuf::io::ErrorCollector {
public:
    explicit TextErrorCollector(InputError& error) : m_error(error) {}

#if GOOGLE_PROTOBUF_VERSION >= 4022000
    void RecordError(int line, google::protobuf::io::ColumnNumber column, absl::string_view message) override {
        Keep(line, column, std::string(message));
    }
#else
    void AddError(int line, google::protobuf::io::ColumnNumber column, const std::string& message) override {
        Keep(line, column, message);
    }
#endif

private:
    void Keep(int line, int column, const std::string& message) {
        if (!m_error.message.empty()) {
            return;
        }
        m_error.line = line < 0 ? 0 : static_cast<size_t>(line) + 1;
        m_error.column = column < 0 ? 0 : static_cast<size_t>(column) + 1;
        FailInput(m_error, OstraneErrCode::GEN_ERR_ERR, message);
    }

    InputError& m_error;
};

int DecodeText(const char* bytes, size_t size, Message& message, InputError& error) {
    TextErrorCollector collector(error);
    google::protobuf::TextFormat::Parser parser;
    parser.AllowPartialMessage(true);
    parser.RecordErrorsTo(&collector);
#if GOOGLE_PROTOBUF_VERSION >= 3008000
    parser.SetRecursionLimit(MAX_NESTING);
#endif
    google::protobuf::io::ArrayInputStream stream(bytes, static_cast<int>(size));
    if (parser.Parse(&stream, &message)) {
        return 0;
    }
    if (error.message.empty()) {
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR, "the text cannot be read");
    }
    return error.code;
}

// Parsing clears what the message held.
int DecodeBinary(const char* bytes, size_t size, Message& message, InputError& error) {
    if (message.ParsePartialFromArray(bytes, static_cast<int>(size))) {
        return 0;
    }
    return ExplainBrokenBinary(bytes, size, *message.GetDescriptor(), error);
}

// The names of the required fields that are missing, with the paths to them.
int FailUninitialized(const Message& message, InputError& error) {
    std::vector<std::string> missing;
    message.FindInitializationErrors(&missing);
    std::string names;
    for (size_t i = 0; i < std::min(missing.size(), MAX_NAMED_FIELDS); ++i) {
        names += (i == 0 ? "" : ", ") + missing[i];
    }
    if (missing.size() > MAX_NAMED_FIELDS) {
        names += " and " + std::to_string(missing.size() - MAX_NAMED_FIELDS) + " more";
    }
    error.field = std::string(message.GetDescriptor()->full_name());
    return FailInput(error, OstraneErrCode::COMMON_ERR_INVALID_MEMBER_VARIABLE_VALUE,
                     "a record of " + error.field + " lacks required fields: " + names);
}

int FailTooLarge(InputError& error) {
    return FailInput(error, OstraneErrCode::GEN_ERR_ERR, "a record of more than 2 GiB cannot be handled");
}

// Text format is printed with its UTF-8 legible, or, when a string is not UTF-8, with everything escaped.
bool EncodeText(const Message& message, std::string& bytes) {
    google::protobuf::TextFormat::Printer printer;
    printer.SetUseUtf8StringEscaping(true);
    if (!printer.PrintToString(message, &bytes)) {
        return false;
    }
    if (OstraneCommon::IsUtf8(bytes)) {
        return true;
    }
    printer.SetUseUtf8StringEscaping(false);
    return printer.PrintToString(message, &bytes);
}

bool EncodeDelimited(const Message& message, std::string& bytes) {
    const size_t size = message.ByteSizeLong();
    if (size > MAX_SIZE) {
        return false;
    }
    bytes = DelimitedLength(size);
    return SerializeSized(message, bytes);
}

int Encode(RecordFormat format, const Message& message, const CodecOptions& options, std::string& bytes,
           InputError& error) {
    bytes.clear();
    if (!options.partial && !message.IsInitialized()) {
        return FailUninitialized(message, error);
    }
    switch (format) {
        case RecordFormat::Json:
        case RecordFormat::Ndjson: {
            JsonOptions jsonOptions;
            jsonOptions.camelNames = options.camelNames;
            jsonOptions.indent = format == RecordFormat::Json;
            const int code = MessageToJson(message, jsonOptions, bytes, error);
            bytes += '\n';
            return code;
        }
        case RecordFormat::Text:
            return EncodeText(message, bytes) ? 0 : FailTooLarge(error);
        case RecordFormat::Binary:
            return SerializeDeterministic(message, bytes) ? 0 : FailTooLarge(error);
        case RecordFormat::Delimited:
            return EncodeDelimited(message, bytes) ? 0 : FailTooLarge(error);
    }
    return FailInput(error, OstraneErrCode::GEN_ERR_ERR, "an unknown format");
}

int Decode(RecordFormat format, const char* bytes, size_t size, const CodecOptions& options, Message& message,
           InputError& error) {
    if (size > MAX_SIZE) {
        return FailTooLarge(error);
    }
    int code = 0;
    switch (format) {
        case RecordFormat::Json:
        case RecordFormat::Ndjson:
            message.Clear();
            code = JsonToMessage(bytes, size, message, error);
            break;
        case RecordFormat::Text:
            message.Clear();
            code = DecodeText(bytes, size, message, error);
            break;
        case RecordFormat::Binary:
        case RecordFormat::Delimited:
            code = DecodeBinary(bytes, size, message, error);
            break;
    }
    if (code == 0 && !options.partial && !message.IsInitialized()) {
        return FailUninitialized(message, error);
    }
    return code;
}

// A record of many lines read line by line, or records of a line each read as one.
void HintAtFormat(RecordFormat format, std::string_view bytes, InputError& error) {
    const size_t brace = bytes.find('{');
    const bool isAlone = brace != std::string_view::npos && bytes.find_first_not_of(" \t\r{") == std::string_view::npos;
    if (format == RecordFormat::Ndjson && isAlone) {
        error.hint = "ndjson has a record a line; a record of many lines is json";
    } else if (format == RecordFormat::Json && error.message == "expected the end of the text, found '{'") {
        error.hint = "json has one record; a record a line is ndjson";
    }
}

}  // namespace

const char* FormatName(RecordFormat format) {
    switch (format) {
        case RecordFormat::Json:
            return "json";
        case RecordFormat::Ndjson:
            return "ndjson";
        case RecordFormat::Text:
            return "text";
        case RecordFormat::Binary:
            return "binary";
        case RecordFormat::Delimited:
            break;
    }
    return "delimited";
}

bool FormatOfName(const std::string& name, RecordFormat& format) {
    for (const RecordFormat candidate : FORMATS) {
        if (name == FormatName(candidate)) {
            format = candidate;
            return true;
        }
    }
    return false;
}

bool FormatOfFile(const std::string& path, RecordFormat& format) {
    for (const Ending& row : ENDINGS) {
        const std::string_view ending = row.ending;
        if (path.size() > ending.size() && path.compare(path.size() - ending.size(), ending.size(), ending) == 0) {
            format = row.format;
            return true;
        }
    }
    return false;
}

std::string DelimitedLength(size_t size) {
    std::string bytes;
    while (size >= 0x80) {
        bytes += static_cast<char>((size & 0x7F) | 0x80);
        size >>= 7;
    }
    bytes += static_cast<char>(size);
    return bytes;
}

bool IsStream(RecordFormat format) {
    return format == RecordFormat::Ndjson || format == RecordFormat::Delimited;
}

int DecodeRecord(RecordFormat format, const char* bytes, size_t size, const CodecOptions& options, Message& message,
                 InputError& error) {
    error = InputError();
    try {
        const int code = Decode(format, bytes, size, options, message, error);
        if (code != 0) {
            HintAtFormat(format, std::string_view(bytes, size), error);
        }
        return code;
    } catch (const std::bad_alloc&) {
        error = InputError();
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR, "out of memory");  // what needs none
    } catch (const std::exception& exception) {
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR,
                         std::string("the record cannot be read: ") + exception.what());
    }
}

int EncodeRecord(RecordFormat format, const Message& message, const CodecOptions& options, std::string& bytes,
                 InputError& error) {
    error = InputError();
    try {
        return Encode(format, message, options, bytes, error);
    } catch (const std::bad_alloc&) {
        error = InputError();
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR, "out of memory");  // what needs none
    } catch (const std::exception& exception) {
        return FailInput(error, OstraneErrCode::GEN_ERR_ERR,
                         std::string("the record cannot be written: ") + exception.what());
    }
}

}  // namespace OstraneRecord
