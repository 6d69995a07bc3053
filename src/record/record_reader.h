// The records of an input, one after the other, in memory that does not grow with their number.
//
//   RecordReader reader(descriptor, "players.ndjson", RecordFormat::Ndjson);
//   bool hasRecord = false;
//   while (reader.Next(hasRecord, error) == 0 && hasRecord) {
//       reader.Decode(CodecOptions(), *message, error);
//   }
#ifndef OSTRANE_RECORD_RECORD_READER_H_
#define OSTRANE_RECORD_RECORD_READER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "record/codec.h"
#include "record/input_error.h"

namespace OstraneRecord {

// Reads from a descriptor that stays the caller's. JSON, text and binary inputs are one record each; of
// ndjson, lines of white space alone are passed over.
class RecordReader {
public:
    RecordReader(int descriptor, const std::string& name, RecordFormat format);

    // Goes to the next record. Returns 0, with `hasRecord` false at the end of the input, or GEN_ERR_ERR for
    // an input that cannot be read or that ends inside a record; nothing more can be read then.
    int Next(bool& hasRecord, InputError& error);

    // The current record's bytes, valid until the next call, and the record itself. Errors name the input
    // and count lines and bytes from its beginning.
    const char* Data() const { return m_buffer.data() + m_recordBegin; }
    size_t Size() const { return m_recordEnd - m_recordBegin; }
    int Decode(const CodecOptions& options, google::protobuf::Message& message, InputError& error) const;

    // Counts from 0; -1 before the first.
    int64_t Index() const { return m_index; }
    // "player.json", "players.ndjson:7", "players.delim: record 6": where the current record is.
    std::string Place() const;

private:
    int NextWhole(bool& hasRecord, InputError& error);
    int NextLine(bool& hasRecord, InputError& error);
    int NextDelimited(bool& hasRecord, InputError& error);
    int ReadLength(bool& hasLength, size_t& length, InputError& error);
    int Fill(InputError& error);
    int Fail(const std::string& message, uint64_t offset, InputError& error) const;
    size_t Available() const { return m_filled - m_next; }

    int m_descriptor;
    std::string m_name;
    RecordFormat m_format;
    std::vector<char> m_buffer;
    size_t m_filled = 0;       // bytes of the buffer that hold input
    size_t m_next = 0;         // of the buffer: where the next record starts
    size_t m_recordBegin = 0;  // the current record
    size_t m_recordEnd = 0;
    uint64_t m_base = 0;  // of the input: where the buffer starts
    uint64_t m_line = 0;  // of the current record, from 1
    int64_t m_index = -1;
    bool m_isAtEnd = false;
};

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_RECORD_READER_H_
