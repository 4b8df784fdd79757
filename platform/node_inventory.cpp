#include "platform/node_inventory.h"

#include <string>
#include <string_view>
#include <vector>

#include "base/text_lines.h"
#include "context/execute.h"
#include "context/observer.h"
#include "context/run_state.h"
#include "context/tell.h"
#include "platform/platform_probes.h"

namespace zorbec {
namespace {

constexpr const char* kNodeTableCommand = "/pkg/bin/nodemap_query -v";

// The node ids of the two route processors.
constexpr int kFirstProcessorId = 4352;
constexpr int kSecondProcessorId = 4096;
constexpr int kSlots = 16;
constexpr int kSlotsOfDdc = 47;

// A node that may exist: not reachable and not dumped, until the node table names it.
NodeRecordPtr skeleton(int nodeid) {
  auto record = std::make_shared<NodeRecord>();
  record->nodeid = nodeid;
  record->pidb_dump = 0;
  record->nodetype = kNone;
  record->nodeip = kNone;
  record->act_standby = kNone;
  record->pmdb_dump = 0;
  return record;
}

NodeRecordPtr single_processor() {
  auto record = std::make_shared<NodeRecord>();
  record->pidb_dump = 1;
  record->is_active = 1;
  record->nodeid = 0;
  record->pmdb_dump = 1;
  record->nodeip = ZORBEC_OWN_ADDRESS;
  return record;
}

// One line of the node table, such as
//   0/3/CPU0  LC (ACTIVE)  NONE  IMAGE READY  192.0.8.4
class NodeLine {
 public:
  explicit NodeLine(std::string_view line) : line_(line), fields_(split_at_whitespace(line)) {}

  bool holds(std::string_view word) const { return line_.find(word) != std::string_view::npos; }
  // False for headings and blank lines, which do not begin with a full name.
  bool names_node() const { return fields_.front().find('/') != std::string_view::npos; }

  // Throws CheckError if the line has no such field.
  std::string field(std::size_t index) const {
    if (index >= fields_.size()) {
      fail("has " + std::to_string(fields_.size()) + " fields, not " + std::to_string(index + 1));
    }
    return std::string(fields_[index]);
  }
  std::string type() const { return field(1); }
  std::string address() const { return field(6); }

  // The record of the node that the line names. Its short name is the middle part of the full name
  // ("3" of "0/3/CPU0"), and is stored in `nodename` of the run state. Throws CheckError if the
  // line names no node, or one that the router model cannot have.
  NodeRecordPtr record() const {
    RunState& state = run_state();
    const std::string_view full_name = fields_.front();
    const std::size_t slash = full_name.find('/');
    if (slash == std::string_view::npos) fail("has no node name with a \"/\"");
    const std::string_view rest = full_name.substr(slash + 1);
    state.nodename = rest.substr(0, rest.find('/'));
    const NodeRecordPtr* const record = state.nodeinfo.find(*state.nodename);
    if (record == nullptr) fail("names a node that this router model does not have");
    return *record;
  }

  // Reports the node that had this record so far, if it has another address: it is not checked.
  void tell_replaced(const NodeRecord& record) const {
    if (record.nodeip == kNone || record.nodeip == address()) return;
    tell([&] { return event::NodeReplaced{*run_state().nodename, *record.nodeip}; });
  }

 private:
  [[noreturn]] void fail(const std::string& what) const {
    throw CheckError(std::string(kNodeTableCommand) + ": line " + in_quotes(line_) + " " + what);
  }

  std::string_view line_;
  std::vector<std::string_view> fields_;
};

void take_active(const NodeLine& line, RunState& state) {
  const NodeRecordPtr record = line.record();
  record->pidb_dump = 0;
  record->nodetype = line.type();
  if (record->nodetype == "RP") {
    state.activenodeinfo = record;
  } else {
    record->pidb_dump = 1;
  }
  record->pmdb_dump = 1;
  line.tell_replaced(*record);
  record->nodeip = line.address();
  record->act_standby = "Active";
  ++state.activenode_cnt;
  ++state.vmcnt;
}

void take_standby(const NodeLine& line, RunState& state) {
  const NodeRecordPtr record = line.record();
  record->pidb_dump = 0;
  record->pmdb_dump = 1;
  record->nodetype = line.type();
  if (record->nodetype == "RP") state.standbynodeinfo = record;
  line.tell_replaced(*record);
  record->nodeip = line.address();
  record->act_standby = "Standby";
  ++state.standbynode_cnt;
  ++state.vmcnt;
}

}  // namespace

void nodeinfo_init() {
  RunState& state = run_state();
  const bool is_ddc = state.router == kModelDdc;
  state.nodeinfo.set(is_ddc ? "D0" : "RP0", skeleton(kFirstProcessorId));
  state.nodeinfo.set(is_ddc ? "D1" : "RP1", skeleton(kSecondProcessorId));
  const int slots = is_ddc ? kSlotsOfDdc : kSlots;
  for (int slot = 0; slot < slots; ++slot) {
    state.nodeinfo.set(std::to_string(slot), skeleton(slot));
  }
}

const NodeInfo& get_list_of_vms() {
  RunState& state = run_state();
  const int model = state.router;
  if (is_single_processor(model)) {
    state.nodeinfo.clear();
    state.nodeinfo.set("RP0", single_processor());
    return state.nodeinfo;
  }

  const std::string output = execute(kNodeTableCommand);
  for (const std::string_view text : split_lines(output)) {
    const NodeLine line(text);
    // A line may contain both words ("INACTIVE" contains the first). Then the second call decides
    // what is in the record, and the node is counted as both.
    if (line.holds("ACTIVE")) take_active(line, state);
    if (line.holds("STANDBY")) take_standby(line, state);
    if (line.names_node() && !line.holds("ACTIVE") && !line.holds("STANDBY")) {
      tell([&] { return event::NodeIgnored{text}; });
    }
    // On this model every node has interfaces, also the route processors. Its node table has no
    // headings or blank lines: record() throws at one.
    if (model == kModelKvr330) line.record()->pidb_dump = 1;
  }
  return state.nodeinfo;
}

}  // namespace zorbec
