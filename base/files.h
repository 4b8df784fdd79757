#pragma once

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "base/file_text.h"

namespace zorbec {

// Owns one file descriptor and closes it in its destructor; -1 means none. close() is never
// retried: after EINTR the number may already belong to another thread's file.
class UniqueFd {
 public:
  explicit UniqueFd(int fd = -1) noexcept : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const noexcept { return fd_; }

 private:
  int fd_;
};

// All functions below may be called from any thread. They throw std::system_error (errno, failed
// call, path).

// Creates a new, empty file at `path`, opened for reading and writing, close-on-exec. An old file
// of that name is removed, never opened: a link is not followed, a FIFO is not waited for, and
// another user's file is not written to.
//
// Throws if the old file cannot be removed (a directory, for example) or the new one cannot be
// created.
UniqueFd create_fresh_file(const std::string& path);

// Prepares `path` for a command that will write to it. A regular file stays if it belongs to this
// user and has no other hard link. Anything else of that name is removed: a command would follow
// the link, wait for the FIFO, or take another user's content for its own. Returns true if the name
// is free now, false if a file of ours is there.
bool remove_what_is_not_ours(const std::string& path);

// The same, but leaves a file of ours in any case: creates an empty one if the name is free. So
// nobody else can take the name before the command opens it.
void keep_for_ourselves(const std::string& path);

// The size of the file at `path` in bytes, and the time of its last change since 1970. Links are
// followed. Throw if there is no file.
std::size_t file_size(const std::string& path);
std::chrono::nanoseconds modification_time(const std::string& path);

// Reads the whole file at `path`. What is appended while it is read is not seen. Never waits for a
// writer of a FIFO. Throws if the file cannot be opened or read, or (EFBIG) has more than
// `most_bytes` bytes; std::bad_alloc if there is not enough memory.
FileText read_file(const std::string& path, std::size_t most_bytes);

// Reads the whole open file, from offset 0 to its end. `path` is only for messages.
std::string read_from_start(const UniqueFd& fd, const std::string& path);

// Writes all of `text`, in as many write() calls as needed. Waits if the descriptor is non-blocking
// and takes no more at the moment. `path` is only for messages. After an exception, part of the
// text may have been written.
void write_all(int fd, std::string_view text, const std::string& path);
// The same. Whether it returns or throws, `text` then holds only what was not written.
void write_from(int fd, std::string_view& text, const std::string& path);

}  // namespace zorbec
