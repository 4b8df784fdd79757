#include "lab/sandbox.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <system_error>

#include "lab/call_log.h"
#include "lab/chassis.h"
#include "lab/damage.h"
#include "lab/layout.h"
#include "lab/mounts.h"
#include "lab/posix.h"
#include "lab/process.h"
#include "lab/tool_names.h"
#include "lab/words.h"

namespace zorbec::lab {
namespace {

namespace fs = std::filesystem;

// How the sandbox is made
//
// The checker's paths (/tmp, /pkg/bin) are fixed, and several labs may run at the same time. So the
// command gets a root of its own, made of mounts in a private mount namespace:
//
//   /            a tmpfs, gone with the namespace
//   /bin, /etc   and all else that the machine has there: bind mounts of the machine's own
//   /tmp         a tmpfs, or the folder given with --tmp
//   /pkg/bin     links to this program, one for each tool
//   /pkg/lab     the router's folder and what the tools need (layout.h)
//
// The steps are: note all paths while they still mean what the caller meant (make_plan), enter the
// namespace, swap the root, bind what is needed from the old root, take the old root away.

// The machine's root while the sandbox is made. It is below the lab's own folder, so that it hides
// nothing of the machine.
constexpr char kMachine[] = "/pkg/lab/machine";

// Everything that has to be known before the mounts change. All links are resolved, because a link
// may lead through a folder that the sandbox replaces.
struct Plan {
  fs::path router;
  fs::path tmp;
  fs::path calls;
  fs::path program;
  fs::path cwd;
  std::string ssh_config;
  std::set<std::string> kept_below_tmp;  // names in the machine's /tmp that stay visible
};

// Makes the folder or the file to which `source` can be bound: the kernel binds a folder only to a
// folder, and a file only to a file.
void make_mount_point(const fs::path& source, const fs::path& target) {
  if (fs::is_directory(source)) {
    fs::create_directories(target);
  } else {
    open_file(target, O_WRONLY | O_CREAT, 0644);
  }
}

// Keeps the whole first folder below /tmp, because what is beside a program may belong to it.
void keep_first_below_tmp(const fs::path& path, Plan& plan) {
  const fs::path below = path.lexically_normal().lexically_relative("/tmp");
  if (below.empty() || below == "." || *below.begin() == "..") return;
  plan.kept_below_tmp.insert(*below.begin());
}

// Keeps the path as it is written, and the place where its links lead.
void keep_visible(const fs::path& path, Plan& plan) {
  keep_first_below_tmp(fs::absolute(path), plan);
  std::error_code ignored;
  keep_first_below_tmp(fs::canonical(path, ignored), plan);
}

// The program that execvp() will find. Its folder may be below /tmp, and has to stay visible then.
fs::path find_command(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  const char* path = std::getenv("PATH");
  std::string_view folders = path == nullptr ? std::string_view() : path;
  while (!folders.empty()) {
    const std::size_t length = std::min(folders.find(':'), folders.size());
    fs::path candidate = fs::path(folders.substr(0, length)) / name;
    if (::access(candidate.c_str(), X_OK) == 0) return candidate;
    folders.remove_prefix(std::min(length + 1, folders.size()));
  }
  return {};
}

// What is wrong with a router is said before anything starts.
void check_router(const fs::path& router, bool openssh) {
  if (!fs::is_directory(router)) {
    throw std::invalid_argument("no router folder: " + router.string());
  }
  for (const Damage& damage : parse_damage(read_text(router / "damage.txt"))) {
    const bool known = damage.where == "*" || damage.where == "local" ||
                       fs::is_directory(router / "nodes" / damage.where);
    if (!known) throw std::invalid_argument("damage.txt: no node owns " + damage.where);
    if (needs_openssh(damage) && !openssh) {
      throw std::invalid_argument("damage.txt: only with --openssh: damage of " + damage.what);
    }
  }
  if (openssh) check_chassis(router);
}

Plan make_plan(const RunOptions& options) {
  check_router(options.router, options.openssh);
  Plan plan;
  plan.router = fs::canonical(options.router);
  // argv[0] may be a bare name.
  plan.program = fs::canonical("/proc/self/exe");
  plan.cwd = fs::current_path();
  keep_visible(options.router, plan);
  keep_visible(plan.program, plan);
  keep_visible(plan.cwd, plan);
  const fs::path command = find_command(options.command.front());
  if (!command.empty()) keep_visible(command, plan);
  if (!options.tmp.empty()) {
    fs::create_directories(options.tmp);
    plan.tmp = fs::canonical(options.tmp);
    if (!fs::is_empty(plan.tmp)) {
      throw std::invalid_argument("--tmp folder is not empty: " + options.tmp);
    }
    // As any /tmp: open to all, but nobody removes the files of others.
    if (::chmod(plan.tmp.c_str(), 01777) != 0) throw_errno("chmod", plan.tmp);
  }
  if (!options.calls.empty()) {
    open_file(options.calls, O_WRONLY | O_CREAT | O_APPEND, 0644);
    plan.calls = fs::canonical(options.calls);
  }
  if (!options.ssh_config.empty()) {
    plan.ssh_config = read_text(fs::canonical(options.ssh_config));
  }
  return plan;
}

void enter_namespace(bool openssh) {
  const uid_t uid = ::getuid();
  const gid_t gid = ::getgid();
  if (openssh) {
    if (::unshare(CLONE_NEWNS | CLONE_NEWNET) != 0)
      throw_errno("unshare", "(--openssh needs root)");
  } else if (::unshare(CLONE_NEWNS) != 0) {
    if (::unshare(CLONE_NEWNS | CLONE_NEWUSER) != 0) {
      throw_errno("unshare", "(the lab needs root, or user namespaces)");
    }
    // We are root in the new user namespace, and files of the user are root's there. The kernel
    // lets an unprivileged process map its group only after it gave up setgroups().
    write_text("/proc/self/setgroups", "deny");
    write_text("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    write_text("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
  }
  // The mounts may be shared with the machine: ours would show up there.
  if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    throw_errno("make mounts private below", "/");
  }
}

// Makes a new root and moves the machine's root to kMachine. The new root is mounted on /tmp,
// because every machine has that folder: nothing has to be made on its disk.
void change_root() {
  mount_tmpfs("/tmp", "mode=0755");
  fs::create_directories(std::string("/tmp") + kMachine);
  if (::chdir("/tmp") != 0) throw_errno("chdir", "/tmp");
  if (::syscall(SYS_pivot_root, ".", kMachine + 1) != 0) throw_errno("pivot_root", "/tmp");
  if (::chdir("/") != 0) throw_errno("chdir", "/");
}

// Not the whole root at once: /pkg and /tmp must be the lab's own, and /pkg may be missing.
void show_machine() {
  for (const fs::directory_entry& entry : fs::directory_iterator(kMachine)) {
    const fs::path target = "/" / entry.path().filename();
    if (target == "/tmp" || target == "/pkg") continue;
    if (entry.is_symlink()) {
      fs::create_symlink(fs::read_symlink(entry.path()), target);
    } else {
      make_mount_point(entry.path(), target);
      bind_mount(entry.path(), target);
    }
  }
}

void copy_tree_if_present(const fs::path& source, const fs::path& target) {
  if (fs::is_directory(source)) {
    fs::copy(source, target, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  }
}

// The mount points that were made in the folder given with --tmp. The caller keeps that folder, so
// they are removed from it at the end.
class MountPoints {
 public:
  MountPoints() = default;
  MountPoints(const MountPoints&) = delete;
  MountPoints& operator=(const MountPoints&) = delete;
  ~MountPoints() {
    for (const fs::path& point : points_) {
      if (::umount2(point.c_str(), MNT_DETACH) == 0) ::remove(point.c_str());
    }
  }
  void add(const fs::path& point) { points_.push_back(point); }

 private:
  std::vector<fs::path> points_;
};

void furnish_tmp(const Plan& plan, MountPoints& made) {
  fs::create_directory("/tmp");
  if (plan.tmp.empty()) {
    mount_tmpfs("/tmp", "mode=1777");
  } else {
    bind_mount(kMachine / plan.tmp.relative_path(), "/tmp");
  }
  for (const std::string& name : plan.kept_below_tmp) {
    const fs::path source = fs::path(kMachine) / "tmp" / name;
    const fs::path target = fs::path("/tmp") / name;
    make_mount_point(source, target);
    bind_mount(source, target);
    if (!plan.tmp.empty()) made.add(target);  // a tmpfs goes by itself
  }
  copy_tree_if_present(fs::path(kRouterFolder) / "tmp", "/tmp");
}

void furnish_pkg(const Plan& plan) {
  const auto bind_fixed = [](const fs::path& source, const fs::path& target) {
    const fs::path on_machine = kMachine / source.relative_path();
    make_mount_point(on_machine, target);
    bind_mount(on_machine, target);
  };
  bind_fixed(plan.router, kRouterFolder);
  bind_fixed(plan.program, kProgram);
  if (!plan.calls.empty()) bind_fixed(plan.calls, kCallFile);

  fs::create_directory(kToolFolder);
  for (const std::string_view tool : kRouterTools) {
    fs::create_symlink(kProgram, fs::path(kToolFolder) / tool);
  }
  // A node with an ssh server covers this file with its own; everywhere else it is empty.
  write_text(kNodeFile, "");
  fs::create_directory(kNodeArea);
  const fs::path nodes = fs::path(kRouterFolder) / "nodes";
  if (!fs::is_directory(nodes)) return;
  for (const fs::directory_entry& node : fs::directory_iterator(nodes)) {
    const fs::path tmp = kNodeArea / node.path().filename() / "tmp";
    fs::create_directories(tmp);
    copy_tree_if_present(node.path() / "tmp", tmp);
  }
}

// Without this, the command could reach the true /tmp through the old root.
void leave_machine() {
  if (::umount2(kMachine, MNT_DETACH) != 0) throw_errno("umount", kMachine);
  fs::remove(kMachine);
}

// Blocks the signals for which the lab waits with sigwaitinfo(): no handler is needed, and none
// comes between two steps. SIGCHLD gets its default action, because an ignored one is never sent.
//
// restore() gives the command the signal mask and the action that the lab itself was started with.
class BlockedSignals {
 public:
  BlockedSignals() {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    ::sigaction(SIGCHLD, &standard, &old_child_action_);
    ::sigemptyset(&set_);
    for (const int signal : {SIGINT, SIGTERM, SIGCHLD}) ::sigaddset(&set_, signal);
    ::sigprocmask(SIG_BLOCK, &set_, &old_mask_);
  }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals() { restore(); }

  void restore() const {
    ::sigaction(SIGCHLD, &old_child_action_, nullptr);
    ::sigprocmask(SIG_SETMASK, &old_mask_, nullptr);
  }

  siginfo_t wait() const {
    siginfo_t info{};
    while (::sigwaitinfo(&set_, &info) < 0 && errno == EINTR) {
    }
    return info;
  }

 private:
  sigset_t set_{};
  sigset_t old_mask_{};
  struct sigaction old_child_action_ {};
};

int wait_for(pid_t command, const BlockedSignals& signals) {
  for (;;) {
    const siginfo_t info = signals.wait();
    if (info.si_signo != SIGCHLD) {
      // A terminal sends its signals to the whole process group: the command has this one already.
      if (info.si_code != SI_KERNEL) ::kill(command, info.si_signo);
      continue;
    }
    // Several children may have ended for one SIGCHLD, orphans among them.
    int status = 0;
    pid_t ended = 0;
    while ((ended = ::waitpid(-1, &status, WNOHANG)) > 0) {
      if (ended == command) return exit_status_of(status);
    }
  }
}

// Kills what the command left running. This process is a subreaper: orphans become its children.
// The children of an orphan become ours only when the orphan has ended, so one round is not enough.
void kill_leftovers() {
  const std::string list = "/proc/self/task/" + std::to_string(::syscall(SYS_gettid)) + "/children";
  for (;;) {
    const std::vector<std::string> children = split_words(read_text(list));
    for (const std::string& pid : children) ::kill(std::atoi(pid.c_str()), SIGKILL);
    if (::waitpid(-1, nullptr, children.empty() ? WNOHANG : 0) <= 0) return;
  }
}

}  // namespace

int run_in_sandbox(const RunOptions& options) {
  const Plan plan = make_plan(options);
  enter_namespace(options.openssh);
  change_root();
  show_machine();
  furnish_pkg(plan);
  MountPoints mount_points;
  furnish_tmp(plan, mount_points);
  leave_machine();
  // The caller's folder may be hidden here, below /pkg for one.
  if (::chdir(plan.cwd.c_str()) != 0 && ::chdir("/") != 0) throw_errno("chdir", "/");

  // The checker calls ssh, scp and some tools without a folder.
  const char* path = std::getenv("PATH");
  const std::string tools_first = std::string(kToolFolder) + ":" + (path == nullptr ? "" : path);
  ::setenv("PATH", tools_first.c_str(), 1);
  write_text(kStartFile, std::to_string(monotonic_ns()));

  // What the command leaves running becomes ours, see kill_leftovers().
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  if (options.openssh) start_chassis(plan.ssh_config);
  const BlockedSignals signals;
  const pid_t command = start_process(options.command.front(), options.command, [&] {
    // A lab that is killed takes the command along.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    signals.restore();
  });
  const int status = wait_for(command, signals);
  kill_leftovers();
  return status;
}

}  // namespace zorbec::lab
