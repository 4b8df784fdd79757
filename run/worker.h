#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "base/log_stream.h"

namespace zorbec {

// One thread of a run: does one task for one node and ends. What the task throws ends this worker
// only, with one line on standard error.
class Worker {
 public:
  // `node` and `task_name` are for that line.
  // The log is flushed when the task has ended, in whatever way, and is kept alive until then.
  Worker(std::string node, std::string task_name, std::shared_ptr<LogStream> log,
         std::function<void(LogStream&)> task);
  // Waits for the thread to end.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Starts the thread, with all signals blocked: they are the host's. Throws std::system_error if
  // it cannot be started.
  void start();
  // Waits for it to end.
  void join();

  // "<Thread(Thread-1, initial)>"; once started "started" or "stopped" and the thread's identifier.
  std::string display_text() const;

  const std::shared_ptr<LogStream>& log() const { return log_; }

 private:
  void run() noexcept;
  void tell_end(const std::exception* error) const noexcept;

  const unsigned number_;  // counts the workers of the process, from 1
  const std::string node_;
  const std::string task_name_;
  const std::shared_ptr<LogStream> log_;
  const std::function<void(LogStream&)> task_;
  std::atomic<bool> ended_{false};
  unsigned long identifier_ = 0;  // 0: not started
  std::thread thread_;
};

}  // namespace zorbec
