#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "base/log_stream.h"

namespace zorbec {

// One thread of a run, which does one task for one node. An exception of the task ends only this
// worker, with one line on standard error. All public functions belong to the main thread.
class Worker {
 public:
  // Does not start the thread. `node` and `task_name` are for the line on standard error and for
  // events. `task` is called with the log; when it has ended, also by an exception, the log is
  // flushed. The worker keeps the log alive.
  Worker(std::string node, std::string task_name, std::shared_ptr<LogStream> log,
         std::function<void(LogStream&)> task);
  // Waits until the thread has ended.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Starts the thread; at most once. All signals are blocked in it, because signals are the host's
  // business. Throws std::system_error if the thread cannot be started.
  void start();
  // Waits until the thread has ended, without time limit. Does nothing if it was not started.
  void join();

  // How logs name the worker: "<Thread(Thread-1, initial)>" before start(), later
  // "<Thread(Thread-1, started 140737...)>" or "... stopped 140737...", with the thread's id.
  std::string display_text() const;

  const std::shared_ptr<LogStream>& log() const { return log_; }

 private:
  // The body of the thread.
  void run() noexcept;
  // Reports WorkerEnded to the observer.
  void tell_end(const std::exception* error) const noexcept;

  const unsigned number_;  // workers of the process are numbered from 1
  const std::string node_;
  const std::string task_name_;
  const std::shared_ptr<LogStream> log_;
  const std::function<void(LogStream&)> task_;
  std::atomic<bool> ended_{false};
  unsigned long identifier_ = 0;  // 0: not started
  std::thread thread_;
};

}  // namespace zorbec
