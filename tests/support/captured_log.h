// A log category whose lines a test reads back.
//
//   CapturedLog log;
//   record.m_pLog = log.Category();
//   ...
//   EXPECT_EQ(log.Lines(), (std::vector<std::string>{
//       "ERROR src/common/protobuf_record_util.cpp SetWithExpr: require only 1 assign expr, but 2"}));
//
// Link ostrane_test_support. The CapturedLog outlives the record.
#ifndef OSTRANE_TESTS_SUPPORT_CAPTURED_LOG_H_
#define OSTRANE_TESTS_SUPPORT_CAPTURED_LOG_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "log/log_category.h"
#include "log/log_sink.h"

class CapturedLog {
public:
    // Takes every priority; Channel().SetBounds and SetAccepting narrow that.
    CapturedLog()
        : m_capture(std::make_shared<OstraneLog::CaptureSink>()),
          m_channel(std::vector<std::shared_ptr<OstraneLog::LogSink>>{m_capture}) {}

    LogCategory* Category() { return m_channel.Category(); }
    OstraneLog::LogChannel& Channel() { return m_channel; }

    // Each line as "PRIORITY file function: text". The line number moves with every edit and is left out.
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        for (const OstraneLog::CapturedLine& line : Captured()) {
            lines.push_back(Show(line));
        }
        return lines;
    }

    // The lines since the last call, in the same form.
    std::vector<std::string> TakeLines() {
        std::vector<std::string> lines = Lines();
        Clear();
        return lines;
    }

    // The lines with all that the event carried, the line number included.
    std::vector<OstraneLog::CapturedLine> Captured() const { return m_capture->Lines(); }
    void Clear() { m_capture->Clear(); }

    static std::string Show(const OstraneLog::CapturedLine& line) {
        return OstraneLog::PriorityName(line.priority) + ' ' + line.file + ' ' + line.function + ": " + line.text;
    }

private:
    const std::shared_ptr<OstraneLog::CaptureSink> m_capture;
    OstraneLog::LogChannel m_channel;
};

#endif  // OSTRANE_TESTS_SUPPORT_CAPTURED_LOG_H_
