#include "run/worker.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <system_error>
#include <utility>

#include "context/observer.h"
#include "context/tell.h"

namespace zorbec {
namespace {

// Blocks all signals of this thread for a scope; a thread started in it inherits that.
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

// Goes on for as long as the process lives, however often the checker is brought up.
unsigned next_number() {
  static std::atomic<unsigned> last{0};
  return ++last;
}

// Lets the thread's heap have what most workers need, at once. It grows by as many pages as an
// allocation lacks, mostly one, and each time it locks the address space of the process, for which
// all other workers and the commands that they start have to wait. Without the room all works as
// well.
void make_room_on_heap() {
  constexpr std::size_t kPiece = std::size_t{120} * 1024;  // the heap has none that are much larger
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
  // Even if nobody could be told: other workers may wait for what this one finds.
  attempt([this] { task_(*log_); });
  attempt([this] { log_->flush(); });
  if (!failed) tell_end(nullptr);
  ended_ = true;
}

void Worker::tell_end(const std::exception* error) const noexcept {
  try {
    tell([&] { return event::WorkerEnded{node_, task_name_, error}; });
  } catch (const std::exception& failure) {
    report_error({"node ", node_, ": ", task_name_, ": ", failure.what()});
  }
}

}  // namespace zorbec
