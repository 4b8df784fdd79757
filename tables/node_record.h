#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/error.h"
#include "base/ordered_map.h"

namespace zorbec {

// What is known of one node. An empty field means that the record does not have the field; the text
// "None" is a value.
struct NodeRecord {
  std::optional<int> nodeid;
  std::optional<int> pidb_dump;            // 1: dump its interface truth database (PIDB)
  std::optional<int> pmdb_dump;            // 1: dump the keys of its hardware (PMDB)
  std::optional<std::string> nodetype;     // "RP", "LC", "None"
  std::optional<std::string> nodeip;       // internal address; "None": the node is not reachable
  std::optional<std::string> act_standby;  // "Active", "Standby", "None"
  std::optional<int> is_active;            // only on single-processor models
};

// Records are shared. The run state refers to some of them outside the node table, and sees changes
// that are made through the table.
using NodeRecordPtr = std::shared_ptr<NodeRecord>;
// Short name of a node ("RP0", "3") -> its record. Its order is called the node-table order.
using NodeInfo = OrderedMap<NodeRecordPtr>;

// An address or a type that is not known. An empty text does not mean this.
inline constexpr std::string_view kNone = "None";

// The value of a field. `name` is the name of the field, for the message. Throws CheckError if the
// record does not have the field.
template <typename T>
const T& required(const std::optional<T>& field, std::string_view name) {
  if (!field) throw CheckError("the node record has no " + std::string(name));
  return *field;
}

}  // namespace zorbec
