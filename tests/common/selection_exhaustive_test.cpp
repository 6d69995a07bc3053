// Pop and get over the whole of a small world, against plain vectors.
#include "selection_fixture.h"

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

constexpr int MAX_SIZE = 6;

// The positions that ranges select, one position at a time.
Positions Selected(const IndexRangeList& ranges, int size) {
    Positions positions;
    for (int i = 0; i < size; ++i) {
        for (const auto& range : ranges) {
            const int first = range.first < 0 ? range.first + size : range.first;
            const int last = range.second < 0 ? range.second + size : range.second;
            if (first <= i && i <= last) {
                positions.push_back(i);
                break;
            }
        }
    }
    return positions;
}

// Elements are told apart by a number: as themselves, as a text, or as a sub-field.
void Append(Message* message, const FieldDescriptor* fieldDesc, int number) {
    const Reflection* reflection = message->GetReflection();
    switch (fieldDesc->cpp_type()) {
        case FieldDescriptor::CPPTYPE_BOOL:
            reflection->AddBool(message, fieldDesc, number % 2 != 0);
            return;
        case FieldDescriptor::CPPTYPE_INT32:
            reflection->AddInt32(message, fieldDesc, number);
            return;
        case FieldDescriptor::CPPTYPE_UINT32:
            reflection->AddUInt32(message, fieldDesc, static_cast<uint32_t>(number));
            return;
        case FieldDescriptor::CPPTYPE_INT64:
            reflection->AddInt64(message, fieldDesc, number);
            return;
        case FieldDescriptor::CPPTYPE_UINT64:
            reflection->AddUInt64(message, fieldDesc, static_cast<uint64_t>(number));
            return;
        case FieldDescriptor::CPPTYPE_DOUBLE:
            reflection->AddDouble(message, fieldDesc, number);
            return;
        case FieldDescriptor::CPPTYPE_FLOAT:
            reflection->AddFloat(message, fieldDesc, static_cast<float>(number));
            return;
        case FieldDescriptor::CPPTYPE_STRING:
            reflection->AddString(message, fieldDesc, std::to_string(number));
            return;
        default: {
            Message* element = reflection->AddMessage(message, fieldDesc);
            element->GetReflection()->SetInt32(element, element->GetDescriptor()->FindFieldByName("a"), number);
            return;
        }
    }
}

const char* const FIELDS[] = {"many_bool",   "many_int32", "many_uint32", "many_int64", "many_uint64",
                              "many_double", "many_float", "many_string", "many_bytes", "many_message"};

class SelectionExhaustiveTest : public SelectionTest {
public:
    void Fill(Message* message, const FieldDescriptor* fieldDesc, const Positions& numbers) {
        message->GetReflection()->ClearField(message, fieldDesc);
        for (int number : numbers) {
            Append(message, fieldDesc, number + 1);
        }
    }
    // What a field of these numbers prints.
    std::string Printed(Message* scratch, const FieldDescriptor* fieldDesc, const Positions& numbers) {
        Fill(scratch, fieldDesc, numbers);
        return Show(*scratch, fieldDesc);
    }

    // Get by copy, get by move and pop of one selection: they take the same, and survivors and taken,
    // merged by position, are the array before.
    void CheckSelection(Message* message, Message* other, Message* scratch, const FieldDescriptor* fieldDesc, int size,
                        const IndexRangeList& ranges, Expr* filter, const Positions& expected) {
        Positions all;
        Positions survivors;
        for (int i = 0; i < size; ++i) {
            all.push_back(i);
            if (std::find(expected.begin(), expected.end(), i) == expected.end()) {
                survivors.push_back(i);
            }
        }
        const std::string taken = Printed(scratch, fieldDesc, expected);
        const MutableProtobufField field = {message, fieldDesc};
        const MutableProtobufField target = {other, fieldDesc};

        Fill(message, fieldDesc, all);
        other->Clear();
        Positions positions;
        ASSERT_EQ(Get(field, false, ranges, filter, target, &positions), 0);
        ASSERT_EQ(positions, expected);
        ASSERT_EQ(Show(*other, fieldDesc), taken);
        ASSERT_EQ(Show(*message, fieldDesc), Printed(scratch, fieldDesc, all));

        ASSERT_EQ(PopWithRange(field, ranges, filter), 0);
        ASSERT_EQ(Show(*message, fieldDesc), Printed(scratch, fieldDesc, survivors));

        Fill(message, fieldDesc, all);
        other->Clear();
        positions.clear();
        ASSERT_EQ(Get(field, true, ranges, filter, target, &positions), 0);
        ASSERT_EQ(positions, expected);
        ASSERT_EQ(Show(*other, fieldDesc), taken);
        ASSERT_EQ(message->GetReflection()->FieldSize(*message, fieldDesc), size);
        if (filter == nullptr) {
            // The elements that were not taken have not been touched.
            ASSERT_EQ(PopWithRange(field, ranges), 0);
            ASSERT_EQ(Show(*message, fieldDesc), Printed(scratch, fieldDesc, survivors));
        }
    }

    void ForEachWorld(void (SelectionExhaustiveTest::*check)(Message*, Message*, Message*, const FieldDescriptor*)) {
        for (MessageKind kind : {MessageKind::GeneratedOnHeap, MessageKind::DynamicOnArena}) {
            MessageMaker maker(kind, fields::Fields::descriptor());
            Message* message = maker.Make();
            Message* other = maker.Make();
            Message* scratch = maker.Make();
            for (const char* name : FIELDS) {
                SCOPED_TRACE(NameOf(kind) + " " + name);
                (this->*check)(message, other, scratch, message->GetDescriptor()->FindFieldByName(name));
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }

    // Every set of positions, as a list of ranges that goes down and as one that goes up.
    void CheckMasks(Message* message, Message* other, Message* scratch, const FieldDescriptor* fieldDesc) {
        for (int size = 0; size <= MAX_SIZE; ++size) {
            for (int mask = 1; mask < (1 << size); ++mask) {
                IndexRangeList ranges;
                Positions expected;
                for (int i = size - 1; i >= 0; --i) {
                    if ((mask >> i & 1) != 0) {
                        ranges.push_back({i, i});
                        expected.insert(expected.begin(), i);
                    }
                }
                SCOPED_TRACE("size " + std::to_string(size) + " mask " + std::to_string(mask));
                CheckSelection(message, other, scratch, fieldDesc, size, ranges, nullptr, expected);
                if (HasFatalFailure()) {
                    return;
                }
                std::reverse(ranges.begin(), ranges.end());
                CheckSelection(message, other, scratch, fieldDesc, size, ranges, nullptr, expected);
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }

    // Every pair of ends, negative ones and ones beyond the array included.
    void CheckRanges(Message* message, Message* other, Message* scratch, const FieldDescriptor* fieldDesc) {
        for (int size = 0; size <= MAX_SIZE; ++size) {
            for (int first = -MAX_SIZE - 1; first <= MAX_SIZE + 1; ++first) {
                for (int last = -MAX_SIZE - 1; last <= MAX_SIZE + 1; ++last) {
                    SCOPED_TRACE(std::to_string(first) + ".." + std::to_string(last) + " of " + std::to_string(size));
                    const IndexRangeList ranges = {{first, last}};
                    CheckSelection(message, other, scratch, fieldDesc, size, ranges, nullptr, Selected(ranges, size));
                    if (HasFatalFailure()) {
                        return;
                    }
                }
            }
        }
    }
};

TEST_F(SelectionExhaustiveTest, EveryMask) {
    ForEachWorld(&SelectionExhaustiveTest::CheckMasks);
}

TEST_F(SelectionExhaustiveTest, EveryRange) {
    ForEachWorld(&SelectionExhaustiveTest::CheckRanges);
}

// A filter and ranges together: every threshold with every range of an int32 field.
TEST_F(SelectionExhaustiveTest, EveryThresholdInEveryRange) {
    fields::Fields message;
    fields::Fields other;
    fields::Fields scratch;
    const FieldDescriptor* fieldDesc = message.GetDescriptor()->FindFieldByName("many_int32");
    for (int size = 0; size <= 4; ++size) {
        for (int threshold = 0; threshold <= size + 1; ++threshold) {
            Expr* filter = Less("$", threshold);
            for (int first = 0; first <= size; ++first) {
                for (int last = first; last <= size; ++last) {
                    Positions expected;
                    for (int i : Selected({{first, last}}, size)) {
                        if (i + 1 < threshold) {
                            expected.push_back(i);
                        }
                    }
                    SCOPED_TRACE(std::to_string(threshold) + " in " + std::to_string(first) + ".." +
                                 std::to_string(last) + " of " + std::to_string(size));
                    CheckSelection(&message, &other, &scratch, fieldDesc, size, {{first, last}}, filter, expected);
                    if (HasFatalFailure()) {
                        return;
                    }
                }
            }
        }
    }
}

}  // namespace
