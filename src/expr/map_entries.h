// The entries of a map field that count. The wire may bring a key several times, and messages made at run time
// keep them all; as for protobuf's own readers the last one is the map's.
//
//   {"hp": 1, "mp": 2, "hp": 3}   MapEntries  ->  [2, 1], CountMapEntries  ->  2
#ifndef OSTRANE_EXPR_MAP_ENTRIES_H_
#define OSTRANE_EXPR_MAP_ENTRIES_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <vector>

namespace OstraneCommon {

// Their positions among the field's elements, in the order of the keys: numbers as numbers, false before true,
// texts by bytes.
std::vector<int32_t> MapEntries(const google::protobuf::Message& message, const google::protobuf::FieldDescriptor* map);
int CountMapEntries(const google::protobuf::Message& message, const google::protobuf::FieldDescriptor* map);

}  // namespace OstraneCommon

#endif  // OSTRANE_EXPR_MAP_ENTRIES_H_
