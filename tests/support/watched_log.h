// A log category that calls a test for each line, to see what an operation has done by then.
//
//   std::vector<int> sizes;
//   WatchedLog log([&] { sizes.push_back(message.many_message_size()); });
//   record.m_pLog = log.Category();
//
// Link ostrane_test_support. The WatchedLog outlives the record.
#ifndef OSTRANE_TESTS_SUPPORT_WATCHED_LOG_H_
#define OSTRANE_TESTS_SUPPORT_WATCHED_LOG_H_

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "log/log_category.h"
#include "log/log_sink.h"

class WatchedLog {
public:
    explicit WatchedLog(std::function<void()> onLine)
        : m_channel(std::vector<std::shared_ptr<OstraneLog::LogSink>>{std::make_shared<Sink>(std::move(onLine))}) {}

    LogCategory* Category() { return m_channel.Category(); }

private:
    class Sink : public OstraneLog::LogSink {
    public:
        explicit Sink(std::function<void()> onLine) : m_onLine(std::move(onLine)) {}
        void Write(const LogEvent& /*event*/) override { m_onLine(); }

    private:
        const std::function<void()> m_onLine;
    };

    OstraneLog::LogChannel m_channel;
};

#endif  // OSTRANE_TESTS_SUPPORT_WATCHED_LOG_H_
