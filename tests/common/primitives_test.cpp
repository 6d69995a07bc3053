// The writes of runs of scalar values, on all seven types.
#include <google/protobuf/repeated_field.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "fields3.pb.h"
#include "operation_fixture.h"

namespace {

using google::protobuf::Message;
using google::protobuf::RepeatedField;
using Peer = ProtobufRecordUtilPeer;

template <typename T>
struct FieldName;
template <>
struct FieldName<bool> {
    static constexpr const char* VALUE = "many_bool";
};
template <>
struct FieldName<int32_t> {
    static constexpr const char* VALUE = "many_int32";
};
template <>
struct FieldName<uint32_t> {
    static constexpr const char* VALUE = "many_uint32";
};
template <>
struct FieldName<int64_t> {
    static constexpr const char* VALUE = "many_int64";
};
template <>
struct FieldName<uint64_t> {
    static constexpr const char* VALUE = "many_uint64";
};
template <>
struct FieldName<double> {
    static constexpr const char* VALUE = "many_double";
};
template <>
struct FieldName<float> {
    static constexpr const char* VALUE = "many_float";
};

// Values of type T on the heap, since std::vector<bool> has no array of them.
template <typename T>
class Values {
public:
    Values(std::initializer_list<int> numbers) : Values(std::vector<int>(numbers)) {}
    explicit Values(const std::vector<int>& numbers) : m_size(static_cast<int>(numbers.size())) {
        m_data.reset(new T[numbers.size()]);
        for (size_t i = 0; i < numbers.size(); ++i) {
            m_data[i] = static_cast<T>(numbers[i]);
        }
    }
    const T* Data() const { return m_data.get(); }
    int Size() const { return m_size; }

private:
    int m_size;
    std::unique_ptr<T[]> m_data;
};

template <typename T>
class PrimitivesTest : public OperationTest {
protected:
    PrimitivesTest() : m_field(Field(&m_message, FieldName<T>::VALUE)) {}

    static RepeatedField<T>* Container(const MutableProtobufField& field) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        return field.m_pParent->GetReflection()->MutableRepeatedField<T>(field.m_pParent, field.m_pFieldDesc);
#pragma GCC diagnostic pop
    }
    static void Fill(const MutableProtobufField& field, const std::vector<int>& numbers) {
        Container(field)->Clear();
        for (int number : numbers) {
            Container(field)->Add(static_cast<T>(number));
        }
    }
    static std::vector<int> Numbers(const MutableProtobufField& field) {
        std::vector<int> numbers;
        for (T value : *Container(field)) {
            numbers.push_back(static_cast<int>(value));
        }
        return numbers;
    }
    // What the numbers become in a field of type T: a bool tells 0 from the others only.
    static std::vector<int> AsT(std::vector<int> numbers) {
        for (int& number : numbers) {
            number = static_cast<int>(static_cast<T>(number));
        }
        return numbers;
    }

    int Set(int idxBegin, int idxEnd, const Values<T>& values, int count) {
        ProtobufRecordUtil util = this->Util();
        return Peer::SetRepeatedField<T>(util, m_field, idxBegin, idxEnd, values.Data(), count);
    }
    int Push(int pos, const Values<T>& values, int count) {
        ProtobufRecordUtil util = this->Util();
        return Peer::PushRepeatedField<T>(util, m_field, pos, values.Data(), count);
    }
    int PushOwn(const MutableProtobufField& field, int pos, int begin, int count) {
        ProtobufRecordUtil util = this->Util();
        return Peer::PushRepeatedField<T>(util, field, pos, Container(field)->data() + begin, count);
    }

    MutableProtobufField m_field;
};

using ScalarTypes = testing::Types<bool, int32_t, uint32_t, int64_t, uint64_t, double, float>;
TYPED_TEST_SUITE(PrimitivesTest, ScalarTypes);

// Set

TYPED_TEST(PrimitivesTest, SetWritesOneElement) {
    this->Fill(this->m_field, {1, 1, 1});
    EXPECT_EQ(this->Set(1, 1, {0}, 1), 0);
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{1, 0, 1}));
}

TYPED_TEST(PrimitivesTest, SetOfMoreElementsThanValuesFailsAndChangesNothing) {
    this->Fill(this->m_field, {1, 0, 1, 0, 1});
    EXPECT_EQ(this->Set(2, 4, {0, 0}, 2), OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX);
    EXPECT_EQ(
        this->m_log.Lines(),
        (Lines{std::string("ERROR src/common/protobuf_record_util.h SetRepeatedField: assign element(fields.Fields.") +
               FieldName<TypeParam>::VALUE + ") count not match, idxBegin: 2, idxEnd: 4, assignCount: 2"}));
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{1, 0, 1, 0, 1}));
}

TYPED_TEST(PrimitivesTest, SetIgnoresSurplusValues) {
    this->Fill(this->m_field, {1, 1, 1, 1, 1});
    EXPECT_EQ(this->Set(2, 4, {0, 1, 0, 0, 0}, 5), 0);
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{1, 1, 0, 1, 0}));
    EXPECT_EQ(this->m_log.Lines(), Lines{});
}

TYPED_TEST(PrimitivesTest, SetOfAnEmptyRunDoesNothing) {
    this->Fill(this->m_field, {1, 1});
    EXPECT_EQ(this->Set(1, 0, {0}, 0), 0);
    EXPECT_EQ(this->Set(1, 0, {0}, 1), 0);
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{1, 1}));
    EXPECT_EQ(this->m_log.Lines(), Lines{});
}

TYPED_TEST(PrimitivesTest, SetOfARunThatEndsBelowItsCountFailsWithFewerThanNoValues) {
    this->Fill(this->m_field, {1, 1});
    EXPECT_EQ(this->Set(1, 0, {0}, -1), OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX);
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{1, 1}));
}

TYPED_TEST(PrimitivesTest, SetOntoItsOwnLaterElementsRepeatsTheLeadingOnes) {
    this->Fill(this->m_field, {1, 0, 1, 1, 0});
    ProtobufRecordUtil util = this->Util();
    EXPECT_EQ(Peer::SetRepeatedField<TypeParam>(util, this->m_field, 1, 4, this->Container(this->m_field)->data(), 4),
              0);
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{1, 1, 1, 1, 1}));
    this->Fill(this->m_field, {1, 0, 0, 1, 1});
    EXPECT_EQ(
        Peer::SetRepeatedField<TypeParam>(util, this->m_field, 0, 3, this->Container(this->m_field)->data() + 1, 4), 0);
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{0, 0, 1, 1, 1}));
}

// Over a small world, against a loop that writes element by element.
TYPED_TEST(PrimitivesTest, SetWritesARunOrNothing) {
    for (int size = 0; size <= 5; ++size) {
        for (int begin = 0; begin <= size; ++begin) {
            for (int end = begin - 3; end < size; ++end) {
                for (int count = -1; count <= 6; ++count) {
                    SCOPED_TRACE("size " + std::to_string(size) + " run " + std::to_string(begin) + ".." +
                                 std::to_string(end) + " count " + std::to_string(count));
                    std::vector<int> before;
                    std::vector<int> values;
                    for (int i = 0; i < size; ++i) {
                        before.push_back(i % 2);
                    }
                    for (int i = 0; i < count; ++i) {
                        values.push_back(i % 3 == 0 ? 1 : 0);
                    }
                    const bool isRefused = end - begin >= count;
                    std::vector<int> expected = before;
                    for (int i = begin; !isRefused && i <= end; ++i) {
                        expected[static_cast<size_t>(i)] = values[static_cast<size_t>(i - begin)];
                    }
                    this->Fill(this->m_field, before);
                    ASSERT_EQ(this->Set(begin, end, Values<TypeParam>(values), count),
                              isRefused ? OstraneErrCode::COMMON_ERR_INVALID_ARRAY_INDEX : 0);
                    ASSERT_EQ(this->Numbers(this->m_field), expected);
                    ASSERT_EQ(this->m_log.TakeLines().size(), isRefused ? 1U : 0U);
                }
            }
        }
    }
}

TYPED_TEST(PrimitivesTest, SetReadsItsOwnElementsInAscendingOrder) {
    const int size = 6;
    for (int begin = 0; begin < size; ++begin) {
        for (int end = begin; end < size; ++end) {
            for (int from = 0; from + end - begin < size; ++from) {
                SCOPED_TRACE(std::to_string(from) + " onto " + std::to_string(begin) + ".." + std::to_string(end));
                const std::vector<int> before = {1, 0, 0, 1, 1, 0};
                std::vector<int> expected = before;
                for (int i = begin; i <= end; ++i) {
                    expected[static_cast<size_t>(i)] = expected[static_cast<size_t>(from + i - begin)];
                }
                this->Fill(this->m_field, before);
                ProtobufRecordUtil util = this->Util();
                const TypeParam* values = this->Container(this->m_field)->data() + from;
                ASSERT_EQ(Peer::SetRepeatedField<TypeParam>(util, this->m_field, begin, end, values, end - begin + 1),
                          0);
                ASSERT_EQ(this->Numbers(this->m_field), expected);
            }
        }
    }
}

TYPED_TEST(PrimitivesTest, SetNeitherGrowsNorMovesTheStorage) {
    this->Fill(this->m_field, {1, 1, 1});
    const TypeParam* storage = this->Container(this->m_field)->data();
    EXPECT_EQ(this->Set(0, 2, {0, 0, 0}, 3), 0);
    EXPECT_EQ(this->Container(this->m_field)->data(), storage);
    EXPECT_EQ(this->Container(this->m_field)->size(), 3);
}

// Values that a narrower type, or the other sign, could not hold.
TYPED_TEST(PrimitivesTest, ValuesKeepTheirWidthAndSign) {
    using Limits = std::numeric_limits<TypeParam>;
    const TypeParam extremes[] = {Limits::lowest(), Limits::max(), Limits::min()};
    for (const google::protobuf::Descriptor* type : {fields::Fields::descriptor(), fields3::Fields::descriptor()}) {
        for (MessageKind kind : AllMessageKinds()) {
            SCOPED_TRACE(std::string(type->full_name()) + " " + NameOf(kind));
            MessageMaker maker(kind, type);
            const MutableProtobufField field = this->Field(maker.Make(), FieldName<TypeParam>::VALUE);
            this->Fill(field, {1, 1});
            ProtobufRecordUtil util = this->Util();
            EXPECT_EQ(Peer::PushRepeatedField<TypeParam>(util, field, 1, extremes, 3), 0);
            EXPECT_EQ(Peer::SetRepeatedField<TypeParam>(util, field, 0, 0, extremes + 1, 1), 0);
            const RepeatedField<TypeParam>& container = *this->Container(field);
            ASSERT_EQ(container.size(), 5);
            EXPECT_EQ(container.Get(0), Limits::max());
            EXPECT_EQ(container.Get(1), Limits::lowest());
            EXPECT_EQ(container.Get(2), Limits::max());
            EXPECT_EQ(container.Get(3), Limits::min());
            EXPECT_EQ(container.Get(4), TypeParam{});
        }
    }
}

// Push

TYPED_TEST(PrimitivesTest, PushOfManyValuesGrowsTheContainer) {
    this->Fill(this->m_field, {1, 1, 1});
    std::vector<int> values(1000, 1);
    values[999] = 0;
    EXPECT_EQ(this->Push(3, Values<TypeParam>(values), 1000), 0);
    std::vector<int> expected(1003, 1);
    expected[1002] = 0;
    EXPECT_EQ(this->Numbers(this->m_field), expected);
}

TYPED_TEST(PrimitivesTest, PushOfOneValueIsAnInsertion) {
    this->Fill(this->m_field, {1, 1, 1});
    EXPECT_EQ(this->Push(0, {0}, 1), 0);
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{0, 1, 1, 1}));
    EXPECT_EQ(this->Push(2, {0}, 1), 0);
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{0, 1, 0, 1, 1}));
    EXPECT_EQ(this->Push(5, {0}, 1), 0);
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{0, 1, 0, 1, 1, 0}));
    EXPECT_EQ(this->m_log.Lines(), Lines{});
}

TYPED_TEST(PrimitivesTest, PushOfTwoValuesInsideLosesOneAndLeavesANewOne) {
    this->Fill(this->m_field, {10, 20, 30});
    EXPECT_EQ(this->Push(1, {7, 8}, 2), 0);
    EXPECT_EQ(this->Numbers(this->m_field), this->AsT({10, 7, 8, 30, 0}));
}

TYPED_TEST(PrimitivesTest, PushAtTheEndKeepsTheOrder) {
    this->Fill(this->m_field, {1, 0});
    EXPECT_EQ(this->Push(2, {0, 1, 1}, 3), 0);
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{1, 0, 0, 1, 1}));
}

TYPED_TEST(PrimitivesTest, PushOfNothingMovesTheLastElement) {
    for (int count : {0, -1}) {
        this->Fill(this->m_field, {10, 20, 0});
        EXPECT_EQ(this->Push(0, {7}, count), 0);
        EXPECT_EQ(this->Numbers(this->m_field), this->AsT({0, 10, 20}));
        EXPECT_EQ(this->Push(2, {7}, count), 0);
        EXPECT_EQ(this->Push(3, {7}, count), 0);
        EXPECT_EQ(this->Numbers(this->m_field), this->AsT({0, 10, 20}));
    }
    // An empty run of a container that never held anything has no address.
    ProtobufRecordUtil util = this->Util();
    EXPECT_EQ(Peer::PushRepeatedField<TypeParam>(util, this->m_field, 1, nullptr, 0), 0);
    EXPECT_EQ(this->Numbers(this->m_field), this->AsT({0, 20, 10}));
    this->Fill(this->m_field, {});
    EXPECT_EQ(this->Push(0, {7}, 0), 0);
    EXPECT_EQ(this->Numbers(this->m_field), std::vector<int>{});
}

// A shrunk container shows its former values in new elements: none of them may come to light.
TYPED_TEST(PrimitivesTest, NewElementsWithoutValueAreZero) {
    this->Fill(this->m_field, {1, 1, 1, 1, 1, 1, 1, 1});
    this->Container(this->m_field)->Truncate(2);
    EXPECT_EQ(this->Push(0, {1, 1, 1}, 3), 0);
    EXPECT_EQ(this->Numbers(this->m_field), (std::vector<int>{1, 1, 1, 0, 0}));
}

// The pass of adjacent swaps, literally, over every size, position and count of a small world.
TYPED_TEST(PrimitivesTest, PushIsOnePassOfSwapsWhateverTheCount) {
    for (MessageKind kind : AllMessageKinds()) {
        MessageMaker maker(kind, fields::Fields::descriptor());
        this->m_field = this->Field(maker.Make(), FieldName<TypeParam>::VALUE);
        for (int size = 0; size <= 5; ++size) {
            for (int pos = 0; pos <= size; ++pos) {
                for (int count = -1; count <= 4; ++count) {
                    std::vector<int> before;
                    std::vector<int> values;
                    for (int i = 0; i < size; ++i) {
                        before.push_back(i + 1);
                    }
                    for (int i = 0; i < count; ++i) {
                        values.push_back(100 + i);
                    }
                    std::vector<int> expected = before;
                    expected.resize(expected.size() + values.size(), 0);
                    for (int j = static_cast<int>(expected.size()) - 1; j > pos; --j) {
                        std::swap(expected[static_cast<size_t>(j)], expected[static_cast<size_t>(j - 1)]);
                    }
                    std::copy(values.begin(), values.end(), expected.begin() + pos);
                    SCOPED_TRACE(NameOf(kind) + " size " + std::to_string(size) + " pos " + std::to_string(pos) +
                                 " count " + std::to_string(count));
                    this->Fill(this->m_field, before);
                    ASSERT_EQ(this->Push(pos, Values<TypeParam>(values), count), 0);
                    ASSERT_EQ(this->Numbers(this->m_field), this->AsT(expected));
                }
            }
        }
    }
}

// A run inside the very container is taken as it stood before, also when the container grows.
TYPED_TEST(PrimitivesTest, PushOfAnOwnRunTakesItAsItStood) {
    for (MessageKind kind : AllMessageKinds()) {
        MessageMaker maker(kind, fields::Fields::descriptor());
        const MutableProtobufField field = this->Field(maker.Make(), FieldName<TypeParam>::VALUE);
        for (int size = 1; size <= 9; ++size) {
            for (int pos = 0; pos <= size; ++pos) {
                for (int begin = 0; begin < size; ++begin) {
                    for (int count = 1; count <= size - begin; ++count) {
                        std::vector<int> before;
                        for (int i = 0; i < size; ++i) {
                            before.push_back(i % 3);
                        }
                        const std::vector<int> run(before.begin() + begin, before.begin() + begin + count);
                        std::vector<int> expected = before;
                        expected.resize(expected.size() + run.size(), 0);
                        std::rotate(expected.begin() + pos, expected.end() - 1, expected.end());
                        std::copy(run.begin(), run.end(), expected.begin() + pos);
                        SCOPED_TRACE(NameOf(kind) + " size " + std::to_string(size) + " pos " + std::to_string(pos) +
                                     " run " + std::to_string(begin) + "+" + std::to_string(count));
                        this->Fill(field, before);
                        ASSERT_EQ(this->PushOwn(field, pos, begin, count), 0);
                        ASSERT_EQ(this->Numbers(field), this->AsT(expected));
                    }
                }
            }
        }
    }
}

TYPED_TEST(PrimitivesTest, WhatWasPushedCanBeWrittenAndRead) {
    this->Fill(this->m_field, {1, 0, 1});
    EXPECT_EQ(this->Push(1, {1, 1, 1}, 3), 0);
    const std::vector<int> numbers = this->Numbers(this->m_field);
    fields::Fields copy;
    ASSERT_TRUE(copy.ParseFromString(this->m_message.SerializeAsString()));
    EXPECT_EQ(this->Numbers(this->Field(&copy, FieldName<TypeParam>::VALUE)), numbers);
}

}  // namespace
