#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace zorbec {

// The check cannot go on because something is not as it must be. Mostly it is input from the
// router: a malformed dump, an unreadable line of the node table, a missing field. Sometimes it is
// the run itself: a file is not open, or the run was interrupted. what() says what is wrong, and
// where the input came from.
class CheckError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws std::system_error for the current value of errno. what() is "call path: reason". Call it
// directly after the failed call, before anything else can change errno.
[[noreturn]] void throw_errno(std::string_view call, std::string_view path);

// The same for calls that return the error number and do not set errno (posix_spawn, pthread_*).
[[noreturn]] void throw_error_number(int error, std::string_view call, std::string_view path);

// Puts `text` in double quotes, on one line, for error messages that show a text from a router.
// Quotes and backslashes get a backslash, a newline becomes \n, and other bytes that are not
// printable ASCII become \xNN. Of a text longer than 80 bytes the first 80 and the size are shown.
std::string in_quotes(std::string_view text);

}  // namespace zorbec
