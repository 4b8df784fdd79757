// One check in this process: what it took, or each of its phases if it is watched, as JSON.
//
//   zorbec-bench-check REPORT MODE [watched]
//
// Phases and commands are known from what the run tells an observer. A run that is watched does
// more than one that is not: it looks into every dump for something to tell.

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <variant>
#include <vector>

#include "base/huge_pages.h"
#include "base/mutex.h"
#include "context/observer.h"
#include "context/run_state.h"
#include "run/run_driver.h"

namespace zorbec {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// CPU time in seconds, and as much of it as was spent in user mode.
struct CpuTime {
  double all = 0;
  double user = 0;
};

CpuTime cpu_time(int whose) {
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  rusage usage{};
  getrusage(whose, &usage);
  return {seconds(usage.ru_utime) + seconds(usage.ru_stime), seconds(usage.ru_utime)};
}

// Largest resident size since the last reset, in bytes.
std::size_t peak_memory() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    std::size_t kilobytes = 0;
    if (word == "VmHWM:" && status >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

void reset_peak_memory() {
  std::ofstream("/proc/self/clear_refs") << 5;
}

// Takes the time of a run's phases. Commands are the children of this process, so that what they
// cost can be told from what the check itself does.
class Stopwatch : public Observer {
 public:
  void observe(const Event& event) override {
    if (const auto* const phase = std::get_if<event::PhaseStarted>(&event)) {
      begin(phase->phase == event::Phase::kDump ? "dump" : "verification");
    } else if (std::holds_alternative<event::WorkerStarted>(event)) {
      own_commands() = Seconds(0);
    } else if (const auto* const command = std::get_if<event::CommandEnded>(&event)) {
      own_commands() += command->took;
      const MutexLock lock(mutex_);
      ++commands_;
      in_commands_ += command->took;
      slowest_worker_ = std::max(slowest_worker_, own_commands());
    }
  }

  void begin(const char* name) {
    end();
    name_ = name;
    started_ = Clock::now();
    cpu_ = cpu_time(RUSAGE_SELF);
    commands_cpu_ = cpu_time(RUSAGE_CHILDREN);
    const MutexLock lock(mutex_);
    commands_ = 0;
    in_commands_ = slowest_worker_ = Seconds(0);
    reset_peak_memory();
  }

  // Ends the last phase and returns all of them.
  const nlohmann::ordered_json& end() {
    if (name_ == nullptr) return phases_;
    const Seconds wall = Clock::now() - started_;
    const CpuTime cpu = cpu_time(RUSAGE_SELF);
    const MutexLock lock(mutex_);
    phases_[name_] = {{"wall", wall.count()},
                      {"cpu", cpu.all - cpu_.all},
                      {"user_cpu", cpu.user - cpu_.user},
                      {"commands_cpu", cpu_time(RUSAGE_CHILDREN).all - commands_cpu_.all},
                      {"peak_bytes", peak_memory()},
                      {"commands", commands_},
                      {"in_commands", in_commands_.count()},
                      {"slowest_worker_in_commands", slowest_worker_.count()}};
    name_ = nullptr;
    return phases_;
  }

 private:
  // Spent in commands by the worker that this thread is.
  static Seconds& own_commands() {
    thread_local Seconds spent{0};
    return spent;
  }

  nlohmann::ordered_json phases_ = nlohmann::ordered_json::object();
  const char* name_ = nullptr;
  Clock::time_point started_;
  CpuTime cpu_;
  CpuTime commands_cpu_;

  Mutex mutex_;
  std::size_t commands_ ZORBEC_GUARDED_BY(mutex_) = 0;
  Seconds in_commands_ ZORBEC_GUARDED_BY(mutex_){0};
  Seconds slowest_worker_ ZORBEC_GUARDED_BY(mutex_){0};
};

// Uses as much memory in huge pages as the dumps that are in /tmp already will need, with half of
// their size for what is noted of them, and gives it back, so that it is free in this machine. A
// virtual machine's host may have taken back what was free, and time in which it is fetched from
// there is not the check's.
void warm_large_pages() {
  std::size_t bytes = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
    if (entry.path().extension() == ".dat") bytes += entry.file_size();
  }
  const std::vector<char, HugePages<char>> touched(bytes + bytes / 2);
}

int run(const std::string& report, std::uint32_t mode, bool watched) {
  warm_large_pages();
  bring_up_run_state();
  Stopwatch stopwatch;
  if (watched) run_state().observer = &stopwatch;
  stopwatch.begin(watched ? "set-up" : "check");
  std::string error;
  const int status = run_zorbec(mode, error);
  std::ofstream(report) << stopwatch.end() << '\n';
  if (status != 0) std::fprintf(stderr, "%s\n", error.c_str());
  return status == 0 ? 0 : 1;
}

}  // namespace
}  // namespace zorbec

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s REPORT MODE [watched]\n", argv[0]);
    return 2;
  }
  try {
    return zorbec::run(argv[1], static_cast<std::uint32_t>(std::atoi(argv[2])), argc > 3);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
