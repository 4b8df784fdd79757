#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

#include "base/files.h"
#include "base/mutex.h"

namespace zorbec {

// A log that a worker and the main thread write to. Each message is written whole: nobody's text
// lands inside another's. Small messages wait in memory until flush(), close() or enough of them.
class LogStream {
 public:
  // Makes a fresh file under `path`. Throws std::system_error if that fails.
  explicit LogStream(std::string path);
  // Writes to a file that was made for it; `path` is for messages.
  LogStream(std::string path, UniqueFd file);
  // Writes what still waits; an error is lost here, hence close().
  ~LogStream();
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;

  // All of these throw std::system_error if the file cannot be written, or is closed already.
  void write(std::string_view message);
  void flush();
  void close();

  // Writes one message that comes in pieces. `produce` gets a function that takes them; it must not
  // use this stream otherwise, nor wait for anybody.
  void write_pieces(
      const std::function<void(const std::function<void(std::string_view)>&)>& produce);

 private:
  void append(std::string_view piece) ZORBEC_REQUIRES(mutex_);
  void flush_locked() ZORBEC_REQUIRES(mutex_);

  const std::string path_;
  Mutex mutex_;
  UniqueFd fd_ ZORBEC_GUARDED_BY(mutex_);
  std::string waiting_ ZORBEC_GUARDED_BY(mutex_);
};

// One of the process's own output streams. A message is one write, so that those of several threads
// never mix within a line; nothing waits in memory.
class OutputStream {
 public:
  // `fd` stays the process's; `name` is for messages.
  OutputStream(int fd, std::string name) : fd_(fd), name_(std::move(name)) {}

  // From now on messages go to another descriptor, which stays the caller's. Not to be called while
  // others write.
  void redirect(int fd) { fd_ = fd; }

  // Throws std::system_error if the descriptor cannot be written.
  void write(std::string_view message) { write_from(message); }
  // The same, and removes from `messages` what was written, however it ends.
  void write_from(std::string_view& messages);

 private:
  int fd_;
  const std::string name_;
  Mutex mutex_;
};

// Writes "zorbec: " and the pieces of a message as one line on standard error. Nothing can be done
// if that fails, so nothing is; a host whose standard error is a broken pipe is not ended by it.
void report_error(std::initializer_list<std::string_view> pieces) noexcept;

}  // namespace zorbec
