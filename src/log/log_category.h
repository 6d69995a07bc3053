// A log category with everything behind it: the bounds, and the sinks that its lines go to.
//
//   std::string error;
//   std::unique_ptr<OstraneLog::LogChannel> log =
//       OstraneLog::LogChannel::ToRotatingFile("log/records.log", 8 << 20, 4, error);
//   if (log == nullptr) { ... error says why ... }
//   log->SetBounds(LOG_PRIORITY_FATAL, LOG_PRIORITY_ERROR);  // ERROR and more severe
//   record.m_pLog = log->Category();
//
// The channel outlives every record and every call that has its category; its sinks are shared with
// whoever else holds them. No exception leaves this library.
#ifndef OSTRANE_LOG_LOG_CATEGORY_H_
#define OSTRANE_LOG_LOG_CATEGORY_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/log.h"
#include "log/log_sink.h"

namespace OstraneLog {

// Owns one category. All methods may be called while other threads log to it.
//
// Of a category whose pHost is null there is no channel: it refuses every line, and a write to it does
// nothing. A pHost that is not null is a channel's.
class LogChannel {
public:
    // Lines go to each of `sinks` in turn; null ones are left out. A channel without sinks refuses
    // every line, so that none is formatted for nothing. Starts without bounds.
    explicit LogChannel(std::vector<std::shared_ptr<LogSink>> sinks) noexcept;
    LogChannel(const LogChannel&) = delete;
    LogChannel& operator=(const LogChannel&) = delete;
    ~LogChannel() = default;

    // A channel with the one sink of this kind; null, and `error` says why, where it cannot be had.
    static std::unique_ptr<LogChannel> ToStderr(std::string& error) noexcept;
    static std::unique_ptr<LogChannel> ToRotatingFile(const std::string& path, size_t maxBytes, size_t files,
                                                      std::string& error) noexcept;

    // The category to hand out; never null, valid as long as the channel.
    LogCategory* Category() noexcept { return &m_category; }

    // Takes lines from the priority `high`, the most severe, to `low`, the least; -1 is no bound. The two
    // change one after the other: a line of the same moment may meet the one without the other.
    void SetBounds(int32_t high, int32_t low) noexcept;
    int32_t HighBound() const noexcept;
    int32_t LowBound() const noexcept;

    // Refuses every line, whatever the bounds, until accepting again.
    void SetAccepting(bool isAccepting) noexcept;

    // Whether a line of this priority is taken.
    bool Accepts(int32_t priority) const noexcept;
    // Hands a finished line to the sinks, whatever the bounds. Of `event` the caller has set priority,
    // location, binary flag, id and cls; the length, type and version are filled in and stay, evt_msg is
    // set for the sinks and null afterwards. `text` ends with a NUL behind its `length` bytes.
    void Write(LogEvent& event, char* text, int32_t length) noexcept;

    // False when a sink could not hand on what it held back.
    bool Flush() noexcept;
    // How many lines did not get into a sink, because the disk was full or memory ran out, since the
    // channel began. A line that is lost to two sinks counts twice.
    uint64_t LostLines() const noexcept { return m_lostLines.load(std::memory_order_relaxed); }

private:
    LogCategory m_category;
    // The bounds are read through the category's pointers, by whoever inlines the guard.
    int32_t m_high = -1;
    int32_t m_low = -1;
    std::atomic<bool> m_isAccepting{true};
    std::atomic<uint64_t> m_lostLines{0};
    std::vector<std::shared_ptr<LogSink>> m_sinks;  // never changed after the construction
};

}  // namespace OstraneLog

#endif  // OSTRANE_LOG_LOG_CATEGORY_H_
