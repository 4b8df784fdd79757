#include "dump/pidb_dump.h"

#include <array>
#include <optional>
#include <string_view>

#include "dump/dump_file.h"
#include "keys/interface_truth.h"
#include "run/command_runner.h"
#include "run/files.h"
#include "run/observer.h"
#include "run/run_state.h"

namespace zorbec {
namespace {

// A dump file is /tmp/<name>.dat on the node, whose /tmp is its own, and /tmp/<name>_<node>.dat
// here.
struct DumpFile {
  std::string_view name;
  InterfaceClass intf_class;
  InterfaceTables RunState::*table;
};

constexpr std::array<DumpFile, 5> kFiles = {{
    {"pidb_physical", InterfaceClass::kPhysical, &RunState::pidb_physical_ifh},
    {"pidb_physical_subif", InterfaceClass::kPhysicalSubif, &RunState::pidb_physical_subifh},
    {"pidb_bundle", InterfaceClass::kBundle, &RunState::pidb_bundle_ifh},
    {"pidb_bundle_subif", InterfaceClass::kBundleSubif, &RunState::pidb_bundle_subifh},
    {"pidb_bvi_intf", InterfaceClass::kBvi, &RunState::pidb_bvi_ifh},
}};
constexpr DumpFile kGreFile = {"pidb_gre_intf", InterfaceClass::kGre, &RunState::pidb_gre_ifh};

void fetch(const DumpFile& file, const std::string& nodeip, const std::string& nodename) {
  tell([&] { return event::StepStarted{nodename, event::Step::kPidbFile, file.intf_class}; });
  const std::string stem = "/tmp/" + std::string(file.name);
  const std::string local = stem + "_" + nodename + ".dat";
  copy_from_node(nodeip, stem + ".dat", local);
  load_dump(run_state().*file.table, nodename, local, file.intf_class);
}

}  // namespace

void pidb_dump(const std::string& nodeip, const std::string& nodename, LogStream& /*dl_fd*/) {
  const auto tell_step = [&](event::Step step) {
    tell([&] { return event::StepStarted{nodename, step, std::nullopt}; });
  };
  tell_step(event::Step::kPidbTool);
  // The numbers of blanks in these commands differ, and are meant to.
  execute("ssh  -o 'StrictHostKeyChecking=no'  " + nodeip + " /pkg/bin/iftruth_dump -g");
  for (const DumpFile& file : kFiles) fetch(file, nodeip, nodename);

  tell_step(event::Step::kTunnels);
  const std::string show_runn = execute("confdump -c -l 1 -t 1 -o 1");
  const bool are_configured = show_runn.find("interface tunnel-ip") != std::string::npos;
  tell([&] { return event::TunnelsAsked{nodename, are_configured, show_runn.size()}; });
  if (are_configured) {
    // The redirection is the local shell's, so the tool's output lands in /tmp/log here, whatever
    // stands under that name.
    keep_for_ourselves("/tmp/log");
    execute("ssh  -o 'StrictHostKeyChecking=no' " + nodeip +
                " /pkg/bin/tunnel_db_print database >& /tmp/log",
            "pidb_" + nodename);
    fetch(kGreFile, nodeip, nodename);
  }
  tell_step(event::Step::kKeys);
  construct_pidb_truth_db(nodename);
}

}  // namespace zorbec
