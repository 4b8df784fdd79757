#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/error.h"
#include "base/ordered_map.h"

namespace zorbec {

// What is known of one node. A field is empty where the record does not have it, which is another
// thing than holding the text "None".
struct NodeRecord {
  std::optional<int> nodeid;
  std::optional<int> pidb_dump;            // 1: its interface truth database is to be dumped
  std::optional<int> pmdb_dump;            // 1: its hardware key database is to be dumped
  std::optional<std::string> nodetype;     // "RP", "LC", "None"
  std::optional<std::string> nodeip;       // internal address, or "None": not reachable
  std::optional<std::string> act_standby;  // "Active", "Standby", "None"
  std::optional<int> is_active;            // single-processor models only
};

// The record is shared: a change made through the node table shows wherever it is referred to.
using NodeRecordPtr = std::shared_ptr<NodeRecord>;
using NodeInfo = OrderedMap<NodeRecordPtr>;

// Stands for an address or a type that is not known. An empty text is another thing.
inline constexpr std::string_view kNone = "None";

// The value of a field that must be there; `name` is the field's. Throws CheckError if it is not.
template <typename T>
const T& required(const std::optional<T>& field, std::string_view name) {
  if (!field) throw CheckError("the node record has no " + std::string(name));
  return *field;
}

}  // namespace zorbec
