// Numbers and keys as texts: decimal and hexadecimal digits, JSON numbers, key texts, and what the
// command says of a key.

#include <algorithm>
#include <optional>
#include <string>

#include "base/integer.h"
#include "host/explain/key_words.h"
#include "json/numbers.h"
#include "keys/key_encoding.h"
#include "tests/fuzz/support/bytes.h"
#include "tests/fuzz/support/detached.h"
#include "tests/unit/support/tables.h"

namespace zorbec {
namespace {

using fuzz::require;
using fuzz::require_equal;

constexpr std::size_t kMostDigits = 4000;

bool are_digits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Decimal digits as hexadecimal ones, by division as on paper.
std::string hexadecimal_digits(std::string decimal) {
  std::string out;
  while (decimal.find_first_not_of('0') != std::string::npos) {
    unsigned rest = 0;
    for (char& digit : decimal) {
      const unsigned value = rest * 10 + static_cast<unsigned>(digit - '0');
      digit = static_cast<char>('0' + value / 16);
      rest = value % 16;
    }
    out.insert(out.begin(), "0123456789abcdef"[rest]);
  }
  return out.empty() ? "0" : out;
}

void check_decimal(std::string_view text) {
  const bool negative = text.starts_with('-');
  const std::string_view digits = text.substr(negative ? 1 : 0);
  const std::optional<Integer> number = Integer::from_decimal(text);
  if (!are_digits(digits)) {
    require(!number, "no number is made of other characters");
    return;
  }
  if (digits.size() > kMostDigits) return;
  require(number.has_value(), "digits are a number");
  const std::string expected = "0x" + hexadecimal_digits(std::string(digits));
  const bool minus = negative && expected != "0x0";
  require_equal(number->hexadecimal(), (minus ? "-" : "") + expected, "value of decimal digits");
}

void check_round_trips(const Integer& number) {
  const std::optional<Integer> from_decimal = Integer::from_decimal(number.decimal());
  const std::optional<Integer> from_hexadecimal = Integer::from_hexadecimal(number.hexadecimal());
  require(from_hexadecimal == number, "hexadecimal text reads back");
  if (number.decimal().size() <= kMostDigits) {
    require(from_decimal == number, "decimal text reads back");
  }
  require(!number.word() || Integer(*number.word()) == number, "a word is the number");
  const std::string message = number.message_hexadecimal();
  require(message == number.hexadecimal() || message == number.hexadecimal() + "L", "message");
}

void check_key_text(std::string_view text) {
  const std::size_t begin = std::min(text.find_first_not_of("0x"), text.size());
  require(parse_key_text(text) == Integer::from_hexadecimal(text.substr(begin)),
          "a key text is what is left behind its zeros");
}

void check_words(const Integer& key) {
  const DecodedKey fields = decode_key(key);
  require(differing_fields(fields, fields) == 0, "a key differs from itself");
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    for (std::size_t index = 1; index < 5; ++index) {
      require(!rule_words(key, {intf_class, index, index % 2 == 0, 2}).empty(), "words for a key");
    }
  }
  decode_member(key, 1);
}

// The text as a value of a dump, if it is one.
void check_value(std::string_view text) {
  const std::string dump = "[" + std::string(text) + "]";
  std::optional<JsonDocument> document;
  fuzz::failure_of([&] { document = unit::json(dump); });
  if (!document) return;
  document->root().for_each_child([&](const JsonValue& value) {
    const std::optional<Integer> integer = as_integer(value);
    if (integer) require(to_integer(value) == integer, "an integer converts to itself");
    const bool is_number = value.kind() == JsonKind::kInteger || value.kind() == JsonKind::kReal;
    for (const int small : {0, 1}) {
      const bool is_small = equals(value, small);
      if (is_number) {
        require(is_small == (comparable_number(value) == std::to_string(small)),
                "what equals a number is shown like it");
      }
      if (is_small) require(to_integer(value) == Integer(small), "equal means the same");
    }
    return true;
  });
}

}  // namespace
}  // namespace zorbec

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorbec;
  const std::string_view text = fuzz::as_text(data, size);
  check_decimal(text);
  check_key_text(text);
  check_value(text);
  for (const auto& number :
       {Integer::from_decimal(text), Integer::from_hexadecimal(text), read_key(text)}) {
    if (!number) continue;
    check_round_trips(*number);
    check_words(*number);
  }
  return 0;
}
