#include "dump/dump_file.h"

#include <new>

#include "base/error.h"
#include "context/execute.h"
#include "context/run_state.h"
#include "json/load.h"

namespace zorbec {

void copy_from_node(const std::string& nodeip, std::string_view remote, const std::string& local) {
  run_state().files().remove_what_is_not_ours(local);
  execute("scp root@" + nodeip + ":" + std::string(remote) + " " + local, "0", nodeip);
}

JsonDocument parse_dump(const std::string& path) {
  try {
    return load_json(run_state().files().read(path, kMostJsonBytes));
  } catch (const JsonError& error) {
    throw JsonError(path + ": " + error.what(), error.is_truncated());
  } catch (const std::bad_alloc&) {
    throw CheckError(path + ": not memory enough to load it");
  }
}

}  // namespace zorbec
