// One plan, many threads, each with records of its own.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "player_record.h"

namespace {

using namespace OstraneRecord;

TEST(SharedPlan, EightThreadsRunOnePlanOnTheirOwnRecords) {
    const std::string text =
        "PUSH scores[1] = :v; SET items[*].qty = qty + :v WHERE sku IN :skus; POP tags[*] WHERE $ LIKE 'a%';"
        "SET attrs['hp'] = coalesce($, 0) + 1; PUSH items[0] FROM hand; GET items[*] WHERE qty > 3;"
        "PUSH history = ['LEGEND', 'ROOKIE']; SET profile = {address: {city: :city}}";
    StatementPlan plan;
    StatementError error;
    ASSERT_EQ(StatementPlan::Compile(text, PlayerRecord::Type(), {}, plan, error), 0) << ShowError(error, text);
    StatementParameters parameters;
    parameters.named["v"] = ParameterValue::MakeInt(7);
    parameters.named["skus"] =
        ParameterValue::MakeList({ParameterValue::MakeString("a"), ParameterValue::MakeString("c")});
    parameters.named["city"] = ParameterValue::MakeString("Oslo");
    BoundPlan bound;
    ASSERT_EQ(plan.Bind(parameters, bound, error), 0) << ShowError(error, text);
    RecordCondition condition;
    ASSERT_EQ(RecordCondition::Compile("size(items) > 1", PlayerRecord::Type(), {}, condition, error), 0);

    const std::string before =
        "scores: [1, 2] items { sku: \"a\" qty: 1 } items { sku: \"b\" qty: 2 } tags: [\"ab\", \"b\"]"
        " hand { sku: \"lamp\" qty: 9 }";
    const std::string expected =
        "scores: 1 scores: 7 scores: 2 tags: \"b\" history: LEGEND history: ROOKIE profile { address { city: \"Oslo\" "
        "} }"
        " items { sku: \"lamp\" qty: 9 } items { sku: \"a\" qty: 8 } items { sku: \"b\" qty: 2 }"
        " hand { sku: \"lamp\" qty: 9 } attrs { key: \"hp\" value: 1 }";
    std::atomic<int> good{0};
    std::vector<std::thread> threads;
    constexpr int kThreads = 8;
    constexpr int kRecords = 50;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&]() {
            for (int i = 0; i < kRecords; ++i) {
                PlayerRecord player(before);
                ExecutionResult result;
                bool holds = false;
                StatementError own;
                const bool isRight = condition.Holds(player.Record(), holds, own) == 0 && holds &&
                                     bound.Execute(player.Record(), result) == 0 && player.Show() == expected &&
                                     result.statements.at(5).matched == 2;
                good += isRight ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, kThreads * kRecords);
}

}  // namespace
