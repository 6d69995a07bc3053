// Three records of one type, made in two ways, and the models of them; and the places in them.
#ifndef OSTRANE_TESTS_MODEL_WORLD_H_
#define OSTRANE_TESTS_MODEL_WORLD_H_

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "common/protobuf_record.h"
#include "model/model_record.h"
#include "support/captured_log.h"
#include "support/message_kinds.h"

namespace model {

// A message in a record, and its model.
struct Place {
    Node* node;
    google::protobuf::Message* message;
    std::string path;
};

class World {
public:
    explicit World(uint8_t choice);

    // Every message that is there, the records themselves first. Stands until something changes.
    std::vector<Place> Places();
    // Gives a field a few values, or a singular one a value, in record and model.
    void Fill(const Place& place, const google::protobuf::FieldDescriptor* field, int count, int first);

    // Empty, or how a record differs from its model.
    std::string Difference() const;
    // Empty, or how a record that is written and read back differs.
    std::string DifferenceWhenReadBack();
    // The models as the records are: entries of maps come in any order, which the operations follow.
    void FollowRecords();

    std::array<std::shared_ptr<Node>, 3> CopyModels() const;
    void RestoreModels(const std::array<std::shared_ptr<Node>, 3>& models) { m_models = models; }
    // Whether the models are something that a record can be.
    bool IsSound() const;

    CapturedLog log;
    ProtobufRecord record;

private:
    void CollectPlaces(const Place& place, int depth, std::vector<Place>& places) const;

    MessageMaker m_maker;
    MessageMaker m_otherMaker;
    std::array<google::protobuf::Message*, 3> m_messages;
    std::array<std::shared_ptr<Node>, 3> m_models;
    int m_nextKey = 1;
};

// The fields of a type that are repeated, or that are not, extensions included.
std::vector<const google::protobuf::FieldDescriptor*> FieldsOf(const google::protobuf::Descriptor* type,
                                                               bool areRepeated);

}  // namespace model

#endif  // OSTRANE_TESTS_MODEL_WORLD_H_
