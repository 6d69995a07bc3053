// A line's way: LogCanWrite asks the channel behind the category, LogWriteV formats by printf's rules,
// once into a buffer on the stack and, when that is too small, once more into one of the right size.
// LogChannel::Write then hands the finished text to each sink, and counts those that fail.
#include "log/log_category.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace OstraneLog {

LogChannel::LogChannel(std::vector<std::shared_ptr<LogSink>> sinks) noexcept
    : m_category{&m_high, &m_low, this}, m_sinks(std::move(sinks)) {
    m_sinks.erase(std::remove(m_sinks.begin(), m_sinks.end(), nullptr), m_sinks.end());
}

namespace {

// A channel over what `open` gives; `open` has set `error` when that is null.
std::unique_ptr<LogChannel> ChannelOver(std::shared_ptr<LogSink> sink, std::string& error) noexcept {
    if (sink == nullptr) {
        return nullptr;
    }
    try {
        return std::make_unique<LogChannel>(std::vector<std::shared_ptr<LogSink>>{std::move(sink)});
    } catch (const std::bad_alloc&) {
        error.assign("out of memory");  // short enough to need none
        return nullptr;
    }
}

}  // namespace

std::unique_ptr<LogChannel> LogChannel::ToStderr(std::string& error) noexcept {
    return ChannelOver(OpenStderrSink(error), error);
}

std::unique_ptr<LogChannel> LogChannel::ToRotatingFile(const std::string& path, size_t maxBytes, size_t files,
                                                       std::string& error) noexcept {
    return ChannelOver(OpenRotatingFileSink(path, maxBytes, files, error), error);
}

void LogChannel::SetBounds(int32_t high, int32_t low) noexcept {
    __atomic_store_n(&m_high, high, __ATOMIC_RELAXED);
    __atomic_store_n(&m_low, low, __ATOMIC_RELAXED);
}

int32_t LogChannel::HighBound() const noexcept {
    return __atomic_load_n(&m_high, __ATOMIC_RELAXED);
}

int32_t LogChannel::LowBound() const noexcept {
    return __atomic_load_n(&m_low, __ATOMIC_RELAXED);
}

void LogChannel::SetAccepting(bool isAccepting) noexcept {
    m_isAccepting.store(isAccepting, std::memory_order_relaxed);
}

bool LogChannel::Accepts(int32_t priority) const noexcept {
    if (m_sinks.empty() || !m_isAccepting.load(std::memory_order_relaxed)) {
        return false;
    }
    // The guard has asked them already; a host may ask without it.
    const int32_t low = LowBound();
    if (low != -1 && low < priority) {
        return false;
    }
    const int32_t high = HighBound();
    return high == -1 || high <= priority;
}

void LogChannel::Write(LogEvent& event, char* text, int32_t length) noexcept {
    event.evt_msg = text;
    event.evt_msg_len = length;
    event.evt_type = EVENT_TYPE_LINE;
    event.evt_version = EVENT_VERSION;
    for (const std::shared_ptr<LogSink>& sink : m_sinks) {
        try {
            sink->Write(event);
        } catch (...) {
            // Whoever logs is in the middle of other work: a log that fails is no failure of that work.
            m_lostLines.fetch_add(1, std::memory_order_relaxed);
        }
    }
    event.evt_msg = nullptr;
}

bool LogChannel::Flush() noexcept {
    bool isFlushed = true;
    for (const std::shared_ptr<LogSink>& sink : m_sinks) {
        try {
            sink->Flush();
        } catch (...) {
            isFlushed = false;
        }
    }
    return isFlushed;
}

namespace {

// Diagnostics are a name or two and a number: nearly all fit.
constexpr size_t SHORT_TEXT_SIZE = 1024;

// Replaces the end of the text in `buffer` by `mark`, or appends it where there is room.
int32_t EndWithMark(char (&buffer)[SHORT_TEXT_SIZE], size_t length, const char* mark) noexcept {
    const size_t markLength = std::strlen(mark);
    const size_t begin = std::min(length, SHORT_TEXT_SIZE - 1 - markLength);
    std::memcpy(buffer + begin, mark, markLength + 1);
    return static_cast<int32_t>(begin + markLength);
}

// What there is to say when the text cannot be made: the format as it stands.
int32_t TellFormat(char (&buffer)[SHORT_TEXT_SIZE], const char* format) noexcept {
    const size_t length = strnlen(format, SHORT_TEXT_SIZE);
    std::memcpy(buffer, format, std::min(length, SHORT_TEXT_SIZE - 1));
    return EndWithMark(buffer, length, " [cannot be formatted]");
}

}  // namespace
}  // namespace OstraneLog

int LogCanWrite(LogCategory* category, int32_t priority, uint32_t /*id*/, uint32_t /*cls*/) {
    if (category == nullptr || category->pHost == nullptr) {
        return 0;
    }
    return static_cast<const OstraneLog::LogChannel*>(category->pHost)->Accepts(priority) ? 1 : 0;
}

void LogWriteV(LogCategory* category, LogEvent* event, const char* format, ...) {
    if (category == nullptr || category->pHost == nullptr) {
        return;
    }
    OstraneLog::LogChannel& channel = *static_cast<OstraneLog::LogChannel*>(category->pHost);
    // A step may look at errno after it has logged, and `%m` must see the same in both passes.
    const int callerErrno = errno;

    va_list args;
    va_start(args, format);
    va_list argsAgain;
    va_copy(argsAgain, args);
    char shortText[OstraneLog::SHORT_TEXT_SIZE];
    const int length = std::vsnprintf(shortText, sizeof(shortText), format, args);
    va_end(args);

    errno = callerErrno;
    if (length < 0) {
        channel.Write(*event, shortText, OstraneLog::TellFormat(shortText, format));
    } else if (static_cast<size_t>(length) < sizeof(shortText)) {
        channel.Write(*event, shortText, length);
    } else {
        const size_t size = static_cast<size_t>(length) + 1;
        const std::unique_ptr<char[]> longText(new (std::nothrow) char[size]);
        if (longText != nullptr && std::vsnprintf(longText.get(), size, format, argsAgain) == length) {
            channel.Write(*event, longText.get(), length);
        } else {
            channel.Write(*event, shortText,
                          OstraneLog::EndWithMark(shortText, sizeof(shortText) - 1, " [cut: out of memory]"));
        }
    }
    va_end(argsAgain);
    errno = callerErrno;
}
