// The records of an input, one after the other, in memory that does not grow with their number.
//
//   RecordReader reader(descriptor, "players.ndjson", RecordFormat::Ndjson);
//   bool hasRecord = false;
//   while (reader.Next(hasRecord, error) == 0 && hasRecord) {
//       reader.Decode(reader.Current(), CodecOptions(), *message, error);
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

// The bytes of one record, and where in the input they stand.
struct RawRecord {
    const char* data = nullptr;
    size_t size = 0;
    int64_t index = -1;   // from 0
    uint64_t line = 0;    // of ndjson, from 1
    uint64_t offset = 0;  // of the first byte
};

// Reads from a descriptor that stays the caller's. JSON, text and binary inputs are one record each; of
// ndjson, lines of white space alone are passed over.
//
// One thread at a time goes to the next record; Decode and Place of a RawRecord may meanwhile be called by
// others.
class RecordReader {
public:
    RecordReader(int descriptor, const std::string& name, RecordFormat format);

    // From now on the input ends as soon as this descriptor can be read or is closed at its other end, even
    // while the next bytes are waited for.
    void EndWith(int descriptor) { m_endDescriptor = descriptor; }

    // Goes to the next record. Returns 0, with `hasRecord` false at the end of the input, or GEN_ERR_ERR for
    // an input that cannot be read or that ends inside a record; nothing more can be read then.
    int Next(bool& hasRecord, InputError& error);
    // Whether the next record of a stream has been read wholly: if not, Next may wait for the input.
    bool IsNextAtHand() const;

    // The current record; its bytes are valid until the next call of Next.
    RawRecord Current() const;
    // Reads a record of this input. Errors name the input and count lines and bytes from its beginning.
    int Decode(const RawRecord& record, const CodecOptions& options, google::protobuf::Message& message,
               InputError& error) const;
    // "player.json", "players.ndjson:7", "players.delim: record 6": where the record is.
    std::string Place(const RawRecord& record) const;

    // Of the input: how many bytes have become records or were passed over.
    uint64_t Offset() const { return m_base + m_next; }

private:
    int NextWhole(bool& hasRecord, InputError& error);
    int NextLine(bool& hasRecord, InputError& error);
    int NextDelimited(bool& hasRecord, InputError& error);
    int ReadLength(bool& hasLength, size_t& length, InputError& error);
    int Fill(InputError& error);
    bool MustEnd() const;
    int Fail(const std::string& message, uint64_t offset, InputError& error) const;
    size_t Available() const { return m_filled - m_next; }

    int m_descriptor;
    int m_endDescriptor = -1;
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
