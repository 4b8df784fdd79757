// Has calls of a run fail, one call a run, and holds each run to what the checker promises. To be
// run on a simulated router whose nodes have findings of every kind.
//
//     nth_call MODE calls STRIDE     calls of each function that a run uses
//     nth_call MODE waiting STRIDE   of those that are called only where a write has to wait; needs
//                                    FAULTY_CALLS=waiting in the environment
//     nth_call MODE memory STRIDE    allocations
//
// Of each function the 1st call fails, the 1 + STRIDE-th and so on, until there are no more.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "api/zorbec.h"
#include "tests/faults/faulty_calls.h"
#include "tests/support/own_process.h"

namespace {

namespace fs = std::filesystem;
using zorbec::faults::Counted;

constexpr std::uint32_t kFailed = 4294967294U;
constexpr unsigned kPatience = 60;  // seconds; a run takes a fraction of one

// A function whose calls are to fail.
struct Failing {
  const char* call;
  int error;
  // How an error line begins to tell of it, the path follows. Null: a run goes on as if nothing had
  // happened.
  const char* message;
  bool has_path;
  bool is_for_dumps = false;  // only the interface check loads dump files
};

const std::vector<Failing> kCalls = {
    {"open", EMFILE, "open ", true},
    {"read", EIO, "read ", true},
    {"write", ENOSPC, "write ", true},
    {"lseek", EINVAL, "lseek ", true},
    {"stat", EACCES, "stat ", true, true},
    {"lstat", EACCES, "lstat ", true, true},
    {"fstat", EIO, "fstat ", true},
    {"unlink", EACCES, "unlink ", true},
    {"waitid", EINVAL, "waitid ", true},
    {"waitpid", EINVAL, "waitpid ", true},
    {"posix_spawn", EAGAIN, "posix_spawn /bin/bash -c ", false},
    {"posix_spawn_file_actions_init", ENOMEM, "posix_spawn ", true},
    {"posix_spawn_file_actions_adddup2", ENOMEM, "posix_spawn ", true},
    {"posix_spawnattr_init", ENOMEM, "posix_spawn ", true},
    {"pthread_create", EAGAIN, "pthread_create ", false},
    // What close() complains about is closed, and what had been written was taken by write().
    {"close", EIO, nullptr, true},
};
const std::vector<Failing> kWhereWritesWait = {{"poll", ENOMEM, "poll ", true}};
const std::vector<Failing> kMemory = {
    {"operator new", ENOMEM, "", false},
    {"aligned_alloc", ENOMEM, "not memory enough", false, true},
};

// ---- What goes wrong is told on our own standard error, out of the checker's reach ----

int terminal = -1;
std::array<char, 512> attempt{};  // what is under way, for whoever ends us in the middle of it
int complaints = 0;

void complain(const std::string& what) {
  ++complaints;
  dprintf(terminal, "%s: %s\n", attempt.data(), what.c_str());
}

void ended_by(int signal) {
  const auto tell = [](std::string_view text) {
    static_cast<void>(!::write(terminal, text.data(), text.size()));
  };
  tell(attempt.data());
  tell(signal == SIGALRM ? ": hangs\n" : ": the process is ended\n");
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

// ---- A run and what it left ----

// A standard stream that is kept in memory.
class Captured {
 public:
  explicit Captured(int stream) : stream_(stream) {
    const int memory = ::memfd_create("captured", MFD_CLOEXEC);
    if (memory < 0 || ::dup2(memory, stream) != stream) std::abort();
    ::close(memory);
  }
  void clear() const {
    if (::ftruncate(stream_, 0) != 0 || ::lseek(stream_, 0, SEEK_SET) != 0) std::abort();
  }
  std::string text() const {
    std::string all(1 << 20, '\0');
    const ssize_t got = ::pread(stream_, all.data(), all.size(), 0);
    all.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return all;
  }

 private:
  int stream_;
};

using Lines = std::multiset<std::string>;

Lines lines_of(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty()) lines.insert(line);
  }
  return lines;
}

void empty_tmp() {
  for (const fs::directory_entry& entry : fs::directory_iterator("/tmp")) {
    if (entry.is_regular_file()) fs::remove(entry);
  }
}

std::string node_logs() {
  std::string all;
  for (const fs::directory_entry& entry : fs::directory_iterator("/tmp")) {
    if (!entry.path().filename().string().starts_with("debug_logs_")) continue;
    std::ifstream file(entry.path());
    all.append(std::istreambuf_iterator<char>(file), {});
  }
  return all;
}

std::size_t count_of(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

struct Run {
  Lines findings;
  std::string errors;
  std::string logs;
  Counted counted;
};

// One checker, one run, and what holds of every run whatever fails in it.
Run run(std::uint32_t mode, const Failing& failing, long nth) {
  static const Captured output(STDOUT_FILENO);
  static const Captured error_output(STDERR_FILENO);
  empty_tmp();
  output.clear();
  error_output.clear();
  const std::size_t descriptors = entries_of("/proc/self/fd");

  ::alarm(kPatience);
  zorbec_init();
  zorbec::faults::arm(failing.call, nth, failing.error);
  const std::uint32_t status = zorbec_run(mode);
  Run result;
  result.counted = zorbec::faults::disarm();
  zorbec_finalize();
  ::alarm(0);

  if (status != 0 && status != kFailed) complain("status " + std::to_string(status));
  if (entries_of("/proc/self/fd") != descriptors) complain("a descriptor is left");
  if (threads_down_to(1) != 1) complain("a thread is left");
  if (::waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD) complain("a child is left");
  result.findings = lines_of(output.text());
  result.errors = error_output.text();
  result.logs = node_logs();
  if ((status != 0) != result.errors.starts_with("zorbec: run failed: ")) {
    complain("status " + std::to_string(status) + ", but: " + result.errors);
  }
  return result;
}

// ---- Expectations ----

bool is_about_key(const std::string& finding) {
  return finding.find(" PMDB Key ") != std::string::npos;
}

std::string in_log(const std::string& finding) {
  const std::size_t rest = finding.find(" PMDB Key ");
  return (finding.starts_with("Missing") ? "MISSING" : "ERROR!!!!!!") + finding.substr(rest);
}

// A finding is both in its node's log and on standard output, even if a write of it failed there,
// but for logs that could not be written.
void expect_findings_in_logs(const Run& result) {
  std::size_t told = 0;
  std::size_t logged = count_of(result.logs, "MISSING PMDB") + count_of(result.logs, "!!!!!! PMDB");
  const bool is_log = result.counted.where.starts_with("/tmp/debug_logs_");
  for (const std::string& finding : result.findings) {
    if (!is_about_key(finding)) continue;  // of the multicast check, in no log
    ++told;
    const std::size_t here = count_of(result.logs, in_log(finding));
    if (here < result.findings.count(finding) && !is_log) complain("not in a log: " + finding);
  }
  if (is_log ? logged > told : logged != told) {
    complain(std::to_string(told) + " findings, in the logs " + std::to_string(logged));
  }
}

// Nothing is found that a run without faults does not find. Where a dump failed, though, the line
// that says so has to be read with the findings: the node's hardware may seem to hold no keys, and
// keys of its interfaces to be leaks.
void expect_no_new_findings(const Run& result, const Run& sound) {
  const bool lacks_dump = result.errors.find("dump_task: ") != std::string::npos;
  for (const std::string& finding : result.findings) {
    if (result.findings.count(finding) <= sound.findings.count(finding)) continue;
    const bool is_missing_key = finding.starts_with("Missing PMDB Key ");
    const std::string node = finding.substr(finding.rfind(' ') + 1);
    const bool is_explained =
        is_missing_key ? result.errors.find("node " + node + ": dump_task: ") != std::string::npos
                       : lacks_dump;
    if (!is_explained) complain("found only with the fault: " + finding);
  }
}

void expect_error_line(const Run& result, const Failing& failing) {
  const std::string wanted =
      std::string(failing.message) + (failing.has_path ? result.counted.where : "");
  if (!result.errors.starts_with("zorbec: ") || count_of(result.errors, wanted) == 0) {
    complain("no line says \"" + wanted + "\": " + result.errors);
  }
}

void expect_sound(const Run& result, const Run& sound) {
  if (result.findings != sound.findings) complain("other findings than without a fault");
  if (!result.errors.empty()) complain("without a fault: " + result.errors);
}

void check(const Run& result, const Failing& failing, const Run& sound) {
  if (failing.message == nullptr) {
    expect_sound(result, sound);
  } else {
    expect_error_line(result, failing);
    expect_no_new_findings(result, sound);
  }
  expect_findings_in_logs(result);
}

// ---- All of them ----

class Campaign {
 public:
  explicit Campaign(std::uint32_t mode)
      : mode_(mode), sound_(run(mode, {"", 0, nullptr, false}, 0)) {
    if (sound_.findings.size() < 5) complain("the router has too few findings");
  }

  void fail_each(const Failing& failing, long stride) {
    long nth = 1;
    for (;; nth += stride) {
      std::snprintf(attempt.data(), attempt.size(), "mode %u, %s call %ld", mode_, failing.call,
                    nth);
      const Run result = run(mode_, failing, nth);
      if (!result.counted.was_injected) {
        if (nth == 1 && !(failing.is_for_dumps && mode_ != 0)) complain("was never called");
        expect_sound(result, sound_);
        return;
      }
      ++injected_;
      points_.insert(std::string(failing.call) + " " + result.counted.where);
      check(result, failing, sound_);
    }
  }

  int end(std::size_t fewest) const {
    for (const std::string& point : points_) dprintf(terminal, "  %s\n", point.c_str());
    dprintf(terminal, "mode %u: %zu different points, %zu faults, %d complaints\n", mode_,
            points_.size(), injected_, complaints);
    if (points_.size() < fewest) complain("too few points");
    return complaints == 0 ? 0 : 1;
  }

 private:
  std::uint32_t mode_;
  Run sound_;
  std::set<std::string> points_;
  std::size_t injected_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  terminal = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 100);
  for (const int signal : {SIGALRM, SIGABRT, SIGSEGV}) std::signal(signal, ended_by);

  struct Kind {
    std::string_view name;
    const std::vector<Failing>& functions;
    std::size_t fewest;  // places where they are called
  };
  const std::array<Kind, 3> kinds = {
      {{"calls", kCalls, 40}, {"waiting", kWhereWritesWait, 1}, {"memory", kMemory, 1}}};
  const auto* const kind = std::ranges::find(kinds, argc == 4 ? argv[2] : "", &Kind::name);
  const long stride = argc == 4 ? std::atol(argv[3]) : 0;
  if (kind == kinds.end() || stride < 1) {
    dprintf(terminal, "usage: nth_call MODE calls|waiting|memory STRIDE\n");
    return 2;
  }
  Campaign campaign(std::string_view(argv[1]) == "0" ? 0 : 1);
  for (const Failing& failing : kind->functions) campaign.fail_each(failing, stride);
  return campaign.end(kind->fewest);
}
