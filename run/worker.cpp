#include "run/worker.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <system_error>
#include <utility>

#include "context/observer.h"
#include "context/tell.h"

// A worker is a thread of a process that is not ours: the library is loaded into a host. So workers
//   - never run a handler of the host: all signals are blocked in them
//   - never let an exception out, which would call std::terminate() and end the host
//   - report a failure as one line on standard error
//
// Workers run at the same time as the commands that they start, so everything that takes a lock of
// the whole process in the kernel slows down all of them. That is the reason for
// make_room_on_heap() below.
namespace zorbec {
namespace {

// Blocks all signals in this thread for a scope. A thread that is started in the scope inherits the
// mask, so not even its first instructions can be interrupted.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

// Workers are counted for the whole process, also across runs and run states: logs show the number.
unsigned next_number() {
  static std::atomic<unsigned> last{0};
  return ++last;
}

// Lets the heap of this thread grow once, by about 1 MB, which is what most workers need. A
// thread's heap grows by as many pages as an allocation lacks, mostly one. Each time, the mmap lock
// of the process is taken, and other workers and commands that are being started wait. After
// free(), the heap can grow to the same size again without that.
//
// Only an optimisation: the results of malloc() are not checked.
void make_room_on_heap() {
  // From 128 KB on, malloc() does not use the heap but calls mmap().
  constexpr std::size_t kPiece = std::size_t{120} * 1024;
  // volatile: the compiler must not remove pairs of malloc() and free().
  std::array<void* volatile, 9> pieces{};
  for (void* volatile& piece : pieces) piece = std::malloc(kPiece);
  for (void* volatile& piece : pieces) std::free(piece);
}

}  // namespace

Worker::Worker(std::string node, std::string task_name, std::shared_ptr<LogStream> log,
               std::function<void(LogStream&)> task)
    : number_(next_number()),
      node_(std::move(node)),
      task_name_(std::move(task_name)),
      log_(std::move(log)),
      task_(std::move(task)) {}

Worker::~Worker() {
  join();
}

void Worker::start() {
  const SignalsBlocked blocked;
  try {
    thread_ = std::thread(&Worker::run, this);
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), "pthread_create " + task_name_ + " of node " + node_);
  }
  // Kept: the handle of a joined thread is no longer valid, but logs still show it.
  identifier_ = thread_.native_handle();
}

void Worker::join() {
  if (thread_.joinable()) thread_.join();
}

std::string Worker::display_text() const {
  const std::string name = "<Thread(Thread-" + std::to_string(number_) + ", ";
  if (identifier_ == 0) return name + "initial)>";
  return name + (ended_ ? "stopped " : "started ") + std::to_string(identifier_) + ")>";
}

void Worker::run() noexcept {
  make_room_on_heap();
  // Each step is tried even if one before has failed. Only the first failure is reported: the
  // others mostly have the same reason.
  bool failed = false;
  const auto attempt = [&](const auto& step) {
    try {
      step();
    } catch (const std::exception& error) {
      if (!failed) report_error({"node ", node_, ": ", task_name_, ": ", error.what()});
      if (!failed) tell_end(&error);
      failed = true;
    }
  };
  attempt([this] { tell([this] { return event::WorkerStarted{node_, task_name_}; }); });
  // Even if the observer has thrown: workers of other nodes may wait for what this task reports.
  attempt([this] { task_(*log_); });
  // Even if the task has failed: the log shows how far it came.
  attempt([this] { log_->flush(); });
  if (!failed) tell_end(nullptr);
  ended_ = true;
}

void Worker::tell_end(const std::exception* error) const noexcept {
  try {
    tell([&] { return event::WorkerEnded{node_, task_name_, error}; });
  } catch (const std::exception& failure) {
    // Not passed to the observer again, which has just failed.
    report_error({"node ", node_, ": ", task_name_, ": ", failure.what()});
  }
}

}  // namespace zorbec
