// Sinks over spdlog. Its loggers are left out: a channel is one already, and counts what a sink throws.
// The priority's name is part of the text that spdlog gets, because its six levels are too few to tell
// our priorities apart; and that text goes in as a message, never as a format.
#include "log/log_sink.h"

#include <spdlog/common.h>
#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <chrono>
#include <exception>
#include <stdexcept>
#include <utility>

namespace OstraneLog {

void CaptureSink::Write(const LogEvent& event) {
    CapturedLine line;
    line.priority = event.evt_priority;
    line.text.assign(event.evt_msg, static_cast<size_t>(event.evt_msg_len));
    if (event.evt_loc != nullptr) {
        line.file = event.evt_loc->loc_file != nullptr ? event.evt_loc->loc_file : "";
        line.line = event.evt_loc->loc_line;
        line.function = event.evt_loc->loc_function != nullptr ? event.evt_loc->loc_function : "";
    }
    line.id = event.evt_id;
    line.cls = event.evt_cls;
    line.isBinary = event.evt_is_msg_binary != 0;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.push_back(std::move(line));
}

std::vector<CapturedLine> CaptureSink::Lines() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
}

void CaptureSink::Clear() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.clear();
}

namespace {

// A number between two names counts as the less severe of them.
spdlog::level::level_enum SpdlogLevel(int32_t priority) {
    if (priority <= LOG_PRIORITY_CRIT) {
        return spdlog::level::critical;
    }
    if (priority <= LOG_PRIORITY_ERROR) {
        return spdlog::level::err;
    }
    if (priority <= LOG_PRIORITY_WARN) {
        return spdlog::level::warn;
    }
    if (priority <= LOG_PRIORITY_INFO) {
        return spdlog::level::info;
    }
    return priority <= LOG_PRIORITY_DEBUG ? spdlog::level::debug : spdlog::level::trace;
}

void LogTo(spdlog::sinks::sink& sink, spdlog::level::level_enum level, const std::string& line) {
    sink.log(spdlog::details::log_msg("ostrane", level, spdlog::string_view_t(line.data(), line.size())));
}

// Time with its offset from UTC, thread, line.
void SetOurPattern(spdlog::sinks::sink& sink) {
    sink.set_pattern("%Y-%m-%dT%H:%M:%S.%e%z [%t] %v");
}

class SpdlogSink : public LogSink {
public:
    explicit SpdlogSink(std::shared_ptr<spdlog::sinks::sink> sink) : m_sink(std::move(sink)) {}

    void Write(const LogEvent& event) override {
        const spdlog::level::level_enum level = SpdlogLevel(event.evt_priority);
        if (m_sink->should_log(level)) {
            LogTo(*m_sink, level, ShowEvent(event));
        }
    }
    void Flush() override { m_sink->flush(); }

private:
    const std::shared_ptr<spdlog::sinks::sink> m_sink;
};

// A file that is opened anew after a failure. spdlog's sink keeps a closed file when a rotation cannot
// open the next one (the process is out of descriptors), and would write to it.
class RotatingFileSink : public LogSink {
public:
    // Throws when the file cannot be opened.
    RotatingFileSink(std::string path, size_t maxBytes, size_t files)
        : m_path(std::move(path)), m_maxBytes(maxBytes), m_files(files) {
        Open();
    }

    void Write(const LogEvent& event) override {
        const std::string line = ShowEvent(event);  // before the lock is taken
        WithFile([&event, &line](spdlog::sinks::sink& file) {
            LogTo(file, SpdlogLevel(event.evt_priority), line);
            if (event.evt_priority <= LOG_PRIORITY_WARN) {
                file.flush();
            }
        });
    }

    void Flush() override {
        WithFile([](spdlog::sinks::sink& file) { file.flush(); });
    }

private:
    void Open() {
        auto file = std::make_unique<spdlog::sinks::rotating_file_sink_st>(m_path, m_maxBytes, m_files - 1);
        SetOurPattern(*file);
        m_file = std::move(file);
    }

    // Opening sleeps between its attempts, so it is not done for every line of a bad time.
    void OpenAgain() {
        if (std::chrono::steady_clock::now() < m_nextOpen) {
            throw std::runtime_error("the log file is closed");
        }
        try {
            Open();
        } catch (const spdlog::spdlog_ex&) {
            m_nextOpen = std::chrono::steady_clock::now() + std::chrono::seconds(1);
            throw;
        }
    }

    template <typename Step>
    void WithFile(const Step& step) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_file == nullptr) {
            OpenAgain();
        }
        try {
            step(*m_file);
        } catch (...) {
            m_file.reset();  // closed, or with a part of the line held back
            throw;
        }
    }

    const std::string m_path;
    const size_t m_maxBytes;
    const size_t m_files;
    std::mutex m_mutex;
    std::unique_ptr<spdlog::sinks::rotating_file_sink_st> m_file;  // null after a failure
    std::chrono::steady_clock::time_point m_nextOpen;              // not before, when null
};

// What `make` gives; null, with the reason in `error`, when it throws.
template <typename Make>
std::shared_ptr<LogSink> OrError(std::string& error, const Make& make) noexcept {
    try {
        try {
            return make();
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& exception) {
            error = exception.what();
        }
    } catch (...) {
        error.assign("out of memory");  // short enough to need none
    }
    return nullptr;
}

}  // namespace

std::shared_ptr<LogSink> OpenStderrSink(std::string& error) noexcept {
    return OrError(error, [] {
        auto sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
        SetOurPattern(*sink);
        return std::make_shared<SpdlogSink>(std::move(sink));
    });
}

std::shared_ptr<LogSink> OpenRotatingFileSink(const std::string& path, size_t maxBytes, size_t files,
                                              std::string& error) noexcept {
    return OrError(error, [&path, maxBytes, files] {
        if (path.empty()) {
            throw std::invalid_argument("the log file has no name");
        }
        if (maxBytes == 0) {
            throw std::invalid_argument("the log file " + path + " must be allowed at least 1 byte");
        }
        if (files == 0) {
            throw std::invalid_argument("of the log file " + path + " at least 1 file must be kept");
        }
        return std::make_shared<RotatingFileSink>(path, maxBytes, files);
    });
}

std::shared_ptr<LogSink> WrapSpdlogSink(std::shared_ptr<spdlog::sinks::sink> sink, std::string& error) noexcept {
    return OrError(error, [&sink] {
        if (sink == nullptr) {
            throw std::invalid_argument("there is no sink to wrap");
        }
        return std::make_shared<SpdlogSink>(std::move(sink));
    });
}

std::string PriorityName(int32_t priority) {
    switch (priority) {
        case LOG_PRIORITY_NULL:
            return "NULL";
        case LOG_PRIORITY_FATAL:
            return "FATAL";
        case LOG_PRIORITY_ALERT:
            return "ALERT";
        case LOG_PRIORITY_CRIT:
            return "CRIT";
        case LOG_PRIORITY_ERROR:
            return "ERROR";
        case LOG_PRIORITY_WARN:
            return "WARN";
        case LOG_PRIORITY_NOTICE:
            return "NOTICE";
        case LOG_PRIORITY_INFO:
            return "INFO";
        case LOG_PRIORITY_DEBUG:
            return "DEBUG";
        case LOG_PRIORITY_TRACE:
            return "TRACE";
        case LOG_PRIORITY_NOTSET:
            return "NOTSET";
        case LOG_PRIORITY_UNKNOWN:
            return "UNKNOWN";
        default:
            return "priority " + std::to_string(priority);
    }
}

namespace {

// Appends `text` as it can stand in one line of a terminal. Bytes beyond ASCII are left alone, unless
// the message is binary and they are no text.
void AppendVisible(std::string& line, const char* text, size_t length, bool isBinary) {
    static const char HEX[] = "0123456789abcdef";
    for (size_t i = 0; i < length; ++i) {
        const unsigned char byte = static_cast<unsigned char>(text[i]);
        if (byte == '\n') {
            line += "\\n";
        } else if (byte == '\r') {
            line += "\\r";
        } else if (byte == '\t') {
            line += "\\t";
        } else if (byte < 0x20 || byte == 0x7f || (isBinary && byte > 0x7f)) {
            line += "\\x";
            line += HEX[byte >> 4];
            line += HEX[byte & 0xf];
        } else {
            line += static_cast<char>(byte);
        }
    }
}

}  // namespace

std::string ShowEvent(const LogEvent& event) {
    const size_t length = static_cast<size_t>(event.evt_msg_len);
    std::string line;
    line.reserve(length + 128);
    line += PriorityName(event.evt_priority);
    if (event.evt_loc != nullptr && event.evt_loc->loc_file != nullptr) {
        line += ' ';
        line += event.evt_loc->loc_file;
        line += ':';
        line += std::to_string(event.evt_loc->loc_line);
    }
    if (event.evt_loc != nullptr && event.evt_loc->loc_function != nullptr) {
        line += ' ';
        line += event.evt_loc->loc_function;
    }
    if (event.evt_id != 0 || event.evt_cls != 0) {
        line += " [id " + std::to_string(event.evt_id) + ", class " + std::to_string(event.evt_cls) + ']';
    }
    line += ": ";
    AppendVisible(line, event.evt_msg, length, event.evt_is_msg_binary != 0);
    return line;
}

}  // namespace OstraneLog
