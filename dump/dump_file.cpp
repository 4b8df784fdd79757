#include "dump/dump_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <new>

#include "run/command_runner.h"
#include "run/error.h"

namespace zorbec {

namespace {

void remove_unless_file(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode)) return;
  if (::unlink(path.c_str()) != 0) throw_errno("unlink", path);
}

}  // namespace

void copy_from_node(const std::string& nodeip, std::string_view remote, const std::string& local) {
  remove_unless_file(local);
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
