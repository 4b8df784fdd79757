#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

#include "base/files.h"
#include "base/mutex.h"

namespace zorbec {

// A log file with a buffer. Safe from any thread: a worker and the main thread write to the same
// log, and no message lands inside another one. Small messages wait in memory until 64 KB have
// gathered, or until flush() or close().
class LogStream {
 public:
  // Creates a fresh file at `path` (see create_fresh_file()). Throws std::system_error.
  explicit LogStream(std::string path);
  // Takes over an open file. `path` is only for messages.
  LogStream(std::string path, UniqueFd file);
  // Writes what is still in the buffer. An error is lost here; call close() to see it.
  ~LogStream();
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;

  // All of these throw std::system_error (errno, failed call, path) if the file cannot be written;
  // the text that was waiting is then lost. write() on a closed log throws EBADF. flush() and
  // close() on a closed log do nothing.
  void write(std::string_view message);
  void flush();
  void close();

  // Writes one message that comes in pieces. Calls `produce` once, with a function that takes the
  // next piece. The log is locked meanwhile: `produce` must not use this log in any other way, and
  // must not wait for another thread. Throws as write() does, and what `produce` throws.
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

// An output stream of the process, such as standard output. Safe from any thread, except
// redirect(). Messages of several threads never mix. There is no buffer.
class OutputStream {
 public:
  // Does not own `fd` and never closes it. `name` is only for messages.
  OutputStream(int fd, std::string name) : fd_(fd), name_(std::move(name)) {}

  // Sends all later messages to another descriptor, which the caller keeps open. No other thread
  // may be writing meanwhile.
  void redirect(int fd) { fd_ = fd; }

  // Writes the message before it returns. Throws std::system_error if that fails.
  void write(std::string_view message) { write_from(message); }
  // The same. Whether it returns or throws, `messages` then holds only what was not written.
  void write_from(std::string_view& messages);

 private:
  int fd_;
  const std::string name_;
  Mutex mutex_;
};

// Writes "zorbec: ", the pieces and a newline to standard error, as one line. Safe from any thread.
// A failure is ignored, and a broken pipe does not end the host.
void report_error(std::initializer_list<std::string_view> pieces) noexcept;

}  // namespace zorbec
