#pragma once

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "base/file_text.h"

namespace zorbec {

// Owns one file descriptor; closes it when it goes. close() is never retried: after EINTR the
// number may already belong to another thread's file.
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

// Makes a new empty file under `path`, open for reading and writing at the offset 0 and
// close-on-exec. What was there before is removed, never opened: a link, a FIFO or somebody else's
// file of that name is not followed, waited for or written to.
//
// Throws std::system_error if the old file cannot be removed or the new one not be made.
UniqueFd create_fresh_file(const std::string& path);

// For files that commands write: removes what stands under `path`, unless it is a plain file of
// this user without another name, to which a command may write. Links, FIFOs and other users' files
// are neither followed, waited for nor trusted. True if the name is free now.
//
// Throws std::system_error if that cannot be found out or done.
bool remove_what_is_not_ours(const std::string& path);

// The same, and makes an empty file if the name is free: so that nobody else can take it before the
// command does.
void keep_for_ourselves(const std::string& path);

// Size in bytes of the file at `path`, and when it was last changed, since 1970. Throw
// std::system_error if there is none.
std::size_t file_size(const std::string& path);
std::chrono::nanoseconds modification_time(const std::string& path);

// Everything in the file at `path`. Throws std::system_error if it cannot be opened or read, or is
// larger than `most_bytes`. Never waits for the other end of a FIFO.
FileText read_file(const std::string& path, std::size_t most_bytes);

// Everything in the open file, from its beginning. `path` is for messages.
std::string read_from_start(const UniqueFd& fd, const std::string& path);

// Writes all of `text`, however many calls it takes; waits where a descriptor does not block.
// Throws std::system_error; part of the text may have been written then.
void write_all(int fd, std::string_view text, const std::string& path);
// The same, and removes from `text` what was written, however it ends.
void write_from(int fd, std::string_view& text, const std::string& path);

}  // namespace zorbec
