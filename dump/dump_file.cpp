#include "dump/dump_file.h"

#include "run/command_runner.h"

namespace zorbec {

void copy_from_node(const std::string& nodeip, std::string_view remote, const std::string& local) {
  execute("scp root@" + nodeip + ":" + std::string(remote) + " " + local);
}

JsonDocument parse_dump(const std::string& path) {
  try {
    return JsonDocument(read_file(path));
  } catch (const JsonError& error) {
    throw JsonError(path + ": " + error.what());
  }
}

}  // namespace zorbec
