#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// Files and descriptors. Every function that throws throws std::system_error with the errno, the
// failed call and what the call was about.
namespace zorbec::lab {

// Owns one file descriptor; closes it when it goes.
class UniqueFd {
 public:
  explicit UniqueFd(int fd = -1) noexcept : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~UniqueFd() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const noexcept { return fd_; }
  explicit operator bool() const noexcept { return fd_ >= 0; }

 private:
  int fd_;
};

// Throws the std::system_error for the errno that `call` left; `subject` is a path or another text.
[[noreturn]] void throw_errno(const char* call, const std::string& subject);

// Opens with close-on-exec. Throws if that fails.
UniqueFd open_file(const std::string& path, int flags, mode_t mode = 0);

// Opens for reading, with close-on-exec. The owner is empty if there is no such file. Throws on
// every other failure.
UniqueFd open_if_present(const std::string& path);

// The whole text of a file; empty if there is no such file. Throws on every other failure.
std::string read_text(const std::string& path);

// Creates or truncates the file and writes the whole text. Throws if that fails.
void write_text(const std::string& path, std::string_view text);

// Writes the whole text to a file, a pipe or a socket. Throws if that fails.
void write_all(int fd, std::string_view text);

// The size of a file in bytes. Throws if that fails.
std::uint64_t size_of(int fd);

// Copies up to `length` bytes from the current position of `from` to `to`. Stops early at the end
// of `from`. Throws if that fails.
void copy_bytes(int from, int to, std::uint64_t length);

// Writes one line to standard error. It is one write, so lines of several processes do not mix.
// Throws if that fails.
void report(std::string_view line);

}  // namespace zorbec::lab
