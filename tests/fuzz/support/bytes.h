#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace zorbec::fuzz {

// An input as decisions: a byte each, zeros once it is used up.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : next_(data), end_(data + size) {}

  std::uint8_t byte() { return next_ == end_ ? std::uint8_t{0} : *next_++; }
  // A number below `count`.
  std::size_t below(std::size_t count) { return byte() % count; }
  template <typename Choices>
  const auto& pick(const Choices& choices) {
    return choices[below(std::size(choices))];
  }

 private:
  const std::uint8_t* next_;
  const std::uint8_t* end_;
};

inline std::string_view as_text(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// An input as several texts, separated by form feeds, which no dump and no tool writes. Exactly
// `count` of them: missing ones are empty, what is behind the last separator belongs to the last.
inline std::vector<std::string_view> split_input(const std::uint8_t* data, std::size_t size,
                                                 std::size_t count) {
  std::vector<std::string_view> texts;
  std::string_view rest = as_text(data, size);
  while (texts.size() + 1 < count) {
    const std::size_t end = std::min(rest.find('\f'), rest.size());
    texts.push_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  texts.push_back(rest);
  return texts;
}

}  // namespace zorbec::fuzz
