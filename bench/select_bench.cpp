// Removing and handing out selected elements. comparison.h says how to read the rows.
//
// `by_hand` is the best loop on the generated class that knows what leaves: for every second scalar one in steps
// of two, beside which `remove_if` asks for each position as a program does that is told a list of positions.
// `limit`, of a contiguous pop, is a memmove of what stays behind the calls that reach the container, and one
// look at every word of the marks.
#include <google/protobuf/message.h>

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <vector>

#include "records.h"

#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

namespace {

using bench::Record;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::RepeatedField;
using OstraneCommon::IndexRangeList;

template <typename Type>
constexpr bool IS_SCALAR = std::is_arithmetic<typename Type::Element>::value;

IndexRangeList EverySecond(int size) {
    IndexRangeList ranges;
    for (int i = 1; i < size; i += 2) {
        ranges.push_back({i, i});
    }
    return ranges;
}

// The record of every `step`-th element from `first` on.
template <typename Type>
Record Chosen(int size, int first, int step) {
    Record record;
    for (int i = first; i < size; i += step) {
        Type::Add(record, i);
    }
    return record;
}

template <typename Type>
void PopEverySecondByHand(Record& record) {
    auto* elements = Type::Of(record);
    const int size = elements->size();
    int left = 0;
    if constexpr (IS_SCALAR<Type>) {
        auto* data = elements->mutable_data();
        for (int i = 0; i < size; i += 2) {
            data[left++] = data[i];
        }
        elements->Truncate(left);
    } else {
        for (int i = 0; i < size; i += 2) {
            elements->SwapElements(left++, i);
        }
        elements->DeleteSubrange(left, size - left);
    }
}

template <typename Type>
void PopEverySecondByRemoveIf(Record& record) {
    auto* elements = Type::Of(record);
    const auto* data = elements->data();
    const auto end = std::remove_if(elements->begin(), elements->end(),
                                    [data](const auto& element) { return (&element - data) % 2 != 0; });
    elements->Truncate(static_cast<int>(end - elements->begin()));
}

template <typename Type>
void ComparePopEverySecond(benchmark::State& state, int size, Where where) {
    Supply records(where, Filled<Type>(size), BatchOf(size));
    const std::string expected = BytesOf(Chosen<Type>(size, 0, 2));
    IndexRangeList ranges = EverySecond(size);
    ProtobufRecord host;
    const auto refill = [&] { records.Refill(); };
    Comparison comparison(state, BatchOf(size));
    comparison.Add("ours", refill, [&] {
        MutableProtobufField field = HandleOf<Type>(records.Next());
        benchmark::DoNotOptimize(ProtobufRecordUtil(host).PopWithRange(field, ranges, nullptr));
    });
    comparison.Add("by_hand", refill, [&] { PopEverySecondByHand<Type>(records.Next()); });
    if constexpr (IS_SCALAR<Type>) {
        comparison.Add("remove_if", refill, [&] { PopEverySecondByRemoveIf<Type>(records.Next()); });
        if (where == Where::Heap && size == 100000) {
            comparison.Expect("remove_if", 2);
        }
    } else if (where == Where::Heap && size >= 1000) {
        comparison.Expect("by_hand", size == 1000 ? 1.1 : 1.15);
    }
    comparison.Run([&] {
        if (BytesOf(records.First()) != expected) {
            state.SkipWithError("wrong result");
        }
    });
}

template <typename Type>
void PopHalfBare(Record& record, const std::vector<bool>& marks) {
    using Element = typename Type::Element;
    Message* parent = &record;
    const Reflection* reflection = parent->GetReflection();
    RepeatedField<Element>* elements = reflection->MutableRepeatedField<Element>(parent, FieldOf<Type>());
    uint64_t any = 0;
    for (size_t begin = 0; begin < marks.size(); begin += OstraneCommon::MATCH_WORD_BITS) {
        any |= OstraneCommon::MatchWord(marks, begin / OstraneCommon::MATCH_WORD_BITS);
    }
    benchmark::DoNotOptimize(any);
    const int half = elements->size() / 2;
    Element* data = elements->mutable_data();
    memmove(data, data + half, static_cast<size_t>(half) * sizeof(Element));
    elements->Truncate(half);
}

// The first half.
template <typename Type>
void ComparePopHalf(benchmark::State& state, int size, Where where) {
    Supply records(where, Filled<Type>(size), BatchOf(size));
    const std::string expected = BytesOf(Chosen<Type>(size, size / 2, 1));
    IndexRangeList ranges = {{0, size / 2 - 1}};
    std::vector<bool> marks(static_cast<size_t>(size));
    std::fill(marks.begin(), marks.begin() + size / 2, true);
    ProtobufRecord host;
    const auto refill = [&] { records.Refill(); };
    Comparison comparison(state, BatchOf(size));
    comparison.Add("ours", refill, [&] {
        MutableProtobufField field = HandleOf<Type>(records.Next());
        benchmark::DoNotOptimize(ProtobufRecordUtil(host).PopWithRange(field, ranges, nullptr));
    });
    if constexpr (IS_SCALAR<Type>) {
        comparison.Add("limit", refill, [&] { PopHalfBare<Type>(records.Next(), marks); });
    }
    comparison.Add("by_hand", refill, [&] {
        auto* elements = Type::Of(records.Next());
        if constexpr (IS_SCALAR<Type>) {
            elements->erase(elements->begin(), elements->begin() + size / 2);
        } else {
            elements->DeleteSubrange(0, size / 2);
        }
    });
    if (IS_SCALAR<Type> && where == Where::Heap && size == 100000) {
        comparison.Expect("limit", 1.5);
    }
    comparison.Run([&] {
        if (BytesOf(records.First()) != expected) {
            state.SkipWithError("wrong result");
        }
    });
}

// What a get of every second element leaves in its source.
template <typename Type, bool IS_MOVE>
Record LeftBy(int size) {
    Record record;
    for (int i = 0; i < size; ++i) {
        if constexpr (IS_MOVE) {
            if (i % 2 != 0) {
                Type::Of(record)->Add();
                continue;
            }
        }
        Type::Add(record, i);
    }
    return record;
}

// Every second element, with its position, into an empty field.
template <typename Type, bool IS_MOVE>
void CompareGet(benchmark::State& state, int size, Where where) {
    const int batch = BatchOf(size);
    Supply sources(where, Filled<Type>(size), batch);
    Supply targets(where, Record(), batch);
    const std::string expected = BytesOf(Chosen<Type>(size, 1, 2));
    const std::string expectedSource = BytesOf(LeftBy<Type, IS_MOVE>(size));
    IndexRangeList ranges = EverySecond(size);
    std::vector<int> positions;
    std::vector<int> expectedPositions;
    for (const auto& range : ranges) {
        expectedPositions.push_back(range.first);
    }
    ProtobufRecord host;
    const auto refill = [&] {
        sources.Refill();
        targets.Refill();
    };
    Comparison comparison(state, batch);
    comparison.Add("ours", refill, [&] {
        positions.clear();
        positions.shrink_to_fit();
        ProtobufField source = {&sources.Next(), FieldOf<Type>()};
        MutableProtobufField target = HandleOf<Type>(targets.Next());
        benchmark::DoNotOptimize(
            ProtobufRecordUtil(host).GetWithRange(source, IS_MOVE, ranges, nullptr, target, &positions));
    });
    comparison.Add("by_hand", refill, [&] {
        positions.clear();
        positions.shrink_to_fit();
        auto* from = Type::Of(sources.Next());
        auto* to = Type::Of(targets.Next());
        to->Reserve(size / 2);
        positions.reserve(static_cast<size_t>(size / 2));
        for (int i = 1; i < size; i += 2) {
            if constexpr (IS_SCALAR<Type>) {
                to->AddAlreadyReserved(from->Get(i));
            } else if (IS_MOVE) {
                Type::Move(from->Mutable(i), to->Add());
            } else if constexpr (std::is_base_of<Message, typename Type::Element>::value) {
                to->Add()->MergeFrom(from->Get(i));
            } else {
                Type::Copy(from->Get(i), to->Add());
            }
            positions.push_back(i);
        }
    });
    if (!IS_SCALAR<Type> && size == 1000 && where == Where::Heap) {
        comparison.Expect("by_hand", 1.3);
    }
    comparison.Run([&] {
        if (positions != expectedPositions || BytesOf(targets.First()) != expected ||
            BytesOf(sources.First()) != expectedSource) {
            state.SkipWithError("wrong result");
        }
    });
}

template <typename Type>
void RegisterType() {
    RegisterRows<Type>("pop_every_second", ComparePopEverySecond<Type>);
    RegisterRows<Type>("pop_half", ComparePopHalf<Type>);
    RegisterRows<Type>("get_copy", CompareGet<Type, false>);
    if constexpr (!IS_SCALAR<Type>) {
        RegisterRows<Type>("get_move", CompareGet<Type, true>);
    }
}

}  // namespace

int main(int argc, char** argv) {
    RegisterType<Int32>();
    RegisterType<Double>();
    RegisterType<Text<24>>();
    RegisterType<Text<1024>>();
    RegisterType<SmallMessage>();
    RegisterType<LargeMessage>();
    return RunComparisons(argc, argv);
}
