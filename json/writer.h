#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "base/columns.h"

namespace zorbec {

// Appends `text` as a JSON string, in quotes. Only quotes, backslashes and control characters are
// escaped; all other bytes are copied.
void append_json_text(std::string& out, std::string_view text);

// Wraps a text that JsonWriter writes as a JSON string.
struct JsonText {
  std::string_view characters;
};
inline void append_scalar(std::string& out, const JsonText& text) {
  append_json_text(out, text.characters);
}

// A std::vector is a list of what it holds, and a std::variant is what it holds at the moment.
template <typename T>
std::size_t entry_count(const std::vector<T>& list) {
  return list.size();
}
template <typename T, typename Entry>
bool for_each_element(const std::vector<T>& list, Entry entry) {
  return std::ranges::all_of(list, entry);
}
template <typename... Types, typename Visitor>
void visit_json(const std::variant<Types...>& value, Visitor visitor) {
  std::visit(visitor, value);
}

// What is assumed of a map or list whose type has no function of its own for it (see below).
template <typename T>
std::size_t least_columns(const T& /*value*/) {
  return 0;
}
template <typename T, typename Put>
bool append_folded(std::string& /*out*/, const T& /*value*/, std::size_t /*indent*/, Put /*put*/) {
  return false;
}

// Writes nested maps and lists as JSON, for people who read a log. A map or list is written on one
// line if that line fits in 80 columns, else with one entry on each line, indented by one blank for
// each level.
//
// The writer does not know the types that it writes. Each type has functions in its namespace
// (found by argument-dependent lookup) that say what it is. One of these three kinds:
//
//   a scalar   void append_scalar(std::string& out, const T& scalar);
//   a map      std::size_t entry_count(const T& map);
//              bool for_each_member(const T& map, F entry);    calls entry(name, child) for each
//   a list     std::size_t entry_count(const T& list);
//              bool for_each_element(const T& list, F entry);  calls entry(child) for each
//
// Members of a map come sorted by name. When entry() returns false, the walk stops and returns
// false. If the kind is known only at run time, a type has this function instead:
//
//   void visit_json(const T& value, F f);   calls f with an object of one of the three kinds
//
// Two more functions make a map faster. They are optional:
//
//   std::size_t least_columns(const T& map);
//     A lower limit of its width on one line. If it is too wide, the one line is not tried.
//   bool append_folded(std::string& out, const T& map, std::size_t indent, F put);
//     Writes the map on several lines. Needs least_columns(). Returns false, and changes nothing,
//     if it cannot write this map. put(child, taken) appends a member's value to `out`; `taken` is
//     the number of columns of the line that are needed for the name and a comma. put() may pass
//     `out` to the sink and empty it.
//
// An object of this class belongs to one thread.
class JsonWriter {
 public:
  using Sink = std::function<void(std::string_view)>;

  // `sink` gets the text in pieces of about 256 KB; the view is valid during the call.
  explicit JsonWriter(Sink sink) : sink_(std::move(sink)) {}

  // Writes one value and a newline. Throws what the sink throws.
  template <typename T>
  void write(const T& value) {
    put(value, 0, 0);
    buffer_ += '\n';
    flush();
  }

 private:
  static constexpr std::size_t kColumns = 80;
  static constexpr std::size_t kPiece = std::size_t{256} * 1024;

  // Writes `value` at the current place of a line that began with `indent` blanks. `taken` columns
  // of the line are not free for the value: what is before it, and a comma behind it.
  template <typename T>
  void put(const T& value, std::size_t indent, std::size_t taken);

  // Writes a map or list with one entry on each line; an empty one as "{}" or "[]".
  template <typename T>
  void put_folded(const T& value, std::size_t indent);

  // Appends `value` without line breaks. Gives up and returns false as soon as the text since
  // `start` is wider than `columns`. What it has written then stays, for the caller to remove.
  template <typename T>
  bool append_compact(const T& value, std::size_t start, std::size_t columns);

  void begin_line(std::size_t indent) {
    buffer_ += '\n';
    if (buffer_.size() >= kPiece) flush();
    buffer_.append(indent, ' ');
  }
  void flush() {
    sink_(buffer_);
    buffer_.clear();
  }

  Sink sink_;
  std::string buffer_;
};

namespace json_writer {

// The concepts below only need something callable to ask whether a function exists for T.
struct AnyEntry {
  template <typename... Child>
  bool operator()(const Child&...) const {
    return true;
  }
};
struct AnyVisitor {
  template <typename T>
  void operator()(const T&) const {}
};

template <typename T>
concept Scalar = requires(std::string& out, const T& value) {
  append_scalar(out, value);
};
template <typename T>
concept Varying = requires(const T& value) {
  visit_json(value, AnyVisitor{});
};
template <typename T>
concept Map = requires(const T& value) {
  for_each_member(value, AnyEntry{});
};
}  // namespace json_writer

template <typename T>
void JsonWriter::put(const T& value, std::size_t indent, std::size_t taken) {
  if constexpr (json_writer::Varying<T>) {
    visit_json(value, [&](const auto& what) { put(what, indent, taken); });
  } else if constexpr (json_writer::Scalar<T>) {
    append_scalar(buffer_, value);
  } else {
    const std::size_t start = buffer_.size();
    const std::size_t room = taken < kColumns ? kColumns - taken : 0;
    const auto put_child = [&](const auto& child, std::size_t its) {
      put(child, indent + 1, indent + 1 + its);
    };
    if (least_columns(value) > room && append_folded(buffer_, value, indent, put_child)) return;
    if (append_compact(value, start, room)) return;
    buffer_.resize(start);
    put_folded(value, indent);
  }
}

template <typename T>
void JsonWriter::put_folded(const T& value, std::size_t indent) {
  constexpr bool kIsMap = json_writer::Map<T>;
  std::size_t left = entry_count(value);
  const bool empty = left == 0;
  const auto put_entry = [&](std::size_t name_columns, const auto& child) {
    --left;
    const std::size_t comma = left > 0 ? 1 : 0;
    put(child, indent + 1, indent + 1 + name_columns + comma);
    if (comma != 0) buffer_ += ',';
    return true;
  };
  buffer_ += kIsMap ? '{' : '[';
  if constexpr (kIsMap) {
    for_each_member(value, [&](std::string_view name, const auto& child) {
      begin_line(indent + 1);
      const std::size_t before = buffer_.size();
      append_json_text(buffer_, name);
      buffer_ += ": ";
      return put_entry(columns_of(std::string_view(buffer_).substr(before)), child);
    });
  } else {
    for_each_element(value, [&](const auto& child) {
      begin_line(indent + 1);
      return put_entry(0, child);
    });
  }
  if (!empty) begin_line(indent);
  buffer_ += kIsMap ? '}' : ']';
}

template <typename T>
bool JsonWriter::append_compact(const T& value, std::size_t start, std::size_t columns) {
  if constexpr (json_writer::Varying<T>) {
    bool fits = true;
    visit_json(value, [&](const auto& what) { fits = append_compact(what, start, columns); });
    return fits;
  } else if constexpr (json_writer::Scalar<T>) {
    append_scalar(buffer_, value);
  } else {
    if (least_columns(value) > columns) return false;
    bool first = true;
    const auto separate = [&] {
      if (!first) buffer_ += ", ";
      first = false;
    };
    bool fits = true;
    if constexpr (json_writer::Map<T>) {
      buffer_ += '{';
      fits = for_each_member(value, [&](std::string_view name, const auto& child) {
        separate();
        append_json_text(buffer_, name);
        buffer_ += ": ";
        return append_compact(child, start, columns);
      });
      buffer_ += '}';
    } else {
      buffer_ += '[';
      fits = for_each_element(value, [&](const auto& child) {
        separate();
        return append_compact(child, start, columns);
      });
      buffer_ += ']';
    }
    if (!fits) return false;
  }
  // A text never has more columns than bytes, so characters are counted only if the bytes do not
  // fit.
  return buffer_.size() - start <= columns ||
         columns_of(std::string_view(buffer_).substr(start)) <= columns;
}

}  // namespace zorbec
