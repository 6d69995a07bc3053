// What statements cost beside the calls that they are made of: a plan that runs beside the field operation
// with a tree built ahead, which reads its index or its ranges from a text, and compiling beside parsing the same
// text.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "common/protobuf_record_util.h"
#include "comparison.h"
#include "element_expr.h"
#include "expr/statement.h"
#include "player.pb.h"
#include "record/statement_plan.h"

namespace {

using demo::Player;
using google::protobuf::FieldDescriptor;
using OstraneCommon::Expr;
using OstraneRecord::BoundPlan;
using OstraneRecord::ExecutionResult;
using OstraneRecord::ParameterValue;
using OstraneRecord::StatementError;
using OstraneRecord::StatementParameters;
using OstraneRecord::StatementPlan;

// ---- Executing beside the field operation

constexpr int POSITION = 1;
constexpr int32_t PUSHED = 7;
const char TEXT[] = "some text that does not fit inside a string object";

// A plan with its one parameter.
struct Prepared {
    Prepared(benchmark::State& state, const char* text, const ParameterValue& value) {
        parameters.positional.push_back(value);
        StatementError error;
        if (StatementPlan::Compile(text, Player::descriptor(), {}, plan, error) != 0 ||
            plan.Bind(parameters, bound, error) != 0) {
            state.SkipWithError(error.message.c_str());
        }
    }

    StatementPlan plan;
    StatementParameters parameters;
    BoundPlan bound;
};

enum class Binding { Once, EachTime };

// Pushes one element at POSITION of 8 and takes the last one away again, whose storage the next push uses:
// what is compared is the push, not the allocator. `drop` takes it away.
template <Binding BINDING, typename Drop>
void ComparePush(benchmark::State& state, Player& player, const char* field, const Prepared& prepared,
                 ElementExpr& tree, const Player& expected, Drop drop) {
    ProtobufRecord record;
    record.m_pMessage = &player;
    MutableProtobufField handle = {&player, Player::descriptor()->FindFieldByName(field)};
    ExecutionResult result;
    const auto operation = [&] {
        drop();
        const int ret = BINDING == Binding::Once ? prepared.bound.Execute(record, result)
                                                 : prepared.plan.Execute(record, prepared.parameters, result);
        benchmark::DoNotOptimize(ret);
    };
    const auto byHand = [&] {
        drop();
        benchmark::DoNotOptimize(ProtobufRecordUtil(record).PushWithExpr(handle, tree.Tree()));
    };
    const Player before = player;
    Compare(
        state, "direct", BINDING == Binding::Once ? 2.0 : 0.0, 100, [&] { player = before; }, operation, byHand,
        [&] {
            if (player.SerializePartialAsString() != expected.SerializePartialAsString()) {
                state.SkipWithError("wrong result");
            }
        });
    if (result.code != 0 || result.statements.size() != 1 || result.statements[0].changed != 1 ||
        result.statements[0].positions != std::vector<int32_t>{POSITION}) {
        state.SkipWithError("wrong result");
    }
}

template <Binding BINDING>
void PushInt(benchmark::State& state) {
    const Prepared prepared(state, "PUSH scores[1] = ?", ParameterValue::MakeInt(PUSHED));
    ElementExpr tree(OstraneCommon::EXPR_OP_PUSH, POSITION);
    tree.Assign("$", PUSHED);
    Player player;
    Player expected;
    for (const int score : {10, 20, 30, 40, 50, 60, 70, 80, 90}) {
        player.add_scores(score);
    }
    for (const int score : {10, 7, 20, 30, 40, 50, 60, 70, 80}) {
        expected.add_scores(score);
    }
    // Of the 9 the last one is dropped before each push, and the one pushed takes the second place.
    ComparePush<BINDING>(state, player, "scores", prepared, tree, expected,
                         [&player] { player.mutable_scores()->RemoveLast(); });
}

template <Binding BINDING>
void PushText(benchmark::State& state) {
    const Prepared prepared(state, "PUSH tags[1] = ?", ParameterValue::MakeString(TEXT));
    ElementExpr tree(OstraneCommon::EXPR_OP_PUSH, POSITION);
    tree.Assign("$", std::string(TEXT));
    Player player;
    Player expected;
    for (int i = 0; i < 9; ++i) {
        player.add_tags(std::string(TEXT) + std::to_string(i));
        expected.add_tags(i == POSITION ? TEXT : std::string(TEXT) + std::to_string(i < POSITION ? i : i - 1));
    }
    ComparePush<BINDING>(state, player, "tags", prepared, tree, expected,
                         [&player] { player.mutable_tags()->RemoveLast(); });
}

template <Binding BINDING>
void PushMessage(benchmark::State& state) {
    const Prepared prepared(state, "PUSH offers[1] = {sku: ?}", ParameterValue::MakeString(TEXT));
    ElementExpr tree(OstraneCommon::EXPR_OP_PUSH, POSITION);
    tree.Assign("sku", std::string(TEXT));
    Player player;
    Player expected;
    for (int i = 0; i < 9; ++i) {
        player.add_offers()->set_sku(std::string(TEXT) + std::to_string(i));
        expected.add_offers()->set_sku(i == POSITION ? TEXT
                                                     : std::string(TEXT) + std::to_string(i < POSITION ? i : i - 1));
    }
    ComparePush<BINDING>(state, player, "offers", prepared, tree, expected,
                         [&player] { player.mutable_offers()->RemoveLast(); });
}

// ---- The other operations, on what they leave as it was, or on a fresh record each time

// `direct` is the field operation; `isSpent`: it leaves nothing for a second run.
template <typename Operation>
void CompareExecute(benchmark::State& state, const Player& before, const Player& expected, const char* field,
                    const Prepared& prepared, Operation direct, bool isSpent) {
    constexpr int BATCH = 50;
    std::vector<Player> players;
    size_t next = 0;
    ProtobufRecord record;
    ExecutionResult result;
    const FieldDescriptor* fieldDesc = Player::descriptor()->FindFieldByName(field);
    const auto refill = [&] {
        players.assign(isSpent ? BATCH : 1, before);
        next = 0;
    };
    const auto take = [&]() -> Player& { return players[isSpent ? next++ : 0]; };
    Compare(
        state, "direct", 2.0, BATCH, refill,
        [&] {
            record.m_pMessage = &take();
            benchmark::DoNotOptimize(prepared.bound.Execute(record, result));
        },
        [&] {
            Player& player = take();
            record.m_pMessage = &player;
            MutableProtobufField handle = {&player, fieldDesc};
            benchmark::DoNotOptimize(direct(record, handle));
        },
        [&] {
            if (players.front().SerializePartialAsString() != expected.SerializePartialAsString()) {
                state.SkipWithError("wrong result");
            }
        });
}

Player EightOfAll() {
    Player player;
    for (int i = 0; i < 8; ++i) {
        player.add_scores(i * 10);
        demo::Offer* offer = player.add_offers();
        offer->set_sku(TEXT);
        offer->set_price(i);
    }
    return player;
}

void SetInt(benchmark::State& state) {
    const Prepared prepared(state, "SET scores[1] = ?", ParameterValue::MakeInt(PUSHED));
    ElementExpr expr(OstraneCommon::EXPR_OP_SET, POSITION);
    expr.Assign("$", PUSHED);
    Player expected = EightOfAll();
    expected.set_scores(POSITION, PUSHED);
    CompareExecute(
        state, EightOfAll(), expected, "scores", prepared,
        [&expr](ProtobufRecord& record, MutableProtobufField& handle) {
            return ProtobufRecordUtil(record).SetWithExpr(handle, expr.Tree());
        },
        false);
}

void SetMember(benchmark::State& state) {
    const Prepared prepared(state, "SET offers[1] = {price: ?}", ParameterValue::MakeDouble(PUSHED));
    ElementExpr expr(OstraneCommon::EXPR_OP_SET, POSITION);
    expr.Assign("price", static_cast<double>(PUSHED));
    Player expected = EightOfAll();
    expected.mutable_offers(POSITION)->set_price(PUSHED);
    CompareExecute(
        state, EightOfAll(), expected, "offers", prepared,
        [&expr](ProtobufRecord& record, MutableProtobufField& handle) {
            return ProtobufRecordUtil(record).SetWithExpr(handle, expr.Tree());
        },
        false);
}

void PopInts(benchmark::State& state) {
    const Prepared prepared(state, "POP scores[1..2, ?]", ParameterValue::MakeInt(5));
    OstraneCommon::Expr ranges;
    ranges.m_self.m_type = OstraneCommon::EXPR_INDEX_RANGE;
    ranges.m_self.m_str = "1..2, 5";
    std::vector<Expr*> operands = {&ranges};
    Expr tree;
    tree.m_self.m_type = OstraneCommon::EXPR_OP_POP;
    tree.m_operands = &operands;
    Player expected = EightOfAll();
    expected.clear_scores();
    for (const int score : {0, 30, 40, 60, 70}) {
        expected.add_scores(score);
    }
    CompareExecute(
        state, EightOfAll(), expected, "scores", prepared,
        [&tree](ProtobufRecord& record, MutableProtobufField& handle) {
            return ProtobufRecordUtil(record).PopWithExpr(handle, tree);
        },
        true);
}

// The same beside the call that has its ranges already.
void PopIntRanges(benchmark::State& state) {
    const Prepared prepared(state, "POP scores[1..2, ?]", ParameterValue::MakeInt(5));
    OstraneCommon::IndexRangeList ranges = {{1, 2}, {5, 5}};
    Player expected = EightOfAll();
    expected.clear_scores();
    for (const int score : {0, 30, 40, 60, 70}) {
        expected.add_scores(score);
    }
    CompareExecute(
        state, EightOfAll(), expected, "scores", prepared,
        [&ranges](ProtobufRecord& record, MutableProtobufField& handle) {
            return ProtobufRecordUtil(record).PopWithRange(handle, ranges, nullptr);
        },
        true);
}

// The call binds its filter to the type each time, the plan has it bound.
void PopWhere(benchmark::State& state) {
    const Prepared prepared(state, "POP offers[*] WHERE price > ?", ParameterValue::MakeDouble(3.5));
    OstraneCommon::ExprParseContext context;
    Expr* filter = nullptr;
    OstraneCommon::ExprError error;
    if (Expr::Parse("price > 3.5", context, filter, error) != 0) {
        state.SkipWithError(error.message.c_str());
        return;
    }
    Player expected = EightOfAll();
    expected.mutable_offers()->DeleteSubrange(4, 4);
    CompareExecute(
        state, EightOfAll(), expected, "offers", prepared,
        [filter](ProtobufRecord& record, MutableProtobufField& handle) {
            OstraneCommon::IndexRangeList all = {{0, -1}};
            return ProtobufRecordUtil(record).PopWithRange(handle, all, filter);
        },
        true);
}

// ---- Compiling beside parsing

// Includes what both leave behind: the trees, and of the plan what it needs to run.
void CompileText(benchmark::State& state, const char* written) {
    const std::string text = written;
    size_t compiledCount = 0;
    size_t parsedCount = 0;
    const auto operation = [&] {
        StatementPlan plan;
        StatementError error;
        benchmark::DoNotOptimize(StatementPlan::Compile(text, Player::descriptor(), {}, plan, error));
        compiledCount = plan.StatementCount();
    };
    const auto byHand = [&] {
        OstraneCommon::ExprParseContext context;
        OstraneCommon::StatementList list;
        OstraneCommon::ExprError error;
        benchmark::DoNotOptimize(OstraneCommon::ParseStatements(text, context, list, error));
        parsedCount = list.statements.size();
    };
    Compare(
        state, "parse", 0.0, 20, [] {}, operation, byHand,
        [&] {
            if (compiledCount != 1 || (parsedCount != 0 && parsedCount != 1)) {
                state.SkipWithError("wrong result");
            }
        });
    if (parsedCount != 1) {
        state.SkipWithError("wrong result");
    }
}

}  // namespace

int main(int argc, char** argv) {
    RegisterComparison("execute_push/int32/bound", PushInt<Binding::Once>);
    RegisterComparison("execute_push/string50/bound", PushText<Binding::Once>);
    RegisterComparison("execute_push/message/bound", PushMessage<Binding::Once>);
    RegisterComparison("execute_set/int32/bound", SetInt);
    RegisterComparison("execute_set/message/bound", SetMember);
    RegisterComparison("execute_pop/int32/bound", PopInts);
    RegisterComparison("execute_pop/ranges/bound", PopIntRanges);
    RegisterComparison("execute_pop/where/bound", PopWhere);
    RegisterComparison("execute_push/int32/unbound", PushInt<Binding::EachTime>);
    RegisterComparison("execute_push/string50/unbound", PushText<Binding::EachTime>);
    RegisterComparison("execute_push/message/unbound", PushMessage<Binding::EachTime>);
    const std::pair<const char*, const char*> texts[] = {
        {"pop_where", "POP items[*] WHERE qty < 5 AND state = 'OPEN'"},
        {"push_parameter", "PUSH scores[1] = ?"},
        {"set_members", "SET items[0..2] = {qty: 3, state: 'SOLD'} WHERE sku = 'a'"},
    };
    for (const auto& text : texts) {
        RegisterComparison(std::string("compile/") + text.first,
                           [text](benchmark::State& state) { CompileText(state, text.second); });
    }
    return RunComparisons(argc, argv);
}
