#include "support/message_kinds.h"

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

using google::protobuf::Message;

std::vector<MessageKind> AllMessageKinds() {
    return {MessageKind::GeneratedOnHeap, MessageKind::GeneratedOnArena, MessageKind::DynamicOnHeap,
            MessageKind::DynamicOnArena};
}

std::string NameOf(MessageKind kind) {
    switch (kind) {
        case MessageKind::GeneratedOnHeap:
            return "generated on heap";
        case MessageKind::GeneratedOnArena:
            return "generated on arena";
        case MessageKind::DynamicOnHeap:
            return "dynamic on heap";
        case MessageKind::DynamicOnArena:
            return "dynamic on arena";
    }
    return "unknown";
}

MessageMaker::MessageMaker(MessageKind kind, const google::protobuf::Descriptor* descriptor)
    : m_descriptor(descriptor) {
    const bool isGenerated = kind == MessageKind::GeneratedOnHeap || kind == MessageKind::GeneratedOnArena;
    m_factory = isGenerated ? google::protobuf::MessageFactory::generated_factory() : &m_dynamicFactory;
    if (kind == MessageKind::GeneratedOnArena || kind == MessageKind::DynamicOnArena) {
        m_arena = std::make_unique<google::protobuf::Arena>();
    }
}

Message* MessageMaker::Make(const std::string& content) {
    Message* message = m_factory->GetPrototype(m_descriptor)->New(m_arena.get());
    if (m_arena == nullptr) {
        m_messages.emplace_back(message);
    }
    google::protobuf::TextFormat::Parser parser;
    parser.AllowPartialMessage(true);
    EXPECT_TRUE(parser.ParseFromString(content, message)) << content;
    return message;
}
