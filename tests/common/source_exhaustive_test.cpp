// Every small copy from a source field against a reference of plain vectors: targets and sources of 0 to
// 4 elements, every position, every range, copied and moved, all element kinds; then the same with source
// and target in one.
#include "source_copy.h"

namespace {

using namespace source_copy;  // NOLINT: the vocabulary of these tests
using google::protobuf::Reflection;

using Values = std::vector<int>;

constexpr int MAX_SIZE = 4;
constexpr int NOTHING = 0;  // the value of an element that was added and got none

// ---- Elements as numbers

// Writes and reads the elements of one field as small numbers, of which NOTHING is the empty element.
class NumberedField {
public:
    NumberedField(const char* field) : m_fieldDesc(FieldOf(fields::Fields::default_instance(), field)) {}

    const FieldDescriptor* Desc() const { return m_fieldDesc; }
    bool IsEnum() const { return m_fieldDesc->cpp_type() == FieldDescriptor::CPPTYPE_ENUM; }
    // Whether a mutable source is consumed.
    bool IsMovable() const {
        return m_fieldDesc->cpp_type() == FieldDescriptor::CPPTYPE_STRING ||
               m_fieldDesc->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
    }

    // A value that the field can tell from its neighbours, as far as its type has so many.
    int Value(int i) const {
        if (m_fieldDesc->cpp_type() == FieldDescriptor::CPPTYPE_BOOL) {
            return (i * 5 / 3) % 2;
        }
        if (IsEnum()) {
            return std::vector<int>{0, 1, 5}[static_cast<size_t>(i % 3)];
        }
        return i + 1;
    }
    Values Make(int size, int first) const {
        Values values;
        for (int i = 0; i < size; ++i) {
            values.push_back(Value(first + i));
        }
        return values;
    }

    void Write(Message* message, const Values& values) const {
        const Reflection* reflection = message->GetReflection();
        reflection->ClearField(message, m_fieldDesc);
        for (const int value : values) {
            Add(message, reflection, value);
        }
    }
    Values Read(const Message& message) const {
        const Reflection* reflection = message.GetReflection();
        Values values;
        for (int i = 0; i < reflection->FieldSize(message, m_fieldDesc); ++i) {
            values.push_back(Get(message, reflection, i));
        }
        return values;
    }

private:
    void Add(Message* message, const Reflection* reflection, int value) const {
        switch (m_fieldDesc->cpp_type()) {
            case FieldDescriptor::CPPTYPE_BOOL:
                return reflection->AddBool(message, m_fieldDesc, value != 0);
            case FieldDescriptor::CPPTYPE_INT32:
                return reflection->AddInt32(message, m_fieldDesc, value);
            case FieldDescriptor::CPPTYPE_UINT32:
                return reflection->AddUInt32(message, m_fieldDesc, static_cast<uint32_t>(value));
            case FieldDescriptor::CPPTYPE_INT64:
                return reflection->AddInt64(message, m_fieldDesc, value);
            case FieldDescriptor::CPPTYPE_UINT64:
                return reflection->AddUInt64(message, m_fieldDesc, static_cast<uint64_t>(value));
            case FieldDescriptor::CPPTYPE_DOUBLE:
                return reflection->AddDouble(message, m_fieldDesc, value);
            case FieldDescriptor::CPPTYPE_FLOAT:
                return reflection->AddFloat(message, m_fieldDesc, static_cast<float>(value));
            case FieldDescriptor::CPPTYPE_ENUM:
                return reflection->AddEnumValue(message, m_fieldDesc, value);
            case FieldDescriptor::CPPTYPE_STRING:
                return reflection->AddString(message, m_fieldDesc, std::string(static_cast<size_t>(value), 'x'));
            case FieldDescriptor::CPPTYPE_MESSAGE: {
                Message* element = reflection->AddMessage(message, m_fieldDesc);
                element->GetReflection()->SetInt32(element, element->GetDescriptor()->FindFieldByName("a"), value);
                return;
            }
        }
    }
    int Get(const Message& message, const Reflection* reflection, int i) const {
        switch (m_fieldDesc->cpp_type()) {
            case FieldDescriptor::CPPTYPE_BOOL:
                return reflection->GetRepeatedBool(message, m_fieldDesc, i) ? 1 : 0;
            case FieldDescriptor::CPPTYPE_INT32:
                return reflection->GetRepeatedInt32(message, m_fieldDesc, i);
            case FieldDescriptor::CPPTYPE_UINT32:
                return static_cast<int>(reflection->GetRepeatedUInt32(message, m_fieldDesc, i));
            case FieldDescriptor::CPPTYPE_INT64:
                return static_cast<int>(reflection->GetRepeatedInt64(message, m_fieldDesc, i));
            case FieldDescriptor::CPPTYPE_UINT64:
                return static_cast<int>(reflection->GetRepeatedUInt64(message, m_fieldDesc, i));
            case FieldDescriptor::CPPTYPE_DOUBLE:
                return static_cast<int>(reflection->GetRepeatedDouble(message, m_fieldDesc, i));
            case FieldDescriptor::CPPTYPE_FLOAT:
                return static_cast<int>(reflection->GetRepeatedFloat(message, m_fieldDesc, i));
            case FieldDescriptor::CPPTYPE_ENUM:
                return reflection->GetRepeatedEnumValue(message, m_fieldDesc, i);
            case FieldDescriptor::CPPTYPE_STRING:
                return static_cast<int>(reflection->GetRepeatedString(message, m_fieldDesc, i).size());
            case FieldDescriptor::CPPTYPE_MESSAGE: {
                const Message& element = reflection->GetRepeatedMessage(message, m_fieldDesc, i);
                return element.GetReflection()->GetInt32(element, element.GetDescriptor()->FindFieldByName("a"));
            }
        }
        return -1;
    }

    const FieldDescriptor* m_fieldDesc;
};

const std::vector<NumberedField>& NumberedFields() {
    static const std::vector<NumberedField> numberedFields = {
        {"many_bool"},   {"many_int32"}, {"many_uint32"}, {"many_int64"},  {"many_uint64"},
        {"many_double"}, {"many_float"}, {"many_enum"},   {"many_string"}, {"many_message"},
    };
    return numberedFields;
}

// ---- The cases

struct Range {
    bool isRange;  // else the whole field
    int begin;
    int end;
};

// Every range of a field of `size` elements, those that are empty included.
std::vector<Range> RangesOf(int size) {
    std::vector<Range> ranges = {{false, 0, size - 1}};
    for (int begin = 0; begin < size; ++begin) {
        for (int end = begin - 1; end < size; ++end) {
            ranges.push_back({true, begin, end});
        }
    }
    return ranges;
}

Values Slice(const Values& values, const Range& range) {
    return Values(values.begin() + range.begin, values.begin() + range.end + 1);
}

struct Outcome {
    int code;
    Values target;
    Values source;  // with one field for both, not looked at

    bool operator==(const Outcome& other) const {
        return code == other.code && target == other.target && source == other.source;
    }
};

std::string Text(const Values& values) {
    std::string text = "[";
    for (const int value : values) {
        text += (text.size() > 1 ? ", " : "") + std::to_string(value);
    }
    return text + "]";
}

void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << "code " << outcome.code << " target " << Text(outcome.target) << " source " << Text(outcome.source);
}

// ---- The rules, restated

// [a, b, c] push [X, Y] at 1: what stood from 1 on moves up by one place, the values overwrite what stands
// at their places then, and the rest is new elements.
Outcome ExpectedPush(const Values& target, const Values& source, int pos, const Range& range, bool isMoved,
                     bool isEnum) {
    const int size = static_cast<int>(target.size());
    if (source.empty()) {
        return {0, target, source};
    }
    if (pos > size) {
        return {-4633, target, source};
    }
    pos = pos == -1 ? size : pos;
    const Values run = Slice(source, range);
    Outcome expected = {0, target, source};
    if (run.empty()) {
        // The last element takes the position, those behind it follow.
        if (pos < size) {
            expected.target.pop_back();
            expected.target.insert(expected.target.begin() + pos, target.back());
        }
        return expected;
    }
    const int placeholder = isEnum ? run.front() : NOTHING;
    expected.target.insert(expected.target.begin() + pos, placeholder);
    expected.target.resize(target.size() + run.size(), placeholder);
    for (size_t k = 0; k < run.size(); ++k) {
        int& place = expected.target[static_cast<size_t>(pos) + k];
        if (isMoved) {
            expected.source[static_cast<size_t>(range.begin) + k] = place;
        }
        place = run[k];
    }
    return expected;
}

Outcome ExpectedSet(const Values& target, const Values& source, int begin, int end, const Range& range, bool isMoved) {
    Outcome expected = {-4633, target, source};
    const int size = static_cast<int>(target.size());
    begin += begin < 0 ? size : 0;
    end += end < 0 ? size : 0;
    if (source.empty() || target.empty() || end >= size || begin > end || range.end - range.begin < end - begin) {
        return expected;
    }
    expected.code = 0;
    for (int k = 0; begin + k <= end; ++k) {
        const size_t place = static_cast<size_t>(begin + k);
        const size_t origin = static_cast<size_t>(range.begin + k);
        expected.target[place] = source[origin];
        if (isMoved) {
            expected.source[origin] = target[place];
        }
    }
    return expected;
}

// Source and target in one: each element is read after those before it have been written.
Outcome ExpectedOwnSet(const Values& values, int begin, int end, const Range& range, bool isMoved) {
    Outcome expected = ExpectedSet(values, values, begin, end, range, isMoved);
    if (expected.code != 0) {
        return {expected.code, values, {}};
    }
    begin += begin < 0 ? static_cast<int>(values.size()) : 0;
    end += end < 0 ? static_cast<int>(values.size()) : 0;
    Values now = values;
    for (int k = 0; begin + k <= end; ++k) {
        const int taken = now[static_cast<size_t>(range.begin + k)];
        const int former = now[static_cast<size_t>(begin + k)];
        now[static_cast<size_t>(begin + k)] = taken;
        if (isMoved) {
            now[static_cast<size_t>(range.begin + k)] = former;
        }
    }
    return {0, now, {}};
}

// Source and target in one, copied: the run is taken as it stood before.
Outcome ExpectedOwnPush(const Values& values, int pos, const Range& range, bool isEnum) {
    Outcome expected = ExpectedPush(values, values, pos, range, false, isEnum);
    expected.source.clear();
    return expected;
}

// ---- The runs

class SourceExhaustive : public SourceCopyTest {
protected:
    // One pair of messages a kind, reused over all cases: removed elements then come back as new ones.
    struct Pair {
        Message* target;
        Message* source;
    };

    template <typename Operation>
    Outcome Run(const NumberedField& field, const Pair& messages, const Values& target, const Values& source,
                const Range& range, bool isMutable, Operation operation) {
        field.Write(messages.target, target);
        if (messages.source != messages.target) {
            field.Write(messages.source, source);
        }
        PbField src;
        src.SetField(messages.source, field.Desc(), isMutable);
        if (range.isRange) {
            src.SetArrayRange(range.begin, range.end);
        }
        MutableProtobufField handle = {messages.target, field.Desc()};
        ProtobufRecordUtil util(m_silent);
        const int code = operation(util, handle, src);
        ++m_caseCount;
        return {code, field.Read(*messages.target),
                messages.source == messages.target ? Values() : field.Read(*messages.source)};
    }

    static std::string Row(const NumberedField& field, const char* verb, const Values& target, int begin, int end,
                           const Values& source, const Range& range, bool isMutable) {
        return std::string(field.Desc()->name()) + ' ' + Text(target) + ' ' + verb + ' ' + std::to_string(begin) +
               ".." + std::to_string(end) + " from " + Text(source) +
               (range.isRange ? " range " + std::to_string(range.begin) + ".." + std::to_string(range.end) : "") +
               (isMutable ? " mutable" : "");
    }

    void PushAll(const NumberedField& field, const Pair& messages, const Values& target, const Values& source,
                 const Range& range, bool isMutable) {
        for (int pos = -1; pos <= static_cast<int>(target.size()) + 1; ++pos) {
            const Outcome actual = Run(field, messages, target, source, range, isMutable,
                                       [pos](ProtobufRecordUtil& util, MutableProtobufField& handle, PbField& src) {
                                           return util.PushWithPbField(handle, pos, src);
                                       });
            const bool isMoved = isMutable && field.IsMovable();
            ASSERT_EQ(actual, ExpectedPush(target, source, pos, range, isMoved, field.IsEnum()))
                << Row(field, "push", target, pos, pos, source, range, isMutable);
        }
    }

    void SetAll(const NumberedField& field, const Pair& messages, const Values& target, const Values& source,
                const Range& range, bool isMutable) {
        const int size = static_cast<int>(target.size());
        for (int begin = -size; begin <= size; ++begin) {
            for (int end = -size - 1; end <= size; ++end) {
                const Outcome actual =
                    Run(field, messages, target, source, range, isMutable,
                        [begin, end](ProtobufRecordUtil& util, MutableProtobufField& handle, PbField& src) {
                            return util.SetWithPbField(handle, begin, end, src);
                        });
                const bool isMoved = isMutable && field.IsMovable();
                ASSERT_EQ(actual, ExpectedSet(target, source, begin, end, range, isMoved))
                    << Row(field, "set", target, begin, end, source, range, isMutable);
            }
        }
    }

    void UpdateOnce(const NumberedField& field, const Pair& messages, const Values& target, const Values& source,
                    const Range& range, bool isMutable) {
        const Outcome actual = Run(field, messages, target, source, range, isMutable,
                                   [](ProtobufRecordUtil& util, MutableProtobufField& handle, PbField& src) {
                                       return util.UpdateWithPbField(handle, OstraneCommon::EXPR_OP_SET, &src);
                                   });
        Outcome expected = {0, source.empty() ? Values() : Slice(source, range), source};
        if (isMutable && field.IsMovable() && !source.empty()) {
            std::fill(expected.source.begin() + range.begin, expected.source.begin() + range.end + 1, NOTHING);
        }
        ASSERT_EQ(actual, expected) << Row(field, "update", target, 0, 0, source, range, isMutable);
    }

    // Calls `check` with every field, target, source, range and flag.
    template <typename Check>
    void ForEachCase(const Pair& messages, Check check) {
        for (const NumberedField& field : NumberedFields()) {
            for (int targetSize = 0; targetSize <= MAX_SIZE; ++targetSize) {
                for (int sourceSize = 0; sourceSize <= MAX_SIZE; ++sourceSize) {
                    const Values target = field.Make(targetSize, 0);
                    const Values source = field.Make(sourceSize, 10);
                    for (const Range& range : RangesOf(sourceSize)) {
                        for (const bool isMutable : {false, true}) {
                            check(field, messages, target, source, range, isMutable);
                            if (HasFatalFailure()) {
                                return;
                            }
                        }
                    }
                }
            }
        }
    }

    ProtobufRecord m_silent;
    int m_caseCount = 0;
};

TEST_F(SourceExhaustive, Push) {
    for (const MessageKind kind : AllMessageKinds()) {
        SCOPED_TRACE(NameOf(kind));
        MessageMaker maker(kind, fields::Fields::descriptor());
        ForEachCase({maker.Make(), maker.Make()}, [this](auto&&... arguments) { PushAll(arguments...); });
    }
    // 25 positions of targets, 35 ranges of sources, 2 flags, 10 fields, 4 kinds of message.
    EXPECT_EQ(m_caseCount, HasFailure() ? m_caseCount : 25 * 35 * 2 * 10 * 4);
}

TEST_F(SourceExhaustive, PushBetweenMakers) {
    MessageMaker heap(MessageKind::GeneratedOnHeap, fields::Fields::descriptor());
    MessageMaker arena(MessageKind::DynamicOnArena, fields::Fields::descriptor());
    ForEachCase({heap.Make(), arena.Make()}, [this](auto&&... arguments) { PushAll(arguments...); });
    ForEachCase({arena.Make(), heap.Make()}, [this](auto&&... arguments) { PushAll(arguments...); });
}

TEST_F(SourceExhaustive, Set) {
    for (const MessageKind kind : {MessageKind::GeneratedOnHeap, MessageKind::DynamicOnArena}) {
        SCOPED_TRACE(NameOf(kind));
        MessageMaker maker(kind, fields::Fields::descriptor());
        ForEachCase({maker.Make(), maker.Make()}, [this](auto&&... arguments) { SetAll(arguments...); });
    }
}

TEST_F(SourceExhaustive, SetBetweenMakers) {
    MessageMaker arena(MessageKind::GeneratedOnArena, fields::Fields::descriptor());
    MessageMaker heap(MessageKind::DynamicOnHeap, fields::Fields::descriptor());
    ForEachCase({arena.Make(), heap.Make()}, [this](auto&&... arguments) { SetAll(arguments...); });
}

TEST_F(SourceExhaustive, Update) {
    for (const MessageKind kind : AllMessageKinds()) {
        SCOPED_TRACE(NameOf(kind));
        MessageMaker maker(kind, fields::Fields::descriptor());
        ForEachCase({maker.Make(), maker.Make()}, [this](auto&&... arguments) { UpdateOnce(arguments...); });
    }
}

// ---- Source and target in one

TEST_F(SourceExhaustive, SetFromItself) {
    for (const MessageKind kind : AllMessageKinds()) {
        MessageMaker maker(kind, fields::Fields::descriptor());
        Message* message = maker.Make();
        ForEachCase({message, message}, [this](const NumberedField& field, const Pair& messages, const Values& target,
                                               const Values& source, const Range& range, bool isMutable) {
            if (source.size() != target.size()) {
                return;
            }
            const int size = static_cast<int>(target.size());
            for (int begin = 0; begin < size; ++begin) {
                for (int end = begin - 1; end <= size; ++end) {
                    if (end < 0) {
                        continue;  // counts from the end, as the tests above cover
                    }
                    const Outcome actual =
                        Run(field, messages, target, target, range, isMutable,
                            [begin, end](ProtobufRecordUtil& util, MutableProtobufField& handle, PbField& src) {
                                return util.SetWithPbField(handle, begin, end, src);
                            });
                    const bool isMoved = isMutable && field.IsMovable();
                    ASSERT_EQ(actual, ExpectedOwnSet(target, begin, end, range, isMoved))
                        << Row(field, "set", target, begin, end, target, range, isMutable);
                }
            }
        });
    }
}

TEST_F(SourceExhaustive, PushFromItself) {
    for (const MessageKind kind : AllMessageKinds()) {
        MessageMaker maker(kind, fields::Fields::descriptor());
        Message* message = maker.Make();
        ForEachCase({message, message}, [this](const NumberedField& field, const Pair& messages, const Values& target,
                                               const Values& source, const Range& range, bool isMutable) {
            const bool isMoved = isMutable && field.IsMovable();
            if (source.size() != target.size() || isMoved) {
                return;
            }
            for (int pos = -1; pos <= static_cast<int>(target.size()) + 1; ++pos) {
                const Outcome actual = Run(field, messages, target, target, range, isMutable,
                                           [pos](ProtobufRecordUtil& util, MutableProtobufField& handle, PbField& src) {
                                               return util.PushWithPbField(handle, pos, src);
                                           });
                ASSERT_EQ(actual, ExpectedOwnPush(target, pos, range, field.IsEnum()))
                    << Row(field, "push", target, pos, pos, target, range, isMutable);
            }
        });
    }
}

// Moved: the run stands at its new places, nothing is lost or doubled, what took no part is where the pass
// left it, and a position whose element left holds what stood at the new place of that element, unless this
// was of the run too.
TEST_F(SourceExhaustive, PushFromItselfMoved) {
    for (const MessageKind kind : AllMessageKinds()) {
        MessageMaker maker(kind, fields::Fields::descriptor());
        Message* message = maker.Make();
        ForEachCase({message, message}, [this](const NumberedField& field, const Pair& messages, const Values& target,
                                               const Values& source, const Range& range, bool isMutable) {
            const int size = static_cast<int>(target.size());
            if (source.size() != target.size() || !isMutable || !field.IsMovable() || range.end < range.begin) {
                return;
            }
            for (int pos = 0; pos <= size; ++pos) {
                const Outcome actual = Run(field, messages, target, target, range, true,
                                           [pos](ProtobufRecordUtil& util, MutableProtobufField& handle, PbField& src) {
                                               return util.PushWithPbField(handle, pos, src);
                                           });
                const std::string row = Row(field, "push", target, pos, pos, target, range, true);
                const Values run = Slice(target, range);
                Values passed = target;
                passed.insert(passed.begin() + pos, NOTHING);
                passed.resize(target.size() + run.size(), NOTHING);

                ASSERT_EQ(actual.code, 0) << row;
                Values sortedActual = actual.target;
                Values sortedPassed = passed;
                std::sort(sortedActual.begin(), sortedActual.end());
                std::sort(sortedPassed.begin(), sortedPassed.end());
                ASSERT_EQ(sortedActual, sortedPassed) << row;
                for (int i = 0; i < static_cast<int>(passed.size()); ++i) {
                    const size_t at = static_cast<size_t>(i);
                    const auto origin = std::find(run.begin(), run.end(), passed[at]);
                    if (i >= pos && i < pos + static_cast<int>(run.size())) {
                        ASSERT_EQ(actual.target[at], run[at - static_cast<size_t>(pos)]) << row;
                    } else if (origin == run.end()) {
                        ASSERT_EQ(actual.target[at], passed[at]) << row;
                    } else {
                        const int stood = passed[static_cast<size_t>(pos + (origin - run.begin()))];
                        if (std::find(run.begin(), run.end(), stood) == run.end()) {
                            ASSERT_EQ(actual.target[at], stood) << row;
                        }
                    }
                }
            }
        });
    }
}

}  // namespace
