#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace zorbec {

// Something that came from the router is not what it must be: a malformed dump, a node table line
// that cannot be read, a missing field. Ends the operation that met it; the text says where the
// thing came from and what is wrong with it.
class CheckError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws std::system_error for the current errno: "call path: reason".
[[noreturn]] void throw_errno(std::string_view call, std::string_view path);

// The same for an error number that a call returned.
[[noreturn]] void throw_error_number(int error, std::string_view call, std::string_view path);

// `text` in double quotes on one line: quotes, backslashes and control characters are escaped, and
// what is longer than a line of a terminal is cut. For texts from a router in error messages.
std::string in_quotes(std::string_view text);

}  // namespace zorbec
