#include "dump/pidb_dump.h"

#include <optional>
#include <string_view>

#include "context/execute.h"
#include "context/observer.h"
#include "context/run_state.h"
#include "context/tell.h"
#include "dump/dump_file.h"
#include "keys/interface_truth.h"

namespace zorbec {
namespace {

void fetch(InterfaceClass intf_class, const std::string& nodeip, const std::string& nodename) {
  tell([&] { return event::StepStarted{nodename, event::Step::kPidbFile, intf_class}; });
  const std::string stem = "/tmp/" + std::string(kInterfaceClassTable[intf_class].dump);
  const std::string local = stem + "_" + nodename + ".dat";
  copy_from_node(nodeip, stem + ".dat", local);
  load_dump(run_state().interfaces(intf_class), nodename, local, intf_class);
}

void fetch_all(DumpedBy tool, const std::string& nodeip, const std::string& nodename) {
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    if (kInterfaceClassTable[intf_class].dumped_by == tool) fetch(intf_class, nodeip, nodename);
  }
}

}  // namespace

void pidb_dump(const std::string& nodeip, const std::string& nodename, LogStream& /*dl_fd*/) {
  const auto tell_step = [&](event::Step step) {
    tell([&] { return event::StepStarted{nodename, step, std::nullopt}; });
  };
  tell_step(event::Step::kPidbTool);
  // The numbers of blanks in these commands differ on purpose: they are part of the interface.
  execute("ssh  -o 'StrictHostKeyChecking=no'  " + nodeip + " /pkg/bin/iftruth_dump -g", "0",
          nodeip);
  fetch_all(DumpedBy::kPidbTool, nodeip, nodename);

  tell_step(event::Step::kTunnels);
  const std::string show_runn = execute("confdump -c -l 1 -t 1 -o 1");
  const bool are_configured = show_runn.find("interface tunnel-ip") != std::string::npos;
  tell([&] { return event::TunnelsAsked{nodename, are_configured, show_runn.size()}; });
  if (are_configured) {
    // The local shell does this redirection, so the tool's output goes to /tmp/log on this machine.
    // Without the call below, the shell would follow a link that somebody has put there.
    run_state().files().keep_for_ourselves("/tmp/log");
    execute("ssh  -o 'StrictHostKeyChecking=no' " + nodeip +
                " /pkg/bin/tunnel_db_print database >& /tmp/log",
            "pidb_" + nodename, nodeip);
    fetch_all(DumpedBy::kTunnelTool, nodeip, nodename);
  }
  tell_step(event::Step::kKeys);
  construct_pidb_truth_db(nodename);
}

}  // namespace zorbec
