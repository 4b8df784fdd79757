#include "dump/dump_task.h"

#include "dump/pidb_dump.h"
#include "dump/pmdb_dump.h"

namespace zorbec {

void dump_task(const std::string& nodename, const NodeRecord& node_info, LogStream& dl_fd) {
  if (required(node_info.pidb_dump, "pidb_dump") != 0) {
    pidb_dump(required(node_info.nodeip, "nodeip"), nodename, dl_fd);
  }
  if (required(node_info.pmdb_dump, "pmdb_dump") != 0) {
    pmdb_dump(required(node_info.nodeip, "nodeip"), nodename, dl_fd);
  }
}

}  // namespace zorbec
