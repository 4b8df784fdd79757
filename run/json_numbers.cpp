#include "run/json_numbers.h"

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <string>

namespace zorbec {
namespace {

// Out of range of a double: infinity or zero, whichever is nearer. The host's locale has no say in
// what a dump's decimal point is.
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
    default:
      return std::nullopt;
  }
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
    default:
      return as_integer(value);
  }
}

bool equals(const JsonValue& value, int number) {
  if (value.kind() == JsonKind::kReal) return real(value) == number;
  const std::optional<Integer> integer = as_integer(value);
  return integer && *integer == Integer(number);
}

}  // namespace zorbec
