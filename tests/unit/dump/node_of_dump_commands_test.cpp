#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "base/log_stream.h"
#include "context/run_state.h"
#include "dump/pidb_dump.h"
#include "dump/pmdb_dump.h"
#include "tests/unit/support/answering_machine.h"
#include "tests/unit/support/files.h"

namespace zorbec {
namespace {

using unit::AnsweringRunner;
using unit::Asked;

// Copies an empty table to where scp would.
std::string answer(const Asked& asked) {
  if (asked.line.starts_with("scp ")) {
    unit::write_text(asked.line.substr(asked.line.rfind(' ') + 1), "{}");
  }
  return "interface tunnel-ip3";
}

TEST(NodeOfDumpCommands, is_its_address_where_ssh_and_scp_lead_there_and_else_nothing) {
  auto answering = std::make_unique<AnsweringRunner>(answer);
  const AnsweringRunner* const runner = answering.get();
  bring_up_run_state({std::move(answering), std::make_unique<SystemFiles>()});
  LogStream log("/tmp/node_of_dump_commands_test.txt");
  pidb_dump("10.0.0.1", "3", log);
  pmdb_dump("10.0.0.1", "3", log);
  // Two tools and their copies, six and one, the tunnels' tool, and the configuration.
  EXPECT_EQ(runner->asked().size(), 11U);
  for (const Asked& asked : runner->asked()) {
    const bool leads_there = asked.line.starts_with("ssh ") || asked.line.starts_with("scp ");
    EXPECT_EQ(asked.node, leads_there ? "10.0.0.1" : "") << asked.line;
  }
  shut_down_run_state();
}

}  // namespace
}  // namespace zorbec
