// A record of the sample schema, and statements run on it.
//
//   PlayerRecord player("scores: [10, 20]");
//   player.Run("PUSH scores[1] = 7")       ->  0
//   player.Show()                          ->  "name: \"Mara\" scores: 10 scores: 7 scores: 20"
#ifndef OSTRANE_TESTS_RECORD_PLAYER_RECORD_H_
#define OSTRANE_TESTS_RECORD_PLAYER_RECORD_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "common/protobuf_record.h"
#include "common/protobuf_record_util.h"
#include "record/schema.h"
#include "record/statement_plan.h"

class PlayerRecord {
public:
    // `text` in text format, behind the name that every player needs.
    explicit PlayerRecord(const std::string& text = std::string()) : m_message(NewPlayer()) {
        google::protobuf::TextFormat::Parser parser;
        parser.AllowPartialMessage(true);
        if (!parser.ParseFromString("name: \"Mara\" " + text, m_message.get())) {
            ADD_FAILURE() << "not a record: " << text;
        }
        m_record.m_pMessage = m_message.get();
    }

    static const google::protobuf::Descriptor* Type() {
        OstraneRecord::InputError error;
        return SampleSchema().FindType("demo.Player", error);
    }
    static std::unique_ptr<google::protobuf::Message> NewPlayer() { return SampleSchema().NewRecord(Type()); }

    // Compiles and runs; the outcome is in Result().
    int Run(const std::string& statements, const OstraneRecord::StatementParameters& parameters = {},
            const OstraneRecord::StatementOptions& options = {}) {
        OstraneRecord::StatementPlan plan;
        m_result = OstraneRecord::ExecutionResult();
        m_result.code = OstraneRecord::StatementPlan::Compile(statements, Type(), options, plan, m_result.error);
        return m_result.code != 0 ? m_result.code : plan.Execute(m_record, parameters, m_result);
    }
    const OstraneRecord::ExecutionResult& Result() const { return m_result; }

    // The record on one line, without the name that all have.
    std::string Show() const {
        google::protobuf::TextFormat::Printer printer;
        printer.SetSingleLineMode(true);
        std::string text;
        printer.PrintToString(*m_message, &text);
        const std::string name = "name: \"Mara\" ";
        text = text.compare(0, name.size(), name) == 0 ? text.substr(name.size()) : text;
        while (!text.empty() && text.back() == ' ') {
            text.pop_back();
        }
        return text;
    }

    google::protobuf::Message& Message() { return *m_message; }
    ProtobufRecord& Record() { return m_record; }
    const google::protobuf::FieldDescriptor* Field(const std::string& name) const {
        return Type()->FindFieldByName(name);
    }
    // For calling a field operation directly.
    MutableProtobufField Handle(const std::string& name) { return {m_message.get(), Field(name)}; }
    ProtobufRecordUtil Util() { return ProtobufRecordUtil(m_record); }
    OstraneCommon::PbField Source(const std::string& name) {
        OstraneCommon::PbField source;
        source.SetField(m_message.get(), Field(name), false);
        return source;
    }

private:
    static const OstraneRecord::Schema& SampleSchema() {
        static const std::unique_ptr<OstraneRecord::Schema> schema = [] {
            auto loaded = std::make_unique<OstraneRecord::Schema>();
            OstraneRecord::InputError error;
            EXPECT_EQ(loaded->ImportProto("player.proto", {OSTRANE_EXAMPLES}, error), 0) << error.ToStr();
            return loaded;
        }();
        return *schema;
    }

    std::unique_ptr<google::protobuf::Message> m_message;
    ProtobufRecord m_record;
    OstraneRecord::ExecutionResult m_result;
};

#endif  // OSTRANE_TESTS_RECORD_PLAYER_RECORD_H_
