#pragma once

#include <unistd.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "base/files.h"
#include "base/log_stream.h"
#include "base/mutex.h"
#include "context/machine.h"
#include "tables/dump_tables.h"
#include "tables/interface_class.h"
#include "tables/multicast_tables.h"
#include "tables/node_record.h"
#include "tables/tunnel_rifs.h"

namespace zorbec {

class Observer;
struct NodeTablePattern;  // a std::regex, whose header would slow down every source that includes
                          // this

// Everything that the runs of one process share. Created empty, filled by runs, never cleared
// between them: a later run adds to what an earlier one left.
//
// What is not guarded belongs to the main thread of the run.
struct RunState {
  explicit RunState(Machine works_on);

  // The table of one class, one of the six below.
  InterfaceTables& interfaces(InterfaceClass intf_class);
  const InterfaceTables& interfaces(InterfaceClass intf_class) const;

  NodeTable<PmdbTable> pmdb_keys;

  InterfaceTables pidb_physical_ifh;
  InterfaceTables pidb_physical_subifh;
  InterfaceTables pidb_bundle_ifh;
  InterfaceTables pidb_bundle_subifh;
  InterfaceTables pidb_gre_ifh;
  InterfaceTables pidb_bvi_ifh;

  NodeInfo nodeinfo;
  NodeRecordPtr activenodeinfo;   // the record that `nodeinfo` holds, or held in an earlier run
  NodeRecordPtr standbynodeinfo;  // likewise
  std::optional<std::string> nodename;  // of the node table line last handled
  int activenode_cnt = 0;
  int standbynode_cnt = 0;
  int vmcnt = 0;

  MulticastTable mribkeys;       // routing entries of the route processors
  MulticastTable mcastpmdbkeys;  // what each node's hardware holds for the tunnel RIFs
  MulticastTable mplsmdtbudobj;  // bud objects of the line cards
  TunnelRifs rifs;
  int is_mdtbudobj = 0;  // kept for the bud object check; nothing uses it

  std::atomic<int> router{0};  // model code; 0 until probed
  // Set by hosts that know the scale mode: the platform is not asked then. A run leaves it empty.
  std::optional<int> known_scale_mode;

  SharedSlot<UniqueFd> db_file;  // what commands write on standard error goes here
  SharedSlot<LogStream> dl_fd;   // the log that the driver opened last

  // The layout of a node table line, for those who want to know it; the inventory splits lines at
  // blanks instead.
  std::shared_ptr<const NodeTablePattern> sh_plat_vm_regex;

  // What the run works on. May be used from any thread.
  const Machine machine;
  CommandRunner& commands() const { return *machine.commands; }
  RunFiles& files() const { return *machine.files; }

  OutputStream standard_output{STDOUT_FILENO, "standard output"};

  // Who watches; belongs to whoever set it, before a run.
  Observer* observer = nullptr;
};

// The state that is up. Must be.
RunState& run_state();

// Creates a fresh state that works on this machine or another, which then is the one that is up.
// None must be.
void bring_up_run_state(Machine machine);
// Ends the state. No run may be using it.
void shut_down_run_state();
bool run_state_is_up();

}  // namespace zorbec
