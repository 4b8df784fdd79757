#include "lab/chassis.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "lab/effects.h"
#include "lab/layout.h"
#include "lab/mounts.h"
#include "lab/posix.h"
#include "lab/process.h"
#include "lab/tool_names.h"

namespace zorbec::lab {
namespace {

namespace fs = std::filesystem;

constexpr char kSshd[] = "/usr/sbin/sshd";
constexpr char kKeygen[] = "/usr/bin/ssh-keygen";

// The longest time that a server may take until it listens. It takes milliseconds.
constexpr std::chrono::seconds kPatience{20};

const std::string kFolder = kSshFolder;

// Nothing depends on the machine: there is no PAM, no look-up of host names and no check of who
// owns the lab's files. MaxStartups: the checker may open many connections at the same time, and by
// default sshd drops some of them.
constexpr char kServerConfig[] = R"(AddressFamily inet
KbdInteractiveAuthentication no
LogLevel ERROR
MaxStartups 1000
PasswordAuthentication no
PermitRootLogin yes
PrintLastLog no
StrictModes no
UseDNS no
UsePAM no
)";

// The user's own keys, agent and known hosts stay out. The checker passes no option about host keys
// to scp, so the host keys of all nodes are known from the start.
constexpr char kClientConfig[] = R"(
Host *
  BatchMode yes
  ConnectTimeout 20
  IdentitiesOnly yes
  IdentityAgent none
  IdentityFile /etc/ssh/user_key
  UserKnownHostsFile none
)";

// What damage.txt orders for the server of a node and for the node's /tmp.
struct ServerDamage {
  bool is_down = false;
  bool hangs = false;
  bool denies_key = false;
  bool shows_other_key = false;
  bool has_banner = false;
  bool is_chatty = false;
  std::optional<int> tmp_kibibytes;
};

struct Server {
  std::string address;
  fs::path folder;
  ServerDamage damage;
  pid_t pid = 0;
};

std::vector<std::string> node_addresses(const fs::path& router) {
  std::vector<std::string> addresses;
  if (!fs::is_directory(router / "nodes")) return addresses;
  for (const fs::directory_entry& node : fs::directory_iterator(router / "nodes")) {
    addresses.push_back(node.path().filename());
  }
  std::sort(addresses.begin(), addresses.end());
  return addresses;
}

ServerDamage damage_of(const std::string& address) {
  ServerDamage result;
  for (const char* what : {"sshd", "tmp"}) {
    for (const Damage& damage : damages_at(address, what)) {
      switch (damage.kind) {
        case DamageKind::kDown:
          result.is_down = true;
          break;
        case DamageKind::kHang:
          result.hangs = true;
          break;
        case DamageKind::kDeny:
          result.denies_key = true;
          break;
        case DamageKind::kOtherKey:
          result.shows_other_key = true;
          break;
        case DamageKind::kBanner:
          result.has_banner = true;
          break;
        case DamageKind::kChatty:
          result.is_chatty = true;
          break;
        case DamageKind::kFull:
          result.tmp_kibibytes = damage.argument;
          break;
        // These hit neither the server nor /tmp.
        case DamageKind::kRefuse:
        case DamageKind::kLate:
        case DamageKind::kRubbish:
        case DamageKind::kNone:
        case DamageKind::kHalf:
        case DamageKind::kEmpty:
        case DamageKind::kAbsent:
        case DamageKind::kExit:
        case DamageKind::kCut:
        case DamageKind::kStall:
          break;
      }
    }
  }
  return result;
}

// The loopback interface of the network namespace. In a new namespace it is down.
class Loopback {
 public:
  Loopback() : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    if (!socket_) throw_errno("socket", "for the loopback interface");
    ifreq request = named("lo");
    call(SIOCGIFFLAGS, request);
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
    call(SIOCSIFFLAGS, request);
  }

  // Not for 127.0.0.0/8: all of it is there already.
  //
  // Each address gets an alias ("lo:0", "lo:1", ...), because to set an address of an interface
  // replaces the one that it had. The mask covers this address alone: with a wider one the
  // neighbours would be local, too, and an address without a node would refuse connections in place
  // of being unreachable.
  void add(in_addr address) {
    const std::string name = "lo:" + std::to_string(added_++);
    set(name, SIOCSIFADDR, address);
    set(name, SIOCSIFNETMASK, {INADDR_NONE});
  }

 private:
  static ifreq named(const std::string& name) {
    ifreq request{};
    name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    return request;
  }

  void call(unsigned long what, ifreq& request) const {
    if (::ioctl(socket_.get(), what, &request) != 0) throw_errno("ioctl", request.ifr_name);
  }

  void set(const std::string& name, unsigned long what, in_addr address) const {
    ifreq request = named(name);
    sockaddr_in wanted{};
    wanted.sin_family = AF_INET;
    wanted.sin_addr = address;
    std::memcpy(&request.ifr_addr, &wanted, sizeof wanted);
    call(what, request);
  }

  UniqueFd socket_;
  int added_ = 0;
};

void add_addresses(const std::vector<std::string>& addresses) {
  Loopback loopback;
  for (const std::string& text : addresses) {
    in_addr address{};
    ::inet_pton(AF_INET, text.c_str(), &address);
    if (ntohl(address.s_addr) >> 24 != IN_LOOPBACKNET) loopback.add(address);
  }
}

void make_key(const std::string& file) {
  const std::vector<std::string> argv = {"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", file};
  const pid_t pid = start_process(kKeygen, argv, [] {});
  if (wait_for_end(pid) != 0) throw std::runtime_error("ssh-keygen made no " + file);
}

// The files that all nodes and the client share. Keys are made anew for each lab: none is kept on
// the machine's disk.
void make_shared_files(std::string_view ssh_config) {
  const fs::path folder = kFolder;
  for (const char* name : {"bin", "client", "etc", "none", "run/sshd"}) {
    fs::create_directories(folder / name);
  }
  // sshd does not start if others can write there, which our umask may allow.
  ::chmod((folder / "run/sshd").c_str(), 0755);
  for (const char* name : {"client/user_key", "host_key", "other_host_key"}) {
    make_key(folder / name);
  }
  write_text(folder / "sshd_config", kServerConfig);
  write_text(folder / "banner", "Authorised access only\n");
  write_text(folder / "etc/passwd",
             "root:*:0:0:root:/root:/bin/bash\n"
             "sshd:*:100:65534::/run/sshd:/usr/sbin/nologin\n");
  write_text(folder / "etc/group", "root:x:0:\nnogroup:x:65534:\n");
  write_text(folder / "client/ssh_config", std::string(ssh_config) + kClientConfig);
  // One key for all nodes, so that the pattern * is enough.
  write_text(folder / "client/ssh_known_hosts", "* " + read_text(folder / "host_key.pub"));
  // From a node no other node can be reached.
  for (const std::string_view tool : kRouterTools) {
    if (tool != "ssh" && tool != "scp") fs::create_symlink(kProgram, folder / "bin" / tool);
  }
  fs::create_symlink(kProgram, kLoginProgram);
}

// The checker's commands stay as they are, without an option that names a configuration. So the
// lab's files stand where ssh and scp look for the machine's. Root's own ~/.ssh is hidden: what the
// user has there must change nothing.
void show_client_files() {
  bind_mount(kFolder + "/client", "/etc/ssh");
  if (fs::is_directory("/root/.ssh")) bind_mount(kFolder + "/none", "/root/.ssh");
}

void make_node_files(const Server& server) {
  fs::create_directories(server.folder / "root");
  write_text(server.folder / "address", server.address);
  if (server.damage.is_chatty) {
    // bash reads it before each command of a login, although it is not interactive.
    write_text(server.folder / "root/.bashrc", "echo Welcome to this card\n");
  }
  if (server.damage.tmp_kibibytes) {
    // A size of 0 would mean no limit.
    const int size = std::max(*server.damage.tmp_kibibytes, 4);
    mount_tmpfs(server.folder / "tmp", "mode=1777,size=" + std::to_string(size) + "k");
  }
}

// Runs in the node's own namespaces, in the process that becomes the server. Whatever is not
// mounted here, the node shares with the route processor.
void furnish_node(const Server& server) {
  // The server is the first process of its process namespace: the kernel kills all others with it.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  // The lab may have been started with SIGCHLD ignored, which a program inherits.
  std::signal(SIGCHLD, SIG_DFL);
  const UniqueFd log = open_file(server.folder / "sshd.log", O_WRONLY | O_CREAT | O_APPEND, 0644);
  const UniqueFd null = open_file("/dev/null", O_RDWR);
  ::dup2(null.get(), STDIN_FILENO);
  ::dup2(null.get(), STDOUT_FILENO);
  ::dup2(log.get(), STDERR_FILENO);

  bind_mount(server.folder / "address", kNodeFile);
  bind_mount(server.folder / "tmp", "/tmp");
  bind_mount(server.folder / "root", "/root");
  bind_mount(kFolder + "/bin", kToolFolder);
  bind_mount(kFolder + "/etc", "/etc");
  bind_mount(kFolder + "/run", "/run");
  // The /proc of the sandbox shows the processes of another namespace.
  if (::mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0) {
    throw_errno("mount proc on", "/proc");
  }
  const fs::path uptime = fs::path(kRouterFolder) / "nodes" / server.address / "uptime";
  bind_mount(fs::exists(uptime) ? uptime : "/dev/null", "/proc/uptime");
}

void start_server(Server& server) {
  const ServerDamage& damage = server.damage;
  // -D: sshd stays the process that is started here. -e: it logs to standard error, the log file.
  std::vector<std::string> argv = {kSshd, "-D", "-e", "-f", kFolder + "/sshd_config"};
  const auto set = [&](const std::string& option) {
    argv.emplace_back("-o");
    argv.push_back(option);
  };
  set("ListenAddress=" + server.address);
  set("PidFile=" + (server.folder / "sshd.pid").string());
  // The client knows host_key only.
  set("HostKey=" + kFolder + (damage.shows_other_key ? "/other_host_key" : "/host_key"));
  set("AuthorizedKeysFile=" + (damage.denies_key ? "none" : kFolder + "/client/user_key.pub"));
  set(std::string("Subsystem=sftp ") + kSftpServer);
  if (damage.has_banner) set("Banner=" + kFolder + "/banner");
  // A damaged node decides about each login itself (login.cpp); the others run what is asked for.
  if (!damages_at(server.address, "ssh").empty() || !damages_at(server.address, "scp").empty()) {
    set(std::string("ForceCommand=") + kLoginProgram);
  }
  server.pid = start_process(
      kSshd, argv, [&] { furnish_node(server); }, CLONE_NEWNS | CLONE_NEWPID);
}

// sshd writes the file with its process id when it listens.
void wait_until_listening(const Server& server) {
  const auto give_up = std::chrono::steady_clock::now() + kPatience;
  while (read_text(server.folder / "sshd.pid").empty()) {
    if (::waitpid(server.pid, nullptr, WNOHANG) != 0 ||
        std::chrono::steady_clock::now() > give_up) {
      throw std::runtime_error("the ssh server of " + server.address +
                               " does not listen: " + read_text(server.folder / "sshd.log"));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  // The kernel goes on to accept connections for a stopped server; nobody answers on them.
  if (server.damage.hangs) ::kill(server.pid, SIGSTOP);
}

}  // namespace

void check_chassis(const std::string& router) {
  if (::geteuid() != 0) throw std::invalid_argument("--openssh needs root");
  for (const char* program : {kSshd, kSftpServer, "/usr/bin/ssh", "/usr/bin/scp", kKeygen}) {
    if (::access(program, X_OK) != 0) {
      throw std::invalid_argument(std::string("--openssh needs ") + program);
    }
  }
  for (const std::string& address : node_addresses(router)) {
    in_addr ignored{};
    if (::inet_pton(AF_INET, address.c_str(), &ignored) != 1) {
      throw std::invalid_argument("--openssh: no IPv4 address: " + address);
    }
  }
}

void start_chassis(std::string_view ssh_config) {
  const std::vector<std::string> addresses = node_addresses(kRouterFolder);
  add_addresses(addresses);
  make_shared_files(ssh_config);
  show_client_files();
  std::vector<Server> servers;
  for (const std::string& address : addresses) {
    Server server{address, fs::path(kNodeArea) / address, damage_of(address)};
    make_node_files(server);
    if (server.damage.is_down) continue;
    start_server(server);
    servers.push_back(server);
  }
  // Only now: the servers start side by side.
  for (const Server& server : servers) wait_until_listening(server);
}

}  // namespace zorbec::lab
