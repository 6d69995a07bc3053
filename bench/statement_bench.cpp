// What statements cost beside the calls that they are made of: a plan that runs beside the field operation
// with a tree built ahead, and compiling beside parsing the same text.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "common/protobuf_record_util.h"
#include "comparison.h"
#include "expr/statement.h"
#include "player.pb.h"
#include "record/statement_plan.h"

namespace {

using demo::Player;
using OstraneCommon::Expr;
using OstraneCommon::ExprType;
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

// The tree of a push of one value at POSITION.
class PushTree {
public:
    explicit PushTree(int32_t number) {
        m_value.m_self.m_type = OstraneCommon::EXPR_INT;
        m_value.m_self.m_data.valInt64 = number;
        Connect("$");
    }
    PushTree(const char* target, const std::string& text) {
        m_value.m_self.m_type = OstraneCommon::EXPR_STRING;
        m_value.m_self.m_str = text;
        Connect(target);
    }
    PushTree(const PushTree&) = delete;
    PushTree& operator=(const PushTree&) = delete;

    Expr& Tree() { return m_tree; }

private:
    void Connect(const char* target) {
        m_index.m_self.m_type = OstraneCommon::EXPR_INDEX_RANGE;
        m_index.m_self.m_str = std::to_string(POSITION);
        m_assign.m_self.m_type = OstraneCommon::EXPR_ASSIGN;
        m_assign.m_self.m_str = target;
        m_values = {&m_value};
        m_assign.m_operands = &m_values;
        m_operands = {&m_index, &m_assign};
        m_tree.m_self.m_type = OstraneCommon::EXPR_OP_PUSH;
        m_tree.m_operands = &m_operands;
    }

    Expr m_tree;
    Expr m_index;
    Expr m_assign;
    Expr m_value;
    std::vector<Expr*> m_values;
    std::vector<Expr*> m_operands;
};

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
void ComparePush(benchmark::State& state, Player& player, const char* field, const Prepared& prepared, PushTree& tree,
                 const Player& expected, Drop drop) {
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
        state, BINDING == Binding::Once ? 2.0 : 0.0, 100, [&] { player = before; }, operation, byHand,
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
    PushTree tree(PUSHED);
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
    PushTree tree("$", TEXT);
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
    PushTree tree("sku", TEXT);
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

OSTRANE_COMPARISON(PushInt<Binding::Once>);
OSTRANE_COMPARISON(PushInt<Binding::EachTime>);
OSTRANE_COMPARISON(PushText<Binding::Once>);
OSTRANE_COMPARISON(PushText<Binding::EachTime>);
OSTRANE_COMPARISON(PushMessage<Binding::Once>);
OSTRANE_COMPARISON(PushMessage<Binding::EachTime>);

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
        state, 0.0, 20, [] {}, operation, byHand,
        [&] {
            if (compiledCount != 1 || (parsedCount != 0 && parsedCount != 1)) {
                state.SkipWithError("wrong result");
            }
        });
    if (parsedCount != 1) {
        state.SkipWithError("wrong result");
    }
}

#define COMPILE(name, text) BENCHMARK_CAPTURE(CompileText, name, text)->UseManualTime()->Iterations(1)

COMPILE(pop_where, "POP items[*] WHERE qty < 5 AND state = 'OPEN'");
COMPILE(push_parameter, "PUSH scores[1] = ?");
COMPILE(set_members, "SET items[0..2] = {qty: 3, state: 'SOLD'} WHERE sku = 'a'");
#undef COMPILE

}  // namespace

int main(int argc, char** argv) {
    return RunComparisons(argc, argv);
}
