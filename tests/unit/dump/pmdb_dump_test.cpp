#include "dump/pmdb_dump.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <system_error>
#include <vector>

#include "base/error.h"
#include "context/run_state.h"
#include "json/document.h"
#include "tests/unit/dump/node_copies_test.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/tables.h"

namespace zorbec::unit {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

class PmdbDump : public NodeCopiesTest {
 protected:
  void run() { pmdb_dump("192.0.0.6", "3", dl_fd); }

  // The keys that were loaded for node 3; "no entry" if nothing was.
  static Texts loaded() {
    const PmdbTable* const pmdb = run_state().pmdb_keys.find("3");
    if (pmdb == nullptr) return {"no entry"};
    Texts keys;
    for (std::uint32_t entry = 0; entry < pmdb->size(); ++entry)
      keys.emplace_back(pmdb->name(entry));
    return keys;
  }
};

TEST_F(PmdbDump, runs_these_commands_with_these_blanks) {
  node_has("192.0.0.6", "pmdb.dat", "{}");
  const RecordedCommands commands;
  run();
  EXPECT_THAT(commands.lines(),
              ElementsAre("ssh  -o 'StrictHostKeyChecking=no' 192.0.0.6 /pkg/bin/hwkey_dump -g",
                          "scp root@192.0.0.6:/tmp/pmdb.dat /tmp/pmdb_3.dat"));
  EXPECT_THAT(commands.outputs(), ElementsAre("/tmp/zorbecpmdb_3.log", "/tmp/zorbec0.log"));
}

TEST_F(PmdbDump, tools_output_stays_in_the_runners_file) {
  node_has("192.0.0.6", "pmdb.dat", "{}");
  tools.answer("ssh", "2 keys\n");
  run();
  EXPECT_EQ(read_text("/tmp/zorbecpmdb_3.log"), "2 keys\n");
}

TEST_F(PmdbDump, address_none_runs_nothing_and_adds_no_entry) {
  write_text("/tmp/pmdb_3.dat", "{\"5\": {}}");
  const RecordedCommands commands;
  pmdb_dump("None", "3", dl_fd);
  EXPECT_THAT(commands.lines(), IsEmpty());
  EXPECT_THAT(loaded(), ElementsAre("no entry"));
}

TEST_F(PmdbDump, only_the_text_none_is_no_address) {
  for (const char* const address : {"", "none", "NONE", "None "}) {
    const RecordedCommands commands;
    error_of<std::system_error>([&] { pmdb_dump(address, "3", dl_fd); });
    EXPECT_EQ(commands.lines().size(), 2U) << address;
  }
}

TEST_F(PmdbDump, dump_without_visited_loads_unchanged) {
  const std::string text = R"({"5": {"hw": 1}, "1073872901": {}})";
  node_has("192.0.0.6", "pmdb.dat", text);
  run();
  EXPECT_THAT(loaded(), ElementsAre("5", "1073872901"));
  EXPECT_FALSE(run_state().pmdb_keys.find("3")->is_visited(0));
  EXPECT_FALSE(run_state().pmdb_keys.find("3")->is_visited(1));
  EXPECT_EQ(read_text("/tmp/pmdb_3.dat"), text);
}

TEST_F(PmdbDump, second_run_replaces_the_nodes_entry_and_its_marks) {
  node_has("192.0.0.6", "pmdb.dat", R"({"5": {}})");
  run();
  run_state().pmdb_keys.find("3")->set_visited(0);
  node_has("192.0.0.6", "pmdb.dat", R"({"6": {}, "5": {}})");
  run();
  EXPECT_THAT(loaded(), ElementsAre("6", "5"));
  EXPECT_FALSE(run_state().pmdb_keys.find("3")->is_visited(1));
}

TEST_F(PmdbDump, empty_copy_leaves_no_entry_and_no_message) {
  node_has("192.0.0.6", "pmdb.dat", "");
  run();
  EXPECT_THAT(loaded(), ElementsAre("no entry"));
  EXPECT_EQ(log_text(), "");
  EXPECT_EQ(read_text("/tmp/output_file.txt"), "");
}

TEST_F(PmdbDump, empty_copy_keeps_what_an_earlier_run_loaded) {
  node_has("192.0.0.6", "pmdb.dat", R"({"5": {}})");
  run();
  node_has("192.0.0.6", "pmdb.dat", "");
  run();
  EXPECT_THAT(loaded(), ElementsAre("5"));
}

TEST_F(PmdbDump, missing_copy_leaves_the_table_alone) {
  EXPECT_THAT(error_of<std::system_error>([&] { run(); }), HasSubstr("/tmp/pmdb_3.dat"));
  EXPECT_THAT(loaded(), ElementsAre("no entry"));
}

TEST_F(PmdbDump, stale_copy_is_loaded_if_the_node_has_none_now) {
  write_text("/tmp/pmdb_3.dat", R"({"77": {}})");
  run();
  EXPECT_THAT(loaded(), ElementsAre("77"));
}

TEST_F(PmdbDump, copy_that_is_no_json_leaves_the_empty_map) {
  run_state().pmdb_keys.set("3", pmdb_table(R"({"98": {}})"));
  node_has("192.0.0.6", "pmdb.dat", "hwkey_dump: busy\n");
  EXPECT_THAT(error_of<JsonError>([&] { run(); }), HasSubstr("/tmp/pmdb_3.dat: "));
  EXPECT_THAT(loaded(), IsEmpty());
}

TEST_F(PmdbDump, copy_that_is_no_table_is_loaded) {
  node_has("192.0.0.6", "pmdb.dat", "[]");
  run();
  EXPECT_EQ(run_state().pmdb_keys.find("3")->document().root().kind(), JsonKind::kArray);
}

}  // namespace
}  // namespace zorbec::unit
