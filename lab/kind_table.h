#pragma once

#include <cstddef>
#include <string_view>
#include <type_traits>

// Tables with one row for each enumerator of an enumeration. The compiler refuses a table from
// which a row is missing.
namespace zorbec::lab {

// True if the enumeration has an enumerator with this value.
//
// GCC and Clang write the value into the name of the function: an enumerator as `Kind::kName`, any
// other value as a cast, `(Kind)17`.
template <auto kValue>
constexpr bool is_enumerator() {
  constexpr std::string_view kFunction = __PRETTY_FUNCTION__;
  return kFunction.find("= (") == std::string_view::npos;
}

// True if row i of the table is that of enumerator i, and no enumerator is left over. A row names
// its enumerator in the member `kind`. The enumerators must count from 0 without gaps.
template <const auto& kRows>
constexpr bool has_row_for_each_kind() {
  using Kind = std::remove_cv_t<decltype(kRows[0].kind)>;
  for (std::size_t i = 0; i < kRows.size(); ++i) {
    if (kRows[i].kind != static_cast<Kind>(i)) return false;
  }
  return is_enumerator<static_cast<Kind>(kRows.size() - 1)>() &&
         !is_enumerator<static_cast<Kind>(kRows.size())>();
}

}  // namespace zorbec::lab
