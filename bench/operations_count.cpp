// Runs a fixed list of operations, each once, for `./dev counts`: callgrind counts the instructions of each.
// Without callgrind it only checks that every operation succeeds.
#include <google/protobuf/message.h>
#include <valgrind/callgrind.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/protobuf_field_resolver.h"
#include "element_expr.h"
#include "expr/like_pattern.h"
#include "expr/statement.h"
#include "player.pb.h"
#include "record/codec.h"
#include "record/statement_plan.h"
#include "records.h"

namespace {

using bench::Record;
using demo::Player;
using OstraneCommon::IndexRangeList;
using OstraneRecord::RecordFormat;

constexpr int SIZE = 1000;

int failures = 0;

// `prepare` makes what `work` uses up. The first run fills caches and what protobuf makes on first use; the
// second one is counted. `work` returns 0.
void Count(const std::string& name, const std::function<void()>& prepare, const std::function<int()>& work) {
    int ret = 0;
    for (int i = 0; i < 2; ++i) {
        prepare();
        CALLGRIND_ZERO_STATS;
        ret = work();
        CALLGRIND_DUMP_STATS_AT(name.c_str());
    }
    if (ret != 0) {
        std::fprintf(stderr, "%s failed with %d\n", name.c_str(), ret);
        ++failures;
    }
}

// ---- Field operations

template <typename Type>
void AssignValue(ElementExpr& expr) {
    if constexpr (std::is_arithmetic<typename Type::Element>::value) {
        expr.Assign("$", static_cast<typename Type::Element>(7));
    } else if constexpr (std::is_same<typename Type::Element, std::string>::value) {
        expr.Assign("$", TextOf(Type::BYTES, 7));
    } else {
        expr.Assign("id", 7).Assign("name", TextOf(24, 7));
    }
}

IndexRangeList EverySecond() {
    IndexRangeList ranges;
    for (int i = 1; i < SIZE; i += 2) {
        ranges.push_back({i, i});
    }
    return ranges;
}

template <typename Type>
void CountField() {
    const std::string type = std::string("_") + Type::NAME;
    const Record before = Filled<Type>(SIZE);
    Record record;
    Record source;
    Record target;
    ProtobufRecord host;
    MutableProtobufField field = HandleOf<Type>(record);
    const auto refill = [&] {
        record = before;
        source = before;
        target.Clear();
        // Room for one more, so that no growth is counted.
        Type::Add(record, 0);
        Type::Of(record)->RemoveLast();
    };

    for (const auto& place : {std::make_pair("push_front", 0), std::make_pair("push_back", -1)}) {
        ElementExpr push(OstraneCommon::EXPR_OP_PUSH, place.second);
        AssignValue<Type>(push);
        Count(place.first + type, refill, [&] { return ProtobufRecordUtil(host).PushWithExpr(field, push.Tree()); });
    }
    ElementExpr set(OstraneCommon::EXPR_OP_SET, SIZE / 2);
    AssignValue<Type>(set);
    Count("set" + type, refill, [&] { return ProtobufRecordUtil(host).SetWithExpr(field, set.Tree()); });

    for (const bool isMove : {false, true}) {
        OstraneCommon::PbField run;
        run.SetField(&source, field.m_pFieldDesc, isMove);
        const std::string how = isMove ? "_move" : "_copy";
        Count("set_run" + how + type, refill,
              [&] { return ProtobufRecordUtil(host).SetWithPbField(field, 0, SIZE - 1, run); });
        Count("push_run" + how + type, refill,
              [&] { return ProtobufRecordUtil(host).PushWithPbField(field, -1, run); });
        IndexRangeList ranges = EverySecond();
        Count("get" + how + type, refill, [&] {
            ProtobufField from = {&source, field.m_pFieldDesc};
            MutableProtobufField to = HandleOf<Type>(target);
            return ProtobufRecordUtil(host).GetWithRange(from, isMove, ranges, nullptr, to, nullptr);
        });
    }
    OstraneCommon::PbField whole;
    whole.SetField(&source, field.m_pFieldDesc, false);
    Count("update" + type, refill,
          [&] { return ProtobufRecordUtil(host).UpdateWithPbField(field, OstraneCommon::EXPR_OP_SET, &whole); });

    IndexRangeList everySecond = EverySecond();
    Count("pop_every_second" + type, refill,
          [&] { return ProtobufRecordUtil(host).PopWithRange(field, everySecond, nullptr); });
    IndexRangeList half = {{0, SIZE / 2 - 1}};
    Count("pop_half" + type, refill, [&] { return ProtobufRecordUtil(host).PopWithRange(field, half, nullptr); });
}

// ---- Conditions and texts

template <typename Type>
void CountFilter(const char* name, const char* condition) {
    const Record record = Filled<Type>(SIZE);
    ProtobufRecord host;
    host.m_pMessage = const_cast<Record*>(&record);
    OstraneCommon::ExprParseContext context;
    OstraneCommon::Expr* filter = nullptr;
    OstraneCommon::ExprError error;
    if (OstraneCommon::Expr::Parse(condition, context, filter, error) != 0) {
        std::fprintf(stderr, "%s: %s\n", condition, error.message.c_str());
        ++failures;
        return;
    }
    std::vector<bool> marks;
    Count(
        std::string("filter_") + name, [&] { marks.clear(); },
        [&] {
            OstraneCommon::ProtobuFieldResolver resolver(host);
            OstraneCommon::ExprVariant array;
            array.m_type = OstraneCommon::EXPR_UNRESOLVE;
            array.m_data.pb.SetField(&record, FieldOf<Type>(), false);
            IndexRangeList all = {{0, -1}};
            int count = 0;
            int first = 0;
            std::string message;
            return filter->FindArrayMatchPositions(resolver, array, all, marks, count, first, message);
        });
}

void CountParse(const char* name, const std::string& text) {
    Count(
        std::string("parse_") + name, [] {},
        [&] {
            OstraneCommon::ExprParseContext context;
            OstraneCommon::StatementList list;
            OstraneCommon::ExprError error;
            return OstraneCommon::ParseStatements(text, context, list, error);
        });
}

// ---- Statements

Player SamplePlayer() {
    Player player;
    player.set_name("Mara");
    player.set_level(3);
    for (int i = 0; i < 200; ++i) {
        player.add_scores(i);
        player.add_tags(TextOf(24, i));
        demo::Item* item = player.add_items();
        item->set_sku(TextOf(12, i));
        item->set_qty(i);
        item->set_state(i % 2 == 0 ? demo::OPEN : demo::SOLD);
        player.add_offers()->set_sku(TextOf(12, i));
    }
    return player;
}

void CountStatement(const char* name, const std::string& text) {
    const Player before = SamplePlayer();
    Player player;
    ProtobufRecord record;
    record.m_pMessage = &player;
    OstraneRecord::StatementError error;
    OstraneRecord::StatementPlan plan;
    Count(
        std::string("compile_") + name, [] {},
        [&] { return OstraneRecord::StatementPlan::Compile(text, Player::descriptor(), {}, plan, error); });
    OstraneRecord::BoundPlan bound;
    OstraneRecord::ExecutionResult result;
    if (plan.Bind({}, bound, error) != 0) {
        std::fprintf(stderr, "%s: %s\n", text.c_str(), error.message.c_str());
        ++failures;
        return;
    }
    Count(
        std::string("execute_") + name, [&] { player = before; }, [&] { return bound.Execute(record, result); });
}

// Every place of the text looks like the part until its end: one tried after the other would compare 2,000 characters
// at each.
void CountLongParts() {
    const std::string text(100000, 'a');
    const std::string part = std::string(2000, 'a') + "b";
    const std::string pattern = "%" + part + "%";
    OstraneCommon::LikePattern like;
    Count(
        "like_long_parts", [] {},
        [&] {
            const bool isReady = like.Compile(pattern.data(), pattern.size(), false);
            return isReady && !like.Matches(text.data(), text.size()) ? 0 : 1;
        });
    Count(
        "find_long_parts", [] {},
        [&] { return OstraneCommon::HasSubstring(text.data(), text.size(), part.data(), part.size()) ? 1 : 0; });
}

void CountCodec(const char* name, RecordFormat format) {
    const Player player = SamplePlayer();
    std::string bytes;
    OstraneRecord::InputError error;
    Count(
        std::string("encode_") + name, [&] { bytes.clear(); },
        [&] { return OstraneRecord::EncodeRecord(format, player, {}, bytes, error); });
    Player read;
    Count(
        std::string("decode_") + name, [] {},
        [&] { return OstraneRecord::DecodeRecord(format, bytes.data(), bytes.size(), {}, read, error); });
}

}  // namespace

int main() {
    CountField<Int32>();
    CountField<Text<24>>();
    CountField<SmallMessage>();
    CountFilter<Int32>("numbers", "$ < 500");
    CountFilter<Int32>("one_by_one", "coalesce($, 0) < 500");
    CountFilter<SmallMessage>("members", "id < 500");
    CountFilter<SmallMessage>("mixed", "name LIKE '1%' OR id IN (1, 2, 3) AND NOT id BETWEEN 5 AND 7");
    CountLongParts();
    CountParse("push", "PUSH scores[1] = 7");
    CountParse("where", "POP scores[0..2, 7] WHERE $ > 10 AND $ < 20");
    Count(
        "parse_ranges", [] {},
        [] {
            IndexRangeList ranges;
            return OstraneCommon::ParseIndexRange("0..2, 7, -3..-1, *, 5.., ..8", ranges);
        });
    CountStatement("push_int", "PUSH scores[1] = 7");
    CountStatement("push_text", "PUSH tags[1] = 'a text that is longer than a string object'");
    CountStatement("push_message", "PUSH offers[1] = {sku: 'a', price: 1.5}");
    CountStatement("push_list", "PUSH scores[1] = [1, 2, 3, 4, 5]");
    CountStatement("push_from", "PUSH scores[1] FROM scores");
    CountStatement("set_field", "SET level = level + 1");
    CountStatement("set_where", "SET items[*].qty = qty + 1 WHERE qty < 100");
    CountStatement("pop_where", "POP items[*] WHERE qty > 100");
    CountStatement("get", "GET items[0..9]");
    CountStatement("take", "TAKE scores[0..9]");
    CountStatement("list", "PUSH scores[0] = 1; POP items[*] WHERE qty > 100");
    CountCodec("binary", RecordFormat::Binary);
    CountCodec("json", RecordFormat::Json);
    CountCodec("text", RecordFormat::Text);
    return failures == 0 ? 0 : 1;
}
