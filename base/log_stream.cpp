#include "base/log_stream.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <exception>

#include "base/error.h"

namespace zorbec {
namespace {

// Large enough that a log of many small messages needs few write() calls.
constexpr std::size_t kMostWaiting = std::size_t{64} * 1024;

// Blocks SIGPIPE and SIGXFSZ in this thread for a scope.
//
// A write() to a broken pipe, or beyond the file size limit, raises one of these signals, and its
// default action ends the process. The main thread belongs to the host, whose handlers we must not
// change. So the signal is blocked, write() fails with EPIPE or EFBIG, and the pending signal is
// removed before the host's mask is restored.
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
      // A signal that was pending before belongs to the host: it must not be removed.
      if (sigismember(&pending, signal) == 0) sigaddset(&ours_, signal);
    }
    pthread_sigmask(SIG_BLOCK, &blocked, &before_);
  }
  ~WriteSignalsBlocked() {
    // With a timeout of zero: takes the signal if it is pending, and never waits.
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
    // A destructor must not throw. Callers that need the error call close() first.
  }
}

void LogStream::write(std::string_view message) {
  const MutexLock lock(mutex_);
  append(message);
}

void LogStream::write_pieces(
    const std::function<void(const std::function<void(std::string_view)>&)>& produce) {
  // The lock is held until the last piece: the main thread's lines must not land between two of
  // them.
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
  // A large piece is written directly. Copying it into the buffer first would gain nothing.
  flush_locked();
  const WriteSignalsBlocked blocked;
  write_all(fd_.get(), piece, path_);
}

void LogStream::flush_locked() {
  if (waiting_.empty()) return;
  // Emptied before the write, even if that fails. A text that could not be written is lost: a later
  // flush must not write it again behind newer texts, or repeat the part that was written.
  const std::string text = std::move(waiting_);
  waiting_.clear();
  const WriteSignalsBlocked blocked;
  write_all(fd_.get(), text, path_);
}

void OutputStream::write_from(std::string_view& messages) {
  // SIGPIPE is not blocked here: workers run with all signals blocked already (run/worker.cpp).
  const MutexLock lock(mutex_);
  zorbec::write_from(fd_, messages, name_);
}

void report_error(std::initializer_list<std::string_view> pieces) noexcept {
  const WriteSignalsBlocked blocked;
  try {
    // One write() for the whole line: the lines of several threads must not mix.
    std::string line = "zorbec: ";
    for (const std::string_view piece : pieces) line += piece;
    line += '\n';
    write_all(STDERR_FILENO, line, "standard error");
  } catch (const std::exception&) {
    return;  // there is no other place to report it
  }
}

}  // namespace zorbec
