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

// The handles of a bundle's sub-interfaces: first those of a list in the dump itself, if it has
// one, then those that the checker has added.
struct SubifList {
  std::optional<JsonValue> dumped;  // an array; a view into the bundle's own document
  std::vector<std::string> listed;
};

// What the checker adds to an interface record. Logs show each of these as a member of the record,
// under the same name.
struct RecordAdditions {
  std::optional<KeyList> key_list;
  std::unique_ptr<SubifList> subiflist;  // only for bundles; a pointer, because few records have it
  std::optional<int> inconsistent;       // only for bundles: 1 if line cards disagree, else 0
};

// One node's interfaces of one class: the dump as it was loaded, and what was added to its records.
// Written only by the worker of its node in the dump phase; constant later.
struct InterfaceTable {
  // An empty table. `from` is the path of the dump file, for messages.
  explicit InterfaceTable(std::string from) : source(std::move(from)) {}
  InterfaceTable(std::string from, JsonDocument loaded)
      : source(std::move(from)), document(std::move(loaded)), additions(document.size()) {}

  // Throws CheckError if the dump is valid JSON but not an object.
  void require_object() const;

  std::string source;
  JsonDocument document;
  std::vector<RecordAdditions> additions;  // one for each entry of the document
};

// Refers to one record of an InterfaceTable; cheap to copy. The table must outlive it.
class InterfaceRecord {
 public:
  InterfaceRecord(InterfaceTable& table, std::uint32_t entry) : table_(&table), entry_(entry) {}

  // The record's name in its table: the interface handle in decimal.
  std::string_view handle() const { return table_->document.name(entry_); }
  // The handle as a number. Throws CheckError if it is not a decimal number.
  Integer handle_number() const;

  // A field of the record as it is in the dump; empty if the record does not have it. Throws
  // CheckError if the record is not an object.
  std::optional<JsonValue> find(std::string_view field) const;
  // The same, but throws CheckError if the record does not have the field.
  JsonValue field(std::string_view field) const;

  // Throws CheckError if the record is not an object.
  void require_object() const;

  // The record as it is in the dump. A malformed dump may have something else than an object here;
  // see require_object().
  JsonValue value() const { return table_->document.value(entry_); }

  // May be changed only by the worker of the table's node.
  RecordAdditions& additions() const { return table_->additions[entry_]; }

  // Throws CheckError with the text "<dump file>: interface "<handle>" <what>".
  [[noreturn]] void fail(const std::string& what) const;

 private:
  InterfaceTable* table_;
  std::uint32_t entry_;
};

// One node's programmed keys: the dump as it was loaded, and a mark for each entry that an
// interface has claimed. Used only by the workers of its node, one after the other, so there is no
// lock.
class PmdbTable {
 public:
  explicit PmdbTable(std::string source) : source_(std::move(source)) {}
  PmdbTable(std::string source, JsonDocument document)
      : source_(std::move(source)), document_(std::move(document)), visited_(document_.size()) {}

  const JsonDocument& document() const { return document_; }
  std::uint32_t size() const { return document_.size(); }
  std::string_view name(std::uint32_t entry) const { return document_.name(entry); }

  // The entry with that name, or with the decimal text of the key as its name. Names are compared
  // as texts: an entry "007" is not found for the key 7. Throw CheckError if the dump is not an
  // object.
  std::optional<std::uint32_t> find(std::string_view name) const;
  std::optional<std::uint32_t> find(const Integer& key) const;

  // Marks an entry as claimed by an interface. Throws CheckError if the entry is not an object.
  void set_visited(std::uint32_t entry);
  // The same, without the check: the entry must be an object.
  void claim(std::uint32_t entry) { visited_[entry] = true; }
  // Whether the entry was claimed, or has a member `visited` in the dump itself. Throws CheckError
  // if it was not claimed and is not an object.
  bool is_visited(std::uint32_t entry) const;
  // Whether the entry was claimed with set_visited() or claim().
  bool is_claimed(std::uint32_t entry) const { return visited_[entry]; }

  // Throws CheckError if the dump is valid JSON but not an object.
  void require_object() const;
  // Throws CheckError with the text "<dump file>: key "<name>" <what>".
  [[noreturn]] void fail(std::uint32_t entry, const std::string& what) const;

 private:
  JsonValue record(std::uint32_t entry) const;

  std::string source_;
  JsonDocument document_;
  std::vector<bool> visited_;
};

// A table with one place for each node, in the order of declare(). A place is empty until the dump
// of its node was loaded.
//
// All functions are safe from any thread. The lock guards the places, not the objects in them: an
// object is changed only by the worker of its node, and read by other workers only in a later
// phase.
template <typename T>
class NodeTable {
 public:
  // Gives the node a place behind all others. Does nothing if it has one.
  void declare(const std::string& node) {
    const MutexLock lock(mutex_);
    if (places_.find(node) == nullptr) places_.set(node, nullptr);
  }

  // Stores the node's object, and destroys the one that it had. A node without a place gets one
  // behind all others. The reference is valid until the next set() for the node.
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

  // Null if nothing was stored for the node. Valid until the next set() for the node.
  T* find(const std::string& node) const {
    const MutexLock lock(mutex_);
    const std::unique_ptr<T>* const place = places_.find(node);
    return place == nullptr ? nullptr : place->get();
  }

  // All nodes for which something was stored, in the order of their places.
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
