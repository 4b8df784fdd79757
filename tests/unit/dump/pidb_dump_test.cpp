#include "dump/pidb_dump.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "base/error.h"
#include "context/run_state.h"
#include "json/document.h"
#include "tables/interface_class.h"
#include "tests/unit/dump/node_copies_test.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/records.h"
#include "tests/unit/support/rows.h"

namespace zorbec::unit {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Texts = std::vector<std::string>;

struct DumpedClass {
  const char* name;
  const char* file;  // without ".dat"
  InterfaceTables RunState::*table;
};

// In the order in which they are fetched.
const DumpedClass kClasses[] = {
    {"physical", "pidb_physical", &RunState::pidb_physical_ifh},
    {"physical_subif", "pidb_physical_subif", &RunState::pidb_physical_subifh},
    {"bundle", "pidb_bundle", &RunState::pidb_bundle_ifh},
    {"bundle_subif", "pidb_bundle_subif", &RunState::pidb_bundle_subifh},
    {"bvi", "pidb_bvi_intf", &RunState::pidb_bvi_ifh},
    {"gre", "pidb_gre_intf", &RunState::pidb_gre_ifh},
};
static_assert(std::size(kClasses) == kEnumCount<InterfaceClass>, "each class is tested");
constexpr std::size_t kGre = 5;

const std::string kAddress = "192.0.0.6";
const std::string kTunnels = "interface tunnel-ip1\n";

const std::string kDumpCommand =
    "ssh  -o 'StrictHostKeyChecking=no'  192.0.0.6 /pkg/bin/iftruth_dump -g";
const std::string kConfigurationCommand = "confdump -c -l 1 -t 1 -o 1";
const std::string kTunnelCommand =
    "ssh  -o 'StrictHostKeyChecking=no' 192.0.0.6 /pkg/bin/tunnel_db_print database >& /tmp/log";

std::string copy_command(const DumpedClass& dumped) {
  const std::string stem = std::string("/tmp/") + dumped.file;
  return "scp root@192.0.0.6:" + stem + ".dat " + stem + "_3.dat";
}

// Line card 3, which reports interface 10 in the first class, 11 in the second and so on.
class PidbDump : public NodeCopiesTest {
 protected:
  PidbDump() {
    for (std::size_t number = 0; number < std::size(kClasses); ++number) {
      node_has(kAddress, file(kClasses[number]),
               dump_of({{std::to_string(10 + number), record_with({})}}));
    }
  }
  static std::string file(const DumpedClass& dumped) { return std::string(dumped.file) + ".dat"; }

  void run() { pidb_dump(kAddress, "3", dl_fd); }

  // The handles of a class that were loaded for line card 3; "no entry" if nothing was.
  static Texts loaded(const DumpedClass& dumped) {
    const InterfaceTable* const table = (run_state().*dumped.table).find("3");
    if (table == nullptr) return {"no entry"};
    Texts handles;
    for (std::uint32_t entry = 0; entry < table->document.size(); ++entry) {
      handles.emplace_back(table->document.name(entry));
    }
    return handles;
  }
  static bool has_keys(const DumpedClass& dumped) {
    const InterfaceTable* const table = (run_state().*dumped.table).find("3");
    return table != nullptr && !table->additions.empty() &&
           table->additions[0].key_list.has_value();
  }
};

TEST_F(PidbDump, runs_these_commands_with_these_blanks) {
  const RecordedCommands commands;
  run();
  EXPECT_THAT(commands.lines(),
              ElementsAre("ssh  -o 'StrictHostKeyChecking=no'  192.0.0.6 /pkg/bin/iftruth_dump -g",
                          "scp root@192.0.0.6:/tmp/pidb_physical.dat /tmp/pidb_physical_3.dat",
                          "scp root@192.0.0.6:/tmp/pidb_physical_subif.dat "
                          "/tmp/pidb_physical_subif_3.dat",
                          "scp root@192.0.0.6:/tmp/pidb_bundle.dat /tmp/pidb_bundle_3.dat",
                          "scp root@192.0.0.6:/tmp/pidb_bundle_subif.dat "
                          "/tmp/pidb_bundle_subif_3.dat",
                          "scp root@192.0.0.6:/tmp/pidb_bvi_intf.dat /tmp/pidb_bvi_intf_3.dat",
                          "confdump -c -l 1 -t 1 -o 1"));
  EXPECT_EQ(commands.outputs(), Texts(7, "/tmp/zorbec0.log"));
}

TEST_F(PidbDump, runs_these_commands_more_with_tunnels) {
  tools.answer("confdump", kTunnels);
  const RecordedCommands commands;
  run();
  const Texts lines = commands.lines();
  ASSERT_EQ(lines.size(), 9U);
  EXPECT_EQ(lines[7],
            "ssh  -o 'StrictHostKeyChecking=no' 192.0.0.6 /pkg/bin/tunnel_db_print database "
            ">& /tmp/log");
  EXPECT_EQ(lines[8], "scp root@192.0.0.6:/tmp/pidb_gre_intf.dat /tmp/pidb_gre_intf_3.dat");
  EXPECT_EQ(commands.outputs()[7], "/tmp/zorbecpidb_3.log");
  EXPECT_EQ(commands.outputs()[8], "/tmp/zorbec0.log");
}

TEST_F(PidbDump, loads_each_class_into_its_own_table_and_derives_the_keys) {
  tools.answer("confdump", kTunnels);
  run();
  for (std::size_t number = 0; number < std::size(kClasses); ++number) {
    EXPECT_THAT(loaded(kClasses[number]), ElementsAre(std::to_string(10 + number)))
        << kClasses[number].name;
    EXPECT_TRUE(has_keys(kClasses[number])) << kClasses[number].name;
  }
}

TEST_F(PidbDump, writes_nothing_to_its_log) {
  run();
  EXPECT_EQ(log_text(), "");
}

TEST_F(PidbDump, copies_are_byte_for_byte_what_the_node_wrote) {
  const std::string text = "\n{ \"10\" :" + record_with({{"name", R"("\u00e9 ")"}}) + "}\n\n";
  node_has(kAddress, "pidb_physical.dat", text);
  run();
  EXPECT_EQ(read_text("/tmp/pidb_physical_3.dat"), text);
}

struct ConfigurationCase : Row {
  const char* text;
  bool has_tunnels;
};

const ConfigurationCase kConfigurations[] = {
    {{"nothing"}, "", false},
    {{"tunnel_interface"}, "interface tunnel-ip1: address 10.0.0.1\n", true},
    {{"tunnel_among_others"}, "interface Port0/3/0/0\ninterface tunnel-ip77\nend\n", true},
    {{"text_anywhere_in_a_line"}, "note: no interface tunnel-ip any more\n", true},
    {{"name_continues"}, "interface tunnel-ipx3\n", true},
    {{"other_tunnel_kinds"}, "interface tunnel-x5\ninterface tunnel-xip6\n", false},
    {{"two_blanks"}, "interface  tunnel-ip1\n", false},
    {{"other_case"}, "interface Tunnel-IP1\n", false},
    {{"across_two_lines"}, "interface\ntunnel-ip1\n", false},
};

class Configuration : public PidbDump, public ::testing::WithParamInterface<ConfigurationCase> {};

TEST_P(Configuration, decides_whether_the_gre_files_are_touched) {
  tools.answer("confdump", GetParam().text);
  const RecordedCommands commands;
  run();
  EXPECT_EQ(commands.lines().size(), GetParam().has_tunnels ? 9U : 7U);
  EXPECT_EQ(loaded(kClasses[kGre]), GetParam().has_tunnels ? Texts({"15"}) : Texts({"no entry"}));
  EXPECT_EQ(std::filesystem::exists("/tmp/pidb_gre_intf_3.dat"), GetParam().has_tunnels);
  EXPECT_TRUE(has_keys(kClasses[0]));
}

INSTANTIATE_TEST_SUITE_P(Texts, Configuration, ::testing::ValuesIn(kConfigurations),
                         row_name<ConfigurationCase>);

TEST_F(PidbDump, tunnel_tool_prints_into_the_shared_log_and_not_into_the_runners_file) {
  tools.answer("confdump", kTunnels);
  tools.install("ssh", "case $* in *tunnel_db_print*) echo out; echo error >&2;; esac");
  run();
  EXPECT_EQ(read_text("/tmp/log"), "out\nerror\n");
  EXPECT_EQ(read_text("/tmp/zorbecpidb_3.log"), "");
}

TEST_F(PidbDump, what_the_dump_tool_prints_is_not_looked_at) {
  tools.answer("ssh", kTunnels);
  run();
  EXPECT_THAT(loaded(kClasses[kGre]), ElementsAre("no entry"));
}

// ---- Copies that are empty, missing, stale or no JSON: for each class, all of which are fetched.

class CopyOfClass : public PidbDump, public ::testing::WithParamInterface<std::size_t> {
 protected:
  CopyOfClass() { tools.answer("confdump", kTunnels); }

  const DumpedClass& dumped = kClasses[GetParam()];

  // All commands up to the copy of this class.
  static Texts commands_up_to_here() {
    Texts lines = {kDumpCommand};
    for (std::size_t number = 0; number <= GetParam(); ++number) {
      if (number == kGre) {
        lines.push_back(kConfigurationCommand);
        lines.push_back(kTunnelCommand);
      }
      lines.push_back(copy_command(kClasses[number]));
    }
    return lines;
  }

  // Earlier classes are loaded, later ones are not, and nobody has keys.
  static void expect_stop_here() {
    for (std::size_t number = 0; number < std::size(kClasses); ++number) {
      EXPECT_FALSE(has_keys(kClasses[number])) << kClasses[number].name;
      if (number == GetParam()) continue;
      EXPECT_EQ(loaded(kClasses[number]) == Texts({"no entry"}), number > GetParam())
          << kClasses[number].name;
    }
  }
};

TEST_P(CopyOfClass, empty_leaves_no_entry_and_the_other_classes_still_load) {
  node_has(kAddress, file(dumped), "");
  run();
  for (const DumpedClass& each : kClasses) {
    EXPECT_EQ(loaded(each) == Texts({"no entry"}), &each == &dumped) << each.name;
    EXPECT_EQ(has_keys(each), &each != &dumped) << each.name;
  }
  EXPECT_EQ(log_text(), "");
}

TEST_P(CopyOfClass, empty_keeps_what_an_earlier_run_loaded) {
  run();
  node_has(kAddress, file(dumped), "");
  run();
  EXPECT_THAT(loaded(dumped), ElementsAre(std::to_string(10 + GetParam())));
}

TEST_P(CopyOfClass, missing_stops_before_the_next_class) {
  node_lacks(kAddress, file(dumped));
  const RecordedCommands commands;
  EXPECT_THAT(error_of<std::system_error>([&] { run(); }),
              HasSubstr(std::string("/tmp/") + dumped.file + "_3.dat"));
  EXPECT_EQ(commands.lines(), commands_up_to_here());
  EXPECT_THAT(loaded(dumped), ElementsAre("no entry"));
  expect_stop_here();
}

TEST_P(CopyOfClass, of_an_earlier_run_is_loaded_if_the_node_has_none_now) {
  node_lacks(kAddress, file(dumped));
  write_text(std::string("/tmp/") + dumped.file + "_3.dat", dump_of({{"99", record_with({})}}));
  run();
  EXPECT_THAT(loaded(dumped), ElementsAre("99"));
  EXPECT_TRUE(has_keys(dumped));
}

TEST_P(CopyOfClass, that_is_no_json_leaves_the_empty_map_and_stops) {
  (run_state().*dumped.table).set("3", interface_table(R"({"98": {}})"));
  node_has(kAddress, file(dumped), "iftruth_dump: busy\n");
  const RecordedCommands commands;
  EXPECT_THAT(error_of<JsonError>([&] { run(); }),
              HasSubstr(std::string("/tmp/") + dumped.file + "_3.dat: "));
  EXPECT_THAT(loaded(dumped), ElementsAre());
  EXPECT_EQ(commands.lines(), commands_up_to_here());
  expect_stop_here();
}

TEST_P(CopyOfClass, that_is_no_table_is_loaded_and_has_no_keys_derived) {
  node_has(kAddress, file(dumped), R"(["no", "table"])");
  const RecordedCommands commands;
  EXPECT_THAT(error_of<CheckError>([&] { run(); }), HasSubstr("not a table"));
  EXPECT_EQ(commands.lines().size(), 9U);
  EXPECT_EQ((run_state().*dumped.table).find("3")->document.root().kind(), JsonKind::kArray);
}

INSTANTIATE_TEST_SUITE_P(Classes, CopyOfClass,
                         ::testing::Range(std::size_t{0}, std::size(kClasses)),
                         [](const auto& row) { return kClasses[row.param].name; });

TEST_F(PidbDump, second_run_replaces_the_nodes_tables) {
  run();
  node_has(kAddress, "pidb_physical.dat", dump_of({{"20", record_with({})}}));
  run();
  EXPECT_THAT(loaded(kClasses[0]), ElementsAre("20"));
}

TEST_F(PidbDump, commands_that_fail_are_not_detected) {
  tools.install("ssh", "echo refused >&2; exit 255");
  tools.install("confdump", "exit 1");
  run();
  EXPECT_THAT(loaded(kClasses[0]), ElementsAre("10"));
  EXPECT_TRUE(has_keys(kClasses[0]));
  EXPECT_EQ(read_text("/tmp/output_file.txt"), "refused\n");
}

TEST_F(PidbDump, address_none_is_used_as_it_stands) {
  const RecordedCommands commands;
  error_of<std::system_error>([&] { pidb_dump("None", "3", dl_fd); });
  EXPECT_THAT(commands.lines(),
              ElementsAre("ssh  -o 'StrictHostKeyChecking=no'  None /pkg/bin/iftruth_dump -g",
                          "scp root@None:/tmp/pidb_physical.dat /tmp/pidb_physical_3.dat"));
}

TEST_F(PidbDump, node_name_with_characters_that_the_shell_treats_specially_is_not_quoted) {
  const RecordedCommands commands;
  // The shell cuts the local name at the semicolon, so the copy is not where it is looked for.
  const std::string complaint =
      error_of<std::system_error>([&] { pidb_dump(kAddress, "3;echo cut", dl_fd); });
  EXPECT_THAT(complaint, HasSubstr("/tmp/pidb_physical_3;echo cut.dat"));
  EXPECT_THAT(commands.lines(), Contains("scp root@192.0.0.6:/tmp/pidb_physical.dat "
                                         "/tmp/pidb_physical_3;echo cut.dat"));
  EXPECT_TRUE(std::filesystem::exists("/tmp/pidb_physical_3"));
  EXPECT_EQ(read_text("/tmp/zorbec0.log"), "cut.dat\n");
}

TEST_F(PidbDump, two_line_cards_loading_at_the_same_time_each_see_their_own_entry_replaced) {
  constexpr int kRuns = 5;
  for (const DumpedClass& each : kClasses) {
    node_has("192.0.0.7", file(each), dump_of({{"40", record_with({})}}));
  }
  LogStream other_log("/tmp/debug_logs_other.txt");
  {
    const std::jthread other([&] {
      for (int number = 0; number < kRuns; ++number) pidb_dump("192.0.0.7", "4", other_log);
    });
    for (int number = 0; number < kRuns; ++number) run();
  }
  for (std::size_t number = 0; number < kGre; ++number) {
    const InterfaceTables& tables = run_state().*kClasses[number].table;
    ASSERT_EQ(tables.nodes().size(), 2U) << kClasses[number].name;
    EXPECT_THAT(loaded(kClasses[number]), ElementsAre(std::to_string(10 + number)));
    EXPECT_EQ(keys_of(record_of(tables, "4", "40")).front(), "0x28");
  }
}

}  // namespace
}  // namespace zorbec::unit
