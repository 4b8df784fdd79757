// One check in this process: what it took, or each of its phases if it is watched, as JSON.
//
//   zorbec-bench-check REPORT MODE [watched] [answered ROUTER]
//
// watched    The report has each phase and its commands, as the run tells an observer. Such a run
//            does more than others: it looks into every dump for something to tell.
// answered   No command is run: all are answered from the folder ROUTER, and the dumps are in /tmp.

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

#include "base/mutex.h"
#include "bench/answered_commands.h"
#include "context/observer.h"
#include "context/run_state.h"
#include "context/this_machine.h"
#include "run/run_driver.h"

namespace zorbec {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// CPU time of this process (RUSAGE_SELF) or its ended children (RUSAGE_CHILDREN), in seconds.
double cpu_time(int whose) {
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  rusage usage{};
  getrusage(whose, &usage);
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
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
    slowest_worker_ = Seconds(0);
    reset_peak_memory();
  }

  // Ends the last phase and returns all of them.
  const nlohmann::ordered_json& end() {
    if (name_ == nullptr) return phases_;
    const Seconds wall = Clock::now() - started_;
    const double cpu = cpu_time(RUSAGE_SELF) - cpu_;
    const MutexLock lock(mutex_);
    phases_[name_] = {{"wall", wall.count()},
                      {"cpu", cpu},
                      {"commands_cpu", cpu_time(RUSAGE_CHILDREN) - commands_cpu_},
                      {"peak_bytes", peak_memory()},
                      {"commands", commands_},
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
  double cpu_ = 0;
  double commands_cpu_ = 0;

  Mutex mutex_;
  std::size_t commands_ ZORBEC_GUARDED_BY(mutex_) = 0;
  Seconds slowest_worker_ ZORBEC_GUARDED_BY(mutex_){0};
};

struct Options {
  std::string report;
  std::uint32_t mode = 0;
  bool watched = false;
  std::string answered;  // folder of the router that answers; empty: commands are run
};

Options read_options(int argc, char** argv) {
  if (argc < 3) throw std::invalid_argument("REPORT and MODE are missing");
  Options options;
  options.report = argv[1];
  options.mode = static_cast<std::uint32_t>(std::atoi(argv[2]));
  for (int i = 3; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (word == "watched") {
      options.watched = true;
    } else if (word == "answered" && i + 1 < argc) {
      options.answered = argv[++i];
    } else {
      throw std::invalid_argument("what is " + std::string(word) + "?");
    }
  }
  return options;
}

Machine machine_of(const Options& options) {
  Machine machine = this_machine();
  if (!options.answered.empty()) {
    machine.commands = std::make_unique<AnsweredCommands>(options.answered);
  }
  return machine;
}

int run(const Options& options) {
  bring_up_run_state(machine_of(options));
  Stopwatch stopwatch;
  if (options.watched) run_state().observer = &stopwatch;
  stopwatch.begin(options.watched ? "set-up" : "check");
  std::string error;
  const int status = run_zorbec(options.mode, error);
  std::ofstream(options.report) << stopwatch.end() << '\n';
  if (status != 0) std::fprintf(stderr, "%s\n", error.c_str());
  return status == 0 ? 0 : 1;
}

}  // namespace
}  // namespace zorbec

int main(int argc, char** argv) {
  try {
    return zorbec::run(zorbec::read_options(argc, argv));
  } catch (const std::invalid_argument& error) {
    std::fprintf(stderr, "%s\nusage: %s REPORT MODE [watched] [answered ROUTER]\n", error.what(),
                 argv[0]);
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
