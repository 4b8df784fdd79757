#include "run/table_rendering.h"

#include <algorithm>
#include <array>
#include <utility>

namespace zorbec {
namespace {

// What follows teaches JsonWriter to read our tables.

struct Number {
  int value;
};
void append_scalar(std::string& out, const Number& number) {
  out += std::to_string(number.value);
}

struct Text {
  std::string_view characters;
};
void append_scalar(std::string& out, const Text& text) {
  append_json_text(out, text.characters);
}

// A scalar of a dump, as the dump wrote it.
struct DumpedScalar {
  JsonValue value;
};
void append_scalar(std::string& out, const DumpedScalar& scalar) {
  switch (scalar.value.kind()) {
    case JsonKind::kNull:
      out += "null";
      break;
    case JsonKind::kFalse:
      out += "false";
      break;
    case JsonKind::kTrue:
      out += "true";
      break;
    case JsonKind::kText:
      append_json_text(out, scalar.value.text());
      break;
    default:
      out += scalar.value.text();
  }
}

struct Key {
  const Integer* value;
};
void append_scalar(std::string& out, const Key& key) {
  out += '"';
  key.value->append_hexadecimal(out);
  out += '"';
}

struct Keys {
  const KeyList* keys;
};
std::size_t entry_count(const Keys& list) {
  return list.keys->size();
}
template <typename Entry>
bool for_each_element(const Keys& list, Entry entry) {
  return std::ranges::all_of(*list.keys, [&](const Integer& key) { return entry(Key{&key}); });
}

struct DumpedList {
  JsonValue value;
};
// Any value of a dump.
struct Dumped {
  JsonValue value;
};

struct Handles {
  const SubifList* list;
};

// What the checker added to a record under some name: one of these.
struct AddedValue {
  const KeyList* keys = nullptr;
  const SubifList* handles = nullptr;
  int number = 0;
};
template <typename Visitor>
void visit_json(const AddedValue& value, Visitor visitor) {
  if (value.keys != nullptr) {
    visitor(Keys{value.keys});
  } else if (value.handles != nullptr) {
    visitor(Handles{value.handles});
  } else {
    visitor(Number{value.number});
  }
}
struct Addition {
  std::string_view name;
  AddedValue value;
};

// At most as many additions as a record can have, sorted by name.
class Additions {
 public:
  void add(Addition addition) { additions_[count_++] = addition; }
  const Addition* begin() const { return additions_.data(); }
  const Addition* end() const { return additions_.data() + count_; }

 private:
  std::array<Addition, 3> additions_ = {};
  std::size_t count_ = 0;
};

// An object of a dump with what was added to it. An addition hides a dumped member of its name.
struct Record {
  JsonValue value;
  Additions additions;
};

template <typename Visitor>
void visit_json(const Dumped& dumped, Visitor visitor) {
  switch (dumped.value.kind()) {
    case JsonKind::kArray:
      visitor(DumpedList{dumped.value});
      break;
    case JsonKind::kObject:
      visitor(Record{dumped.value, {}});
      break;
    default:
      visitor(DumpedScalar{dumped.value});
  }
}

std::size_t entry_count(const DumpedList& list) {
  std::size_t count = 0;
  list.value.for_each_child([&](const JsonValue&) {
    ++count;
    return true;
  });
  return count;
}
template <typename Entry>
bool for_each_element(const DumpedList& list, Entry entry) {
  return list.value.for_each_child([&](const JsonValue& value) { return entry(Dumped{value}); });
}

std::size_t entry_count(const Handles& list) {
  const std::size_t dumped =
      list.list->dumped ? entry_count(DumpedList{*list.list->dumped}) : std::size_t{0};
  return dumped + list.list->listed.size();
}
template <typename Entry>
bool for_each_element(const Handles& list, Entry entry) {
  if (list.list->dumped && !for_each_element(DumpedList{*list.list->dumped}, entry)) return false;
  return std::ranges::all_of(list.list->listed,
                             [&](const std::string& handle) { return entry(Text{handle}); });
}

std::size_t least_columns(const Record& record) {
  return record.value.shape().least_columns;
}

std::size_t entry_count(const Record& record) {
  const JsonShape& shape = record.value.shape();
  return shape.members.size() +
         static_cast<std::size_t>(std::ranges::count_if(
             record.additions, [&](const Addition& added) { return !shape.find(added.name); }));
}

template <typename Entry>
bool for_each_member(const Record& record, Entry entry) {
  const JsonShape& shape = record.value.shape();
  // Of a record whose values have to be looked for one after another.
  std::vector<JsonValue> values;
  if (!record.value.is_flat()) {
    record.value.for_each_child([&](const JsonValue& value) {
      values.push_back(value);
      return true;
    });
  }
  const Addition* added = record.additions.begin();
  const Addition* const last = record.additions.end();
  for (const std::uint32_t index : shape.by_name) {
    const JsonShape::Member& member = shape.members[index];
    for (; added != last && added->name < member.name; ++added) {
      if (!entry(added->name, added->value)) return false;
    }
    if (added != last && added->name == member.name) continue;  // written when its turn comes
    const JsonValue value =
        values.empty() ? record.value.at_slot(member.slot) : values[member.slot];
    if (!entry(member.name, Dumped{value})) return false;
  }
  for (; added != last; ++added) {
    if (!entry(added->name, added->value)) return false;
  }
  return true;
}

Record with_additions(const JsonValue& record, const RecordAdditions& additions) {
  Record whole{record, {}};
  if (additions.inconsistent) {
    whole.additions.add({"inconsistent", {.number = *additions.inconsistent}});
  }
  if (additions.key_list) whole.additions.add({"key_list", {.keys = &*additions.key_list}});
  if (additions.subiflist)
    whole.additions.add({"subiflist", {.handles = additions.subiflist.get()}});
  return whole;
}

// Quotes, colon, blank, a digit, comma and blank for each entry: what a table takes at least on one
// line. Spares sorting a table that no line can hold.
std::size_t least_columns_of_table(std::size_t entries) {
  return entries * 7;
}

// Calls entry(name, value) for each member of the table in the order of the names.
template <typename Value, typename Entry>
bool for_each_sorted(const JsonDocument& document, Value value, Entry entry) {
  return std::ranges::all_of(document.sorted_entries(), [&](std::uint32_t number) {
    const JsonValue dumped = document.value(number);
    if (!dumped.is_object()) return entry(document.name(number), Dumped{dumped});
    return entry(document.name(number), value(number, dumped));
  });
}

struct Interfaces {
  const InterfaceTable* table;
};
std::size_t entry_count(const Interfaces& map) {
  return map.table->document.size();
}
std::size_t least_columns(const Interfaces& map) {
  return least_columns_of_table(entry_count(map));
}
template <typename Entry>
bool for_each_member(const Interfaces& map, Entry entry) {
  return for_each_sorted(
      map.table->document,
      [&](std::uint32_t number, const JsonValue& dumped) {
        return with_additions(dumped, map.table->additions[number]);
      },
      entry);
}

struct ProgrammedKeys {
  const PmdbTable* pmdb;
};
std::size_t entry_count(const ProgrammedKeys& map) {
  return map.pmdb->size();
}
std::size_t least_columns(const ProgrammedKeys& map) {
  return least_columns_of_table(entry_count(map));
}
template <typename Entry>
bool for_each_member(const ProgrammedKeys& map, Entry entry) {
  return for_each_sorted(
      map.pmdb->document(),
      [&](std::uint32_t number, const JsonValue& dumped) {
        Record record{dumped, {}};
        if (map.pmdb->is_claimed(number)) record.additions.add({"visited", {.number = 1}});
        return record;
      },
      entry);
}

// A dump is a table, or what the node's tool wrote instead of one.
template <typename Table>
struct Dump {
  const JsonDocument* document;
  Table table;
};
template <typename Table, typename Visitor>
void visit_json(const Dump<Table>& dump, Visitor visitor) {
  if (dump.document->is_object()) {
    visitor(dump.table);
  } else {
    visit_json(Dumped{dump.document->root()}, visitor);
  }
}

struct Nodes {
  std::vector<std::pair<std::string, InterfaceTable*>> sorted;
};
std::size_t entry_count(const Nodes& map) {
  return map.sorted.size();
}
template <typename Entry>
bool for_each_member(const Nodes& map, Entry entry) {
  return std::ranges::all_of(map.sorted, [&](const auto& node) {
    return entry(node.first, Dump<Interfaces>{&node.second->document, Interfaces{node.second}});
  });
}

template <typename T>
std::string written(const T& value) {
  std::string text;
  JsonWriter([&](std::string_view piece) { text += piece; }).write(value);
  return text;
}

}  // namespace

std::string render(const InterfaceTables& tables) {
  Nodes nodes{tables.nodes()};
  std::ranges::sort(nodes.sorted, {}, &std::pair<std::string, InterfaceTable*>::first);
  return written(nodes);
}

std::string render(const InterfaceRecord& record) {
  return written(with_additions(record.value(), record.additions()));
}

std::string render(const SubifList& handles) {
  return written(Handles{&handles});
}

void render(const PmdbTable& pmdb, const JsonWriter::Sink& sink) {
  JsonWriter(sink).write(Dump<ProgrammedKeys>{&pmdb.document(), ProgrammedKeys{&pmdb}});
}

std::shared_ptr<const std::string> SharedRendering::get(const InterfaceTables& tables) {
  const MutexLock lock(mutex_);
  if (text_ == nullptr) text_ = std::make_shared<const std::string>(render(tables));
  return text_;
}

void SharedRendering::clear() {
  const MutexLock lock(mutex_);
  text_.reset();
}

}  // namespace zorbec
