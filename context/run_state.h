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
// Not included: <regex> would make every source that includes this file slow to compile.
struct NodeTablePattern;

// Everything that the runs of one process share. It is created empty and filled by runs. It is not
// cleared between runs: a later run adds to what an earlier one has left.
//
// The tables, `rifs`, the slots, `router`, `machine` and `standard_output` may be used from any
// thread. All other members are written only by the main thread of the run, while no worker runs.
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
  NodeRecordPtr activenodeinfo;         // a record of `nodeinfo`, or of an earlier run's `nodeinfo`
  NodeRecordPtr standbynodeinfo;        // likewise
  std::optional<std::string> nodename;  // from the line of the node table that was read last
  int activenode_cnt = 0;
  int standbynode_cnt = 0;
  int vmcnt = 0;

  MulticastTable mribkeys;       // routing entries of the route processors
  MulticastTable mcastpmdbkeys;  // entries of each node's hardware for the tunnel RIFs
  MulticastTable mplsmdtbudobj;  // bud objects of the line cards
  TunnelRifs rifs;
  int is_mdtbudobj = 0;  // part of the state, but not used

  std::atomic<int> router{0};  // model code; 0: not known yet
  // Set by hosts that know the scale mode: the platform is not asked. A run does not set it.
  std::optional<int> known_scale_mode;

  SharedSlot<UniqueFd> db_file;  // gets the standard error of all commands; open during a run
  SharedSlot<LogStream> dl_fd;   // the log that the driver has opened last

  // The form of a node table line. Part of the state, but the inventory does not use it: it splits
  // lines at whitespace.
  std::shared_ptr<const NodeTablePattern> sh_plat_vm_regex;

  const Machine machine;
  CommandRunner& commands() const { return *machine.commands; }
  RunFiles& files() const { return *machine.files; }

  OutputStream standard_output{STDOUT_FILENO, "standard output"};

  // Gets the events of a run; null: nobody watches. Not owned. Set it before a run, and keep it
  // alive until the run has ended.
  Observer* observer = nullptr;
};

// There is at most one run state in the process. Bringing it up and shutting it down needs a lock
// of the caller; run_state() is safe from any thread in between.

// The run state, which must be up.
RunState& run_state();

// Creates an empty state that works on `machine`, and makes it the one that is up. No state may be
// up before.
void bring_up_run_state(Machine machine);
// Destroys the state. No run may be using it.
void shut_down_run_state();
bool run_state_is_up();

}  // namespace zorbec
