#pragma once

#include <optional>
#include <string>

#include "base/integer.h"
#include "json/document.h"

namespace zorbec {

// How the checker reads fields of a dump as numbers. `true` counts as 1 and `false` as 0. All
// functions are safe from any thread.

// The value of an integer, true or false. Empty for every other kind, and for an integer of more
// than 4,000 digits.
std::optional<Integer> as_integer(const JsonValue& value);

// The same, and also converts a text of decimal digits, and a real number, whose fraction is
// dropped. Empty if the value cannot be converted.
std::optional<Integer> to_integer(const JsonValue& value);

// A text that is equal for equal numbers, however they are written: 1.50 and 15e-1, 1 and 1.0.
// `value` must be an integer or a real number.
std::string comparable_number(const JsonValue& value);

// Whether `value` is a number equal to `number`. 1, 1.0 and true are equal to 1; the text "1" is
// not.
bool equals(const JsonValue& value, int number);

}  // namespace zorbec
