#include "host/explain/dump_folder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "context/run_state.h"
#include "context/this_machine.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/records.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using unit::dump_of;
using unit::record_with;

// A folder of dumps; the platform is known, so that nobody is asked.
class Folder : public ::testing::Test {
 protected:
  Folder() {
    std::filesystem::remove_all(kFolder);
    std::filesystem::create_directory(kFolder);
    bring_up_run_state(this_machine());
    run_state().router = 1;
    run_state().known_scale_mode = 0;
  }
  ~Folder() override { shut_down_run_state(); }

  static void have(const std::string& file, const std::string& text) {
    unit::write_text(std::string(kFolder) + "/" + file, text);
  }
  static void have_node(const std::string& node) {
    for (const char* dump : {"pidb_physical", "pidb_physical_subif", "pidb_bundle",
                             "pidb_bundle_subif", "pidb_bvi_intf", "pmdb"}) {
      have(std::string(dump) + "_" + node + ".dat", "{}");
    }
  }
  DumpFolder load(const std::optional<std::string>& pmdb_node = {}) {
    return load_dump_folder(kFolder, nodes_with_dumps(kFolder), pmdb_node,
                            [&](const std::string& line) { complaints.push_back(line); });
  }

  static constexpr const char* kFolder = "/tmp/dumps";
  std::vector<std::string> complaints;
};

TEST_F(Folder, nodes_come_by_number_and_then_by_name) {
  for (const char* file : {"pmdb_RP0.dat", "pidb_physical_10.dat", "pidb_bundle_subif_2.dat",
                           "pidb_gre_intf_D1.dat", "pmdb_2.dat"}) {
    have(file, "");
  }
  EXPECT_THAT(nodes_with_dumps(kFolder), ElementsAre("2", "10", "D1", "RP0"));
}

TEST_F(Folder, other_files_name_no_node) {
  for (const char* file :
       {"pidb_physical_subif.dat", "pidb_bundle_subif.dat", "pidb_bvi_intf.dat", "pmdb.dat",
        "pmdb_.dat", "pmdb_1.dat.old", "pmdb_a b.dat", "xpmdb_1.dat", "pmdb_\x1b.dat"}) {
    have(file, "{}");
  }
  EXPECT_THAT(nodes_with_dumps(kFolder), IsEmpty());
}

TEST_F(Folder, complete_folder_leaves_nothing_out) {
  have_node("2");
  const DumpFolder dumps = load();
  EXPECT_EQ(dumps.dumps_read, 6);
  EXPECT_THAT(dumps.pmdb_nodes, ElementsAre("2"));
  EXPECT_THAT(dumps.not_looked_at, IsEmpty());
  EXPECT_THAT(complaints, IsEmpty());
}

TEST_F(Folder, malformed_dump_costs_only_what_needs_it) {
  have_node("2");
  have("pidb_bundle_2.dat", "{\"7\": ");
  have("pidb_physical_2.dat", dump_of({{"21", record_with({{"is_member", "1"}})},
                                       {"22", record_with({})},
                                       {"23", record_with({{"is_member", "1"}})}}));
  have("pidb_bvi_intf_2.dat", dump_of({{"31", record_with({})}}));
  const DumpFolder dumps = load();
  EXPECT_THAT(complaints, ElementsAre(HasSubstr("/tmp/dumps/pidb_bundle_2.dat: "),
                                      HasSubstr("interface \"21\" refers to \"7\"")));
  EXPECT_THAT(dumps.not_looked_at,
              ElementsAre("pidb_bundle of node 2: cannot be used",
                          HasSubstr("2 interfaces of node 2: no keys can be derived")));
  const RunState& state = run_state();
  EXPECT_THAT(unit::keys_of(unit::record_of(state.pidb_physical_ifh, "2", "22")),
              ElementsAre("0x16", "0x5", "0x40020009", "0x30000"));
  EXPECT_THAT(unit::keys_of(unit::record_of(state.pidb_bvi_ifh, "2", "31")),
              ElementsAre("0x1f", "0x40020009", "0x5"));
}

TEST_F(Folder, dump_that_is_a_list_cannot_be_used) {
  have_node("2");
  have("pmdb_2.dat", "[]");
  const DumpFolder dumps = load();
  EXPECT_THAT(complaints, ElementsAre("/tmp/dumps/pmdb_2.dat: holds a list, not a table"));
  EXPECT_THAT(dumps.pmdb_nodes, IsEmpty());
  EXPECT_THAT(dumps.not_looked_at, ElementsAre("pmdb of node 2: cannot be used"));
}

TEST_F(Folder, empty_programmed_keys_are_not_looked_at) {
  have_node("2");
  have("pmdb_2.dat", "");
  const DumpFolder dumps = load();
  EXPECT_THAT(dumps.pmdb_nodes, IsEmpty());
  EXPECT_THAT(dumps.not_looked_at, ElementsAre("programmed keys of node 2: the dump is empty"));
  EXPECT_THAT(complaints, IsEmpty());
}

TEST_F(Folder, missing_dumps_are_told) {
  have_node("2");
  have("pidb_gre_intf_2.dat", "{}");
  have_node("3");
  std::filesystem::remove(std::string(kFolder) + "/pidb_bundle_3.dat");
  std::filesystem::remove(std::string(kFolder) + "/pmdb_3.dat");
  have("pmdb_RP0.dat", "{}");
  EXPECT_THAT(load().not_looked_at,
              ElementsAre("pidb_bundle, pidb_gre_intf of node 3: no dump here",
                          "programmed keys of node 3: no dump here",
                          "interfaces of node RP0: no dump here"));
}

TEST_F(Folder, programmed_keys_of_one_node_only) {
  have_node("2");
  have_node("3");
  EXPECT_THAT(load("3").pmdb_nodes, ElementsAre("3"));
  EXPECT_EQ(run_state().pmdb_keys.find("2"), nullptr);
}

TEST_F(Folder, fifo_in_place_of_a_dump_holds_nothing_up) {
  have_node("2");
  std::filesystem::remove(std::string(kFolder) + "/pmdb_2.dat");
  ASSERT_EQ(::mkfifo((std::string(kFolder) + "/pmdb_2.dat").c_str(), 0600), 0);
  EXPECT_THAT(load().pmdb_nodes, IsEmpty());
}

}  // namespace
}  // namespace zorbec
