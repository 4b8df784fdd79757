#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "base/log_stream.h"
#include "context/run_state.h"
#include "platform/platform_probes.h"
#include "tests/unit/support/answering_machine.h"
#include "verify/leak_check.h"
#include "verify/multicast_dumps.h"

namespace zorbec {
namespace {

using unit::AnsweringRunner;
using unit::Asked;

// What stands behind the command runner has to know which node a command is for. In a command line
// the address is easy to see: it is that of ssh and scp.
class NodeOfCommands : public ::testing::Test {
 protected:
  NodeOfCommands() {
    auto answering = std::make_unique<AnsweringRunner>([](const Asked&) { return "1.5 "; });
    runner = answering.get();
    bring_up_run_state({std::move(answering), std::make_unique<SystemFiles>()});
  }
  ~NodeOfCommands() override { shut_down_run_state(); }

  AnsweringRunner* runner;
  LogStream log{"/tmp/node_of_commands_test.txt"};
};

TEST_F(NodeOfCommands, is_its_address_where_ssh_leads_there_and_else_nothing) {
  run_state().rifs.report("RP0", {"0x5"});
  check_mrib_dump("10.0.0.1", "RP0", log);
  check_mdtbudobj_dump("10.0.0.1", "3", log);
  check_pmdb_dump("10.0.0.1", "3", log);
  get_node_uptime("10.0.0.1");
  get_bundle_scale();
  get_router_type();
  check_if_bundle_without_member("70");
  EXPECT_EQ(runner->asked().size(), 7U);
  for (const Asked& asked : runner->asked()) {
    EXPECT_EQ(asked.node, asked.line.starts_with("ssh ") ? "10.0.0.1" : "") << asked.line;
  }
}

}  // namespace
}  // namespace zorbec
