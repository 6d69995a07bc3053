// How far a long run has come, as one line of a terminal.
//
//    45% [#########...........] 450000 records, 512345/s, 0:12 left
#ifndef OSTRANE_CLI_PROGRESS_H_
#define OSTRANE_CLI_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace OstraneCli {

// Reads no clock and writes nothing: both are the caller's.
class Progress {
public:
    using Time = std::chrono::steady_clock::time_point;

    // `inputSize` in bytes; 0 when it is not known, and then there is neither a bar nor a time left.
    Progress(uint64_t inputSize, Time begin) : m_inputSize(inputSize), m_begin(begin), m_next(begin + FIRST) {}

    // Whether it is time for a new line. A run that ends soon shows none.
    bool IsDue(Time now) const { return now >= m_next; }
    // The line after so many bytes of the input and records, of at most `width` characters.
    std::string Line(uint64_t bytes, int64_t records, Time now, size_t width);

private:
    static constexpr std::chrono::milliseconds FIRST{500};
    static constexpr std::chrono::milliseconds EACH{200};

    uint64_t m_inputSize;
    Time m_begin;
    Time m_next;
};

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_PROGRESS_H_
