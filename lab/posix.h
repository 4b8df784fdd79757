#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

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

// Throws std::system_error for errno, naming the call and what it was about.
[[noreturn]] void throw_errno(const char* call, const std::string& subject);

// Opens with close-on-exec; throws std::system_error.
UniqueFd open_file(const std::string& path, int flags, mode_t mode = 0);

// Opens for reading; an empty owner if there is no such file. Throws on every other failure.
UniqueFd open_if_present(const std::string& path);

// The whole text of a file; empty if there is no such file. Throws on every other failure.
std::string read_text(const std::string& path);

// Creates or truncates the file and writes the whole text. Throws std::system_error.
void write_text(const std::string& path, std::string_view text);

// Writes all of it, whatever `fd` is. Throws std::system_error.
void write_all(int fd, std::string_view text);

// Size in bytes. Throws std::system_error.
std::uint64_t size_of(int fd);

// Copies up to `length` bytes from the position of `from` to `to`, inside the kernel where it can.
// Stops early at the end of `from`. Throws std::system_error.
void copy_bytes(int from, int to, std::uint64_t length);

// One line on standard error in a single write, so that lines of processes do not mix.
void report(std::string_view line);

}  // namespace zorbec::lab
