#include "tables/table_rendering.h"

#include <algorithm>
#include <array>
#include <utility>
#include <variant>

#include "json/scanning.h"

namespace zorbec {
namespace {

// How a log shows a table.
//
// JsonWriter (json/writer.h) does not know our tables. The small types below wrap them, and the
// functions beside each type let the writer walk it:
//
//   Nodes           map: node -> Dump         one class's table of all nodes
//   Dump            a table, or any other value that the node's tool has written instead
//   Interfaces      map: handle -> Record     one node's interfaces of one class
//   ProgrammedKeys  map: key -> Record        one node's hardware keys
//   Record          map: member -> value      a dumped record with the checker's additions
//   Dumped          any value of a dump: DumpedScalar, DumpedList or Record
//
// A log has some 100,000 records of a node, and nearly all of its bytes are copies of the dump's
// bytes. So records have two ways to be written:
//
//   - The general way, for_each_member(): walks the members sorted by name and writes each value by
//     its kind. It takes every record, and is the one that says what is right.
//   - The fast way, append_folded(): for flat records that are stored by a layout and do not fit on
//     one line. The text before each value ("{", newline, indentation, name, colon) is the same for
//     all records of a layout. FoldedLines makes these texts once; a record is then written by
//     copying texts and values in turn.
//
// Both must write the same bytes. tests/unit/tables/table_rendering_test.cpp, the scenarios and the
// fuzzer `rendering` compare them with expected texts and with another JSON library.

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
    case JsonKind::kArray:  // cannot happen: lists and objects are not scalars
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

// The value of a member that the checker has added to a record.
using AddedValue = std::variant<Number, Keys, Handles>;
struct Addition {
  std::string_view name;
  AddedValue value;
};

// The members that the checker has added to a record. They must be added in the order of their
// names. No allocation: there is one of these for each record of a log.
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

// The fast way's prepared texts, for records at one indentation. The record {"port": 12, "rif": 5}
// at indentation 1 is written from these three, with the values between them:
//
//   lines[0].before  {\n  "port":
//   lines[1].before  ,\n  "rif":
//   closing          \n }
class FoldedLines {
 public:
  explicit FoldedLines(std::size_t indent) : indent_(indent) {}

  // The texts for one shape.
  struct Form {
    struct Line {
      std::string_view name;
      std::string before;  // all text between the value before and this value
      std::uint32_t slot;  // of the value in the dumped record
    };
    std::vector<Line> lines;  // sorted by name
    std::string closing;
    std::size_t bytes = 0;  // of all `before` and `closing`

    // The number of lines that sort before `name`: an added member of that name is written behind
    // them. Nullopt, and the general way is taken, if there is no line before it (the prepared text
    // of the first line begins with the brace) or the dump has a member of that name (which the
    // added one hides).
    std::optional<std::size_t> place_behind(std::string_view name) const {
      const auto next = std::ranges::lower_bound(lines, name, {}, &Line::name);
      if (next == lines.begin() || (next != lines.end() && next->name == name)) return std::nullopt;
      return next - lines.begin();
    }
  };

  // The texts for the shape with that number; made at the first call. The reference is valid until
  // the next call.
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
  FoldedLines* lines = nullptr;  // null: only the general way
};

// The fast way. JsonWriter calls it for records that are too wide for one line.
template <typename Put>
bool append_folded(std::string& out, const Record& record, std::size_t indent, Put put) {
  if (record.lines == nullptr || record.lines->indent() != indent) return false;
  return record.value.with_plain_values([&](const JsonShape& shape, std::uint32_t number,
                                            std::size_t value_bytes, const auto& copy_value) {
    const FoldedLines::Form& form = record.lines->of(shape, number);
    if (form.lines.empty()) return false;
    // All places are found before anything is written: on false, `out` must be unchanged.
    std::array<std::size_t, Additions::kMost> places = {};
    std::size_t* place = places.data();
    for (const Addition& added : record.additions) {
      const std::optional<std::size_t> behind = form.place_behind(added.name);
      if (!behind) return false;
      *place++ = *behind;
    }

    // Makes room for the whole record at once, and then only copies. The room is an upper limit;
    // copy_value() may write up to kScanSlack bytes too many.
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
      // 4 columns for the quotes, colon and blank of the name; one for a comma if more follows.
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

// The general way: merges the dumped members, sorted by name, with the additions, which are sorted
// too.
template <typename Entry>
bool for_each_member(const Record& record, Entry entry) {
  const JsonShape& shape = record.value.shape();
  // All values are collected in one walk. at_slot() would walk the record again for each member.
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
    // The addition hides the dumped member. The loop above or below will write it.
    if (added != last && added->name == member.name) continue;
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
    whole.additions.add({"inconsistent", Number{*additions.inconsistent}});
  }
  if (additions.key_list) whole.additions.add({"key_list", Keys{&*additions.key_list}});
  if (additions.subiflist) whole.additions.add({"subiflist", Handles{additions.subiflist.get()}});
  return whole;
}

// The least width of a table on one line: for each entry two quotes, colon, blank, one digit, comma
// and blank. With it, JsonWriter need not try one line for a large table, which means to sort it.
std::size_t least_columns_of_table(std::size_t entries) {
  return entries * 7;
}

// Calls entry(name, value) for each entry of the table, sorted by name.
template <typename Value, typename Entry>
bool for_each_sorted(const JsonDocument& document, Value value, Entry entry) {
  // A dump is not sorted, so in this order nearly every record is a cache miss. But the order is
  // known: the entry of a later record and the text of the next ones are prefetched. The text's
  // place is in the entry, so the entry must come first.
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
// Indentation of the records: they are inside of a node, which is inside of the table.
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
        if (map.pmdb->is_claimed(number)) record.additions.add({"visited", Number{1}});
        return record;
      },
      entry);
}

// A dump: a table, or any other JSON value that the node's tool has written instead of one.
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
