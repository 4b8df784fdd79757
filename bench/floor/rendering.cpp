#include "bench/floor/rendering.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace zorbec::floor {
namespace {

using Sink = std::function<void(std::string_view)>;

constexpr std::size_t kColumns = 80;

// Gathers a text and gives it away in large pieces.
class Output {
 public:
  explicit Output(const Sink& sink) : sink_(sink), buffer_(kPiece + kSlack, '\0') {}

  // Where to write up to `bytes`, and the slack of wide copies behind them.
  char* room(std::size_t bytes) {
    if (used_ + bytes > kPiece) flush();
    if (bytes > buffer_.size() - kSlack) buffer_.resize(bytes + kSlack);
    return buffer_.data() + used_;
  }
  void wrote_up_to(const char* end) { used_ = static_cast<std::size_t>(end - buffer_.data()); }
  void put(std::string_view text) { wrote_up_to(std::ranges::copy(text, room(text.size())).out); }
  void flush() {
    sink_({buffer_.data(), used_});
    used_ = 0;
  }

 private:
  static constexpr std::size_t kPiece = std::size_t{256} * 1024;
  static constexpr std::size_t kSlack = 64;

  const Sink& sink_;
  std::string buffer_;
  std::size_t used_ = 0;
};

// `value` stands in a dump: 16 bytes can be read from anywhere in it.
char* copy_value(std::string_view value, char* to) {
  if (value.size() > 16) return to + value.copy(to, value.size());
  std::memcpy(to, value.data(), 16);
  return to + value.size();
}

std::string line_begin(std::size_t indent) {
  return std::string(1, '\n').append(indent, ' ');
}

// What the check adds to a record: lists as they stand on one line, empty if it adds none.
struct Additions {
  std::string key_list;
  std::string subiflist;
};

// Writes the records of a table, each as a member of a map, on lines of its own.
class RecordWriter {
 public:
  // A record's name stands behind `indent` blanks.
  RecordWriter(const Table& table, std::size_t indent)
      : table_(table),
        indent_(indent),
        begin_(line_begin(indent) + '"'),
        end_(line_begin(indent) + "},") {
    for (const Layout& layout : table.layouts) add_form(layout);
  }

  void write(Output& out, const Record& record, bool comma, const Additions& added) {
    table_.cut(record, values_);
    const Form& form = forms_[record.layout];
    std::size_t bytes = form.bytes + record.name_length;
    for (const std::string_view value : values_) bytes += value.size();
    if (bytes - form.folding <= kColumns) throw std::runtime_error("a record fits on one line");

    char* at = begin_.copy_to(out.room(bytes));
    at = name_end_.copy_to(copy_value(table_.name(record), at));
    char opening = '{';
    for (const Member& member : form.members) {
      if (member.list != nullptr && (added.*member.list).empty()) continue;
      char* const begin = at;
      at = member.before.copy_to(at);
      *begin = std::exchange(opening, ',');
      if (member.list == nullptr) {
        at = copy_value(values_[member.value], at);
      } else {
        out.wrote_up_to(at);
        put_list(out, added.*member.list, member.name.size() + 4);
        at = out.room(bytes);
      }
    }
    at = end_.copy_to(at);
    out.wrote_up_to(comma ? at : at - 1);
  }

 private:
  struct Member {
    std::string name;
    std::size_t value;             // which value of the record
    std::string Additions::*list;  // or, if not null, which list
    Piece before;                  // what stands before it, a comma first
  };
  struct Form {
    std::vector<Member> members;  // sorted by name
    std::size_t bytes = 0;        // that a record takes besides its values and lists
    std::size_t folding = 0;      // how many of them it would not take on one line
  };

  void add_form(const Layout& layout) {
    Form form;
    const std::string begin = std::string(1, ',').append(line_begin(indent_ + 1)).append("\"");
    const auto add = [&](const std::string& name, std::size_t value, std::string Additions::*list) {
      form.members.push_back({name, value, list, Piece(begin + name + "\": ")});
    };
    for (std::size_t i = 0; i < layout.names.size(); ++i) {
      add(layout.names[i], i, nullptr);
      form.bytes += form.members.back().before.size();
      form.folding += indent_ + 1;  // a line break and blanks where one blank would stand
    }
    add("key_list", 0, &Additions::key_list);
    add("subiflist", 0, &Additions::subiflist);
    std::ranges::sort(form.members, {}, &Member::name);
    // Lists and what stands before them find room for themselves.
    constexpr std::size_t kBeforeLists = 64;
    form.bytes += begin_.size() + name_end_.size() + end_.size() + kBeforeLists;
    form.folding += kBeforeLists + indent_ + 4;
    forms_.push_back(std::move(form));
  }

  // On one line if it fits behind `name_columns`. No list is its record's last member, so a comma
  // follows. Nothing in a list holds one.
  void put_list(Output& out, const std::string& list, std::size_t name_columns) const {
    if (indent_ + 1 + name_columns + list.size() + 1 <= kColumns) return out.put(list);
    const std::string entry_begin = line_begin(indent_ + 2);
    std::string folded = std::string(1, '[').append(entry_begin);
    for (const char c : list.substr(1, list.size() - 2)) {
      if (c != ' ') folded += c;
      if (c == ',') folded += entry_begin;
    }
    out.put(folded + line_begin(indent_ + 1) + "]");
  }

  const Table& table_;
  const std::size_t indent_;
  const Piece begin_;
  const Piece name_end_{"\": "};
  const Piece end_;
  std::vector<Form> forms_;  // of each layout
  std::vector<std::string_view> values_;
};

std::string key_list_text(const std::vector<std::uint64_t>& keys) {
  std::string text;
  for (const std::uint64_t key : keys) {
    text += text.empty() ? "[\"" : ", \"";
    append_hexadecimal(text, key);
    text += '"';
  }
  return keys.empty() ? text : text + ']';
}

std::string subiflist_text(const std::vector<std::uint32_t>& subifs, const Table& table) {
  std::string text;
  for (const std::uint32_t subif : subifs) {
    text += text.empty() ? "[\"" : ", \"";
    text += table.name(table.records[subif]);
    text += '"';
  }
  return subifs.empty() ? text : text + ']';
}

}  // namespace

void append_hexadecimal(std::string& text, std::uint64_t number) {
  std::array<char, 16> digits;
  const auto [end, error] = std::to_chars(digits.begin(), digits.end(), number, 16);
  text.append("0x").append(digits.begin(), end);
}

std::string render_node(const Node& node, InterfaceClass intf_class) {
  const Interfaces& interfaces = node.of(intf_class);
  const std::vector<Record>& records = interfaces.table.records;
  std::vector<std::uint32_t> order(records.size());
  std::iota(order.begin(), order.end(), 0U);
  std::ranges::sort(order, {}, [&](std::uint32_t i) { return text_order(records[i].name); });

  std::string text = "\n \"";
  text.append(node.name).append("\": {");
  text.reserve(2 * interfaces.table.bytes);
  const Sink append = [&](std::string_view piece) { text += piece; };
  Output out(append);
  RecordWriter writer(interfaces.table, 2);
  Additions added;
  for (const std::uint32_t number : order) {
    added.key_list = key_list_text(interfaces.key_lists[number]);
    if (intf_class == InterfaceClass::kBundle) {
      added.subiflist = subiflist_text(interfaces.subinterfaces[number],
                                       node.of(InterfaceClass::kBundleSubif).table);
    }
    writer.write(out, records[number], number != order.back(), added);
  }
  out.put("\n }");
  out.flush();
  return text;
}

void render_pmdb(const Table& pmdb, const std::vector<std::uint32_t>& order, const Sink& sink) {
  Output out(sink);
  out.put("{");
  RecordWriter writer(pmdb, 1);
  const Additions nothing;
  // The dump shows the keys in no order, so nearly every record is far from the one before.
  constexpr std::size_t kAhead = 8;
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (i + 2 * kAhead < order.size()) __builtin_prefetch(&pmdb.records[order[i + 2 * kAhead]]);
    if (i + kAhead < order.size()) pmdb.prefetch(pmdb.records[order[i + kAhead]]);
    writer.write(out, pmdb.records[order[i]], i + 1 < order.size(), nothing);
  }
  out.put("\n}\n");
  out.flush();
}

}  // namespace zorbec::floor
