#include "json/storage.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <system_error>

#include "base/columns.h"

namespace zorbec {

std::optional<std::uint64_t> canonical_number(std::string_view text) {
  if (text.empty() || (text.front() == '0' && text.size() > 1)) return std::nullopt;
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

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

  // The narrowest object is {"name": v, "name": v}. That is 2 braces, and for each member its name
  // and 7 columns: 2 quotes, colon, blank, a value of 1, comma, blank. The last member has no comma
  // and blank.
  shape.least_columns = 2;
  for (const Member& member : shape.members) shape.least_columns += columns_of(member.name) + 7;
  if (!shape.members.empty()) shape.least_columns -= 2;
  return shape;
}

}  // namespace zorbec
