#include "tables/multicast_tables.h"

#include <algorithm>

#include "json/writer.h"

namespace zorbec {
namespace {

// Wrapper types and functions through which JsonWriter reads the tables (json/writer.h): a map from
// address to a map from number to the map of an entry's fields.

struct FieldMap {
  const MulticastRecord* fields;
};
std::size_t entry_count(const FieldMap& map) {
  return map.fields->size();
}
template <typename Entry>
bool for_each_member(const FieldMap& map, Entry entry) {
  return std::ranges::all_of(*map.fields, [&](const auto& field) {
    return entry(std::string_view(field.first), JsonText{field.second});
  });
}

struct NumberedRecords {
  const MulticastEntries* records;
};
std::size_t entry_count(const NumberedRecords& map) {
  return map.records->size();
}
template <typename Entry>
bool for_each_member(const NumberedRecords& map, Entry entry) {
  return std::ranges::all_of(*map.records, [&](const auto& record) {
    return entry(std::string_view(std::to_string(record.first)), FieldMap{&record.second});
  });
}

struct Addresses {
  std::vector<const MulticastTable::Nodes::value_type*> sorted;
};
std::size_t entry_count(const Addresses& map) {
  return map.sorted.size();
}
template <typename Entry>
bool for_each_member(const Addresses& map, Entry entry) {
  return std::ranges::all_of(map.sorted, [&](const auto* node) {
    return entry(std::string_view(node->first), NumberedRecords{&node->second});
  });
}

}  // namespace

void MulticastTable::declare(const std::string& address) {
  const MutexLock lock(mutex_);
  if (places_.find(address) == nullptr) places_.set(address, std::nullopt);
}

void MulticastTable::store(const std::string& address, MulticastEntries entries) {
  const MutexLock lock(mutex_);
  places_.set(address, std::move(entries));
}

MulticastTable::Nodes MulticastTable::nodes() const {
  Nodes stored;
  const MutexLock lock(mutex_);
  for (const auto& [address, entries] : places_) {
    if (entries) stored.emplace_back(address, *entries);
  }
  return stored;
}

const MulticastEntries* find_node(const MulticastTable::Nodes& nodes, std::string_view address) {
  const auto found = std::ranges::find(nodes, address, &MulticastTable::Nodes::value_type::first);
  return found == nodes.end() ? nullptr : &found->second;
}

std::string render(const MulticastTable::Nodes& nodes) {
  Addresses map;
  for (const auto& node : nodes) map.sorted.push_back(&node);
  std::ranges::sort(map.sorted, {}, [](const auto* node) { return node->first; });
  std::string text;
  JsonWriter([&](std::string_view piece) { text += piece; }).write(map);
  return text;
}

}  // namespace zorbec
