#include "lab/login.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "lab/effects.h"
#include "lab/layout.h"
#include "lab/mounts.h"
#include "lab/openssh.h"
#include "lab/posix.h"
#include "lab/process.h"

namespace zorbec::lab {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void become_shell(const std::string& command) {
  ::execl("/bin/bash", "bash", "-c", command.c_str(), nullptr);
  throw_errno("execute", "/bin/bash");
}

// Gives this login a /tmp of its own in which every file holds rubbish. It is a mount in a
// namespace of this login, so the node's true files stay as they are and other logins see them.
void fill_tmp_with_rubbish(const std::string& node) {
  if (::unshare(CLONE_NEWNS) != 0) throw_errno("unshare", "mounts of a login");
  mount_tmpfs("/tmp", "mode=1777");
  for (const fs::directory_entry& entry :
       fs::directory_iterator(std::string(kNodeArea) + "/" + node + "/tmp")) {
    if (entry.is_regular_file()) write_text("/tmp" / entry.path().filename(), kRubbishText);
  }
}

// Serves a copy until `bytes` bytes have gone to the client, then sends the signal to the process
// of the ssh server that serves this login: the client's connection ends, or stalls, there.
//
// The answers of the sftp server go through a pipe, because only here can they be counted. What the
// client asks reaches the sftp server directly, on the standard input that it inherits.
int serve_copy_until(std::uint64_t bytes, int signal) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw_errno("pipe", "for the copy");
  const UniqueFd served(ends[0]);
  UniqueFd server_end(ends[1]);
  const pid_t server =
      start_process(kSftpServer, {kSftpServer}, [&] { ::dup2(ends[1], STDOUT_FILENO); });
  // With our copy of this end open, the end of the sftp server would not end the reading.
  server_end = UniqueFd();
  std::array<char, 4096> part;
  for (;;) {
    const ssize_t got = ::read(served.get(), part.data(), part.size());
    if (got < 0 && errno == EINTR) continue;
    // The copy was shorter than the damage: it has been served whole.
    if (got <= 0) return exit_status_of(wait_for_end(server));
    const auto length = std::min(static_cast<std::uint64_t>(got), bytes);
    write_all(STDOUT_FILENO, {part.data(), length});
    bytes -= length;
    if (bytes == 0) {
      // That process is our parent: the login shell between has replaced itself by this program.
      ::kill(::getppid(), signal);
      for (;;) ::pause();  // until the node ends, and kills this process
    }
  }
}

}  // namespace

int run_login() {
  const std::string node = own_node();
  const char* asked = std::getenv("SSH_ORIGINAL_COMMAND");
  const std::string command = asked == nullptr ? "" : asked;
  // scp asks for the sftp subsystem, for which the server's configuration names this program.
  const bool is_copy = command == kSftpServer;
  const std::string tool = is_copy ? "scp" : "ssh";
  const std::optional<Damage> damage = suffer_damage(node, tool);
  if (const std::optional<int> status = status_of_hindered(node, tool, damage)) return *status;
  if (!damage) become_shell(command);
  switch (damage->kind) {
    case DamageKind::kRubbish:
      if (!is_copy) {
        write_all(STDOUT_FILENO, kRubbishText);
        return 0;
      }
      fill_tmp_with_rubbish(node);
      break;
    case DamageKind::kCut:
      return serve_copy_until(static_cast<std::uint64_t>(damage->argument), SIGKILL);
    case DamageKind::kStall:
      return serve_copy_until(static_cast<std::uint64_t>(damage->argument), SIGSTOP);
    // The status of these is returned above.
    case DamageKind::kRefuse:
    case DamageKind::kNone:
    case DamageKind::kAbsent:
    case DamageKind::kExit:
    // A delay is over by now.
    case DamageKind::kLate:
    // These hit neither ssh nor scp.
    case DamageKind::kHalf:
    case DamageKind::kEmpty:
    case DamageKind::kDown:
    case DamageKind::kHang:
    case DamageKind::kDeny:
    case DamageKind::kOtherKey:
    case DamageKind::kBanner:
    case DamageKind::kChatty:
    case DamageKind::kFull:
      break;
  }
  become_shell(command);
}

}  // namespace zorbec::lab
