#include "dump/dump_file.h"

#include <new>

#include "run/command_runner.h"
#include "run/error.h"

namespace zorbec {

void copy_from_node(const std::string& nodeip, std::string_view remote, const std::string& local) {
  remove_what_is_not_ours(local);
  execute("scp root@" + nodeip + ":" + std::string(remote) + " " + local);
}

JsonDocument parse_dump(const std::string& path) {
  try {
    return JsonDocument(read_file(path, JsonDocument::kMostBytes));
  } catch (const JsonError& error) {
    throw JsonError(path + ": " + error.what(), error.is_truncated());
  } catch (const std::bad_alloc&) {
    throw CheckError(path + ": not memory enough to load it");
  }
}

}  // namespace zorbec
