#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/integer.h"
#include "base/mutex.h"
#include "base/ordered_map.h"
#include "json/document.h"

namespace zorbec {

// An interface's expected keys in the order in which they were derived, duplicates kept.
using KeyList = std::vector<Integer>;

// A bundle's sub-interfaces: a list that the dump itself supplied, if it did, and behind it the
// handles that were listed since.
struct SubifList {
  std::optional<JsonValue> dumped;  // an array, of the same document as the record
  std::vector<std::string> listed;
};

// What the checker adds to an interface record in memory, under the names of its members.
struct RecordAdditions {
  std::optional<KeyList> key_list;
  std::unique_ptr<SubifList> subiflist;  // bundles only, hence rarely there
  std::optional<int> inconsistent;       // bundles only: 1 if line cards disagree about it
};

// One node's interfaces of one class: the dump as loaded, and what was added to its records.
struct InterfaceTable {
  // An empty table. `from` names the dump file, for messages.
  explicit InterfaceTable(std::string from) : source(std::move(from)) {}
  InterfaceTable(std::string from, JsonDocument loaded)
      : source(std::move(from)), document(std::move(loaded)), additions(document.size()) {}

  // Throws CheckError if the dump is not an object, which is what a table is.
  void require_object() const;

  std::string source;
  JsonDocument document;
  std::vector<RecordAdditions> additions;  // one for each member of the document
};

// One record of an InterfaceTable, by reference.
class InterfaceRecord {
 public:
  InterfaceRecord(InterfaceTable& table, std::uint32_t entry) : table_(&table), entry_(entry) {}

  // The record's name in its table: the interface handle in decimal.
  std::string_view handle() const { return table_->document.name(entry_); }
  // Its value. Throws CheckError if it is not a decimal number.
  Integer handle_number() const;

  // A field of the record as it was dumped. Throws CheckError if the record is not an object.
  std::optional<JsonValue> find(std::string_view field) const;
  // The same; a missing field throws CheckError.
  JsonValue field(std::string_view field) const;

  // Throws CheckError if the record is not an object.
  void require_object() const;

  // The record itself; an object unless require_object() says otherwise.
  JsonValue value() const { return table_->document.value(entry_); }

  RecordAdditions& additions() const { return table_->additions[entry_]; }

  // Throws CheckError saying where the record came from, its handle, and `what`.
  [[noreturn]] void fail(const std::string& what) const;

 private:
  InterfaceTable* table_;
  std::uint32_t entry_;
};

// One node's programmed keys: the dump as loaded, and which of its entries an interface claimed.
class PmdbTable {
 public:
  explicit PmdbTable(std::string source) : source_(std::move(source)) {}
  PmdbTable(std::string source, JsonDocument document)
      : source_(std::move(source)), document_(std::move(document)), visited_(document_.size()) {}

  const JsonDocument& document() const { return document_; }
  std::uint32_t size() const { return document_.size(); }
  std::string_view name(std::uint32_t entry) const { return document_.name(entry); }

  // The entry of that name, or of the name that is the decimal text of a key. Names are compared as
  // texts: "007" is nobody's key. Throw CheckError if the dump is not an object.
  std::optional<std::uint32_t> find(std::string_view name) const;
  std::optional<std::uint32_t> find(const Integer& key) const;

  // Marks an entry as claimed. Throws CheckError if the entry is not an object.
  void set_visited(std::uint32_t entry);
  // The same for an entry that is known to be an object.
  void claim(std::uint32_t entry) { visited_[entry] = true; }
  // Whether the entry holds `visited`, be it from here or from the dump. Throws as set_visited().
  bool is_visited(std::uint32_t entry) const;
  // Whether it was claimed here.
  bool is_claimed(std::uint32_t entry) const { return visited_[entry]; }

  // Throws CheckError if the dump is not an object.
  void require_object() const;
  // Throws CheckError saying where the entry came from, its name, and `what`.
  [[noreturn]] void fail(std::uint32_t entry, const std::string& what) const;

 private:
  JsonValue record(std::uint32_t entry) const;

  std::string source_;
  JsonDocument document_;
  std::vector<bool> visited_;
};

// A table with one place per node. Nodes stand in node-table order, once declare() has named them;
// a place is empty until its node's dump was loaded.
//
// The lock guards the places, not what they hold: that is written by the node's own worker alone,
// and read by others only in a later phase.
template <typename T>
class NodeTable {
 public:
  // Gives the node a place, behind those that have one.
  void declare(const std::string& node) {
    const MutexLock lock(mutex_);
    if (places_.find(node) == nullptr) places_.set(node, nullptr);
  }

  // Replaces what the node had. The reference stays valid until the next set() for the node.
  T& set(const std::string& node, T loaded) {
    auto fresh = std::make_unique<T>(std::move(loaded));
    T& here = *fresh;
    const MutexLock lock(mutex_);
    if (std::unique_ptr<T>* const place = places_.find(node)) {
      place->swap(fresh);
    } else {
      places_.set(node, std::move(fresh));
    }
    return here;
  }

  // Null if nothing was loaded for the node.
  T* find(const std::string& node) const {
    const MutexLock lock(mutex_);
    const std::unique_ptr<T>* const place = places_.find(node);
    return place == nullptr ? nullptr : place->get();
  }

  // Every node that something was loaded for, in order.
  std::vector<std::pair<std::string, T*>> nodes() const {
    std::vector<std::pair<std::string, T*>> loaded;
    const MutexLock lock(mutex_);
    for (const auto& [node, place] : places_) {
      if (place != nullptr) loaded.emplace_back(node, place.get());
    }
    return loaded;
  }

 private:
  mutable Mutex mutex_;
  OrderedMap<std::unique_ptr<T>> places_ ZORBEC_GUARDED_BY(mutex_);
};

using InterfaceTables = NodeTable<InterfaceTable>;

}  // namespace zorbec
