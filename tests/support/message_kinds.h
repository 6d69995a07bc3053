// Runs one test body on every way a message can be made: a generated class or a dynamic message, on the
// heap or on an arena.
//
//   for (MessageKind kind : AllMessageKinds()) {
//       SCOPED_TRACE(NameOf(kind));
//       MessageMaker maker(kind, fields::Fields::descriptor());
//       google::protobuf::Message* message = maker.Make("many_int32: [1, 2]");
//   }
#ifndef OSTRANE_TESTS_SUPPORT_MESSAGE_KINDS_H_
#define OSTRANE_TESTS_SUPPORT_MESSAGE_KINDS_H_

#include <google/protobuf/arena.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <vector>

enum class MessageKind { GeneratedOnHeap, GeneratedOnArena, DynamicOnHeap, DynamicOnArena };

std::vector<MessageKind> AllMessageKinds();
std::string NameOf(MessageKind kind);

// Makes messages of one type in one way, and keeps them until it ends.
class MessageMaker {
public:
    MessageMaker(MessageKind kind, const google::protobuf::Descriptor* descriptor);

    // A message of this content, in text format. A content that does not parse fails the test.
    google::protobuf::Message* Make(const std::string& content = std::string());
    google::protobuf::MessageFactory* Factory() { return m_factory; }
    google::protobuf::Arena* Arena() { return m_arena.get(); }

private:
    const google::protobuf::Descriptor* m_descriptor;
    // Ends last: its messages are of its making.
    google::protobuf::DynamicMessageFactory m_dynamicFactory;
    google::protobuf::MessageFactory* m_factory;
    std::unique_ptr<google::protobuf::Arena> m_arena;
    std::vector<std::unique_ptr<google::protobuf::Message>> m_messages;
};

#endif  // OSTRANE_TESTS_SUPPORT_MESSAGE_KINDS_H_
