// What copying from a source field costs beside the same work written by hand.
//
// By hand means a loop over the containers that makes the protobuf calls that the job needs and does
// nothing else: no checks, no handles, no log.
#include <benchmark/benchmark.h>
#include <google/protobuf/message.h>
#include <google/protobuf/repeated_field.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

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
using google::protobuf::Reflection;
using google::protobuf::RepeatedField;
using google::protobuf::RepeatedPtrField;
using OstraneCommon::PbField;

constexpr int COUNT = 1000;

// ---- Records

// Long enough to live outside the string object.
std::string Text(const char* prefix, int i) {
    return std::string(prefix) + " with more letters than a string keeps inside " + std::to_string(i);
}

const FieldDescriptor* FieldOf(const char* name) {
    return Player::descriptor()->FindFieldByName(name);
}

PbField SourceOf(const Player& player, const FieldDescriptor* field, bool isMutable) {
    PbField source;
    source.SetField(&player, field, isMutable);
    return source;
}

// ---- The operation and the loop by hand, on one element type

template <typename Element>
struct Elements;

template <>
struct Elements<int32_t> {
    static constexpr const char* FIELD = "scores";
    static void Add(Player& player, const char* prefix, int i) { player.add_scores(prefix[0] * COUNT + i); }
};

template <>
struct Elements<std::string> {
    static constexpr const char* FIELD = "tags";
    static RepeatedPtrField<std::string>& Of(Player& player) { return *player.mutable_tags(); }
    static void Add(Player& player, const char* prefix, int i) { player.add_tags(Text(prefix, i)); }
    static void Copy(std::string* target, const std::string& source) { target->assign(source); }
};

template <>
struct Elements<Message> {
    static constexpr const char* FIELD = "offers";
    static RepeatedPtrField<demo::Offer>& Of(Player& player) { return *player.mutable_offers(); }
    static void Add(Player& player, const char* prefix, int i) {
        demo::Offer* offer = player.add_offers();
        offer->set_sku(Text(prefix, i));
        offer->set_price(i);
        offer->set_expires(i);
    }
    static void Copy(Message* target, const Message& source) { target->CopyFrom(source); }
};

template <typename Element>
Player Filled(const char* prefix) {
    Player player;
    for (int i = 0; i < COUNT; ++i) {
        Elements<Element>::Add(player, prefix, i);
    }
    return player;
}

template <typename Element>
std::string Printed(Player& player, int index) {
    const Reflection* reflection = player.GetReflection();
    const FieldDescriptor* field = FieldOf(Elements<Element>::FIELD);
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
        return reflection->GetRepeatedString(player, field, index);
    }
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_INT32) {
        return std::to_string(reflection->GetRepeatedInt32(player, field, index));
    }
    return reflection->GetRepeatedMessage(player, field, index).ShortDebugString();
}

// Whether elements of `player` from `shift` on are those of `expected` from `first` on.
template <typename Element>
void Check(benchmark::State& state, Player& player, int shift, Player& expected, int first, int count) {
    for (int i = 0; i < count; ++i) {
        if (Printed<Element>(player, i + shift) != Printed<Element>(expected, i + first)) {
            state.SkipWithError("wrong result");
            return;
        }
    }
}

// ---- Ints

// Overwrites COUNT ints by those of another field.
void SetInts(benchmark::State& state) {
    Player target = Filled<int32_t>("target");
    Player source = Filled<int32_t>("source");
    const FieldDescriptor* fieldDesc = FieldOf("scores");
    ProtobufRecord record;
    MutableProtobufField field = {&target, fieldDesc};
    PbField src = SourceOf(source, fieldDesc, false);
    const auto operation = [&] {
        benchmark::DoNotOptimize(ProtobufRecordUtil(record).SetWithPbField(field, 0, COUNT - 1, src));
    };
    const auto byHand = [&] {
        const Reflection* sourceReflection = src.pMessage->GetReflection();
        benchmark::DoNotOptimize(sourceReflection->FieldSize(*src.pMessage, src.pFieldDesc));
        const Reflection* reflection = field.m_pParent->GetReflection();
        benchmark::DoNotOptimize(reflection->FieldSize(*field.m_pParent, fieldDesc));
        const RepeatedField<int32_t>& values =
            sourceReflection->GetRepeatedField<int32_t>(*src.pMessage, src.pFieldDesc);
        RepeatedField<int32_t>* elements = reflection->MutableRepeatedField<int32_t>(field.m_pParent, fieldDesc);
        memcpy(elements->mutable_data(), values.data(), COUNT * sizeof(int32_t));
    };
    Compare(
        state, "by_hand", 1.3, 20,
        [&] { std::fill(target.mutable_scores()->begin(), target.mutable_scores()->end(), -1); }, operation, byHand,
        [&] { Check<int32_t>(state, target, 0, source, 0, COUNT); });
}

// Appends COUNT ints to COUNT others.
void PushInts(benchmark::State& state) {
    Player target = Filled<int32_t>("target");
    Player source = Filled<int32_t>("source");
    const FieldDescriptor* fieldDesc = FieldOf("scores");
    ProtobufRecord record;
    MutableProtobufField field = {&target, fieldDesc};
    PbField src = SourceOf(source, fieldDesc, false);
    const auto operation = [&] {
        target.mutable_scores()->Truncate(COUNT);
        benchmark::DoNotOptimize(ProtobufRecordUtil(record).PushWithPbField(field, -1, src));
    };
    Player former = target;
    const auto byHand = [&] {
        target.mutable_scores()->Truncate(COUNT);
        const Reflection* sourceReflection = src.pMessage->GetReflection();
        benchmark::DoNotOptimize(sourceReflection->FieldSize(*src.pMessage, src.pFieldDesc));
        const Reflection* reflection = field.m_pParent->GetReflection();
        const int size = reflection->FieldSize(*field.m_pParent, fieldDesc);
        const RepeatedField<int32_t>& values =
            sourceReflection->GetRepeatedField<int32_t>(*src.pMessage, src.pFieldDesc);
        RepeatedField<int32_t>* elements = reflection->MutableRepeatedField<int32_t>(field.m_pParent, fieldDesc);
        elements->Reserve(size + COUNT);
        memcpy(elements->AddNAlreadyReserved(COUNT), values.data(), COUNT * sizeof(int32_t));
    };
    Compare(
        state, "by_hand", 1.3, 20, [&] { target = former; }, operation, byHand,
        [&] {
            Check<int32_t>(state, target, 0, former, 0, COUNT);
            Check<int32_t>(state, target, COUNT, source, 0, COUNT);
        });
}

// ---- Strings and messages

std::string* AddElement(const Reflection* /*reflection*/, Message* /*parent*/, const FieldDescriptor* /*fieldDesc*/,
                        RepeatedPtrField<std::string>* elements) {
    return elements->Add();
}

Message* AddElement(const Reflection* reflection, Message* parent, const FieldDescriptor* fieldDesc,
                    RepeatedPtrField<Message>* /*elements*/) {
    return reflection->AddMessage(parent, fieldDesc, nullptr);
}

// Pushes one element at the front of COUNT. The last one is dropped before, and its object is what the
// push fills.
template <typename Element>
void PushFront(benchmark::State& state) {
    Player target = Filled<Element>("target");
    Player source = Filled<Element>("source");
    const FieldDescriptor* fieldDesc = FieldOf(Elements<Element>::FIELD);
    ProtobufRecord record;
    MutableProtobufField field = {&target, fieldDesc};
    PbField src = SourceOf(source, fieldDesc, false);
    src.SetArrayRange(3, 3);
    Elements<Element>::Add(target, "last", 0);
    Player former = target;
    const auto operation = [&] {
        Elements<Element>::Of(target).RemoveLast();
        benchmark::DoNotOptimize(ProtobufRecordUtil(record).PushWithPbField(field, 0, src));
    };
    const auto byHand = [&] {
        Elements<Element>::Of(target).RemoveLast();
        Message* parent = field.m_pParent;
        const Reflection* sourceReflection = src.pMessage->GetReflection();
        benchmark::DoNotOptimize(sourceReflection->FieldSize(*src.pMessage, src.pFieldDesc));
        const Reflection* reflection = parent->GetReflection();
        const int size = reflection->FieldSize(*parent, fieldDesc);
        const RepeatedPtrField<Element>& values =
            sourceReflection->GetRepeatedPtrField<Element>(*src.pMessage, src.pFieldDesc);
        RepeatedPtrField<Element>* elements = reflection->MutableRepeatedPtrField<Element>(parent, fieldDesc);
        Element* added = AddElement(reflection, parent, fieldDesc, elements);
        Elements<Element>::Copy(added, values.Get(3));
        Element** pointers = &*elements->pointer_begin();
        memmove(pointers + 1, pointers, static_cast<size_t>(size) * sizeof(Element*));
        pointers[0] = added;
    };
    Compare(
        state, "by_hand", 1.5, 20, [&] { target = former; }, operation, byHand,
        [&] {
            Check<Element>(state, target, 0, source, 3, 1);
            Check<Element>(state, target, 1, former, 0, COUNT);
        });
}

// Overwrites COUNT elements by those of another field, copied or exchanged.
template <typename Element, bool IS_MUTABLE>
void SetElements(benchmark::State& state) {
    Player target = Filled<Element>("target");
    Player source = Filled<Element>("source");
    Player former = target;
    Player expected = source;
    const FieldDescriptor* fieldDesc = FieldOf(Elements<Element>::FIELD);
    ProtobufRecord record;
    MutableProtobufField field = {&target, fieldDesc};
    PbField src = SourceOf(source, fieldDesc, IS_MUTABLE);
    const auto prepare = [&] {
        target = former;
        source = expected;
    };
    const auto operation = [&] {
        benchmark::DoNotOptimize(ProtobufRecordUtil(record).SetWithPbField(field, 0, COUNT - 1, src));
    };
    const auto byHand = [&] {
        const Reflection* sourceReflection = source.GetReflection();
        benchmark::DoNotOptimize(sourceReflection->FieldSize(source, fieldDesc));
        const Reflection* reflection = target.GetReflection();
        benchmark::DoNotOptimize(reflection->FieldSize(target, fieldDesc));
        RepeatedPtrField<Element>* elements = reflection->MutableRepeatedPtrField<Element>(&target, fieldDesc);
        if (IS_MUTABLE) {
            RepeatedPtrField<Element>* values = sourceReflection->MutableRepeatedPtrField<Element>(&source, fieldDesc);
            std::swap_ranges(elements->pointer_begin(), elements->pointer_end(), values->pointer_begin());
            return;
        }
        const RepeatedPtrField<Element>& values = sourceReflection->GetRepeatedPtrField<Element>(source, fieldDesc);
        for (int i = 0; i < COUNT; ++i) {
            Elements<Element>::Copy(elements->Mutable(i), values.Get(i));
        }
    };
    Compare(state, "by_hand", 1.3, 1, prepare, operation, byHand, [&] {
        Check<Element>(state, target, 0, expected, 0, COUNT);
        Check<Element>(state, source, 0, IS_MUTABLE ? former : expected, 0, COUNT);
    });
}

// Appends COUNT elements of another field to COUNT others, copied or moved. The new places reuse the
// objects of elements removed before.
template <typename Element, bool IS_MUTABLE>
void PushElements(benchmark::State& state) {
    Player target = Filled<Element>("target");
    Player source = Filled<Element>("source");
    Player expected = source;
    const FieldDescriptor* fieldDesc = FieldOf(Elements<Element>::FIELD);
    ProtobufRecord record;
    MutableProtobufField field = {&target, fieldDesc};
    PbField src = SourceOf(source, fieldDesc, IS_MUTABLE);
    const auto prepare = [&] {
        while (Elements<Element>::Of(target).size() > COUNT) {
            Elements<Element>::Of(target).RemoveLast();
        }
        source = expected;
    };
    const auto operation = [&] {
        benchmark::DoNotOptimize(ProtobufRecordUtil(record).PushWithPbField(field, -1, src));
    };
    const auto byHand = [&] {
        const Reflection* reflection = target.GetReflection();
        RepeatedPtrField<Element>* elements = reflection->MutableRepeatedPtrField<Element>(&target, fieldDesc);
        if (IS_MUTABLE) {
            for (int i = 0; i < COUNT; ++i) {
                AddElement(reflection, &target, fieldDesc, elements);
            }
            RepeatedPtrField<Element>* values =
                source.GetReflection()->MutableRepeatedPtrField<Element>(&source, fieldDesc);
            std::swap_ranges(values->pointer_begin(), values->pointer_end(), elements->pointer_begin() + COUNT);
            return;
        }
        const RepeatedPtrField<Element>& values =
            source.GetReflection()->GetRepeatedPtrField<Element>(source, fieldDesc);
        for (int i = 0; i < COUNT; ++i) {
            Elements<Element>::Copy(AddElement(reflection, &target, fieldDesc, elements), values.Get(i));
        }
    };
    Compare(state, "by_hand", 1.3, 1, prepare, operation, byHand,
            [&] { Check<Element>(state, target, COUNT, expected, 0, COUNT); });
}

OSTRANE_COMPARISON(SetInts);
OSTRANE_COMPARISON(PushInts);
OSTRANE_COMPARISON(PushFront<std::string>);
OSTRANE_COMPARISON(PushFront<Message>);
OSTRANE_COMPARISON(SetElements<std::string, false>);
OSTRANE_COMPARISON(SetElements<std::string, true>);
OSTRANE_COMPARISON(SetElements<Message, false>);
OSTRANE_COMPARISON(SetElements<Message, true>);
OSTRANE_COMPARISON(PushElements<std::string, false>);
OSTRANE_COMPARISON(PushElements<std::string, true>);
OSTRANE_COMPARISON(PushElements<Message, false>);
OSTRANE_COMPARISON(PushElements<Message, true>);

}  // namespace

int main(int argc, char** argv) {
    return RunComparisons(argc, argv);
}
