#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace zorbec {

// Tables with one row for each enumerator of an enumeration. The values of the enumerators must
// count up from 0. The number of rows is taken from the enumeration itself, so a new enumerator
// without a row in every table is a compile error.

namespace enums {

// Whether an enumerator has the value `value`. C++20 cannot ask this. But GCC and Clang write
// template arguments into __PRETTY_FUNCTION__: the name of the enumerator if there is one, else a
// number or a cast such as "(E)7". A name never begins with a digit, "-" or "(".
template <typename E, E value>
consteval bool is_enumerator() {
  constexpr std::string_view kSignature = __PRETTY_FUNCTION__;
  constexpr std::size_t kAt = kSignature.rfind("value = ");
  static_assert(kAt != std::string_view::npos);
  constexpr char kFirst = kSignature[kAt + 8];
  return kFirst != '(' && kFirst != '-' && (kFirst < '0' || kFirst > '9');
}

template <typename E, std::size_t from = 0>
consteval std::size_t count() {
  if constexpr (is_enumerator<E, static_cast<E>(from)>()) {
    return count<E, from + 1>();
  } else {
    return from;
  }
}

}  // namespace enums

// The number of enumerators of E.
template <typename E>
inline constexpr std::size_t kEnumCount = enums::count<E>();

template <typename E>
constexpr std::size_t enum_index(E value) {
  return static_cast<std::size_t>(value);
}

// All enumerators of E, in order.
template <typename E>
inline constexpr auto kEnumerators = [] {
  std::array<E, kEnumCount<E>> all{};
  for (std::size_t at = 0; at < all.size(); ++at) all[at] = static_cast<E>(at);
  return all;
}();

// An array with one element for each enumerator of E, indexed by enumerator. Elements begin as T{}.
template <typename E, typename T>
class EnumArray {
 public:
  constexpr T& operator[](E at) { return values_[enum_index(at)]; }
  constexpr const T& operator[](E at) const { return values_[enum_index(at)]; }
  // In the order of the enumerators.
  constexpr auto begin() { return values_.begin(); }
  constexpr auto end() { return values_.end(); }
  constexpr auto begin() const { return values_.begin(); }
  constexpr auto end() const { return values_.end(); }

 private:
  std::array<T, kEnumCount<E>> values_{};
};

// A constant table with one row for each enumerator of E. Each row repeats its enumerator as `key`;
// rows must be in the order of the enumerators. A row in the wrong place is a compile error.
template <typename E, typename T>
class EnumTable {
 public:
  struct Row {
    E key;
    T value;
  };

  template <std::size_t rows>
  consteval EnumTable(const Row (&all)[rows]) {
    static_assert(rows == kEnumCount<E>, "each enumerator needs one row");
    for (std::size_t at = 0; at < rows; ++at) {
      if (enum_index(all[at].key) != at) throw "a row stands in another's place";
      values_[at] = all[at].value;
    }
  }

  constexpr const T& operator[](E at) const { return values_[enum_index(at)]; }

 private:
  std::array<T, kEnumCount<E>> values_{};
};

// The name of each enumerator, as it is written in reports and documents.
template <typename E>
using EnumNames = EnumTable<E, std::string_view>;

}  // namespace zorbec
