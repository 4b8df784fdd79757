#include "dump/dump_task.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "base/error.h"
#include "context/run_state.h"
#include "tables/node_record.h"
#include "tests/unit/dump/node_copies_test.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/rows.h"

namespace zorbec::unit {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// A node whose dumps are empty tables; the record that it has asks for nothing yet.
class DumpTask : public NodeCopiesTest {
 protected:
  DumpTask() {
    for (const char* const file :
         {"pidb_physical.dat", "pidb_physical_subif.dat", "pidb_bundle.dat",
          "pidb_bundle_subif.dat", "pidb_bvi_intf.dat", "pmdb.dat"}) {
      node_has("192.0.0.6", file, "{}");
    }
    record.nodeip = "192.0.0.6";
    record.pidb_dump = 0;
    record.pmdb_dump = 0;
  }

  // The tools that were started on the node.
  static std::vector<std::string> tools_of(const RecordedCommands& commands) {
    std::vector<std::string> names;
    for (const std::string& line : commands.lines()) {
      if (line.starts_with("ssh")) names.push_back(line.substr(line.rfind('/') + 1));
    }
    return names;
  }

  NodeRecord record;
};

struct FlagsCase : Row {
  int pidb_dump;
  int pmdb_dump;
  std::vector<std::string> tools;
};

const FlagsCase kFlags[] = {
    {{"both_zero_runs_no_command"}, 0, 0, {}},
    {{"pidb_alone"}, 1, 0, {"iftruth_dump -g"}},
    {{"pmdb_alone_without_a_pidb_dump_first"}, 0, 1, {"hwkey_dump -g"}},
    {{"both_pidb_first"}, 1, 1, {"iftruth_dump -g", "hwkey_dump -g"}},
    {{"any_other_number_is_true"}, 2, -1, {"iftruth_dump -g", "hwkey_dump -g"}},
};

class Flags : public DumpTask, public ::testing::WithParamInterface<FlagsCase> {};

TEST_P(Flags, decide_what_is_dumped) {
  record.pidb_dump = GetParam().pidb_dump;
  record.pmdb_dump = GetParam().pmdb_dump;
  const RecordedCommands commands;
  dump_task("3", record, dl_fd);
  EXPECT_EQ(tools_of(commands), GetParam().tools);
  EXPECT_EQ(commands.lines().empty(), GetParam().tools.empty());
  EXPECT_EQ(run_state().pidb_physical_ifh.find("3") != nullptr, GetParam().pidb_dump != 0);
  EXPECT_EQ(run_state().pmdb_keys.find("3") != nullptr, GetParam().pmdb_dump != 0);
  EXPECT_EQ(log_text(), "");
}

INSTANTIATE_TEST_SUITE_P(Records, Flags, ::testing::ValuesIn(kFlags), row_name<FlagsCase>);

TEST_F(DumpTask, address_none_is_dumped_from_though_its_pmdb_is_not) {
  record.nodeip = "None";
  record.pidb_dump = 1;
  record.pmdb_dump = 1;
  for (const char* const file :
       {"pidb_physical_3.dat", "pidb_physical_subif_3.dat", "pidb_bundle_3.dat",
        "pidb_bundle_subif_3.dat", "pidb_bvi_intf_3.dat"}) {
    write_text(std::string("/tmp/") + file, "");
  }
  const RecordedCommands commands;
  dump_task("3", record, dl_fd);
  EXPECT_EQ(commands.lines().size(), 7U);
  EXPECT_THAT(tools_of(commands), ElementsAre("iftruth_dump -g"));
}

TEST_F(DumpTask, failing_pidb_dump_leaves_the_pmdb_dump_out) {
  record.pidb_dump = 1;
  record.pmdb_dump = 1;
  node_lacks("192.0.0.6", "pidb_bvi_intf.dat");
  const RecordedCommands commands;
  EXPECT_THAT(error_of<std::system_error>([&] { dump_task("3", record, dl_fd); }),
              HasSubstr("/tmp/pidb_bvi_intf_3.dat"));
  EXPECT_THAT(tools_of(commands), ElementsAre("iftruth_dump -g"));
  EXPECT_EQ(run_state().pmdb_keys.find("3"), nullptr);
}

TEST_F(DumpTask, record_without_pidb_dump_runs_no_command) {
  record.pidb_dump.reset();
  record.pmdb_dump = 1;
  const RecordedCommands commands;
  EXPECT_EQ(error_of<CheckError>([&] { dump_task("3", record, dl_fd); }),
            "the node record has no pidb_dump");
  EXPECT_THAT(commands.lines(), IsEmpty());
}

TEST_F(DumpTask, record_without_pmdb_dump_fails_after_the_pidb_dump) {
  record.pidb_dump = 1;
  record.pmdb_dump.reset();
  const RecordedCommands commands;
  EXPECT_EQ(error_of<CheckError>([&] { dump_task("3", record, dl_fd); }),
            "the node record has no pmdb_dump");
  EXPECT_THAT(tools_of(commands), ElementsAre("iftruth_dump -g"));
}

TEST_F(DumpTask, record_without_address_runs_no_command) {
  record.nodeip.reset();
  record.pmdb_dump = 1;
  const RecordedCommands commands;
  EXPECT_EQ(error_of<CheckError>([&] { dump_task("3", record, dl_fd); }),
            "the node record has no nodeip");
  EXPECT_THAT(commands.lines(), IsEmpty());
}

TEST_F(DumpTask, record_without_address_that_asks_for_nothing_is_fine) {
  record.nodeip.reset();
  dump_task("3", record, dl_fd);
  EXPECT_EQ(run_state().pmdb_keys.find("3"), nullptr);
}

}  // namespace
}  // namespace zorbec::unit
