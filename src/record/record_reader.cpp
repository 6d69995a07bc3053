#include "record/record_reader.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "common/err_code.h"

namespace OstraneRecord {

namespace {

constexpr size_t CHUNK_SIZE = size_t{1} << 16;
constexpr size_t MAX_LENGTH_BYTES = 5;  // of the varint before a record
constexpr size_t MAX_RECORD_SIZE = static_cast<size_t>(std::numeric_limits<int>::max());

bool IsBlank(const char* text, size_t size) {
    return std::all_of(text, text + size, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
}

}  // namespace

RecordReader::RecordReader(int descriptor, const std::string& name, RecordFormat format)
    : m_descriptor(descriptor), m_name(name), m_format(format), m_buffer(CHUNK_SIZE) {}

int RecordReader::Fail(const std::string& message, uint64_t offset, InputError& error) const {
    error = InputError();
    error.file = m_name;
    error.offset = static_cast<size_t>(offset);
    error.hasOffset = true;
    return FailInput(error, OstraneErrCode::GEN_ERR_ERR, message);
}

// Waits until there is input, or the end has been asked for.
bool RecordReader::MustEnd() const {
    if (m_endDescriptor < 0) {
        return false;
    }
    struct pollfd ends[2] = {{m_descriptor, POLLIN, 0}, {m_endDescriptor, POLLIN, 0}};
    while (poll(ends, 2, -1) < 0 && errno == EINTR) {
    }
    return ends[1].revents != 0;
}

// Reads what is there, up to a chunk or the buffer's room, behind what is not used yet.
int RecordReader::Fill(InputError& error) {
    if (m_filled == m_buffer.size() && m_next > 0) {
        std::memmove(m_buffer.data(), m_buffer.data() + m_next, Available());
        m_base += m_next;
        m_filled -= m_next;
        m_next = 0;
    }
    if (m_filled == m_buffer.size()) {
        if (m_filled > MAX_RECORD_SIZE) {
            return Fail("a record of more than 2 GiB cannot be handled; it starts", m_base, error);
        }
        m_buffer.resize(m_buffer.size() * 2);
    }
    if (MustEnd()) {
        m_isAtEnd = true;
        return 0;
    }
    for (;;) {
        const ssize_t count = read(m_descriptor, m_buffer.data() + m_filled, m_buffer.size() - m_filled);
        if (count >= 0) {
            m_filled += static_cast<size_t>(count);
            m_isAtEnd = count == 0;
            return 0;
        }
        if (errno != EINTR) {
            const std::string reason = std::strerror(errno);
            return Fail("cannot be read: " + reason, m_base + m_filled, error);
        }
    }
}

int RecordReader::NextWhole(bool& hasRecord, InputError& error) {
    hasRecord = m_index < 0;
    while (hasRecord && !m_isAtEnd) {
        if (Fill(error) != 0) {
            return error.code;
        }
    }
    m_recordBegin = 0;
    m_recordEnd = m_filled;
    return 0;
}

int RecordReader::NextLine(bool& hasRecord, InputError& error) {
    for (;;) {
        size_t searched = 0;
        const char* lineEnd = nullptr;
        for (;;) {
            const char* const start = m_buffer.data() + m_next;
            lineEnd = static_cast<const char*>(std::memchr(start + searched, '\n', Available() - searched));
            if (lineEnd != nullptr || m_isAtEnd) {
                break;
            }
            searched = Available();
            if (Fill(error) != 0) {
                return error.code;
            }
        }
        if (lineEnd == nullptr && Available() == 0) {
            hasRecord = false;
            return 0;
        }
        ++m_line;
        m_recordBegin = m_next;
        m_recordEnd = lineEnd == nullptr ? m_filled : static_cast<size_t>(lineEnd - m_buffer.data());
        m_next = lineEnd == nullptr ? m_filled : m_recordEnd + 1;
        if (!IsBlank(m_buffer.data() + m_recordBegin, m_recordEnd - m_recordBegin)) {
            hasRecord = true;
            return 0;
        }
    }
}

// The varint before a record; none at the end of the input.
int RecordReader::ReadLength(bool& hasLength, size_t& length, InputError& error) {
    uint64_t value = 0;
    for (size_t i = 0;; ++i) {
        while (Available() == i && !m_isAtEnd) {
            if (Fill(error) != 0) {
                return error.code;
            }
        }
        if (Available() == i) {
            hasLength = false;
            return i == 0 ? 0
                          : Fail("the input ends inside the length of record " + std::to_string(m_index + 1),
                                 m_base + m_next, error);
        }
        const auto byte = static_cast<unsigned char>(m_buffer[m_next + i]);
        value |= static_cast<uint64_t>(byte & 0x7F) << (7 * i);
        if (value > MAX_RECORD_SIZE || i >= MAX_LENGTH_BYTES) {
            return Fail("record " + std::to_string(m_index + 1) + " claims to be longer than 2 GiB", m_base + m_next,
                        error);
        }
        if (byte < 0x80) {
            m_next += i + 1;
            hasLength = true;
            length = static_cast<size_t>(value);
            return 0;
        }
    }
}

int RecordReader::NextDelimited(bool& hasRecord, InputError& error) {
    size_t length = 0;
    const uint64_t start = m_base + m_next;
    if (ReadLength(hasRecord, length, error) != 0 || !hasRecord) {
        return error.code;
    }
    while (Available() < length) {
        if (Fill(error) != 0) {
            return error.code;
        }
        if (m_isAtEnd) {
            return Fail("the input ends inside record " + std::to_string(m_index + 1) + ": " + std::to_string(length) +
                            " bytes wanted, " + std::to_string(Available()) + " left; the record starts",
                        start, error);
        }
    }
    m_recordBegin = m_next;
    m_recordEnd = m_next + length;
    m_next = m_recordEnd;
    return 0;
}

int RecordReader::Next(bool& hasRecord, InputError& error) {
    error = InputError();
    hasRecord = false;
    int code = 0;
    try {
        switch (m_format) {
            case RecordFormat::Ndjson:
                code = NextLine(hasRecord, error);
                break;
            case RecordFormat::Delimited:
                code = NextDelimited(hasRecord, error);
                break;
            default:
                code = NextWhole(hasRecord, error);
                break;
        }
    } catch (const std::exception& exception) {
        code = Fail(std::string("cannot be read: ") + exception.what(), m_base + m_next, error);
    }
    hasRecord = hasRecord && code == 0;
    m_index += hasRecord ? 1 : 0;
    return code;
}

bool RecordReader::IsNextAtHand() const {
    const char* const start = m_buffer.data() + m_next;
    if (m_format == RecordFormat::Ndjson) {
        return std::memchr(start, '\n', Available()) != nullptr;
    }
    uint64_t length = 0;
    for (size_t i = 0; i < std::min(Available(), MAX_LENGTH_BYTES); ++i) {
        const auto byte = static_cast<unsigned char>(start[i]);
        length |= static_cast<uint64_t>(byte & 0x7F) << (7 * i);
        if (byte < 0x80) {
            return length <= Available() - i - 1;
        }
    }
    return false;
}

RawRecord RecordReader::Current() const {
    RawRecord record;
    record.data = m_buffer.data() + m_recordBegin;
    record.size = m_recordEnd - m_recordBegin;
    record.index = m_index;
    record.line = m_line;
    record.offset = m_base + m_recordBegin;
    return record;
}

int RecordReader::Decode(const RawRecord& record, const CodecOptions& options, google::protobuf::Message& message,
                         InputError& error) const {
    const int code = DecodeRecord(m_format, record.data, record.size, options, message, error);
    if (code == 0) {
        return 0;
    }
    error.file = m_name;
    if (m_format == RecordFormat::Ndjson) {
        error.line = static_cast<size_t>(record.line);
        error.column = std::max<size_t>(error.column, 1);
    }
    if (m_format == RecordFormat::Delimited) {
        error.message = "record " + std::to_string(record.index) + ": " + error.message;
    }
    if (error.hasOffset) {
        error.offset += static_cast<size_t>(record.offset);
    }
    return code;
}

std::string RecordReader::Place(const RawRecord& record) const {
    if (m_format == RecordFormat::Ndjson) {
        return m_name + ":" + std::to_string(record.line);
    }
    if (m_format == RecordFormat::Delimited) {
        return m_name + ": record " + std::to_string(record.index);
    }
    return m_name;
}

}  // namespace OstraneRecord
