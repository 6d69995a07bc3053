// Statements, parameters and a record, all of any bytes, on one of three schemas:
//
//   schema and options, one byte: 'A' + schema + 3 * options
//   parameters, the rest of the first line: a JSON list, or nothing
//   statements, up to a byte 0
//   the record in binary
//
// Whatever they are: nothing crashes or throws, what fails leaves the record as it was to the byte, what succeeds
// leaves a record that can be written and read again, and results and errors can be shown.
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#if GOOGLE_PROTOBUF_VERSION < 4022000
#include <google/protobuf/stubs/logging.h>
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "common/protobuf_record.h"
#include "player.pb.h"
#include "record/codec.h"
#include "record/schema.h"
#include "record/statement_plan.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::Message;
using namespace OstraneRecord;

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// Of a schema and options.
constexpr int kChoices = 3 * 8;
// A list may double the record with every statement; longer ones would only find out how much memory there is.
constexpr size_t kMaxStatements = 8;
constexpr size_t kMaxRecord = 16 * 1024;

// The sample schema from a descriptor set: extensions and messages are dynamic.
const Schema& DynamicSchema() {
    static const Schema* const schema = [] {
        google::protobuf::FileDescriptorSet set;
        demo::Player::descriptor()->file()->CopyTo(set.add_file());
        const std::string bytes = set.SerializeAsString();
        auto* const loaded = new Schema();
        InputError error;
        Require(loaded->ImportDescriptorSetBytes(bytes.data(), bytes.size(), "player", error) == 0);
        return loaded;
    }();
    return *schema;
}

std::unique_ptr<Message> NewRecord(int schema) {
    InputError error;
    switch (schema) {
        case 0:
            return std::make_unique<demo::Player>();
        case 1:
            return DynamicSchema().NewRecord(DynamicSchema().FindType("demo.Player", error));
        default:
            return std::make_unique<google::protobuf::FileDescriptorSet>();
    }
}

// The same record gives the same bytes, whatever the order in which a map keeps its entries.
std::string BytesOf(const Message& message) {
    std::string bytes;
    google::protobuf::io::StringOutputStream stream(&bytes);
    google::protobuf::io::CodedOutputStream out(&stream);
    out.SetSerializationDeterministic(true);
    Require(message.SerializePartialToCodedStream(&out));
    out.Trim();
    return bytes;
}

StatementParameters ReadParameters(const std::string& json, const StatementPlan& plan) {
    StatementParameters out;
    ParameterValue list;
    std::string reason;
    if (json.empty() || ParameterValue::FromJson(json, list, reason) != 0) {
        return out;
    }
    const std::vector<std::string> names = plan.ParameterNames();
    if (names.empty()) {
        out.positional = list.items;
        return out;
    }
    for (size_t i = 0; i < list.items.size(); ++i) {
        out.named[i < names.size() ? names[i] : "more"] = list.items[i];
    }
    return out;
}

// What a failure tells is complete, and can be shown.
void RequireError(const StatementError& error, int code, const std::string& text) {
    Require(code < 0 && error.code == code && !error.message.empty());
    Require(error.offset <= text.size() && error.offset + error.length <= text.size());
    Require(!ShowError(error, text).empty());
    Require(ReportLine(0, error, text).front() == '{');
}

void RequireResult(const ExecutionResult& result, const StatementPlan& plan) {
    Require(result.statements.size() <= plan.StatementCount());
    Require(result.code != 0 || result.statements.size() == plan.StatementCount());
    for (const StatementResult& statement : result.statements) {
        Require(ReportLine(0, statement).back() == '}');
        Require(statement.matched >= 0 && statement.changed >= 0 && statement.sizeBefore >= 0);
        for (size_t i = 1; i < statement.positions.size(); ++i) {
            Require(statement.positions[i - 1] < statement.positions[i]);
        }
        Require(statement.code == 0 || &statement == &result.statements.back());
        Require(!statement.undone || result.code != 0);
    }
}

// What succeeded left a record that this library and protobuf read again as the same.
void RequireReadable(const Message& message, int schema) {
    const std::string bytes = BytesOf(message);
    const std::unique_ptr<Message> again = NewRecord(schema);
    CodecOptions options;
    options.partial = true;
    InputError error;
    Require(DecodeRecord(RecordFormat::Binary, bytes.data(), bytes.size(), options, *again, error) == 0);
    Require(BytesOf(*again) == bytes);
}

}  // namespace

// protobuf tells stderr about every text that is no UTF-8.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
#if GOOGLE_PROTOBUF_VERSION < 4022000
    google::protobuf::SetLogHandler(nullptr);
#endif
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t lineEnd = input.find('\n');
    if (lineEnd == std::string::npos || lineEnd == 0) {
        return 0;
    }
    // Any byte is a choice; 'A' is the first.
    const int choice = (data[0] + 10 * kChoices - 'A') % kChoices;
    const int schema = choice % 3;
    StatementOptions options;
    options.strict = (choice / 3 & 1) != 0;
    options.partial = (choice / 3 & 2) != 0;
    options.camelNames = (choice / 3 & 4) != 0;
    const size_t textEnd = std::min(input.find('\0', lineEnd), size);
    const std::string text = input.substr(lineEnd + 1, textEnd - lineEnd - 1);
    const std::string bytes = textEnd == size ? std::string() : input.substr(textEnd + 1, kMaxRecord);

    const std::unique_ptr<Message> message = NewRecord(schema);
    CodecOptions partial;
    partial.partial = true;
    InputError inputError;
    if (DecodeRecord(RecordFormat::Binary, bytes.data(), bytes.size(), partial, *message, inputError) != 0) {
        Require(inputError.code < 0 && !inputError.ToStr().empty());
        message->Clear();
    }

    StatementPlan plan;
    StatementError error;
    const int compiled = StatementPlan::Compile(text, message->GetDescriptor(), options, plan, error);
    if (compiled != 0) {
        RequireError(error, compiled, text);
        return 0;
    }
    Require(plan.Describe().size() == plan.StatementCount());
    if (plan.StatementCount() > kMaxStatements) {
        return 0;
    }
    BoundPlan bound;
    const int bind = plan.Bind(ReadParameters(input.substr(1, lineEnd - 1), plan), bound, error);
    if (bind != 0) {
        RequireError(error, bind, text);
        return 0;
    }

    const std::string before = BytesOf(*message);
    ProtobufRecord record;
    record.m_pMessage = message.get();
    ExecutionResult result;
    const int code = bound.Execute(record, result);
    Require(code == result.code);
    RequireResult(result, plan);
    if (code != 0) {
        RequireError(result.error, code, text);
        Require(BytesOf(*message) == before);
        return 0;
    }
    RequireReadable(*message, schema);
    return 0;
}
