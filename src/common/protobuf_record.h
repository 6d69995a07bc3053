// A record held in memory: a message and what its operations need beside it.
#ifndef OSTRANE_COMMON_PROTOBUF_RECORD_H_
#define OSTRANE_COMMON_PROTOBUF_RECORD_H_

#include <cstdint>

namespace google {
namespace protobuf {
class Message;
class MessageFactory;
}  // namespace protobuf
}  // namespace google

struct LogCategory;

// Owns nothing: what the pointers name belongs to the host and outlives every call that gets the
// record. One thread at a time. The field operations read m_pLog alone.
struct ProtobufRecord {
    LogCategory* m_pLog = nullptr;  // null silences every line
    google::protobuf::Message* m_pMessage = nullptr;
    google::protobuf::MessageFactory* m_pFactory = nullptr;
    uint64_t m_lastAccessTime = 0;
    const char* m_originRecordBuff = nullptr;
    int32_t m_originRecordBuffSize = 0;
    int32_t m_listIndex = 0;
    bool m_isLazyDeserialization = false;
    bool m_isMutable = false;
    bool m_isDelta = false;
};

#endif  // OSTRANE_COMMON_PROTOBUF_RECORD_H_
