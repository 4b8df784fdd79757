#include "run/json_document.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <memory>
#include <numeric>
#include <utility>

// Compiled in here, so that nothing has to be there at run time.
#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/src.hpp>

#include "run/columns.h"
#include "run/table_reader.h"

namespace zorbec {
namespace {

// Records are flat; whatever is nested deeper than this is no dump of a router.
constexpr std::size_t kDeepest = 32;
constexpr std::uint32_t kLongestText = JsonToken::kMostExtra;
constexpr std::uint32_t kMostShapes = JsonToken::kMostExtra;
}  // namespace

std::string_view kind_name(JsonKind kind) {
  static constexpr std::array<std::string_view, 8> kNames = {
      "null", "false", "true", "an integer", "a real number", "a text", "a list", "an object"};
  return kNames[static_cast<std::size_t>(kind)];
}

std::optional<std::uint64_t> canonical_number(std::string_view text) {
  if (text.empty() || (text.front() == '0' && text.size() > 1)) return std::nullopt;
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// ---------------------------------------------------------------------------------------------

std::optional<std::uint32_t> JsonShape::find(std::string_view name) const {
  const auto found = std::ranges::lower_bound(
      by_name, name, {}, [this](std::uint32_t index) { return members[index].name; });
  if (found == by_name.end() || members[*found].name != name) return std::nullopt;
  return *found;
}

JsonShape JsonShape::of(const std::vector<std::string_view>& names) {
  JsonShape shape;
  shape.slots = static_cast<std::uint32_t>(names.size());
  boost::unordered_flat_map<std::string_view, std::uint32_t> places;
  for (std::uint32_t slot = 0; slot < shape.slots; ++slot) {
    const auto place = static_cast<std::uint32_t>(shape.members.size());
    const auto [known, is_new] = places.try_emplace(names[slot], place);
    if (is_new) {
      shape.members.push_back({names[slot], slot});
    } else {
      shape.members[known->second].slot = slot;
    }
  }
  shape.by_name.resize(shape.members.size());
  std::iota(shape.by_name.begin(), shape.by_name.end(), 0U);
  std::ranges::sort(shape.by_name, {},
                    [&](std::uint32_t index) { return shape.members[index].name; });

  // {"name": v, "name": v}: braces, and for each member quotes, colon, blank, a value, comma,
  // blank, less the last comma and blank.
  shape.least_columns = 2;
  for (const Member& member : shape.members) shape.least_columns += columns_of(member.name) + 7;
  if (!shape.members.empty()) shape.least_columns -= 2;
  return shape;
}

// ---------------------------------------------------------------------------------------------

// Takes the parser's events and lays them down as tokens.
//
// The shape of an object is found on the way: shapes form a tree of member names, and an object
// walks it from the root, one step a member. Nearly always the step is the one that the last object
// took from there, so it costs one comparison of names.
class JsonLoader {
 public:
  explicit JsonLoader(JsonDocument& document) : document_(document), steps_(1) {}

  // The parser asks for these limits under these names; the real one is the token's.
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
    document_.tokens_[ended.token].extra = shape & kMostShapes;
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

  bool on_key_part(View part, std::size_t, Error&) {
    parts_.append(part);
    return true;
  }
  bool on_key(View last, std::size_t, Error&) {
    const JsonToken name = text_token(last);
    if (open_.size() == 1) {
      add_entry(name);
    } else {
      open_.back().step = step(open_.back().step, document_.text_of(name));
      // The step keeps the name; what was decoded for it is not needed again.
      if (name.kind == JsonToken::kDecoded) document_.decoded_.resize(name.word);
    }
    return true;
  }
  bool on_string_part(View part, std::size_t, Error&) {
    parts_.append(part);
    return true;
  }
  bool on_string(View last, std::size_t, Error&) {
    document_.tokens_.push_back(text_token(last));
    return true;
  }
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
  static bool on_comment_part(View, Error&) { return true; }
  static bool on_comment(View, Error&) { return true; }

 private:
  // A container that has not ended yet.
  struct Open {
    std::uint32_t token;
    std::uint32_t step = 0;  // how far it came in the tree of shapes
  };
  // A node of that tree: the names from the root to here, in order.
  struct Step {
    std::uint32_t parent = 0;
    std::uint32_t last_taken = 0;  // the step that the last object took from here; 0: none
    std::string_view name;
    std::optional<std::uint32_t> shape;  // made when the first object ends here
  };
  using StepKey = std::pair<std::uint32_t, std::string_view>;

  std::uint32_t next_token() const { return static_cast<std::uint32_t>(document_.tokens_.size()); }

  void add(JsonKind kind, std::uint32_t extra, std::uint32_t word) {
    document_.tokens_.emplace_back(kind, extra, word);
  }

  void open(JsonKind kind) {
    open_.push_back({next_token()});
    add(kind, 0, 0);
  }
  Open close() {
    const Open ended = open_.back();
    open_.pop_back();
    document_.tokens_[ended.token].word = next_token() - ended.token - 1;
    return ended;
  }

  JsonToken text_token(View last) {
    const std::string_view file = document_.file_.view();
    const auto length = static_cast<std::uint32_t>(parts_.size() + last.size());
    const std::less_equal<> not_after;
    if (parts_.empty() && not_after(file.data(), last.data()) &&
        not_after(last.data() + last.size(), file.data() + file.size())) {
      return {JsonKind::kText, length, static_cast<std::uint32_t>(last.data() - file.data())};
    }
    const auto offset = static_cast<std::uint32_t>(document_.decoded_.size());
    document_.decoded_.append(parts_).append(last);
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
        static_cast<std::uint32_t>(begin - document_.file_.bytes.get()));
    return true;
  }

  void add_entry(const JsonToken& name) {
    const std::string_view text = document_.text_of(name);
    const std::uint32_t number = document_.size();
    const std::optional<std::uint64_t> canonical = canonical_number(text);
    const std::uint32_t entry =
        canonical ? by_number_.try_emplace(*canonical, number).first->second
                  : document_.by_text_.try_emplace(std::string(text), number).first->second;
    if (entry == number) {
      const bool is_short = canonical && *canonical < JsonDocument::kNoShortNumber;
      document_.entries_.push_back(
          {name, next_token(),
           is_short ? static_cast<std::uint32_t>(*canonical) : JsonDocument::kNoShortNumber});
    } else {
      document_.entries_[entry].value = next_token();
    }
  }

  std::uint32_t step(std::uint32_t from, std::string_view name) {
    const std::uint32_t likely = steps_[from].last_taken;
    if (likely != 0 && steps_[likely].name == name) return likely;
    auto found = by_key_.find(StepKey(from, name));
    if (found == by_key_.end()) {
      const std::string_view kept = document_.names_.emplace_back(name);
      found = by_key_.emplace(StepKey(from, kept), static_cast<std::uint32_t>(steps_.size())).first;
      steps_.push_back({from, 0, kept, std::nullopt});
    }
    steps_[from].last_taken = found->second;
    return found->second;
  }

  std::uint32_t shape_of(std::uint32_t step) {
    if (!steps_[step].shape) {
      steps_[step].shape = static_cast<std::uint32_t>(document_.shapes_.size());
      document_.shapes_.push_back(make_shape(step));
    }
    return *steps_[step].shape;
  }

  JsonShape make_shape(std::uint32_t last) const {
    std::vector<std::string_view> names;
    for (std::uint32_t at = last; at != 0; at = steps_[at].parent) names.push_back(steps_[at].name);
    std::ranges::reverse(names);
    return JsonShape::of(names);
  }

  JsonDocument& document_;
  std::vector<Open> open_;
  std::vector<Step> steps_;
  boost::unordered_flat_map<StepKey, std::uint32_t> by_key_;
  // Of the entries with canonical names, to find repeated ones.
  boost::unordered_flat_map<std::uint64_t, std::uint32_t> by_number_;
  std::string parts_;             // of a text that came in several parts
  const char* number_ = nullptr;  // where a number that came in several parts begins
};

// ---------------------------------------------------------------------------------------------

JsonDocument::JsonDocument() : tokens_{{JsonKind::kObject, 0, 0}} {}

JsonDocument::JsonDocument(FileText text) : file_(std::move(text)) {
  if (TableReader(*this).read()) return;
  FileText file = std::move(file_);
  *this = JsonDocument();
  file_ = std::move(file);
  parse();
}

void JsonDocument::parse() {
  tokens_.clear();
  boost::json::parse_options options;
  options.max_depth = kDeepest;
  boost::json::basic_parser<JsonLoader> parser(options, *this);
  boost::system::error_code error;
  const std::size_t read = parser.write_some(false, file_.bytes.get(), file_.size, error);
  if (!error && read < file_.size) error = boost::json::error::extra_data;
  if (error) {
    throw JsonError("not valid JSON at byte " + std::to_string(read) + ": " + error.message(),
                    error == boost::json::error::incomplete);
  }
  holds_only_objects_ = std::ranges::all_of(
      entries_, [this](const Entry& entry) { return tokens_[entry.value].is(JsonKind::kObject); });
}

std::string_view JsonDocument::text_of(const JsonToken& token) const {
  const char* const base = token.kind == JsonToken::kDecoded ? decoded_.data() : file_.bytes.get();
  return {base + token.word, token.extra};
}

void JsonDocument::prefetch_value(std::uint32_t entry) const {
  constexpr std::size_t kLine = 64;
  const char* const text = file_.bytes.get() + entries_[entry].name.word;
  for (std::size_t line = 0; line < 3; ++line) __builtin_prefetch(text + line * kLine);
  if (!lengths_.empty()) __builtin_prefetch(lengths_.data() + entries_[entry].value);
}

std::string_view JsonDocument::name(std::uint32_t entry) const {
  return text_of(entries_[entry].name);
}

const boost::unordered_flat_map<std::uint64_t, std::uint32_t>& JsonDocument::by_number() const {
  std::call_once(index_->numbers_once, [this] {
    index_->by_number.reserve(entries_.size());
    for (std::uint32_t entry = 0; entry < size(); ++entry) {
      if (const auto number = canonical_number(name(entry)))
        index_->by_number.emplace(*number, entry);
    }
  });
  return index_->by_number;
}

std::optional<std::uint32_t> JsonDocument::find(std::uint64_t number) const {
  const auto found = by_number().find(number);
  if (found == by_number().end()) return std::nullopt;
  return found->second;
}

std::optional<std::uint32_t> JsonDocument::find(std::string_view name) const {
  if (const auto number = canonical_number(name)) return find(*number);
  const auto found = by_text_.find(std::string(name));
  if (found == by_text_.end()) return std::nullopt;
  return found->second;
}

const std::vector<std::uint32_t>& JsonDocument::sorted_entries() const {
  std::call_once(index_->order_once, [this] {
    if (!index_->order.empty()) return;  // the reader has sorted them
    std::vector<std::uint32_t>& order = index_->order;
    order.resize(entries_.size());
    std::iota(order.begin(), order.end(), 0U);
    std::ranges::sort(order, {}, [this](std::uint32_t entry) { return name(entry); });
  });
  return index_->order;
}

// ---------------------------------------------------------------------------------------------

std::string_view JsonValue::text() const {
  return document_->text_of(token_);
}

const JsonShape& JsonValue::shape() const {
  return document_->shapes_[token_.extra];
}

JsonValue JsonValue::at_slot(std::uint32_t slot) const {
  std::optional<JsonValue> found;
  for_each_child([&](const JsonValue& value) {
    if (slot == 0) found = value;
    return slot-- != 0;
  });
  return found.value();
}

std::optional<JsonValue> JsonValue::member(std::string_view name) const {
  const std::optional<std::uint32_t> index = shape().find(name);
  if (!index) return std::nullopt;
  return at_slot(shape().members[*index].slot);
}

std::string describe(const JsonValue& value) {
  std::string text(kind_name(value.kind()));
  switch (value.kind()) {
    case JsonKind::kInteger:
    case JsonKind::kReal:
    case JsonKind::kText:
      return text + " " + in_quotes(value.text());
    default:
      return text;
  }
}

}  // namespace zorbec
