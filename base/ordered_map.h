#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zorbec {

// A map from text to T that is walked in the order of insertion. A new value for a name that exists
// keeps the name's place. Not safe from several threads.
template <typename T>
class OrderedMap {
 public:
  using Entry = std::pair<std::string, T>;

  // Null if the name does not exist. The pointer is valid until the next set() of a new name, or
  // clear().
  T* find(const std::string& name) {
    const auto found = places_.find(name);
    return found == places_.end() ? nullptr : &entries_[found->second].second;
  }
  const T* find(const std::string& name) const {
    const auto found = places_.find(name);
    return found == places_.end() ? nullptr : &entries_[found->second].second;
  }
  void set(const std::string& name, T value) {
    const auto [place, is_new] = places_.try_emplace(name, entries_.size());
    if (is_new) {
      entries_.emplace_back(name, std::move(value));
    } else {
      entries_[place->second].second = std::move(value);
    }
  }
  void clear() {
    places_.clear();
    entries_.clear();
  }
  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }

 private:
  std::unordered_map<std::string, std::size_t> places_;
  std::vector<Entry> entries_;
};

}  // namespace zorbec
