// Messages that lack what operations look for, to reach the paths where it is missing.
#ifndef OSTRANE_TESTS_SUPPORT_BROKEN_MESSAGE_H_
#define OSTRANE_TESTS_SUPPORT_BROKEN_MESSAGE_H_

#include <google/protobuf/message.h>

// Has the descriptor and reflection it is given, either of which may be null, and cannot make another of
// its kind. As an element it belongs into a dynamic message: generated parents call their own element type.
class BrokenMessage : public google::protobuf::Message {
public:
    BrokenMessage(const google::protobuf::Descriptor* descriptor, const google::protobuf::Reflection* reflection)
        : m_descriptor(descriptor), m_reflection(reflection) {}

    google::protobuf::Message* New(google::protobuf::Arena* /*arena*/) const override { return nullptr; }
    void Clear() override { ++clearCount; }
    bool IsInitialized() const override { return true; }
    size_t ByteSizeLong() const override { return 0; }
    int GetCachedSize() const override { return 0; }

    int clearCount = 0;

protected:
    google::protobuf::Metadata GetMetadata() const override { return {m_descriptor, m_reflection}; }

private:
    const google::protobuf::Descriptor* m_descriptor;
    const google::protobuf::Reflection* m_reflection;
};

#endif  // OSTRANE_TESTS_SUPPORT_BROKEN_MESSAGE_H_
