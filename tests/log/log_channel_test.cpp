#include "log/log_category.h"

#include <gtest/gtest.h>

#include "support/captured_log.h"

namespace {

constexpr char FILE_NAME[] = "src/common/protobuf_record_util.cpp";

void SetWithExpr(LogCategory* category, const char* name) {
    OSTRANE_LOG(category, LOG_PRIORITY_ERROR, FILE_NAME, "not found field '%s'", name);
}

TEST(CapturedLog, ShowsPriorityPlaceAndText) {
    CapturedLog log;
    SetWithExpr(log.Category(), "x");
    EXPECT_EQ(log.TakeLines(),
              std::vector<std::string>{"ERROR src/common/protobuf_record_util.cpp SetWithExpr: not found field 'x'"});
    EXPECT_EQ(log.Lines(), std::vector<std::string>());
}

}  // namespace
