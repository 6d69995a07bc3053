// Where the lines of a channel end up: stderr, a rotating file, a list in memory, or anything that
// spdlog or the host can write to.
//
// A printed line is one line of text, whatever the message holds:
//
//   2026-03-01T09:30:12.345+01:00 [4711] ERROR src/common/protobuf_record_util.cpp:120 SetWithExpr: no '$'
//
// Control bytes of a message are shown as \n, \t or \x1b: a value that somebody else supplied can
// neither start a line of its own nor drive a terminal.
#ifndef OSTRANE_LOG_LOG_SINK_H_
#define OSTRANE_LOG_LOG_SINK_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/log.h"

namespace spdlog {
namespace sinks {
class sink;
}  // namespace sinks
}  // namespace spdlog

namespace OstraneLog {

// What the library puts into evt_type and evt_version of every event.
constexpr int32_t EVENT_TYPE_LINE = 1;
constexpr int32_t EVENT_VERSION = 1;

// Takes finished lines. A host may derive its own.
class LogSink {
public:
    virtual ~LogSink() = default;

    // Called by any number of threads at once. All fields of `event` are set, evt_msg ends with a NUL
    // behind its evt_msg_len bytes, and nothing of it stays valid after the call. May throw: the channel
    // then counts the line as lost.
    virtual void Write(const LogEvent& event) = 0;
    // Hands on what is held back. May throw.
    virtual void Flush() {}

protected:
    LogSink() = default;
    LogSink(const LogSink&) = default;
    LogSink& operator=(const LogSink&) = default;
};

// One line as a capture keeps it, byte for byte.
struct CapturedLine {
    int32_t priority = LOG_PRIORITY_NULL;
    std::string text;
    std::string file;
    int32_t line = 0;
    std::string function;
    uint32_t id = 0;
    uint32_t cls = 0;
    bool isBinary = false;
};

// Keeps lines in memory, for tests and for hosts that show them elsewhere. Unbounded.
class CaptureSink : public LogSink {
public:
    void Write(const LogEvent& event) override;

    // In the order of writing. Safe while others log.
    std::vector<CapturedLine> Lines() const;
    void Clear();

private:
    mutable std::mutex m_mutex;
    std::vector<CapturedLine> m_lines;
};

// Each gives null, and says in `error` why, where the sink cannot be had.
//
// Printed lines to stderr, each at once. Channels may share stderr: lines are not mixed.
std::shared_ptr<LogSink> OpenStderrSink(std::string& error) noexcept;
// Printed lines appended to the file `path`; missing folders are made. When a line would take the file
// beyond `maxBytes`, the file becomes path.1 (log.txt: log.1.txt), an earlier path.1 path.2, and so on;
// `files` files are kept, the current one included. A line is never split, so a longer one exceeds
// `maxBytes`. Lines of LOG_PRIORITY_WARN and more severe reach the file at once, others with the next of
// those, at a flush, or when the sink ends. One sink a path: two do not see each other's rotation.
std::shared_ptr<LogSink> OpenRotatingFileSink(const std::string& path, size_t maxBytes, size_t files,
                                              std::string& error) noexcept;
// Lines to any sink of spdlog that may be called by several threads (the `_mt` ones). Its level and its
// pattern are the host's to set; `%v` is the line from the priority's name on.
std::shared_ptr<LogSink> WrapSpdlogSink(std::shared_ptr<spdlog::sinks::sink> sink, std::string& error) noexcept;

// "ERROR" for LOG_PRIORITY_ERROR; "priority 350" for a number between the names.
std::string PriorityName(int32_t priority);
// The printed line from the priority's name on. The id and the class are in it unless both are 0.
std::string ShowEvent(const LogEvent& event);

}  // namespace OstraneLog

#endif  // OSTRANE_LOG_LOG_SINK_H_
