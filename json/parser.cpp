#include "json/parser.h"

#include <algorithm>
#include <boost/json/basic_parser_impl.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zorbec {
namespace {

// Records are flat. A text with deeper nesting is not a dump, and a limit keeps later walks over
// the values, which are recursive, from using up the stack.
constexpr std::size_t kDeepest = 32;
// Both numbers go into the 28 bits of JsonToken::extra.
constexpr std::uint32_t kLongestText = JsonToken::kMostExtra;
constexpr std::uint32_t kMostShapes = JsonToken::kMostExtra;

// Turns the events of Boost.JSON's parser into our tokens. The parser checks the syntax; we keep
// only where each value is.
//
// A token is added for each value, in file order. A container's token is added when it begins; how
// many tokens are inside is filled in when it ends. So the text {"7": {"port": 3, "up": [1, 2]}}
// becomes:
//
//   tokens   | object | object | 3 | array | 1 | 2 |
//   inside   |   5    |   4    |   |   2   |   |   |
//
// Member names are not stored with each object. Nearly all records of a dump have the same names in
// the same order, so objects share a JsonShape. The shape is found while the object is read: the
// names form a tree, an object begins at its root, and each member takes one step down. Objects
// that end at the same node have the same shape:
//
//   root -- "port" -+- "rif"             records with these two names
//                   +- "slot" -- "rif"   records with these three
//
// Each node remembers the step that was taken last. The next object nearly always takes it again,
// which costs one comparison of names. Every other step is looked up in a hash map.
//
// Members of the top level are different: each is an entry of the table, with its own name.
class JsonLoader {
 public:
  // steps_ begins with the root.
  explicit JsonLoader(JsonStorage& storage) : storage_(storage), steps_(1) {}

  // basic_parser requires these constants under these names. Containers need no limit of their own:
  // a text has fewer than 2^32 bytes, so its tokens can be counted in 32 bits.
  // NOLINTBEGIN(readability-identifier-naming)
  static constexpr std::size_t max_object_size = std::numeric_limits<std::size_t>::max();
  static constexpr std::size_t max_array_size = std::numeric_limits<std::size_t>::max();
  static constexpr std::size_t max_key_size = kLongestText;
  static constexpr std::size_t max_string_size = kLongestText;
  // NOLINTEND(readability-identifier-naming)

  using Error = boost::system::error_code;
  using View = boost::json::string_view;

  static bool on_document_begin(Error&) { return true; }
  static bool on_document_end(Error&) { return true; }

  bool on_object_begin(Error&) {
    open(JsonKind::kObject);
    return true;
  }
  bool on_object_end(std::size_t, Error& error) {
    const Open ended = close();
    if (open_.empty()) return true;  // the top level has entries, not a shape
    const std::uint32_t shape = shape_of(ended.step);
    if (shape > kMostShapes) {
      error = boost::json::error::object_too_large;
      return false;
    }
    storage_.tokens[ended.token].extra = shape & kMostShapes;
    return true;
  }
  bool on_array_begin(Error&) {
    open(JsonKind::kArray);
    return true;
  }
  bool on_array_end(std::size_t, Error&) {
    close();
    return true;
  }

  // A text with escapes comes in several parts, already decoded.
  bool on_key_part(View part, std::size_t, Error&) {
    parts_.append(part);
    return true;
  }
  bool on_key(View last, std::size_t, Error&) {
    const JsonToken name = text_token(last);
    if (open_.size() == 1) {
      add_entry(name);
    } else {
      open_.back().step = step(open_.back().step, storage_.text_of(name));
      // The tree keeps its own copy of the name, so the decoded characters can go again.
      if (name.kind == JsonToken::kDecoded) storage_.decoded.resize(name.word);
    }
    return true;
  }
  bool on_string_part(View part, std::size_t, Error&) {
    parts_.append(part);
    return true;
  }
  bool on_string(View last, std::size_t, Error&) {
    storage_.tokens.push_back(text_token(last));
    return true;
  }
  // The whole text is in memory, so the parts of a number are contiguous: where the first one
  // begins is enough. The value that the parser has computed is not used: it has only 64 bits, and
  // dumps may hold longer integers, which must keep every digit.
  bool on_number_part(View part, Error&) {
    if (number_ == nullptr) number_ = part.data();
    return true;
  }
  bool on_int64(std::int64_t, View last, Error& error) { return add_number(last, error); }
  bool on_uint64(std::uint64_t, View last, Error& error) { return add_number(last, error); }
  bool on_double(double, View last, Error& error) { return add_number(last, error); }
  bool on_bool(bool value, Error&) {
    add(value ? JsonKind::kTrue : JsonKind::kFalse, 0, 0);
    return true;
  }
  bool on_null(Error&) {
    add(JsonKind::kNull, 0, 0);
    return true;
  }
  // basic_parser requires these two; comments are errors with the options that we set.
  static bool on_comment_part(View, Error&) { return true; }
  static bool on_comment(View, Error&) { return true; }

 private:
  // A container that has not ended yet.
  struct Open {
    std::uint32_t token;
    std::uint32_t step = 0;  // its node in the tree of names, so far
  };
  // A node of the tree. The names on the way from the root to it are those of an object.
  struct Step {
    std::uint32_t parent = 0;
    std::uint32_t last_taken = 0;  // the node that the last object went to from here; 0: none
    std::string_view name;
    std::optional<std::uint32_t> shape;  // set when the first object ends here
  };
  using StepKey = std::pair<std::uint32_t, std::string_view>;

  std::uint32_t next_token() const { return static_cast<std::uint32_t>(storage_.tokens.size()); }

  void add(JsonKind kind, std::uint32_t extra, std::uint32_t word) {
    storage_.tokens.emplace_back(kind, extra, word);
  }

  void open(JsonKind kind) {
    open_.push_back({next_token()});
    add(kind, 0, 0);
  }
  Open close() {
    const Open ended = open_.back();
    open_.pop_back();
    storage_.tokens[ended.token].word = next_token() - ended.token - 1;
    return ended;
  }

  // A text without escapes stays in the file, and the token has its offset there. Else `last` may
  // point into a buffer of the parser, and the characters are copied to `decoded`.
  JsonToken text_token(View last) {
    const std::string_view file = storage_.file.view();
    const auto length = static_cast<std::uint32_t>(parts_.size() + last.size());
    // std::less_equal, because <= on pointers into different arrays is unspecified.
    const std::less_equal<> not_after;
    if (parts_.empty() && not_after(file.data(), last.data()) &&
        not_after(last.data() + last.size(), file.data() + file.size())) {
      return {JsonKind::kText, length, static_cast<std::uint32_t>(last.data() - file.data())};
    }
    const auto offset = static_cast<std::uint32_t>(storage_.decoded.size());
    storage_.decoded.append(parts_).append(last);
    parts_.clear();
    return {JsonToken::kDecoded, length, offset};
  }

  bool add_number(View last, Error& error) {
    const char* const begin = number_ != nullptr ? number_ : last.data();
    number_ = nullptr;
    const auto length = static_cast<std::size_t>(last.data() + last.size() - begin);
    if (length > kLongestText) {
      error = make_error_code(boost::system::errc::value_too_large);
      return false;
    }
    const bool real =
        std::string_view(begin, length).find_first_of(".eE") != std::string_view::npos;
    add(real ? JsonKind::kReal : JsonKind::kInteger, static_cast<std::uint32_t>(length),
        static_cast<std::uint32_t>(begin - storage_.file.bytes.get()));
    return true;
  }

  // A repeated name keeps its entry, which then gets the new value. The tokens of the old value
  // stay where they are, and nothing refers to them any more.
  void add_entry(const JsonToken& name) {
    const std::string_view text = storage_.text_of(name);
    const std::uint32_t number = storage_.size();
    const std::optional<std::uint64_t> canonical = canonical_number(text);
    const std::uint32_t entry =
        canonical ? by_number_.try_emplace(*canonical, number).first->second
                  : storage_.by_text.try_emplace(std::string(text), number).first->second;
    if (entry == number) {
      const bool is_short = canonical && *canonical < JsonStorage::kNoShortNumber;
      storage_.entries.push_back(
          {name, next_token(),
           is_short ? static_cast<std::uint32_t>(*canonical) : JsonStorage::kNoShortNumber});
    } else {
      storage_.entries[entry].value = next_token();
    }
  }

  // The node that the member `name` leads to; created if no object has been there.
  std::uint32_t step(std::uint32_t from, std::string_view name) {
    const std::uint32_t likely = steps_[from].last_taken;
    if (likely != 0 && steps_[likely].name == name) return likely;
    auto found = by_key_.find(StepKey(from, name));
    if (found == by_key_.end()) {
      const std::string_view kept = storage_.names.emplace_back(name);
      found = by_key_.emplace(StepKey(from, kept), static_cast<std::uint32_t>(steps_.size())).first;
      steps_.push_back({from, 0, kept, std::nullopt});
    }
    steps_[from].last_taken = found->second;
    return found->second;
  }

  std::uint32_t shape_of(std::uint32_t step) {
    if (!steps_[step].shape) {
      steps_[step].shape = static_cast<std::uint32_t>(storage_.shapes.size());
      storage_.shapes.push_back(make_shape(step));
    }
    return *steps_[step].shape;
  }

  JsonShape make_shape(std::uint32_t last) const {
    std::vector<std::string_view> names;
    for (std::uint32_t at = last; at != 0; at = steps_[at].parent) names.push_back(steps_[at].name);
    std::ranges::reverse(names);
    return JsonShape::of(names);
  }

  JsonStorage& storage_;
  std::vector<Open> open_;
  std::vector<Step> steps_;
  boost::unordered_flat_map<StepKey, std::uint32_t> by_key_;
  // Entries whose names are canonical numbers, to find repeated names. The others are in
  // storage_.by_text.
  boost::unordered_flat_map<std::uint64_t, std::uint32_t> by_number_;
  std::string parts_;             // the parts so far of a text that comes in several
  const char* number_ = nullptr;  // the beginning of a number that comes in several parts
};

}  // namespace

JsonStorage parse_json(FileText text) {
  JsonStorage storage;
  storage.file = std::move(text);
  boost::json::parse_options options;
  options.max_depth = kDeepest;
  boost::json::basic_parser<JsonLoader> parser(options, storage);
  boost::system::error_code error;
  const FileText& file = storage.file;
  // false: no more text follows, so a text that ends too early is an error.
  const std::size_t read = parser.write_some(false, file.bytes.get(), file.size, error);
  if (!error && read < file.size) error = boost::json::error::extra_data;
  if (error) {
    throw JsonError("not valid JSON at byte " + std::to_string(read) + ": " + error.message(),
                    error == boost::json::error::incomplete);
  }
  storage.holds_only_objects =
      std::ranges::all_of(storage.entries, [&](const JsonStorage::Entry& entry) {
        return storage.tokens[entry.value].is(JsonKind::kObject);
      });
  return storage;
}

}  // namespace zorbec
