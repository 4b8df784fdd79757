// The platform's node table, from text to inventory. The first byte decides the router model.

#include <string>

#include "context/run_state.h"
#include "platform/node_inventory.h"
#include "platform/platform_probes.h"
#include "tests/fuzz/support/bytes.h"
#include "tests/fuzz/support/detached.h"

namespace zorbec {
namespace {

using fuzz::require;

void check_record(const std::string& name, const NodeRecord& record, std::string_view table) {
  const auto stands_there = [&](const std::string& text) {
    return text == kNone || table.find(text) != std::string_view::npos;
  };
  require(stands_there(name) || record.nodeip == kNone, "a node is reached that was not named");
  require(record.nodeid && record.pidb_dump && record.pmdb_dump, "a node lacks a field");
  require(stands_there(record.nodeip.value()), "an address came from nowhere");
  require(stands_there(record.nodetype.value()), "a type came from nowhere");
  const std::string& state = record.act_standby.value();
  require(state == "Active" || state == "Standby" || state == kNone, "a state came from nowhere");
}

// A line that cannot be read leaves its record half filled in.
void check_complete_record(const NodeRecord& record) {
  require((record.act_standby == kNone) == (record.pmdb_dump == 0), "who has a state has keys");
  require(record.act_standby != kNone || record.nodeip == kNone, "only such a node is reached");
}

}  // namespace
}  // namespace zorbec

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorbec;
  if (size == 0) return 0;
  const std::string table(fuzz::as_text(data + 1, size - 1));
  const fuzz::DetachedRun run([&](const std::string&) { return table; });
  RunState& state = run_state();
  state.router = 1 + data[0] % 9;
  nodeinfo_init();
  const std::size_t nodes = state.nodeinfo.size();
  const std::string failure = fuzz::failure_of([] { get_list_of_vms(); });

  if (is_single_processor(state.router)) return 0;
  require(state.nodeinfo.size() == nodes, "the node table names nodes, it makes none");
  require(state.vmcnt == state.activenode_cnt + state.standbynode_cnt, "nodes are counted");
  for (const auto& [name, record] : state.nodeinfo) {
    check_record(name, *record, table);
    if (failure.empty()) check_complete_record(*record);
  }
  return 0;
}
