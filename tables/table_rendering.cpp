#include "tables/table_rendering.h"

#include <algorithm>
#include <array>
#include <utility>

#include "json/scanning.h"

namespace zorbec {
namespace {

// What follows teaches JsonWriter to read our tables.

struct Number {
  int value;
};
void append_scalar(std::string& out, const Number& number) {
  out += std::to_string(number.value);
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
    case JsonKind::kInteger:
    case JsonKind::kReal:
    case JsonKind::kArray:  // lists and objects are no scalars
    case JsonKind::kObject:
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
  static constexpr std::size_t kMost = 3;

  void add(Addition addition) { additions_[count_++] = addition; }
  const Addition* begin() const { return additions_.data(); }
  const Addition* end() const { return additions_.data() + count_; }

 private:
  std::array<Addition, kMost> additions_ = {};
  std::size_t count_ = 0;
};

// The lines of flat records that stand on several lines, at one indentation: what is on each of
// them before its value. Made for each shape when it first comes.
class FoldedLines {
 public:
  explicit FoldedLines(std::size_t indent) : indent_(indent) {}

  struct Form {
    struct Line {
      std::string_view name;
      std::string before;
      std::uint32_t slot;
    };
    std::vector<Line> lines;  // sorted by name
    std::string closing;
    std::size_t bytes = 0;  // of all that is not values

    // How many of the lines sort before that name. Nullopt if it would stand before all of them, or
    // one has the name itself.
    std::optional<std::size_t> place_behind(std::string_view name) const {
      const auto next = std::ranges::lower_bound(lines, name, {}, &Line::name);
      if (next == lines.begin() || (next != lines.end() && next->name == name)) return std::nullopt;
      return next - lines.begin();
    }
  };

  const Form& of(const JsonShape& shape, std::uint32_t number) {
    if (number >= forms_.size()) forms_.resize(number + 1);
    Form& form = forms_[number];
    if (form.closing.empty()) form = make(shape);
    return form;
  }
  std::size_t indent() const { return indent_; }

 private:
  Form make(const JsonShape& shape) const {
    Form form;
    char opening = '{';
    for (const std::uint32_t index : shape.by_name) {
      std::string before{opening, '\n'};
      before.append(indent_ + 1, ' ');
      append_json_text(before, shape.members[index].name);
      before += ": ";
      form.bytes += before.size();
      form.lines.push_back(
          {shape.members[index].name, std::move(before), shape.members[index].slot});
      opening = ',';
    }
    form.closing.append(1, '\n').append(indent_, ' ').append(1, '}');
    form.bytes += form.closing.size();
    return form;
  }

  std::size_t indent_;
  std::vector<Form> forms_;
};

// An object of a dump with what was added to it. An addition hides a dumped member of its name.
struct Record {
  JsonValue value;
  Additions additions;
  FoldedLines* lines = nullptr;  // for the quick way below, if there is one
};

// The quick way for most of a log: a flat record that fits on no line.
template <typename Put>
bool append_folded(std::string& out, const Record& record, std::size_t indent, Put put) {
  if (record.lines == nullptr || record.lines->indent() != indent) return false;
  return record.value.with_plain_values([&](const JsonShape& shape, std::uint32_t number,
                                            std::size_t value_bytes, const auto& copy_value) {
    const FoldedLines::Form& form = record.lines->of(shape, number);
    if (form.lines.empty()) return false;
    std::array<std::size_t, Additions::kMost> places = {};
    std::size_t* place = places.data();
    for (const Addition& added : record.additions) {
      const std::optional<std::size_t> behind = form.place_behind(added.name);
      if (!behind) return false;
      *place++ = *behind;
    }

    std::size_t done = 0;
    const auto append_until = [&](std::size_t end) {
      const std::size_t before = out.size();
      out.resize(before + form.bytes + value_bytes + kScanSlack);
      char* at = out.data() + before;
      for (; done < end; ++done) {
        const FoldedLines::Form::Line& line = form.lines[done];
        at = copy_value(line.slot, at + line.before.copy(at, line.before.size()));
      }
      out.resize(static_cast<std::size_t>(at - out.data()));
    };
    place = places.data();
    for (const Addition& added : record.additions) {
      append_until(*place++);
      out.append(",\n").append(indent + 1, ' ').append(1, '"').append(added.name).append("\": ");
      const bool is_last = done == form.lines.size() && &added + 1 == record.additions.end();
      put(added.value, added.name.size() + 4 + (is_last ? 0 : 1));
    }
    append_until(form.lines.size());
    out += form.closing;
    return true;
  });
}

template <typename Visitor>
void visit_json(const Dumped& dumped, Visitor visitor) {
  switch (dumped.value.kind()) {
    case JsonKind::kArray:
      visitor(DumpedList{dumped.value});
      break;
    case JsonKind::kObject:
      visitor(Record{dumped.value, {}});
      break;
    case JsonKind::kNull:
    case JsonKind::kFalse:
    case JsonKind::kTrue:
    case JsonKind::kInteger:
    case JsonKind::kReal:
    case JsonKind::kText:
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
                             [&](const std::string& handle) { return entry(JsonText{handle}); });
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
  std::vector<JsonValue> values;
  values.reserve(shape.slots);
  record.value.for_each_child([&](const JsonValue& value) {
    values.push_back(value);
    return true;
  });
  const Addition* added = record.additions.begin();
  const Addition* const last = record.additions.end();
  for (const std::uint32_t index : shape.by_name) {
    const JsonShape::Member& member = shape.members[index];
    for (; added != last && added->name < member.name; ++added) {
      if (!entry(added->name, added->value)) return false;
    }
    if (added != last && added->name == member.name) continue;  // written when its turn comes
    if (!entry(member.name, Dumped{values[member.slot]})) return false;
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
  // A dump is in no order, so nearly every record is far from the one before.
  constexpr std::size_t kAhead = 8;
  const std::vector<std::uint32_t>& order = document.sorted_entries();
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (i + 2 * kAhead < order.size()) document.prefetch_entry(order[i + 2 * kAhead]);
    if (i + kAhead < order.size()) document.prefetch_value(order[i + kAhead]);
    const JsonValue dumped = document.value(order[i]);
    const bool goes_on = dumped.is_object()
                             ? entry(document.name(order[i]), value(order[i], dumped))
                             : entry(document.name(order[i]), Dumped{dumped});
    if (!goes_on) return false;
  }
  return true;
}

struct Interfaces {
  const InterfaceTable* table;
};
// Of their records: they stand below their nodes.
constexpr std::size_t kInterfaceIndent = 2;
std::size_t entry_count(const Interfaces& map) {
  return map.table->document.size();
}
std::size_t least_columns(const Interfaces& map) {
  return least_columns_of_table(entry_count(map));
}
template <typename Entry>
bool for_each_member(const Interfaces& map, Entry entry) {
  FoldedLines lines(kInterfaceIndent);
  return for_each_sorted(
      map.table->document,
      [&](std::uint32_t number, const JsonValue& dumped) {
        Record record = with_additions(dumped, map.table->additions[number]);
        record.lines = &lines;
        return record;
      },
      entry);
}

struct ProgrammedKeys {
  const PmdbTable* pmdb;
  FoldedLines* lines;
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
        Record record{dumped, {}, map.lines};
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
  FoldedLines lines(1);
  JsonWriter(sink).write(Dump<ProgrammedKeys>{&pmdb.document(), ProgrammedKeys{&pmdb, &lines}});
}

}  // namespace zorbec
