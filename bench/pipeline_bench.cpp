// Bytes in, statements, bytes out: a whole record parsed, changed by compiled statements and serialised, each
// time into a fresh message. comparison.h says how to read the rows.
//
// `limit` parses and serialises and changes nothing; `by_hand` changes the generated class. The peers do the
// same to the same record as JSON text: RapidJSON's DOM; nlohmann-json, the change as a JSON Patch; SQLite's
// json functions, as one prepared statement. One item in ten matches a condition.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/util/json_util.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sqlite3.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "common/protobuf_record_util.h"
#include "comparison.h"
#include "player.pb.h"
#include "record/codec.h"
#include "record/statement_plan.h"

namespace {

using demo::Player;
using google::protobuf::Message;
using rapidjson::Document;
using rapidjson::Value;

constexpr int LARGE_QTY = 200;
constexpr int REMOVED_ITEM = 3;

// A record of about so many bytes.
Player SamplePlayer(size_t bytes) {
    Player player;
    player.set_name("Mara of the northern harbour");
    player.set_level(12);
    player.set_active(true);
    for (int i = 0; i < 8; ++i) {
        player.add_scores(i * 1000);
        player.add_tags("a tag of twenty-four " + std::to_string(100 + i));
    }
    player.mutable_profile()->set_email("mara@harbour.example");
    for (int i = 0; player.ByteSizeLong() < bytes; ++i) {
        demo::Item* item = player.add_items();
        item->set_sku("sku of twenty-four " + std::to_string(10000 + i % 90000));
        item->set_qty(i % 10 == 5 ? LARGE_QTY : i % 100);
        item->set_state(i % 3 == 0 ? demo::OPEN : demo::SOLD);
        item->set_price(static_cast<float>(i % 64) + 0.25F);
        item->add_tags("blue");
    }
    return player;
}

// ---- The jobs

void PushFront(Player& player) {
    player.add_scores(1);
    std::rotate(player.mutable_scores()->begin(), player.mutable_scores()->end() - 1, player.mutable_scores()->end());
}

void PopLarge(Player& player) {
    auto* items = player.mutable_items();
    int left = 0;
    for (int i = 0; i < items->size(); ++i) {
        if (items->Get(i).qty() <= 100) {
            items->SwapElements(left++, i);
        }
    }
    items->DeleteSubrange(left, items->size() - left);
}

void PushFront(Document& document) {
    Value& scores = document["scores"];
    scores.PushBack(1, document.GetAllocator());
    for (rapidjson::SizeType i = scores.Size() - 1; i > 0; --i) {
        scores[i].Swap(scores[i - 1]);
    }
}

void PopLarge(Document& document) {
    Value& items = document["items"];
    Value* left = items.Begin();
    for (Value* item = items.Begin(); item != items.End(); ++item) {
        if ((*item)["qty"].GetInt() <= 100) {
            if (item != left) {
                left->Swap(*item);
            }
            ++left;
        }
    }
    items.Erase(left, items.End());
}

nlohmann::json LargeRemoved(const nlohmann::json& document) {
    nlohmann::json patch = nlohmann::json::array();
    const nlohmann::json& items = document["items"];
    for (size_t i = items.size(); i-- > 0;) {
        if (items[i]["qty"].get<int>() > 100) {
            patch.push_back({{"op", "remove"}, {"path", "/items/" + std::to_string(i)}});
        }
    }
    return patch;
}

struct Job {
    const char* name;
    const char* statements;
    void (*byHand)(Player&);
    void (*rapidjson)(Document&);
    nlohmann::json (*patch)(const nlohmann::json&);
    const char* sql;
};

const Job JOBS[] = {
    {"pipeline", "PUSH scores[0] = 1; POP items[*] WHERE qty > 100",
     [](Player& player) {
         PushFront(player);
         PopLarge(player);
     },
     [](Document& document) {
         PushFront(document);
         PopLarge(document);
     },
     [](const nlohmann::json& document) {
         nlohmann::json patch = LargeRemoved(document);
         patch.push_back({{"op", "add"}, {"path", "/scores/0"}, {"value", 1}});
         return patch;
     },
     "SELECT json_set(?1, '$.scores', (SELECT json_group_array(value) FROM (SELECT 1 AS value UNION ALL "
     "SELECT value FROM json_each(?1, '$.scores'))), '$.items', (SELECT json_group_array(json(value)) FROM "
     "json_each(?1, '$.items') WHERE json_extract(value, '$.qty') <= 100))"},
    {"pipeline_append", "PUSH scores = 1", [](Player& player) { player.add_scores(1); },
     [](Document& document) { document["scores"].PushBack(1, document.GetAllocator()); },
     [](const nlohmann::json&) {
         return nlohmann::json::array({{{"op", "add"}, {"path", "/scores/-"}, {"value", 1}}});
     },
     "SELECT json_insert(?1, '$.scores[#]', 1)"},
    {"pipeline_remove", "POP items[3]", [](Player& player) { player.mutable_items()->DeleteSubrange(REMOVED_ITEM, 1); },
     [](Document& document) {
         Value& items = document["items"];
         items.Erase(items.Begin() + REMOVED_ITEM);
     },
     [](const nlohmann::json&) {
         return nlohmann::json::array({{{"op", "remove"}, {"path", "/items/" + std::to_string(REMOVED_ITEM)}}});
     },
     "SELECT json_remove(?1, '$.items[3]')"},
    {"pipeline_filter", "POP items[*] WHERE qty > 100", PopLarge, PopLarge, LargeRemoved,
     "SELECT json_set(?1, '$.items', (SELECT json_group_array(json(value)) FROM json_each(?1, '$.items') WHERE "
     "json_extract(value, '$.qty') <= 100))"},
};

// ---- The ways

class Plan {
public:
    Plan(const char* statements, const google::protobuf::Descriptor* descriptor) {
        OstraneRecord::StatementPlan plan;
        OstraneRecord::StatementError error;
        if (OstraneRecord::StatementPlan::Compile(statements, descriptor, {}, plan, error) != 0 ||
            plan.Bind({}, m_bound, error) != 0) {
            m_failure = error.message;
        }
    }
    void Run(Message& message) {
        ProtobufRecord record;
        record.m_pMessage = &message;
        if (m_bound.Execute(record, m_result) != 0) {
            m_failure = m_result.error.message;
        }
    }
    const std::string& Failure() const { return m_failure; }

private:
    OstraneRecord::BoundPlan m_bound;
    OstraneRecord::ExecutionResult m_result;
    std::string m_failure;
};

class Sqlite {
public:
    explicit Sqlite(const char* sql) {
        sqlite3_open(":memory:", &m_database);
        sqlite3_prepare_v2(m_database, sql, -1, &m_statement, nullptr);
    }
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;
    ~Sqlite() {
        sqlite3_finalize(m_statement);
        sqlite3_close(m_database);
    }
    void Run(const std::string& in, std::string& out) {
        sqlite3_bind_text(m_statement, 1, in.data(), static_cast<int>(in.size()), SQLITE_STATIC);
        out.clear();
        if (sqlite3_step(m_statement) == SQLITE_ROW) {
            const void* text = sqlite3_column_text(m_statement, 0);
            out.assign(static_cast<const char*>(text), static_cast<size_t>(sqlite3_column_bytes(m_statement, 0)));
        }
        sqlite3_reset(m_statement);
    }

private:
    sqlite3* m_database = nullptr;
    sqlite3_stmt* m_statement = nullptr;
};

enum class Kind {
    Generated,  // the generated class, parsed and serialised by protobuf
    Dynamic,    // the same of a class made from the descriptor
    Codec,      // the generated class through the library's own codec, which checks more
};

// The same type, of which there is no generated class.
const Message& DynamicPrototype() {
    static auto* const pool = new google::protobuf::DescriptorPool();
    static auto* const factory = new google::protobuf::DynamicMessageFactory(pool);
    static const Message* const prototype = [] {
        google::protobuf::FileDescriptorProto file;
        Player::descriptor()->file()->CopyTo(&file);
        return factory->GetPrototype(pool->BuildFile(file)->FindMessageTypeByName("Player"));
    }();
    return *prototype;
}

void ComparePipeline(benchmark::State& state, const Job& job, Kind kind, size_t bytes) {
    const Player sample = SamplePlayer(bytes);
    std::string in;
    sample.SerializePartialToString(&in);
    std::string json;
    google::protobuf::util::JsonPrintOptions options;
    options.preserve_proto_field_names = true;
    if (!google::protobuf::util::MessageToJsonString(sample, &json, options).ok()) {
        state.SkipWithError("the sample has no JSON form");
        return;
    }
    Player expected = sample;
    job.byHand(expected);

    const Message& prototype = kind == Kind::Dynamic ? DynamicPrototype() : Player::default_instance();
    Plan plan(job.statements, prototype.GetDescriptor());
    std::string out;
    enum class Form { Binary, Json, Unchanged } form = Form::Binary;
    const auto parse = [&] {
        std::unique_ptr<Message> message(prototype.New());
        message->ParsePartialFromArray(in.data(), static_cast<int>(in.size()));
        return message;
    };
    const auto serialise = [&](const Message& message) {
        out.clear();
        message.AppendPartialToString(&out);
    };

    // A peer leaves caches and allocator to the next way as it likes: most runs of a turn are warm.
    Comparison comparison(state, bytes >= 1000000 ? 1 : bytes >= 100000 ? 3 : 10);
    if (kind == Kind::Codec) {
        comparison.Add(
            "ours", [&form] { form = Form::Binary; },
            [&] {
                Player player;
                OstraneRecord::InputError error;
                const auto binary = OstraneRecord::RecordFormat::Binary;
                OstraneRecord::DecodeRecord(binary, in.data(), in.size(), {}, player, error);
                plan.Run(player);
                OstraneRecord::EncodeRecord(binary, player, {}, out, error);
            });
    } else {
        comparison.Add(
            "ours", [&form] { form = Form::Binary; },
            [&] {
                const std::unique_ptr<Message> message = parse();
                plan.Run(*message);
                serialise(*message);
            });
    }
    comparison.Add(
        "limit", [&form] { form = Form::Unchanged; }, [&] { serialise(*parse()); });
    if (kind == Kind::Generated) {
        comparison.Add(
            "by_hand", [&form] { form = Form::Binary; },
            [&] {
                Player player;
                player.ParsePartialFromArray(in.data(), static_cast<int>(in.size()));
                job.byHand(player);
                serialise(player);
            });
        comparison.Add(
            "rapidjson", [&form] { form = Form::Json; },
            [&] {
                Document document;
                document.Parse(json.data(), json.size());
                job.rapidjson(document);
                rapidjson::StringBuffer buffer;
                rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
                document.Accept(writer);
                out.assign(buffer.GetString(), buffer.GetSize());
            });
        comparison.Add(
            "nlohmann", [&form] { form = Form::Json; },
            [&] {
                nlohmann::json document = nlohmann::json::parse(json);
                document.patch_inplace(job.patch(document));
                out = document.dump();
            });
        auto sqlite = std::make_shared<Sqlite>(job.sql);
        comparison.Add(
            "sqlite", [&form] { form = Form::Json; }, [&, sqlite] { sqlite->Run(json, out); });
    }
    if (job.name == JOBS[0].name && bytes == 10000 && kind != Kind::Codec) {
        comparison.Expect("limit", 1.15);
        if (kind == Kind::Generated) {
            comparison.Expect("peers", 0.75);
        }
    }
    comparison.Run([&] {
        Player result;
        if (form == Form::Json) {
            if (!google::protobuf::util::JsonStringToMessage(out, &result).ok()) {
                state.SkipWithError("the result is no record");
            }
        } else {
            result.ParsePartialFromString(out);
        }
        const Player& right = form == Form::Unchanged ? sample : expected;
        if (!plan.Failure().empty()) {
            state.SkipWithError(plan.Failure().c_str());
        } else if (result.SerializePartialAsString() != right.SerializePartialAsString()) {
            state.SkipWithError("wrong result");
        }
    });
}

}  // namespace

int main(int argc, char** argv) {
    for (const Job& job : JOBS) {
        const auto add = [&job](const char* type, Kind kind, size_t bytes) {
            RegisterComparison(
                std::string(job.name) + "/" + type + "/" + std::to_string(bytes),
                [&job, kind, bytes](benchmark::State& state) { ComparePipeline(state, job, kind, bytes); });
        };
        for (const size_t bytes : {1000, 10000, 100000, 1000000}) {
            add("generated", Kind::Generated, bytes);
        }
        for (const size_t bytes : {1000, 10000, 100000}) {
            add("dynamic", Kind::Dynamic, bytes);
        }
        add("codec", Kind::Codec, 10000);
    }
    benchmark::AddCustomContext("rapidjson", RAPIDJSON_VERSION_STRING);
    benchmark::AddCustomContext("nlohmann", nlohmann::json::meta()["version"]["string"].get<std::string>());
    benchmark::AddCustomContext("sqlite", sqlite3_libversion());
    return RunComparisons(argc, argv);
}
