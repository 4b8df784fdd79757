#include "json/numbers.h"

#include <array>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <string>

namespace zorbec {
namespace {

// The value of a real number. Out of the range of a double it is infinity or zero. Uses the "C"
// locale: the host's locale may have another decimal point.
double real(const JsonValue& value) {
  static const locale_t kDumpLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(std::string(value.text()).c_str(), nullptr, kDumpLocale);
}

}  // namespace

std::optional<Integer> as_integer(const JsonValue& value) {
  switch (value.kind()) {
    case JsonKind::kInteger:
      return Integer::from_decimal(value.text());
    case JsonKind::kTrue:
      return Integer(1);
    case JsonKind::kFalse:
      return Integer(0);
    case JsonKind::kNull:
    case JsonKind::kReal:
    case JsonKind::kText:
    case JsonKind::kArray:
    case JsonKind::kObject:
      break;
  }
  return std::nullopt;
}

std::optional<Integer> to_integer(const JsonValue& value) {
  switch (value.kind()) {
    case JsonKind::kText:
      return Integer::from_decimal(value.text());
    case JsonKind::kReal: {
      const double number = real(value);
      if (!std::isfinite(number)) return std::nullopt;
      return Integer::from_real(number);
    }
    case JsonKind::kNull:
    case JsonKind::kFalse:
    case JsonKind::kTrue:
    case JsonKind::kInteger:
    case JsonKind::kArray:
    case JsonKind::kObject:
      break;
  }
  return as_integer(value);
}

std::string comparable_number(const JsonValue& value) {
  if (value.kind() == JsonKind::kReal) {
    const double number = real(value);
    if (!std::isfinite(number) || std::trunc(number) != number) {
      // to_chars() writes the shortest text that gives this double again, so equal doubles have
      // equal texts.
      std::array<char, 32> digits{};
      return {digits.data(),
              std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
    }
  }
  const std::optional<Integer> whole = to_integer(value);
  return whole ? whole->decimal() : std::string(value.text());
}

bool equals(const JsonValue& value, int number) {
  if (value.kind() == JsonKind::kReal) return real(value) == number;
  const std::optional<Integer> integer = as_integer(value);
  return integer && *integer == Integer(number);
}

}  // namespace zorbec
