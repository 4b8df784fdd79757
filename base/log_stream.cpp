#include "base/log_stream.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <exception>

#include "base/error.h"

namespace zorbec {
namespace {

constexpr std::size_t kMostWaiting = std::size_t{64} * 1024;

// Lets a write that a signal would punish fail instead, in the host's own thread too: to a broken
// pipe, or beyond the size that a file may have.
class WriteSignalsBlocked {
 public:
  WriteSignalsBlocked() noexcept {
    sigset_t pending;
    sigpending(&pending);
    sigemptyset(&ours_);
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
      sigaddset(&blocked, signal);
      // The signal that our write may raise is not the host's; one from before is.
      if (sigismember(&pending, signal) == 0) sigaddset(&ours_, signal);
    }
    pthread_sigmask(SIG_BLOCK, &blocked, &before_);
  }
  ~WriteSignalsBlocked() {
    const timespec now{};
    sigtimedwait(&ours_, nullptr, &now);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  WriteSignalsBlocked(const WriteSignalsBlocked&) = delete;
  WriteSignalsBlocked& operator=(const WriteSignalsBlocked&) = delete;

 private:
  sigset_t ours_{};
  sigset_t before_{};
};

}  // namespace

LogStream::LogStream(std::string path) : path_(std::move(path)), fd_(create_fresh_file(path_)) {}

LogStream::LogStream(std::string path, UniqueFd file)
    : path_(std::move(path)), fd_(std::move(file)) {}

LogStream::~LogStream() {
  try {
    close();
  } catch (const std::exception&) {
    // Whoever wants to know has called close() before.
  }
}

void LogStream::write(std::string_view message) {
  const MutexLock lock(mutex_);
  append(message);
}

void LogStream::write_pieces(
    const std::function<void(const std::function<void(std::string_view)>&)>& produce) {
  const MutexLock lock(mutex_);
  produce([this](std::string_view piece) ZORBEC_REQUIRES(mutex_) { append(piece); });
}

void LogStream::flush() {
  const MutexLock lock(mutex_);
  flush_locked();
}

void LogStream::close() {
  const MutexLock lock(mutex_);
  if (fd_.get() < 0) return;
  flush_locked();
  fd_ = UniqueFd();
}

void LogStream::append(std::string_view piece) {
  if (fd_.get() < 0) throw_error_number(EBADF, "write", path_);
  if (waiting_.size() + piece.size() < kMostWaiting) {
    waiting_ += piece;
    return;
  }
  flush_locked();
  const WriteSignalsBlocked blocked;
  write_all(fd_.get(), piece, path_);
}

void LogStream::flush_locked() {
  if (waiting_.empty()) return;
  // Taken out first: what could not be written is not tried again behind later texts.
  const std::string text = std::move(waiting_);
  waiting_.clear();
  const WriteSignalsBlocked blocked;
  write_all(fd_.get(), text, path_);
}

void OutputStream::write_from(std::string_view& messages) {
  const MutexLock lock(mutex_);
  zorbec::write_from(fd_, messages, name_);
}

void report_error(std::initializer_list<std::string_view> pieces) noexcept {
  const WriteSignalsBlocked blocked;
  try {
    std::string line = "zorbec: ";
    for (const std::string_view piece : pieces) line += piece;
    line += '\n';
    write_all(STDERR_FILENO, line, "standard error");
  } catch (const std::exception&) {
    return;
  }
}

}  // namespace zorbec
