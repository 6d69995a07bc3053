// How a line is logged: a category with priority bounds, and a guarded write.
//
//   OSTRANE_LOG(m_pLog, LOG_PRIORITY_ERROR, "src/common/protobuf_record_util.cpp",
//               "pRepeated(%s) is null", FullName(field).c_str());
//
// The arguments are evaluated only when the line is really written. The functions are those of the
// logging library that the program links; a category may be null, which silences everything.
#ifndef OSTRANE_COMMON_LOG_H_
#define OSTRANE_COMMON_LOG_H_

#include <cstdint>

// Smaller is more severe.
enum LogPriority : int32_t {
    LOG_PRIORITY_NULL = -1,
    LOG_PRIORITY_FATAL = 0,
    LOG_PRIORITY_ALERT = 100,
    LOG_PRIORITY_CRIT = 200,
    LOG_PRIORITY_ERROR = 300,
    LOG_PRIORITY_WARN = 400,
    LOG_PRIORITY_NOTICE = 500,
    LOG_PRIORITY_INFO = 600,
    LOG_PRIORITY_DEBUG = 700,
    LOG_PRIORITY_TRACE = 800,
    LOG_PRIORITY_NOTSET = 900,
    LOG_PRIORITY_UNKNOWN = 1000,
};

// Where lines go and which are wanted. Owned by the logging library or the host.
//
// A bound that is a null pointer, or that points to -1, is no bound. Bounds may change while other
// threads log: they are read and must be written as relaxed atomics.
struct LogCategory {
    int32_t* piPriorityHigh;  // the most severe priority accepted
    int32_t* piPriorityLow;   // the least severe priority accepted
    void* pHost;              // state of the library behind the category
};

// The place of a logging statement.
struct LogLocation {
    const char* loc_file;
    int32_t loc_line;
    const char* loc_function;  // the bare name
    void* loc_data;            // always null here
};

// One line on its way to the library. The writer sets evt_priority, evt_loc, evt_is_msg_binary,
// evt_id and evt_cls; the others are the library's to fill.
struct LogEvent {
    int32_t evt_priority;
    char* evt_msg;
    int32_t evt_msg_len;
    const LogLocation* evt_loc;
    int32_t evt_is_msg_binary;
    uint32_t evt_id;
    uint32_t evt_cls;
    int32_t evt_type;
    int32_t evt_version;
};

// Not 0 when `category`, which must not be null, takes a line of this priority.
int LogCanWrite(LogCategory* category, int32_t priority, uint32_t id, uint32_t cls);

// Formats by printf's rules and writes. `category` and `event` must not be null; `event` and the
// location it points to are read during the call only.
#if defined(__GNUC__)
__attribute__((format(printf, 3, 4)))
#endif
void LogWriteV(LogCategory* category, LogEvent* event, const char* format, ...);

// Whether the bounds of `category` and then the library let a line of `priority` through. A null
// category lets nothing through. Two loads and compares when a bound says no.
inline bool LogIsWanted(LogCategory* category, int32_t priority) {
    if (category == nullptr) {
        return false;
    }
    if (category->piPriorityLow != nullptr) {
        const int32_t low = __atomic_load_n(category->piPriorityLow, __ATOMIC_RELAXED);
        if (low != -1 && low < priority) {
            return false;
        }
    }
    if (category->piPriorityHigh != nullptr) {
        const int32_t high = __atomic_load_n(category->piPriorityHigh, __ATOMIC_RELAXED);
        if (high != -1 && high > priority) {
            return false;
        }
    }
    return LogCanWrite(category, priority, 0, 0) != 0;
}

// The guarded write. A macro, because the format arguments must not be evaluated for a line that is
// not written, and because the line number is that of the place where it stands. `file` is spelled
// out by the user so that a line names the same place wherever the build ran; `function` is given
// where a step speaks for its caller.
//
//   OSTRANE_LOG(category, priority, file, format, arguments...)
//   OSTRANE_LOG_AS(category, priority, file, function, format, arguments...)
#define OSTRANE_LOG(category, priority, file, ...) OSTRANE_LOG_AS(category, priority, file, __func__, __VA_ARGS__)
#define OSTRANE_LOG_AS(category, priority, file, function, ...)                             \
    do {                                                                                    \
        LogCategory* const ostraneLogCategory = (category);                                 \
        if (LogIsWanted(ostraneLogCategory, (priority))) {                                  \
            const LogLocation ostraneLogLocation = {(file), __LINE__, (function), nullptr}; \
            LogEvent ostraneLogEvent;                                                       \
            ostraneLogEvent.evt_priority = (priority);                                      \
            ostraneLogEvent.evt_loc = &ostraneLogLocation;                                  \
            ostraneLogEvent.evt_is_msg_binary = 0;                                          \
            ostraneLogEvent.evt_id = 0;                                                     \
            ostraneLogEvent.evt_cls = 0;                                                    \
            LogWriteV(ostraneLogCategory, &ostraneLogEvent, __VA_ARGS__);                   \
        }                                                                                   \
    } while (false)

#endif  // OSTRANE_COMMON_LOG_H_
