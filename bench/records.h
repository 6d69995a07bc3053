// The records that the benchmarks work on, by element type, size and place.
#ifndef OSTRANE_BENCH_RECORDS_H_
#define OSTRANE_BENCH_RECORDS_H_

#include <google/protobuf/arena.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/repeated_field.h>

#include <memory>
#include <string>
#include <vector>

#include "common/protobuf_record_util.h"
#include "comparison.h"
#include "record.pb.h"

// ---- Element types: how the generated class reaches them, and a value that tells where it came from

inline std::string TextOf(size_t length, int seed) {
    std::string text = std::to_string(seed) + " ";
    while (text.size() < length) {
        text += static_cast<char>('a' + text.size() % 26);
    }
    return text;
}

struct Int32 {
    using Element = int32_t;
    static constexpr const char* NAME = "int32";
    static constexpr const char* FIELD = "ints";
    static constexpr size_t BYTES = 4;
    static google::protobuf::RepeatedField<int32_t>* Of(bench::Record& record) { return record.mutable_ints(); }
    static const google::protobuf::RepeatedField<int32_t>& Of(const bench::Record& record) { return record.ints(); }
    static void Add(bench::Record& record, int seed) { record.add_ints(seed); }
};

struct Double {
    using Element = double;
    static constexpr const char* NAME = "double";
    static constexpr const char* FIELD = "doubles";
    static constexpr size_t BYTES = 8;
    static google::protobuf::RepeatedField<double>* Of(bench::Record& record) { return record.mutable_doubles(); }
    static const google::protobuf::RepeatedField<double>& Of(const bench::Record& record) { return record.doubles(); }
    static void Add(bench::Record& record, int seed) { record.add_doubles(seed); }
};

template <size_t LENGTH>
struct Text {
    using Element = std::string;
    static constexpr const char* NAME = LENGTH == 24 ? "string24" : "string1024";
    static constexpr const char* FIELD = "texts";
    static constexpr size_t BYTES = LENGTH;
    static google::protobuf::RepeatedPtrField<std::string>* Of(bench::Record& record) { return record.mutable_texts(); }
    static const google::protobuf::RepeatedPtrField<std::string>& Of(const bench::Record& record) {
        return record.texts();
    }
    static void Add(bench::Record& record, int seed) { record.add_texts(TextOf(LENGTH, seed)); }
    static void Copy(const std::string& from, std::string* to) { *to = from; }
    static void Move(std::string* from, std::string* to) { to->swap(*from); }
};

struct SmallMessage {
    using Element = bench::Small;
    static constexpr const char* NAME = "small";
    static constexpr const char* FIELD = "smalls";
    static constexpr size_t BYTES = 80;
    static google::protobuf::RepeatedPtrField<bench::Small>* Of(bench::Record& record) {
        return record.mutable_smalls();
    }
    static const google::protobuf::RepeatedPtrField<bench::Small>& Of(const bench::Record& record) {
        return record.smalls();
    }
    static void Fill(bench::Small* element, int seed) {
        element->set_id(seed);
        element->set_name(TextOf(24, seed));
    }
    static void Add(bench::Record& record, int seed) { Fill(record.add_smalls(), seed); }
    static void Copy(const bench::Small& from, bench::Small* to) { *to = from; }
    static void Move(bench::Small* from, bench::Small* to) { to->Swap(from); }
};

struct LargeMessage {
    using Element = bench::Large;
    static constexpr const char* NAME = "large";
    static constexpr const char* FIELD = "larges";
    static constexpr size_t BYTES = 1000;
    static google::protobuf::RepeatedPtrField<bench::Large>* Of(bench::Record& record) {
        return record.mutable_larges();
    }
    static const google::protobuf::RepeatedPtrField<bench::Large>& Of(const bench::Record& record) {
        return record.larges();
    }
    static void Add(bench::Record& record, int seed) {
        bench::Large* element = record.add_larges();
        element->set_id(seed);
        element->set_name(TextOf(24, seed));
        element->set_text(TextOf(200, seed));
        for (int i = 0; i < 16; ++i) {
            element->add_parts(seed + i);
        }
        for (int i = 0; i < 4; ++i) {
            SmallMessage::Fill(element->add_inner(), seed + i);
        }
        element->set_first(seed);
        element->set_second(seed * 0.5);
    }
    static void Copy(const bench::Large& from, bench::Large* to) { *to = from; }
    static void Move(bench::Large* from, bench::Large* to) { to->Swap(from); }
};

// ---- Records

template <typename Type>
bench::Record Filled(int size, int seed = 0) {
    bench::Record record;
    Type::Of(record)->Reserve(size);
    for (int i = 0; i < size; ++i) {
        Type::Add(record, seed + i);
    }
    return record;
}

enum class Where { Heap, Arena };

inline const char* NameOf(Where where) {
    return where == Where::Heap ? "heap" : "arena";
}

// A record on the heap or on an arena of its own.
class Placed {
public:
    explicit Placed(Where where) {
        if (where == Where::Heap) {
            m_owned = std::make_unique<bench::Record>();
            m_record = m_owned.get();
        } else {
            m_arena = std::make_unique<google::protobuf::Arena>();
            m_record = google::protobuf::Arena::CreateMessage<bench::Record>(m_arena.get());
        }
    }
    Placed(Where where, const bench::Record& before) : Placed(where) { *m_record = before; }

    bench::Record& operator*() const { return *m_record; }
    bench::Record* operator->() const { return m_record; }

private:
    std::unique_ptr<google::protobuf::Arena> m_arena;
    std::unique_ptr<bench::Record> m_owned;
    bench::Record* m_record;
};

// Records that a way uses up, one a run: filled again, outside the time that is taken, before each batch.
class Supply {
public:
    Supply(Where where, bench::Record before, int batch)
        : m_where(where), m_before(std::move(before)), m_batch(batch) {}

    void Refill() {
        m_records.clear();
        for (int i = 0; i < m_batch; ++i) {
            m_records.emplace_back(m_where, m_before);
        }
        m_next = 0;
    }
    bench::Record& Next() { return *m_records[m_next++]; }
    bench::Record& First() { return *m_records.front(); }

private:
    const Where m_where;
    const bench::Record m_before;
    const int m_batch;
    std::vector<Placed> m_records;
    size_t m_next = 0;
};

template <typename Type>
const google::protobuf::FieldDescriptor* FieldOf() {
    static const google::protobuf::FieldDescriptor* const field =
        bench::Record::descriptor()->FindFieldByName(Type::FIELD);
    return field;
}

template <typename Type>
MutableProtobufField HandleOf(bench::Record& record) {
    return {&record, FieldOf<Type>()};
}

// Runs in one batch: few where one run takes long, or uses up much memory.
inline int BatchOf(int size) {
    return size <= 10 ? 100 : size <= 1000 ? 20 : 1;
}

inline std::string BytesOf(const bench::Record& record) {
    return record.SerializeAsString();
}

// ---- Rows

// `compare(state, size, where)`, for the sizes and places of one element type. A record of more than 50 MB
// is measured on the heap alone.
template <typename Type, typename CompareRows>
void RegisterRows(const std::string& workload, CompareRows compare) {
    for (const Where where : {Where::Heap, Where::Arena}) {
        for (const int size : {10, 1000, 100000}) {
            if (where == Where::Arena && Type::BYTES * static_cast<size_t>(size) > 50000000) {
                continue;
            }
            RegisterComparison(workload + "/" + Type::NAME + "/" + std::to_string(size) + "/" + NameOf(where),
                               [=](benchmark::State& state) { compare(state, size, where); });
        }
    }
}

#endif  // OSTRANE_BENCH_RECORDS_H_
