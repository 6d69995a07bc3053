// Pushing and setting single elements, and copying fields from another record. comparison.h says how to read
// the rows.
//
// `limit` is the bare frame: the protobuf calls by reflection that the job cannot do without, and one memmove
// or memcpy of what has to move. `by_hand` is the generated class.
#include <google/protobuf/message.h>
#include <google/protobuf/util/field_mask_util.h>

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "element_expr.h"
#include "records.h"

#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

namespace {

using bench::Record;
using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::RepeatedField;
using google::protobuf::RepeatedPtrField;

constexpr int NEW_SEED = 777;

template <typename Type>
constexpr bool IS_SCALAR = std::is_arithmetic<typename Type::Element>::value;
template <typename Type>
constexpr bool IS_TEXT = std::is_same<typename Type::Element, std::string>::value;

// ---- One element

template <typename Type>
ElementExpr& Assign(ElementExpr& expr) {
    if constexpr (IS_SCALAR<Type>) {
        return expr.Assign("$", static_cast<typename Type::Element>(NEW_SEED));
    } else if constexpr (IS_TEXT<Type>) {
        return expr.Assign("$", TextOf(Type::BYTES, NEW_SEED));
    } else {
        return expr.Assign("id", NEW_SEED).Assign("name", TextOf(24, NEW_SEED));
    }
}

// A new element at the end, or the one at `index`, by the generated class.
template <typename Type>
void AssignByHand(Record& record, int index) {
    static const std::string text = TextOf(IS_TEXT<Type> ? Type::BYTES : 24, NEW_SEED);
    auto* elements = Type::Of(record);
    if constexpr (IS_SCALAR<Type>) {
        index < 0 ? elements->Add(NEW_SEED) : elements->Set(index, NEW_SEED);
    } else if constexpr (IS_TEXT<Type>) {
        *(index < 0 ? elements->Add() : elements->Mutable(index)) = text;
    } else {
        auto* element = index < 0 ? elements->Add() : elements->Mutable(index);
        element->set_id(NEW_SEED);
        element->set_name(text);
    }
}

// The sub-fields of a message element, found by name and set by reflection.
void AssignMembers(Message* element, const std::string& text) {
    const Descriptor* descriptor = element->GetDescriptor();
    const Reflection* reflection = element->GetReflection();
    reflection->SetInt32(element, descriptor->FindFieldByName("id"), NEW_SEED);
    reflection->SetString(element, descriptor->FindFieldByName("name"), text);
}

// The element at `index`, by nothing but the calls that reach it.
template <typename Type>
void AssignBare(Record& record, const FieldDescriptor* field, int index) {
    static const std::string text = TextOf(IS_TEXT<Type> ? Type::BYTES : 24, NEW_SEED);
    Message* parent = &record;
    const Reflection* reflection = parent->GetReflection();
    benchmark::DoNotOptimize(reflection->FieldSize(*parent, field));
    if constexpr (IS_SCALAR<Type>) {
        reflection->MutableRepeatedField<typename Type::Element>(parent, field)->Set(index, NEW_SEED);
    } else if constexpr (IS_TEXT<Type>) {
        *reflection->MutableRepeatedPtrField<std::string>(parent, field)->Mutable(index) = text;
    } else {
        AssignMembers(reflection->MutableRepeatedMessage(parent, field, index), text);
    }
}

// A new element at the front.
template <typename Type>
void PushFrontBare(Record& record, const FieldDescriptor* field) {
    using Element = typename Type::Element;
    static const std::string text = TextOf(IS_TEXT<Type> ? Type::BYTES : 24, NEW_SEED);
    Message* parent = &record;
    const Reflection* reflection = parent->GetReflection();
    const size_t size = static_cast<size_t>(reflection->FieldSize(*parent, field));
    if constexpr (IS_SCALAR<Type>) {
        RepeatedField<Element>* elements = reflection->MutableRepeatedField<Element>(parent, field);
        elements->Add();
        Element* data = elements->mutable_data();
        memmove(data + 1, data, size * sizeof(Element));
        data[0] = NEW_SEED;
    } else {
        using Base = std::conditional_t<IS_TEXT<Type>, std::string, Message>;
        RepeatedPtrField<Base>* elements = reflection->MutableRepeatedPtrField<Base>(parent, field);
        Base* added = nullptr;
        if constexpr (IS_TEXT<Type>) {
            added = elements->Add();
            *added = text;
        } else {
            added = reflection->AddMessage(parent, field);
            AssignMembers(added, text);
            benchmark::DoNotOptimize(added->IsInitialized());
        }
        Base** pointers = &*elements->pointer_begin();
        memmove(pointers + 1, pointers, size * sizeof(Base*));
        pointers[0] = added;
    }
}

template <typename Type>
void RotateToFront(Record& record) {
    auto* elements = Type::Of(record);
    if constexpr (IS_SCALAR<Type>) {
        std::rotate(elements->begin(), elements->end() - 1, elements->end());
    } else {
        std::rotate(elements->pointer_begin(), elements->pointer_end() - 1, elements->pointer_end());
    }
}

// Of size + 1 elements the last is dropped, and its object is what the push fills.
template <typename Type>
void ComparePushFront(benchmark::State& state, int size, Where where) {
    const Record before = Filled<Type>(size + 1);
    Record expected = before;
    Type::Of(expected)->RemoveLast();
    Type::Add(expected, 0);
    Type::Of(expected)->RemoveLast();
    AssignByHand<Type>(expected, -1);
    RotateToFront<Type>(expected);

    Placed record(where, before);
    ProtobufRecord host;
    MutableProtobufField field = HandleOf<Type>(*record);
    ElementExpr expr(OstraneCommon::EXPR_OP_PUSH, 0);
    Assign<Type>(expr);
    const auto refill = [&] { *record = before; };
    Comparison comparison(state, BatchOf(size) * 10);
    comparison.Add("ours", refill, [&] {
        Type::Of(*record)->RemoveLast();
        benchmark::DoNotOptimize(ProtobufRecordUtil(host).PushWithExpr(field, expr.Tree()));
    });
    comparison.Add("limit", refill, [&] {
        Type::Of(*record)->RemoveLast();
        PushFrontBare<Type>(*record, field.m_pFieldDesc);
    });
    comparison.Add("by_hand", refill, [&] {
        Type::Of(*record)->RemoveLast();
        AssignByHand<Type>(*record, -1);
        RotateToFront<Type>(*record);
    });
    if (where == Where::Heap && (size == 1000 || (size == 100000 && IS_SCALAR<Type>))) {
        comparison.Expect("limit", size == 1000 ? 1.5 : 1.15);
    }
    comparison.Run([&] {
        if (BytesOf(*record) != BytesOf(expected)) {
            state.SkipWithError("wrong result");
        }
    });
}

template <typename Type>
void CompareAssign(benchmark::State& state, int size, Where where) {
    const Record before = Filled<Type>(size);
    Record expected = before;
    AssignByHand<Type>(expected, size / 2);
    Placed record(where, before);
    ProtobufRecord host;
    MutableProtobufField field = HandleOf<Type>(*record);
    ElementExpr expr(OstraneCommon::EXPR_OP_SET, size / 2);
    Assign<Type>(expr);
    const auto refill = [&] { *record = before; };
    Comparison comparison(state, 200);
    comparison.Add("ours", refill,
                   [&] { benchmark::DoNotOptimize(ProtobufRecordUtil(host).SetWithExpr(field, expr.Tree())); });
    comparison.Add("limit", refill, [&] { AssignBare<Type>(*record, field.m_pFieldDesc, size / 2); });
    comparison.Add("by_hand", refill, [&] { AssignByHand<Type>(*record, size / 2); });
    comparison.Run([&] {
        if (BytesOf(*record) != BytesOf(expected)) {
            state.SkipWithError("wrong result");
        }
    });
}

// ---- From a source field

// Copies the source's elements over as many of the target, by the calls that reach them.
template <typename Type>
void SetRunBare(Record& record, const Record& from, const FieldDescriptor* field) {
    using Element = typename Type::Element;
    Message* parent = &record;
    const Reflection* sourceReflection = from.GetReflection();
    const int size = sourceReflection->FieldSize(from, field);
    const Reflection* reflection = parent->GetReflection();
    benchmark::DoNotOptimize(reflection->FieldSize(*parent, field));
    if constexpr (IS_SCALAR<Type>) {
        const RepeatedField<Element>& values = sourceReflection->GetRepeatedField<Element>(from, field);
        memcpy(reflection->MutableRepeatedField<Element>(parent, field)->mutable_data(), values.data(),
               static_cast<size_t>(size) * sizeof(Element));
    } else {
        using Base = std::conditional_t<IS_TEXT<Type>, std::string, Message>;
        const RepeatedPtrField<Base>& values = sourceReflection->GetRepeatedPtrField<Base>(from, field);
        RepeatedPtrField<Base>* elements = reflection->MutableRepeatedPtrField<Base>(parent, field);
        for (int i = 0; i < size; ++i) {
            if constexpr (IS_TEXT<Type>) {
                *elements->Mutable(i) = values.Get(i);
            } else {
                elements->Mutable(i)->CopyFrom(values.Get(i));
            }
        }
    }
}

template <typename Type>
void CompareCopyRun(benchmark::State& state, int size, Where where) {
    const Record before = Filled<Type>(size);
    const Record from = Filled<Type>(size, size);
    Placed record(where, before);
    ProtobufRecord host;
    MutableProtobufField field = HandleOf<Type>(*record);
    OstraneCommon::PbField source;
    source.SetField(&from, field.m_pFieldDesc, false);
    const auto refill = [&] { *record = before; };
    Comparison comparison(state, BatchOf(size));
    comparison.Add("ours", refill, [&] {
        benchmark::DoNotOptimize(ProtobufRecordUtil(host).SetWithPbField(field, 0, size - 1, source));
    });
    comparison.Add("limit", refill, [&] { SetRunBare<Type>(*record, from, field.m_pFieldDesc); });
    comparison.Add("by_hand", refill, [&] {
        for (int i = 0; i < size; ++i) {
            if constexpr (IS_SCALAR<Type>) {
                Type::Of(*record)->Set(i, Type::Of(from).Get(i));
            } else {
                Type::Copy(Type::Of(from).Get(i), Type::Of(*record)->Mutable(i));
            }
        }
    });
    if (IS_SCALAR<Type> && size == 1000 && where == Where::Heap) {
        comparison.Expect("limit", 1.3);
    }
    comparison.Run([&] {
        if (BytesOf(*record) != BytesOf(from)) {
            state.SkipWithError("wrong result");
        }
    });
}

// A whole field, into a field that holds as many others.
template <typename Type>
void CompareCopyField(benchmark::State& state, int size, Where where) {
    const Record before = Filled<Type>(size);
    const Record from = Filled<Type>(size, size);
    Placed record(where, before);
    ProtobufRecord host;
    MutableProtobufField field = HandleOf<Type>(*record);
    OstraneCommon::PbField source;
    source.SetField(&from, field.m_pFieldDesc, false);
    google::protobuf::FieldMask mask;
    mask.add_paths(Type::FIELD);
    google::protobuf::util::FieldMaskUtil::MergeOptions options;
    options.set_replace_repeated_fields(true);
    const auto refill = [&] { *record = before; };
    Comparison comparison(state, BatchOf(size));
    comparison.Add("ours", refill, [&] {
        benchmark::DoNotOptimize(
            ProtobufRecordUtil(host).UpdateWithPbField(field, OstraneCommon::EXPR_OP_SET, &source));
    });
    comparison.Add("by_hand", refill, [&] { *Type::Of(*record) = Type::Of(from); });
    comparison.Add("fieldmask", refill,
                   [&] { google::protobuf::util::FieldMaskUtil::MergeMessageTo(from, mask, options, &*record); });
    comparison.Run([&] {
        if (BytesOf(*record) != BytesOf(from)) {
            state.SkipWithError("wrong result");
        }
    });
}

template <typename Type>
void RegisterType() {
    RegisterRows<Type>("push_front", ComparePushFront<Type>);
    RegisterRows<Type>("assign", CompareAssign<Type>);
    RegisterRows<Type>("copy_run", CompareCopyRun<Type>);
    RegisterRows<Type>("copy_field", CompareCopyField<Type>);
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
