// Statements put together at random, on the sample record: whatever they are, nothing aborts, a failure changes
// nothing, the operations beneath never complain, and what comes out can be read back.
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "player_record.h"
#include "support/captured_log.h"

namespace {

using namespace OstraneRecord;

class Maker {
public:
    explicit Maker(uint32_t seed) : m_random(seed) {}

    std::string List() {
        std::string list = Statement();
        while (Chance(3)) {
            list += "; " + Statement();
        }
        return list;
    }

    int Below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(m_random); }
    bool Chance(int oneIn) { return Below(oneIn) == 0; }

private:
    std::string Pick(const std::vector<std::string>& choices) {
        return choices[static_cast<size_t>(Below(static_cast<int>(choices.size())))];
    }

    std::string Statement() {
        switch (Below(7)) {
            case 0:
                return Pick({"GET ", "TAKE ", "POP "}) + Path() + Where();
            case 1:
                return "CLEAR " + Path();
            case 2:
                return "PUSH " + Path() + " = " + Value(2);
            case 3:
                return "PUSH " + Path() + " FROM " + Path();
            case 4:
                return "SET " + Path() + " FROM " + Path();
            default:
                return "SET " + Path() + " = " + Value(2) + Where();
        }
    }

    std::string Field() {
        return Pick({"scores", "tags",   "history", "attendance", "laps",  "keys",    "items",
                     "inbox",  "offers", "quests",  "level",      "hits",  "balance", "avatar",
                     "rank",   "name",   "active",  "profile",    "hand",  "attrs",   "byId",
                     "flags",  "odds",   "phone",   "postal",     "guild", "stats",   "series"});
    }
    std::string Index() { return std::to_string(Below(8) - 3); }
    std::string Selector() {
        switch (Below(6)) {
            case 0:
                return "[*]";
            case 1:
                return "[" + Index() + "]";
            case 2:
                return "[" + std::to_string(Below(3)) + ".." + std::to_string(2 + Below(4)) + "]";
            case 3:
                return "[" + Index() + ", " + Index() + ".." + "]";
            case 4:
                return Pick({"['hp']", "[7]", "[true]", "[-1]"});
            default:
                return "";
        }
    }
    std::string Path() {
        switch (Below(12)) {
            case 0:
                return "items[" + Index() + "]." + Pick({"qty", "tags", "origin", "origin.city", "state", "sku"}) +
                       Selector();
            case 1:
                return "quests[" + Index() + "].steps" + Selector() + Pick({"", ".name", ".steps", ".done"});
            case 2:
                return "byId[" + Pick({"7", "-1", "3"}) + "]" + Pick({"", ".city", ".position"});
            case 3:
                return "profile." + Pick({"address", "address.city", "languages", "email", "address.position"}) +
                       Selector();
            case 4:
                return "series." +
                       Pick({"int32_values", "enum_values", "string_values", "float_values", "uint64_values"}) +
                       Selector();
            case 5:
                return Pick({"[demo.visits]", "[demo.nickname]", "guild.ranks", "guild.title", "items[*].qty",
                             "items[0..1].tags", "items[*].origin.city", "attrs['hp']"});
            default:
                return Field() + Selector();
        }
    }
    std::string Scalar() {
        return Pick({"0",
                     "1",
                     "-1",
                     "4294967295",
                     "18446744073709551615",
                     "1.5",
                     "-inf",
                     "nan",
                     "true",
                     "false",
                     "null",
                     "'a'",
                     "'OPEN'",
                     "'LEGEND'",
                     "''",
                     "x'00FF'",
                     "$",
                     "$ + 1",
                     "qty",
                     "level * 2",
                     "coalesce(hits, 1)",
                     "size(scores)",
                     "$$.name",
                     "sku",
                     "1 / (level - 12)"});
    }
    std::string Value(int depth) {
        switch (depth == 0 ? 9 : Below(10)) {
            case 0:
                return "[" + Value(depth - 1) + ", " + Value(depth - 1) + "]";
            case 1:
                return Pick({"{}", "[]"});
            case 2:
                return "{sku: 'x', qty: " + Scalar() + "}";
            case 3:
                return "[{sku: 'x', qty: 1, tags: ['t'], origin: {city: " + Scalar() + "}}, {sku: 'y', qty: 2}]";
            case 4:
                return "{city: 'c', position: " + Value(depth - 1) + "}";
            case 5:
                return "{" + Pick({"'hp'", "7", "true"}) + ": " + Value(depth - 1) + "}";
            case 6:
                return "{name: 'n', steps: [{name: " + Scalar() + "}]}";
            default:
                return Scalar();
        }
    }
    std::string Where() {
        return Chance(2) ? ""
                         : " WHERE " + Pick({"$ > 1", "qty < 5", "state = 'OPEN'", "$ = 'a'", "expires IS NULL", "true",
                                             "$ IN (1, 20)", "10 / $ = 1", "name LIKE '%'", "$ CONTAINS 'n'"});
    }

    std::mt19937 m_random;
};

void RunRandomLists(uint32_t seed, int count) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::ifstream in(std::string(OSTRANE_EXAMPLES) + "/player.txtpb");
    std::stringstream text;
    text << in.rdbuf();
    const std::unique_ptr<google::protobuf::Message> sample = PlayerRecord::NewPlayer();
    ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(text.str(), sample.get()));
    PlayerRecord player;
    CapturedLog log;
    player.Record().m_pLog = log.Category();
    Maker maker(seed);
    int succeeded = 0;
    for (int i = 0; i < count; ++i) {
        if (i % 8 == 0) {
            player.Message().CopyFrom(*sample);
        }
        const std::string before = player.Message().ShortDebugString();
        const std::string list = maker.List();
        SCOPED_TRACE(list);
        if (player.Run(list) != 0) {
            ASSERT_EQ(player.Message().ShortDebugString(), before);
            ASSERT_FALSE(player.Result().error.message.empty());
        } else {
            ++succeeded;
        }
        ASSERT_TRUE(player.Message().IsInitialized()) << player.Message().InitializationErrorString();
        for (const std::string& line : log.TakeLines()) {
            ASSERT_NE(line.compare(0, 5, "ERROR"), 0) << line;
        }
        std::string bytes;
        ASSERT_TRUE(player.Message().SerializeToString(&bytes));
        ASSERT_TRUE(PlayerRecord::NewPlayer()->ParseFromString(bytes));
    }
    // Enough of them do something for the rest to mean anything.
    EXPECT_GT(succeeded, count / 50);
}

TEST(RandomStatements, NothingAbortsAndFailuresChangeNothing) {
    RunRandomLists(20260731U, 4000);
    RunRandomLists(std::random_device()(), 1000);
}

}  // namespace
