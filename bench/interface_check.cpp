// The interface check from end to end, in this process: seconds and peak memory of each phase.
//
// The core runs unchanged and says nothing about its phases; they are seen from outside, by the log
// of the first node, which each phase makes anew.

#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <thread>

#include "api/zorbec.h"

namespace {

using Clock = std::chrono::steady_clock;

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double cpu_seconds(int whose) {
  rusage usage{};
  getrusage(whose, &usage);
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Largest resident size since the last reset, in megabytes.
double peak_memory() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    if (word == "VmHWM:") {
      double kilobytes = 0;
      status >> kilobytes;
      return kilobytes / 1024;
    }
  }
  return 0;
}

void reset_peak_memory() {
  std::ofstream("/proc/self/clear_refs") << 5;
}

// Prints one line for each phase when it ends.
class PhaseReport {
 public:
  void begin(const char* name) {
    end();
    name_ = name;
    started_ = Clock::now();
    cpu_ = cpu_seconds(RUSAGE_SELF);
    commands_cpu_ = cpu_seconds(RUSAGE_CHILDREN);
    reset_peak_memory();
  }
  void end() {
    if (name_ == nullptr) return;
    const std::chrono::duration<double> wall = Clock::now() - started_;
    std::fprintf(stderr, "%-14s %9.3f %9.3f %12.3f %11.0f\n", name_, wall.count(),
                 cpu_seconds(RUSAGE_SELF) - cpu_, cpu_seconds(RUSAGE_CHILDREN) - commands_cpu_,
                 peak_memory());
    name_ = nullptr;
  }

 private:
  const char* name_ = nullptr;
  Clock::time_point started_;
  double cpu_ = 0;
  double commands_cpu_ = 0;
};

std::optional<ino_t> file_number(const char* path) {
  struct stat status {};
  if (stat(path, &status) != 0) return std::nullopt;
  return status.st_ino;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string first_log =
      "/tmp/debug_logs_" + std::string(argc > 1 ? argv[1] : "RP0") + ".txt";
  std::fprintf(stderr, "%-14s %9s %9s %12s %11s\n", "phase", "wall s", "CPU s", "commands s",
               "peak MB");

  PhaseReport report;
  report.begin("set-up");
  zorbec_init();
  std::atomic<bool> done{false};
  std::uint32_t status = 0;
  std::thread check([&] {
    status = zorbec_run(0);
    done = true;
  });
  const char* const names[] = {"dump", "verification"};
  std::optional<ino_t> log = file_number(first_log.c_str());
  for (const char* const name : names) {
    for (;;) {
      const std::optional<ino_t> now = file_number(first_log.c_str());
      if ((now && now != log) || done) {
        log = now;
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!done) report.begin(name);
  }
  check.join();
  report.end();
  zorbec_finalize();
  return status == 0 ? 0 : 1;
}
