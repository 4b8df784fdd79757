#pragma once

#include <optional>
#include <string>

#include "base/integer.h"
#include "json/document.h"

namespace zorbec {

// How fields of a dump are taken as numbers. A truth value counts as 1 or 0.

// An integer or a truth value; nothing else is one.
std::optional<Integer> as_integer(const JsonValue& value);

// What can be converted to an integer: besides those, a text of decimal digits, and a real number,
// whose fraction is dropped.
std::optional<Integer> to_integer(const JsonValue& value);

// A text that all ways to write the same number share: 1.50 and 15e-1, 1 and 1.0. `value` is an
// integer or a real number.
std::string comparable_number(const JsonValue& value);

// Whether the value is a number equal to `number`: 1, 1.0 and true equal 1. A text equals none.
bool equals(const JsonValue& value, int number);

}  // namespace zorbec
