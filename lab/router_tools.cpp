#include "lab/router_tools.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>

#include "lab/effects.h"
#include "lab/layout.h"
#include "lab/openssh.h"
#include "lab/posix.h"
#include "lab/tool_names.h"
#include "lab/words.h"

namespace zorbec::lab {
namespace {

constexpr int kWrongArguments = 2;
constexpr std::uint64_t kWholeFile = std::numeric_limits<std::int64_t>::max();

// One way to call a tool. A `*` among the arguments stands for any word, a `*` in the answer for
// that same word.
struct Call {
  std::string_view tool;
  std::string_view arguments;
  bool of_node;             // the answer is a file in the node's folder, not in the router's
  std::string_view answer;  // that file, printed on standard output
  bool writes_dumps = false;
};

constexpr Call kCalls[] = {
    {"relinfo_print", "", false, "banner.txt"},
    {"nodemap_query", "-v", false, "nodemap.txt"},
    {"confdump", "-c -l 1 -t 1 -o 1", false, "config.txt"},
    {"confdump", "-c -q gl/early/hw-module/profile/bundle-scale/", false, "bundle-scale.txt"},
    {"ifmgr_print", "database -i * -l 0x2", false, "ifmgr/*"},
    {"iftruth_dump", "-g", true, "out/iftruth_dump", true},
    {"tunnel_db_print", "database", true, "out/tunnel_db_print", true},
    {"hwkey_dump", "-g", true, "out/hwkey_dump", true},
    {"hwkey_dump", "-r *", true, "rifs/*"},
    {"mcroute_print", "-cmd 0x9", true, "out/mcroute_print"},
    {"fwdobj_print", "-t 0xbe -l 0 -o b", true, "out/fwdobj_print"},
    {"cat", "/proc/uptime", true, "uptime"},
};

// Where a tool runs: on a node, or on the route processor itself.
struct Place {
  std::string name = "local";  // the node's address
  std::string folder;          // "nodes/ADDRESS" of the router; empty on the route processor
  std::string tmp;             // the folder that is the node's /tmp; empty on the route processor
};

// What a caller names must not lead out of the folder in which it is looked up.
bool is_plain_name(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

std::string_view base_name(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

std::optional<Place> find_node(const std::string& address) {
  if (!is_plain_name(address)) return std::nullopt;
  Place place{address, std::string(kRouterFolder) + "/nodes/" + address,
              std::string(kNodeArea) + "/" + address + "/tmp"};
  struct stat status {};
  if (::stat(place.folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return std::nullopt;
  return place;
}

// Nothing if `arguments` are not those of the call. Otherwise the word that stands for the `*`, or
// an empty text if the call has none.
std::optional<std::string> match(const Call& call, const std::vector<std::string>& arguments) {
  const std::vector<std::string> wanted = split_words(call.arguments);
  if (wanted.size() != arguments.size()) return std::nullopt;
  std::string word;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    if (wanted[i] == "*") {
      word = arguments[i];
    } else if (wanted[i] != arguments[i]) {
      return std::nullopt;
    }
  }
  return word;
}

void print_answer(const Place& place, const Call& call, const std::string& word) {
  if (call.of_node && place.folder.empty()) return;
  std::string path = (call.of_node ? place.folder : kRouterFolder) + "/" + std::string(call.answer);
  if (path.back() == '*') {
    if (!is_plain_name(word)) return;
    path.replace(path.size() - 1, 1, word);
  }
  const UniqueFd answer = open_if_present(path);
  if (answer) copy_bytes(answer.get(), STDOUT_FILENO, kWholeFile);
}

// Writes a dump file to the node's /tmp. Damages of the file apply one after the other: two halves
// make a quarter.
void write_dump(const Place& place, const std::string& name, bool rubbish) {
  const UniqueFd source = open_if_present(place.folder + "/dumps/" + name);
  if (!source) return;
  std::uint64_t length = rubbish ? kRubbishText.size() : size_of(source.get());
  for (const Damage& damage : damages_at(place.name, name)) {
    switch (damage.kind) {
      case DamageKind::kNone:
        return;
      case DamageKind::kRubbish:
        rubbish = true;
        length = kRubbishText.size();
        break;
      case DamageKind::kHalf:
        length /= 2;
        break;
      case DamageKind::kEmpty:
        length = 0;
        break;
      // These hit no dump file.
      case DamageKind::kRefuse:
      case DamageKind::kLate:
      case DamageKind::kAbsent:
      case DamageKind::kExit:
      case DamageKind::kDown:
      case DamageKind::kHang:
      case DamageKind::kDeny:
      case DamageKind::kOtherKey:
      case DamageKind::kBanner:
      case DamageKind::kChatty:
      case DamageKind::kCut:
      case DamageKind::kStall:
      case DamageKind::kFull:
        break;
    }
  }
  const UniqueFd target = open_file(place.tmp + "/" + name, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (rubbish) {
    write_all(target.get(), kRubbishText.substr(0, length));
  } else {
    copy_bytes(source.get(), target.get(), length);
  }
}

void write_dumps(const Place& place, std::string_view tool, bool rubbish) {
  for (const DumpOfTool& file : kDumpsOfTools) {
    if (file.tool == tool) write_dump(place, std::string(file.name), rubbish);
  }
}

void report_usage(std::string_view tool) {
  std::string usage = "usage:";
  for (const Call& call : kCalls) {
    if (call.tool != tool) continue;
    if (usage.back() != ':') usage += " |";
    usage.append(" ").append(tool).append(" ").append(call.arguments);
  }
  report(usage);
}

int run_at(const Place& place, const std::vector<std::string>& words) {
  const std::string_view tool = base_name(words.front());
  const std::optional<Damage> damage = suffer_damage(place.name, tool);
  if (damage) {
    if (const std::optional<int> status = status_without_answer(*damage, tool)) return *status;
  }
  const bool rubbish = damage && damage->kind == DamageKind::kRubbish;
  const std::vector<std::string> arguments(words.begin() + 1, words.end());
  for (const Call& call : kCalls) {
    if (call.tool != tool) continue;
    const std::optional<std::string> word = match(call, arguments);
    if (!word) continue;
    if (call.writes_dumps && !place.folder.empty()) write_dumps(place, tool, rubbish);
    if (rubbish) {
      write_all(STDOUT_FILENO, kRubbishText);
    } else {
      print_answer(place, call, *word);
    }
    return 0;
  }
  report_usage(tool);
  return kWrongArguments;
}

// True if a node's shell finds a tool under this name.
bool is_on_node(const std::string& command) {
  if (command == "cat" || command == "/bin/cat" || command == "/usr/bin/cat") return true;
  const std::string_view tool = base_name(command);
  if (!is_router_tool(tool) || tool == "ssh" || tool == "scp") return false;
  return command == tool || command == std::string(kToolFolder) + "/" + std::string(tool);
}

// The index of the first argument after `-o OPTION` and `-oOPTION`. The options are ignored: a
// simulated node asks for no login.
std::size_t skip_options(const std::vector<std::string>& argv) {
  std::size_t next = 1;
  while (next < argv.size() && argv[next].rfind("-o", 0) == 0) next += argv[next] == "-o" ? 2 : 1;
  return next;
}

// The node with this [USER@]ADDRESS. Prints an error line and returns nothing if there is none.
std::optional<Place> reach(const std::string& destination) {
  const std::string address = destination.substr(destination.rfind('@') + 1);
  std::optional<Place> place = find_node(address);
  if (!place) report("ssh: connect to host " + address + " port 22: No route to host");
  return place;
}

int run_ssh(const std::vector<std::string>& argv) {
  std::size_t next = skip_options(argv);
  if (next + 1 >= argv.size() || argv[next].rfind('-', 0) == 0) {
    report("usage: ssh [-o OPTION]... ADDRESS TOOL [ARGUMENT]...");
    return kWrongArguments;
  }
  const std::optional<Place> place = reach(argv[next++]);
  if (!place) return kTransportFailed;
  const std::optional<Damage> damage = suffer_damage(place->name, "ssh");
  if (const std::optional<int> status = status_of_hindered(place->name, "ssh", damage))
    return *status;
  if (damage) {
    write_all(STDOUT_FILENO, kRubbishText);
    return 0;
  }
  // As ssh does: the arguments are joined, and the node's shell splits them anew.
  std::string line;
  for (; next < argv.size(); ++next) line += argv[next] + " ";
  const std::vector<std::string> words = split_words(line);
  if (words.empty()) return 0;
  if (!is_on_node(words.front())) {
    report("bash: " + words.front() + ": command not found");
    return kNotFound;
  }
  return run_at(*place, words);
}

// The file that holds what the node has at `path`; empty if the path is not directly in /tmp, the
// only folder that a simulated node has.
std::string path_on_node(const Place& place, const std::string& path) {
  constexpr std::string_view kTmp = "/tmp/";
  if (path.rfind(kTmp, 0) != 0 || !is_plain_name(path.substr(kTmp.size()))) return {};
  return place.tmp + "/" + path.substr(kTmp.size());
}

int run_scp(const std::vector<std::string>& argv) {
  const std::size_t next = skip_options(argv);
  const std::size_t colon = next < argv.size() ? argv[next].find(':') : std::string::npos;
  if (next + 2 != argv.size() || colon == std::string::npos) {
    report("usage: scp [-o OPTION]... [USER@]ADDRESS:PATH LOCAL");
    return kWrongArguments;
  }
  const std::string path = argv[next].substr(colon + 1);
  std::string local = argv[next + 1];
  const std::optional<Place> place = reach(argv[next].substr(0, colon));
  if (!place) return kTransportFailed;
  const std::optional<Damage> damage = suffer_damage(place->name, "scp");
  if (const std::optional<int> status = status_of_hindered(place->name, "scp", damage))
    return *status;

  const std::string remote = path_on_node(*place, path);
  const UniqueFd source = remote.empty() ? UniqueFd() : open_if_present(remote);
  if (!source) {
    report("scp: " + path + ": No such file or directory");
    return 1;
  }
  struct stat status {};
  if (::stat(local.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    local.append("/").append(base_name(path));
  }
  const UniqueFd target(::open(local.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  if (!target) {
    report("scp: " + local + ": " + std::strerror(errno));
    return 1;
  }
  if (damage) {
    write_all(target.get(), kRubbishText);
  } else {
    copy_bytes(source.get(), target.get(), kWholeFile);
  }
  return 0;
}

}  // namespace

int run_router_tool(const std::vector<std::string>& argv) {
  const std::string_view tool = base_name(argv.front());
  // A node of its own (with OpenSSH) has neither ssh nor scp: what runs there is a tool.
  if (const std::string node = own_node(); !node.empty()) return run_at(*find_node(node), argv);
  if ((tool == "ssh" || tool == "scp") && has_openssh()) return run_openssh(argv);
  if (tool == "ssh") return run_ssh(argv);
  if (tool == "scp") return run_scp(argv);
  return run_at(Place(), argv);
}

}  // namespace zorbec::lab
