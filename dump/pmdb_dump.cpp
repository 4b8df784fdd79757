#include "dump/pmdb_dump.h"

#include <optional>

#include "context/execute.h"
#include "context/observer.h"
#include "context/run_state.h"
#include "context/tell.h"
#include "dump/dump_file.h"

namespace zorbec {

void pmdb_dump(const std::string& nodeip, const std::string& nodename, LogStream& /*dl_fd*/) {
  if (nodeip == kNone) return;
  tell([&] { return event::StepStarted{nodename, event::Step::kPmdb, std::nullopt}; });
  execute("ssh  -o 'StrictHostKeyChecking=no' " + nodeip + " /pkg/bin/hwkey_dump -g",
          "pmdb_" + nodename, nodeip);
  const std::string local = "/tmp/pmdb_" + nodename + ".dat";
  copy_from_node(nodeip, "/tmp/pmdb.dat", local);
  load_dump(run_state().pmdb_keys, nodename, local);
}

}  // namespace zorbec
