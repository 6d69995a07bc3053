// What removing and handing out selected elements costs beside the same work written by hand on the
// generated class. comparison.h says how to read the table.
#include <google/protobuf/message.h>
#include <google/protobuf/repeated_field.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "common/protobuf_record_util.h"
#include "comparison.h"
#include "player.pb.h"

#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

namespace {

using demo::Player;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::RepeatedField;
using OstraneCommon::IndexRangeList;

constexpr int MANY = 100000;
constexpr int FEW = 1000;

MutableProtobufField FieldOf(Player& player, const char* name) {
    return {&player, Player::descriptor()->FindFieldByName(name)};
}

IndexRangeList EverySecond(int size) {
    IndexRangeList ranges;
    for (int i = 1; i < size; i += 2) {
        ranges.push_back({i, i});
    }
    return ranges;
}

// ---- Pop of ints

Player Scores() {
    Player player;
    for (int i = 0; i < MANY; ++i) {
        player.add_scores(i);
    }
    return player;
}

void CheckScores(benchmark::State& state, const Player& player, int first, int step) {
    if (player.scores_size() != MANY / 2) {
        state.SkipWithError("wrong size");
        return;
    }
    for (int i = 0; i < MANY / 2; ++i) {
        if (player.scores(i) != first + i * step) {
            state.SkipWithError("wrong element");
            return;
        }
    }
}

#if OSTRANE_HAS_MATCH_WORDS
constexpr double LIMIT_OF_POSITIONS = 2.0;
#else
constexpr double LIMIT_OF_POSITIONS = 3.0;
#endif

// 50,000 lone positions, marked and removed, against remove_if by position.
void PopEverySecondInt(benchmark::State& state) {
    const Player before = Scores();
    IndexRangeList ranges = EverySecond(MANY);
    Player player;
    ProtobufRecord record;
    const auto operation = [&] {
        MutableProtobufField field = FieldOf(player, "scores");
        benchmark::DoNotOptimize(ProtobufRecordUtil(record).PopWithRange(field, ranges, nullptr));
    };
    const auto removeIf = [&] {
        RepeatedField<int32_t>* scores = player.mutable_scores();
        const int32_t* data = scores->data();
        const auto end = std::remove_if(scores->begin(), scores->end(),
                                        [data](const int32_t& score) { return (&score - data) % 2 != 0; });
        scores->Truncate(static_cast<int>(end - scores->begin()));
    };
    Compare(
        state, "remove_if", LIMIT_OF_POSITIONS, 1, [&] { player = before; }, operation, removeIf,
        [&] { CheckScores(state, player, 0, 2); });
}

// The first half, against a memmove of the rest behind the calls that reach the container, and one
// look at every word of the marks.
void PopHalfTheInts(benchmark::State& state) {
    const Player before = Scores();
    IndexRangeList ranges = {{0, MANY / 2 - 1}};
    Player player;
    ProtobufRecord record;
    const auto operation = [&] {
        MutableProtobufField field = FieldOf(player, "scores");
        benchmark::DoNotOptimize(ProtobufRecordUtil(record).PopWithRange(field, ranges, nullptr));
    };
    std::vector<bool> marks(MANY);
    std::fill(marks.begin(), marks.begin() + MANY / 2, true);
    const FieldDescriptor* fieldDesc = Player::descriptor()->FindFieldByName("scores");
    const auto limit = [&] {
        RepeatedField<int32_t>* scores = player.GetReflection()->MutableRepeatedField<int32_t>(&player, fieldDesc);
        uint64_t any = 0;
        for (size_t begin = 0; begin < marks.size(); begin += OstraneCommon::MATCH_WORD_BITS) {
            any |= OstraneCommon::MatchWord(marks, begin / OstraneCommon::MATCH_WORD_BITS);
        }
        benchmark::DoNotOptimize(any);
        int32_t* data = scores->mutable_data();
        memmove(data, data + MANY / 2, MANY / 2 * sizeof(int32_t));
        scores->Truncate(MANY / 2);
    };
    Compare(
        state, "limit", 1.5, 1, [&] { player = before; }, operation, limit,
        [&] { CheckScores(state, player, MANY / 2, 1); });
}

// ---- Strings and messages

struct Tags {
    static constexpr const char* FIELD = "tags";
    static auto* Of(Player& player) { return player.mutable_tags(); }
    static std::string Element(int i) { return "a tag that is longer than a string object " + std::to_string(i); }
    static bool IsElement(const Player& player, int at, int i) { return player.tags(at) == Element(i); }
    static bool IsEmpty(const Player& player, int at) { return player.tags(at).empty(); }
    static void Add(Player& player, int i) { player.add_tags(Element(i)); }
    static void Copy(const Player& from, int i, Player& to) { to.add_tags(from.tags(i)); }
    static void Move(Player& from, int i, Player& to) { to.add_tags()->swap(*from.mutable_tags(i)); }
};

struct Offers {
    static constexpr const char* FIELD = "offers";
    static auto* Of(Player& player) { return player.mutable_offers(); }
    static bool IsElement(const Player& player, int at, int i) {
        return player.offers(at).expires() == i && player.offers(at).sku() == Tags::Element(i);
    }
    static bool IsEmpty(const Player& player, int at) { return player.offers(at).ByteSizeLong() == 0; }
    static void Add(Player& player, int i) {
        demo::Offer* offer = player.add_offers();
        offer->set_sku(Tags::Element(i));
        offer->set_price(i);
        offer->set_expires(i);
    }
    static void Copy(const Player& from, int i, Player& to) { *to.add_offers() = from.offers(i); }
    static void Move(Player& from, int i, Player& to) { to.add_offers()->Swap(from.mutable_offers(i)); }
};

template <typename Elements>
Player Filled() {
    Player player;
    for (int i = 0; i < FEW; ++i) {
        Elements::Add(player, i);
    }
    return player;
}

template <typename Elements>
void PopEverySecond(benchmark::State& state) {
    const Player before = Filled<Elements>();
    IndexRangeList ranges = EverySecond(FEW);
    std::unique_ptr<Player> player;
    ProtobufRecord record;
    const auto operation = [&] {
        MutableProtobufField field = FieldOf(*player, Elements::FIELD);
        benchmark::DoNotOptimize(ProtobufRecordUtil(record).PopWithRange(field, ranges, nullptr));
    };
    const auto byHand = [&] {
        auto* elements = Elements::Of(*player);
        int left = 0;
        for (int i = 0; i < FEW; ++i) {
            if (i % 2 == 0) {
                elements->SwapElements(left++, i);
            }
        }
        elements->DeleteSubrange(left, FEW - left);
    };
    Compare(
        state, "by_hand", 1.1, 1, [&] { player = std::make_unique<Player>(before); }, operation, byHand,
        [&] {
            for (int i = 0; i < FEW / 2; ++i) {
                if (Elements::Of(*player)->size() != FEW / 2 || !Elements::IsElement(*player, i, 2 * i)) {
                    state.SkipWithError("wrong result");
                }
            }
        });
}

// Every second element, with its position, into an empty field.
template <typename Elements, bool IS_MOVE>
void GetEverySecond(benchmark::State& state) {
    const Player before = Filled<Elements>();
    IndexRangeList ranges = EverySecond(FEW);
    std::unique_ptr<Player> source;
    std::unique_ptr<Player> target;
    std::vector<int> positions;
    ProtobufRecord record;
    const auto prepare = [&] {
        source = std::make_unique<Player>(before);
        target = std::make_unique<Player>();
        positions = std::vector<int>();
    };
    const auto operation = [&] {
        ProtobufField from = {source.get(), FieldOf(*source, Elements::FIELD).m_pFieldDesc};
        MutableProtobufField to = FieldOf(*target, Elements::FIELD);
        benchmark::DoNotOptimize(
            ProtobufRecordUtil(record).GetWithRange(from, IS_MOVE, ranges, nullptr, to, &positions));
    };
    const auto byHand = [&] {
        Elements::Of(*target)->Reserve(FEW / 2);
        positions.reserve(FEW / 2);
        for (int i = 1; i < FEW; i += 2) {
            if (IS_MOVE) {
                Elements::Move(*source, i, *target);
            } else {
                Elements::Copy(*source, i, *target);
            }
            positions.push_back(i);
        }
    };
    Compare(state, "by_hand", 1.3, 1, prepare, operation, byHand, [&] {
        for (int i = 0; i < FEW / 2; ++i) {
            const bool isTaken = positions.size() == FEW / 2 && positions[static_cast<size_t>(i)] == 2 * i + 1 &&
                                 Elements::IsElement(*target, i, 2 * i + 1);
            const bool isLeft =
                IS_MOVE ? Elements::IsEmpty(*source, 2 * i + 1) : Elements::IsElement(*source, 2 * i + 1, 2 * i + 1);
            if (!isTaken || !isLeft) {
                state.SkipWithError("wrong result");
            }
        }
    });
}

OSTRANE_COMPARISON(PopEverySecondInt);
OSTRANE_COMPARISON(PopHalfTheInts);
OSTRANE_COMPARISON(PopEverySecond<Tags>);
OSTRANE_COMPARISON(PopEverySecond<Offers>);
OSTRANE_COMPARISON(GetEverySecond<Tags, false>);
OSTRANE_COMPARISON(GetEverySecond<Tags, true>);
OSTRANE_COMPARISON(GetEverySecond<Offers, false>);
OSTRANE_COMPARISON(GetEverySecond<Offers, true>);

}  // namespace

int main(int argc, char** argv) {
    return RunComparisons(argc, argv);
}
