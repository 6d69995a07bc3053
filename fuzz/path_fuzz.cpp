// Paths, of any bytes, into a filled record: a statement's path and a name in an expression are read alike, what
// is refused has its place, and reading through a path changes nothing and hands out what it says it selects.
#include <google/protobuf/text_format.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "common/protobuf_record.h"
#include "expr/statement.h"
#include "player.pb.h"
#include "record/statement_plan.h"

namespace {

using namespace OstraneRecord;

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

const demo::Player& Sample() {
    static const demo::Player* const sample = [] {
        auto* const player = new demo::Player();
        Require(google::protobuf::TextFormat::ParseFromString(
            "name: 'a' level: 3 scores: [1, 2, 3] tags: 'x' history: ROOKIE profile { address { city: 'c' position: 1 "
            "} }"
            " items { sku: 's' qty: 1 tags: 't' } items { sku: 'u' qty: 2 origin { city: 'd' } } quests { steps { "
            "name: 'q' } }"
            " attrs { key: 'hp' value: 5 } byId { key: 7 value { city: 'e' } } flags { key: true value: 'f' }"
            " phone: 9 Guild { title: 'g' ranks: 1 } series { int32_values: 4 } [demo.nickname]: 'n' [demo.visits]: 8",
            player));
        return player;
    }();
    return *sample;
}

// The path alone, without a selector of several positions, is a name of the record's.
void RequireSameName(const std::string& path) {
    using namespace OstraneCommon;
    ExprParseContext context;
    StatementList list;
    ExprError error;
    if (ParseStatements("GET " + path, context, list, error) != 0 || list.statements.size() != 1 ||
        list.statements[0].where != nullptr) {
        return;
    }
    const std::vector<PathStep>& steps = list.statements[0].path.steps;
    for (const PathStep& step : steps) {
        if (step.subscript != nullptr && step.subscript->m_self.m_type == EXPR_INDEX_RANGE) {
            return;
        }
    }
    const size_t begin = path.find_first_not_of(" \t\r\n");
    if (path[begin] == '$' || path.find("--") != std::string::npos || path.find(';') != std::string::npos) {
        return;
    }
    NamePath name;
    // An extension that comes first may have its dot already.
    const std::string start = path[begin] == '.' ? "$$" : "$$.";
    Require(ParseName(start + path.substr(begin), context, name, error) == 0);
    Require(name.steps.size() == steps.size());
    for (size_t i = 0; i < steps.size(); ++i) {
        Require(name.steps[i].name == steps[i].name && name.steps[i].isExtension == steps[i].isExtension);
        Require((name.steps[i].subscript == nullptr) == (steps[i].subscript == nullptr));
        Require(steps[i].subscript == nullptr ||
                name.steps[i].subscript->m_self.ToStr() == steps[i].subscript->m_self.ToStr());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path(reinterpret_cast<const char*>(data), size);
    RequireSameName(path);

    const std::string text = "GET " + path;
    StatementPlan plan;
    StatementError error;
    const int compiled = StatementPlan::Compile(text, demo::Player::descriptor(), {}, plan, error);
    if (compiled != 0) {
        Require(compiled < 0 && error.code == compiled && !error.message.empty());
        Require(error.offset + error.length <= text.size() && !ShowError(error, text).empty());
        return 0;
    }
    if (plan.StatementCount() != 1 || plan.Changes(0)) {
        return 0;
    }
    demo::Player player = Sample();
    const std::string before = player.SerializeAsString();
    ProtobufRecord record;
    record.m_pMessage = &player;
    ExecutionResult result;
    if (plan.Execute(record, {}, result) == 0) {
        const StatementResult& got = result.statements[0];
        Require(static_cast<size_t>(got.matched) == got.elements.size() && got.changed == 0);
        Require(got.sizeBefore == got.sizeAfter && got.matched <= got.sizeBefore);
        for (const int32_t position : got.positions) {
            Require(position >= 0 && position < got.sizeBefore);
        }
    }
    Require(player.SerializeAsString() == before);
    return 0;
}
