#include "verify/multicast_dumps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <future>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "base/error.h"
#include "context/run_state.h"
#include "tables/multicast_tables.h"
#include "tests/unit/support/captured_stream.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/recorded_commands.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/run_state_test.h"

namespace zorbec::unit {
namespace {

namespace fs = std::filesystem;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using Texts = std::vector<std::string>;

const std::string kRp = "192.0.0.1";
const std::string kCard = "192.0.0.6";
const std::string kMribFile = "/tmp/mribdump.txt";
const std::string kBudFile = "/tmp/mplsmdtbud.txt";
const std::string kPmdbFile = "/tmp/pmdbdump.txt";

std::string mrib_command(const std::string& address) {
  return "ssh  -o 'StrictHostKeyChecking=no' " + address + " /pkg/bin/mcroute_print -cmd 0x9";
}
std::string bud_command(const std::string& address) {
  return "ssh  -o 'StrictHostKeyChecking=no' " + address +
         " /pkg/bin/fwdobj_print -t 0xbe -l 0 -o b";
}
std::string pmdb_command(const std::string& address, const std::string& rif) {
  return "ssh -o StrictHostKeyChecking=no " + address + " /pkg/bin/hwkey_dump -r " + rif;
}

// Nodes whose tools print nothing until a test says what.
class MulticastDumps : public RunStateTest {
 protected:
  MulticastDumps() {
    fs::remove_all(kAnswers);
    fs::create_directory(kAnswers);
    for (const std::string& file : {kMribFile, kBudFile, kPmdbFile}) fs::remove_all(file);
    // ssh -o OPTION ADDRESS TOOL ... LAST-ARGUMENT
    tools.install("ssh", "for last; do :; done\ncat " + kAnswers + "/\"$3 ${4##*/} $last\"");
    run_state().router = 1;
  }

  static void mrib_prints(std::string_view text) { prints(kRp + " mcroute_print 0x9", text); }
  static void buds_print(std::string_view text, const std::string& address = kCard) {
    prints(address + " fwdobj_print b", text);
  }
  static void pmdb_prints(const std::string& rif, std::string_view text) {
    prints(kCard + " hwkey_dump " + rif, text);
  }

  void dump_mrib() { check_mrib_dump(kRp, "RP0", dl_fd); }
  void dump_buds(const std::string& address = kCard) { check_mdtbudobj_dump(address, "3", dl_fd); }
  void dump_pmdb() { check_pmdb_dump(kCard, "3", dl_fd); }

  static void know_rifs(const Texts& rifs) { run_state().rifs.report("", rifs); }

  std::string log_text() {
    dl_fd.flush();
    return read_text("/tmp/mcast_debug_logs_test.txt");
  }

  LogStream dl_fd{"/tmp/mcast_debug_logs_test.txt"};

 private:
  static inline const std::string kAnswers = "/tmp/answers";

  static void prints(const std::string& question, std::string_view text) {
    write_text(kAnswers + "/" + question, text);
  }
};

// What a tool prints, and what becomes of it.
struct OutputCase : Row {
  const char* output;
  MulticastEntries entries;
  Texts rifs = {};
};

// The same where the last line is bad: the entries up to there stay.
struct BadOutputCase : Row {
  const char* output;
  const char* complaint;
  MulticastEntries entries;
  Texts rifs = {};
};

// ---- Multicast routing entries

TEST_F(MulticastDumps, mrib_command_and_its_output_file) {
  const RecordedCommands commands;
  dump_mrib();
  EXPECT_THAT(commands.lines(), ElementsAre(mrib_command(kRp)));
  EXPECT_THAT(commands.outputs(), ElementsAre("/tmp/zorbec_mrib_RP0.log"));
}

TEST_F(MulticastDumps, mrib_dump_file_shows_the_whole_table) {
  run_state().mribkeys.store("192.0.0.2", {{0, {{"rif", "0x7"}}}});
  mrib_prints("RPF-ID: 1, Tunnel RIF: 4660\n");
  dump_mrib();
  EXPECT_EQ(read_text(kMribFile), render(run_state().mribkeys.nodes()));
  EXPECT_THAT(read_text(kMribFile), HasSubstr("{\"0\": {\"rif\": \"0x1234\"}}"));
  EXPECT_THAT(read_text(kMribFile), HasSubstr("{\"0\": {\"rif\": \"0x7\"}}"));
}

const OutputCase kMribOutputs[] = {
    {{"nothing"}, "", {}},
    {{"nothing_of_interest"}, "route 10.0.0.1 to 232.0.0.1, age: 1 d\n\n", {}},
    {{"one_entry"},
     "RPF-ID: 3, MDT Handle: 0x1f, Tunnel RIF: 12)\n",
     {{0, {{"mdt_handle", "0x1f"}, {"rif", "0xc"}}}},
     {"0xc"}},
    {{"tunnel_rif_of_4660_is_stored_and_appended_as_0x1234"},
     "RPF-ID: 3, Tunnel RIF: 4660\n",
     {{0, {{"rif", "0x1234"}}}},
     {"0x1234"}},
    {{"two_rpf_ids_on_one_line_open_two_entries_and_the_handle_fills_the_second"},
     "RPF-ID: 1, RPF-ID: 2, MDT Handle: 0x1f\n",
     {{0, {}}, {1, {{"mdt_handle", "0x1f"}}}}},
    {{"fields_on_later_lines"},
     "RPF-ID: 1\n  MDT Handle: 1f\nRPF-ID: 2\n\n  Tunnel RIF: 5",
     {{0, {{"mdt_handle", "1f"}}}, {1, {{"rif", "0x5"}}}},
     {"0x5"}},
    {{"duplicate_rifs_are_all_appended"},
     "RPF-ID: 1, Tunnel RIF: 5\nRPF-ID: 2, Tunnel RIF: 5\n",
     {{0, {{"rif", "0x5"}}}, {1, {{"rif", "0x5"}}}},
     {"0x5", "0x5"}},
    {{"later_field_of_an_entry_replaces_the_earlier"},
     "RPF-ID: 1, Tunnel RIF: 5, Tunnel RIF: 6\n",
     {{0, {{"rif", "0x6"}}}},
     {"0x5", "0x6"}},
    {{"one_item_that_passes_all_tests"},
     "RPF-ID MDT Handle Tunnel RIF: 12\n",
     {{0, {{"mdt_handle", "12"}, {"rif", "0xc"}}}},
     {"0xc"}},
    {{"comma_without_a_blank_ends_no_item"},
     "RPF-ID: 1,MDT Handle: 1f\n",
     {{0, {{"mdt_handle", "1MDTHandle"}}}}},
    {{"value_ends_at_the_next_separator"},
     "RPF-ID: 1, MDT Handle: 0x1f: 0x20\n",
     {{0, {{"mdt_handle", "0x1f"}}}}},
    {{"value_is_cleaned"},
     "RPF-ID: 1, MDT Handle: <0x_1f-\xc3\xa4 G\t7>\r\n",
     {{0, {{"mdt_handle", "0x1fG7"}}}}},
    {{"handle_without_a_letter_or_digit_is_empty"},
     "RPF-ID: 1, MDT Handle: -\n",
     {{0, {{"mdt_handle", ""}}}}},
    {{"rpf_id_is_any_character"}, "RPF-ID:  \n", {{0, {}}}},
    {{"rpf_id_that_begins_like_a_separator"}, "RPF-ID: : 3\n", {{0, {}}}},
    {{"rif_with_leading_zeros"}, "RPF-ID: 1, Tunnel RIF: 0012\n", {{0, {{"rif", "0xc"}}}}, {"0xc"}},
    {{"rif_of_zero"}, "RPF-ID: 1, Tunnel RIF: 0\n", {{0, {{"rif", "0x0"}}}}, {"0x0"}},
    {{"rif_is_cleaned_first"},
     "RPF-ID: 1, Tunnel RIF: -4_6,60 \n",
     {{0, {{"rif", "0x1234"}}}},
     {"0x1234"}},
    {{"rif_of_more_than_64_bits"},
     "RPF-ID: 1, Tunnel RIF: 18446744073709551616\n",
     {{0, {{"rif", "0x10000000000000000"}}}},
     {"0x10000000000000000"}},
};

class MribOutput : public MulticastDumps, public ::testing::WithParamInterface<OutputCase> {};

TEST_P(MribOutput, is_taken_apart) {
  mrib_prints(GetParam().output);
  dump_mrib();
  EXPECT_THAT(run_state().mribkeys.nodes(), ElementsAre(Pair(kRp, GetParam().entries)));
  EXPECT_EQ(run_state().rifs.list(), GetParam().rifs);
  EXPECT_EQ(read_text(kMribFile), render(run_state().mribkeys.nodes()));
}

INSTANTIATE_TEST_SUITE_P(Outputs, MribOutput, ::testing::ValuesIn(kMribOutputs),
                         row_name<OutputCase>);

#define ENTRY_AHEAD "RPF-ID: 1, MDT Handle: 1f, Tunnel RIF: 5\n"
const BadOutputCase kBadMribOutputs[] = {
    {{"rpf_id_without_separator"},
     ENTRY_AHEAD "RPF-ID 2\nRPF-ID: 3",
     "\"RPF-ID 2\" has no \": \"",
     {{0, {{"mdt_handle", "1f"}, {"rif", "0x5"}}}, {1, {}}},
     {"0x5"}},
    {{"rpf_id_missing"},
     ENTRY_AHEAD "RPF-ID: , MDT Handle: 20",
     "\"RPF-ID: \" has no RPF id",
     {{0, {{"mdt_handle", "1f"}, {"rif", "0x5"}}}, {1, {}}},
     {"0x5"}},
    {{"handle_without_separator"},
     ENTRY_AHEAD "MDT Handle=20",
     "\"MDT Handle=20\" has no \": \"",
     {{0, {{"mdt_handle", "1f"}, {"rif", "0x5"}}}},
     {"0x5"}},
    {{"handle_before_any_entry"},
     "MDT Handle: 1f, RPF-ID: 1\n",
     "\"MDT Handle: 1f\" belongs to no entry",
     {}},
    {{"rif_without_separator"},
     ENTRY_AHEAD "Tunnel RIF 6",
     "\"Tunnel RIF 6\" has no \": \"",
     {{0, {{"mdt_handle", "1f"}, {"rif", "0x5"}}}},
     {"0x5"}},
    {{"rif_in_hexadecimal"},
     ENTRY_AHEAD "Tunnel RIF: 0x6",
     "is not a decimal number",
     {{0, {{"mdt_handle", "1f"}, {"rif", "0x5"}}}},
     {"0x5"}},
    {{"rif_without_digits"},
     ENTRY_AHEAD "Tunnel RIF: ",
     "is not a decimal number",
     {{0, {{"mdt_handle", "1f"}, {"rif", "0x5"}}}},
     {"0x5"}},
    {{"rif_behind_a_comma_without_a_blank"},
     "RPF-ID: 1,Tunnel RIF: 6",
     "is not a decimal number",
     {{0, {}}}},
    {{"rif_before_any_entry"}, "Tunnel RIF: 6\n", "\"Tunnel RIF: 6\" belongs to no entry", {}},
};
#undef ENTRY_AHEAD

class BadMribOutput : public MulticastDumps, public ::testing::WithParamInterface<BadOutputCase> {};

TEST_P(BadMribOutput, keeps_what_was_stored_so_far) {
  mrib_prints(GetParam().output);
  const std::string error = error_of<CheckError>([this] { dump_mrib(); });
  EXPECT_THAT(error, HasSubstr(mrib_command(kRp) + ": "));
  EXPECT_THAT(error, HasSubstr(GetParam().complaint));
  EXPECT_THAT(run_state().mribkeys.nodes(), ElementsAre(Pair(kRp, GetParam().entries)));
  EXPECT_EQ(run_state().rifs.list(), GetParam().rifs);
  EXPECT_EQ(read_text(kMribFile), "");
}

INSTANTIATE_TEST_SUITE_P(Outputs, BadMribOutput, ::testing::ValuesIn(kBadMribOutputs),
                         row_name<BadOutputCase>);

TEST_F(MulticastDumps, mrib_entries_replace_those_of_the_node_while_rifs_grow) {
  mrib_prints("RPF-ID: 1, Tunnel RIF: 5\nRPF-ID: 2, Tunnel RIF: 6\n");
  dump_mrib();
  mrib_prints("RPF-ID: 1, Tunnel RIF: 7\n");
  dump_mrib();
  EXPECT_THAT(run_state().mribkeys.nodes(),
              ElementsAre(Pair(kRp, MulticastEntries{{0, {{"rif", "0x7"}}}})));
  EXPECT_THAT(run_state().rifs.list(), ElementsAre("0x5", "0x6", "0x7"));
}

TEST_F(MulticastDumps, mrib_file_that_cannot_be_made_ends_it_before_the_command) {
  fs::create_directory(kMribFile);
  run_state().rifs.expect({"RP0"});
  const RecordedCommands commands;
  EXPECT_THAT(error_of<std::system_error>([this] { dump_mrib(); }), HasSubstr(kMribFile));
  EXPECT_THAT(commands.lines(), IsEmpty());
  EXPECT_THAT(run_state().mribkeys.nodes(), IsEmpty());
  run_state().rifs.wait();
  fs::remove(kMribFile);
}

// ---- Bud objects

TEST_F(MulticastDumps, bud_object_command_and_its_output_file) {
  const RecordedCommands commands;
  dump_buds();
  EXPECT_THAT(commands.lines(), ElementsAre(bud_command(kCard)));
  EXPECT_THAT(commands.outputs(), ElementsAre("/tmp/zorbec_mplsmdtbud_3.log"));
}

TEST_F(MulticastDumps, bud_object_dump_file_shows_the_whole_table) {
  run_state().mplsmdtbudobj.store("192.0.0.8", {{0, {{"rif", "0x7"}}}});
  buds_print("mplsmdtbud (id:12)\n");
  dump_buds();
  EXPECT_EQ(read_text(kBudFile), render(run_state().mplsmdtbudobj.nodes()));
  EXPECT_THAT(read_text(kBudFile), HasSubstr("{\"0\": {\"mdt_bud_obj\": \"12\"}}"));
  EXPECT_THAT(read_text(kBudFile), HasSubstr("{\"0\": {\"rif\": \"0x7\"}}"));
}

const OutputCase kBudOutputs[] = {
    {{"nothing"}, "", {}},
    {{"nothing_of_interest"}, "Objects (count: 0)\n", {}},
    {{"one_object"},
     "Object: mplsmdtbud (id:0x30_8a, ref:2)\n  tun_rif => 4660,\n",
     {{0, {{"mdt_bud_obj", "0x308aref"}, {"rif", "0x1234"}}}}},
    {{"two_objects"},
     "mplsmdtbud(id:1)\ntun_rif=>5\nother => x\nmplsmdtbud(id:2)\ntun_rif=>6",
     {{0, {{"mdt_bud_obj", "1"}, {"rif", "0x5"}}}, {1, {{"mdt_bud_obj", "2"}, {"rif", "0x6"}}}}},
    {{"object_without_a_rif"}, "mplsmdtbud(id:1)\n", {{0, {{"mdt_bud_obj", "1"}}}}},
    {{"identifier_ends_at_the_next_bracket"},
     "a:b mplsmdtbud(id:12(34)\n",
     {{0, {{"mdt_bud_obj", "12"}}}}},
    {{"identifier_ends_at_the_next_colon"},
     "mplsmdtbud(id:12:34)\n",
     {{0, {{"mdt_bud_obj", "12"}}}}},
    {{"rif_ends_at_the_next_arrow"},
     "mplsmdtbud(id:1)\ntun_rif => 5 => 6\n",
     {{0, {{"mdt_bud_obj", "1"}, {"rif", "0x5"}}}}},
    {{"one_line_that_passes_both_tests"},
     "mplsmdtbud(id:1) tun_rif => 5\n",
     {{0, {{"mdt_bud_obj", "1tunrif5"}, {"rif", "0x5"}}}}},
};

class BudOutput : public MulticastDumps, public ::testing::WithParamInterface<OutputCase> {};

TEST_P(BudOutput, is_taken_apart) {
  buds_print(GetParam().output);
  dump_buds();
  EXPECT_THAT(run_state().mplsmdtbudobj.nodes(), ElementsAre(Pair(kCard, GetParam().entries)));
  EXPECT_THAT(run_state().rifs.list(), IsEmpty());
  EXPECT_EQ(read_text(kBudFile), render(run_state().mplsmdtbudobj.nodes()));
}

INSTANTIATE_TEST_SUITE_P(Outputs, BudOutput, ::testing::ValuesIn(kBudOutputs),
                         row_name<OutputCase>);

const BadOutputCase kBadBudOutputs[] = {
    {{"object_without_bracket"},
     "mplsmdtbud(id:1)\nmplsmdtbud id:2\n",
     "\"mplsmdtbud id:2\" has no \"(\"",
     {{0, {{"mdt_bud_obj", "1"}}}, {1, {}}}},
    {{"object_without_colon_behind_the_bracket"},
     "mplsmdtbud(id:1)\nid: mplsmdtbud(2)\n",
     "\"2)\" has no \":\"",
     {{0, {{"mdt_bud_obj", "1"}}}, {1, {}}}},
    {{"rif_without_arrow"},
     "mplsmdtbud(id:1)\ntun_rif = 5\n",
     "\"tun_rif = 5\" has no \"=>\"",
     {{0, {{"mdt_bud_obj", "1"}}}}},
    {{"rif_that_is_no_decimal_number"},
     "mplsmdtbud(id:1)\ntun_rif => 0x5\n",
     "is not a decimal number",
     {{0, {{"mdt_bud_obj", "1"}}}}},
    {{"rif_before_any_entry"},
     "tun_rif => 5\nmplsmdtbud(id:1)\n",
     "\"tun_rif => 5\" belongs to no entry",
     {}},
};

class BadBudOutput : public MulticastDumps, public ::testing::WithParamInterface<BadOutputCase> {};

TEST_P(BadBudOutput, keeps_what_was_stored_so_far) {
  buds_print(GetParam().output);
  const std::string error = error_of<CheckError>([this] { dump_buds(); });
  EXPECT_THAT(error, HasSubstr(bud_command(kCard) + ": "));
  EXPECT_THAT(error, HasSubstr(GetParam().complaint));
  EXPECT_THAT(run_state().mplsmdtbudobj.nodes(), ElementsAre(Pair(kCard, GetParam().entries)));
  EXPECT_EQ(read_text(kBudFile), "");
}

INSTANTIATE_TEST_SUITE_P(Outputs, BadBudOutput, ::testing::ValuesIn(kBadBudOutputs),
                         row_name<BadOutputCase>);

TEST_F(MulticastDumps, bud_objects_replace_those_of_the_node) {
  buds_print("mplsmdtbud(id:1)\nmplsmdtbud(id:2)\n");
  dump_buds();
  buds_print("mplsmdtbud(id:3)\n");
  dump_buds();
  EXPECT_THAT(run_state().mplsmdtbudobj.nodes(),
              ElementsAre(Pair(kCard, MulticastEntries{{0, {{"mdt_bud_obj", "3"}}}})));
}

// ---- Hardware entries of the tunnel RIFs

TEST_F(MulticastDumps, pmdb_commands_and_their_output_files_in_list_order) {
  know_rifs({"0x9", "0x5", "0x9"});
  const RecordedCommands commands;
  dump_pmdb();
  EXPECT_THAT(commands.lines(), ElementsAre(pmdb_command(kCard, "0x9"), pmdb_command(kCard, "0x5"),
                                            pmdb_command(kCard, "0x9")));
  EXPECT_THAT(commands.outputs(),
              ElementsAre("/tmp/zorbec_pmdb_0x9.log", "/tmp/zorbec_pmdb_0x5.log",
                          "/tmp/zorbec_pmdb_0x9.log"));
}

TEST_F(MulticastDumps, without_rifs_no_pmdb_command_runs_and_the_nodes_map_is_empty) {
  const RecordedCommands commands;
  dump_pmdb();
  EXPECT_THAT(commands.lines(), IsEmpty());
  EXPECT_THAT(run_state().mcastpmdbkeys.nodes(), ElementsAre(Pair(kCard, IsEmpty())));
  EXPECT_EQ(read_text(kPmdbFile), "{\"" + kCard + "\": {}}\n");
}

TEST_F(MulticastDumps, pmdb_entries_run_parallel_to_the_rifs) {
  know_rifs({"0x9", "0x5", "0x7"});
  pmdb_prints("0x9", "intf_info.port_ifh: 1\nintf_info.rif: 9\n");
  pmdb_prints("0x5", "");
  pmdb_prints("0x7", "intf_info.port_ifh: 2\nintf_info.rif: 7\n");
  dump_pmdb();
  EXPECT_THAT(
      run_state().mcastpmdbkeys.nodes(),
      ElementsAre(Pair(kCard, MulticastEntries{{0, {{"pmdb_port_ifh", "1"}, {"rif", "9"}}},
                                               {2, {{"pmdb_port_ifh", "2"}, {"rif", "7"}}}})));
  EXPECT_EQ(read_text(kPmdbFile), render(run_state().mcastpmdbkeys.nodes()));
}

TEST_F(MulticastDumps, later_run_asks_for_the_rifs_of_earlier_ones_too) {
  know_rifs({"0x9"});
  dump_pmdb();
  know_rifs({"0x5"});
  const RecordedCommands commands;
  pmdb_prints("0x5", "intf_info.port_ifh: 1\n");
  dump_pmdb();
  EXPECT_THAT(commands.lines(),
              ElementsAre(pmdb_command(kCard, "0x9"), pmdb_command(kCard, "0x5")));
  EXPECT_THAT(run_state().mcastpmdbkeys.nodes(),
              ElementsAre(Pair(kCard, MulticastEntries{{1, {{"pmdb_port_ifh", "1"}}}})));
}

const OutputCase kPmdbOutputs[] = {
    {{"nothing_gives_no_entry"}, "", {}},
    {{"nothing_of_interest_gives_no_entry"}, "intf_info.lif: 5\n", {}},
    {{"both_fields"},
     "intf_info.port_ifh: 0x20_1f,\nintf_info.rif: 0x5)\n",
     {{0, {{"pmdb_port_ifh", "0x201f"}, {"rif", "0x5"}}}}},
    {{"rif_is_not_converted"},
     "intf_info.port_ifh: 1\nintf_info.rif: 4660\n",
     {{0, {{"pmdb_port_ifh", "1"}, {"rif", "4660"}}}}},
    {{"rif_need_not_be_a_number"},
     "intf_info.port_ifh: 1\nintf_info.rif: none\n",
     {{0, {{"pmdb_port_ifh", "1"}, {"rif", "none"}}}}},
    {{"second_port_ifh_discards_the_fields_read_from_the_first"},
     "intf_info.port_ifh: 1\nintf_info.rif: 0x5\nintf_info.port_ifh: 2\n",
     {{0, {{"pmdb_port_ifh", "2"}}}}},
    {{"later_rif_replaces_the_earlier"},
     "intf_info.port_ifh: 1\nintf_info.rif: 0x5\nintf_info.rif: 0x6\n",
     {{0, {{"pmdb_port_ifh", "1"}, {"rif", "0x6"}}}}},
    {{"value_ends_at_the_next_separator"},
     "intf_info.port_ifh: 1: 2\n",
     {{0, {{"pmdb_port_ifh", "1"}}}}},
    {{"one_line_that_passes_both_tests"},
     "intf_info.port_ifh intf_info.rif: 5\n",
     {{0, {{"pmdb_port_ifh", "5"}, {"rif", "5"}}}}},
};

class PmdbOutput : public MulticastDumps, public ::testing::WithParamInterface<OutputCase> {};

TEST_P(PmdbOutput, is_taken_apart) {
  know_rifs({"0x5"});
  pmdb_prints("0x5", GetParam().output);
  dump_pmdb();
  EXPECT_THAT(run_state().mcastpmdbkeys.nodes(), ElementsAre(Pair(kCard, GetParam().entries)));
}

INSTANTIATE_TEST_SUITE_P(Outputs, PmdbOutput, ::testing::ValuesIn(kPmdbOutputs),
                         row_name<OutputCase>);

const MulticastRecord kRecordAhead = {{"pmdb_port_ifh", "1"}};

const BadOutputCase kBadPmdbOutputs[] = {
    {{"port_ifh_without_separator"},
     "intf_info.port_ifh=2\n",
     "\"intf_info.port_ifh=2\" has no \": \"",
     {{0, kRecordAhead}, {1, {}}}},
    {{"rif_without_separator"},
     "intf_info.port_ifh: 2\nintf_info.rif=5\n",
     "\"intf_info.rif=5\" has no \": \"",
     {{0, kRecordAhead}, {1, {{"pmdb_port_ifh", "2"}}}}},
    {{"rif_before_the_entry_of_its_number"},
     "intf_info.rif: 5\nintf_info.port_ifh: 2\n",
     "\"intf_info.rif: 5\" belongs to no entry",
     {{0, kRecordAhead}}},
};

class BadPmdbOutput : public MulticastDumps, public ::testing::WithParamInterface<BadOutputCase> {};

TEST_P(BadPmdbOutput, keeps_what_was_stored_so_far_and_asks_for_no_further_rif) {
  know_rifs({"0x9", "0x5", "0x7"});
  pmdb_prints("0x9", "intf_info.port_ifh: 1\n");
  pmdb_prints("0x5", GetParam().output);
  pmdb_prints("0x7", "intf_info.port_ifh: 3\n");
  const RecordedCommands commands;
  const std::string error = error_of<CheckError>([this] { dump_pmdb(); });
  EXPECT_THAT(error, HasSubstr(pmdb_command(kCard, "0x5") + ": "));
  EXPECT_THAT(error, HasSubstr(GetParam().complaint));
  EXPECT_EQ(commands.lines().size(), 2U);
  EXPECT_THAT(run_state().mcastpmdbkeys.nodes(), ElementsAre(Pair(kCard, GetParam().entries)));
  EXPECT_EQ(read_text(kPmdbFile), "");
}

INSTANTIATE_TEST_SUITE_P(Outputs, BadPmdbOutput, ::testing::ValuesIn(kBadPmdbOutputs),
                         row_name<BadOutputCase>);

// ---- All three

TEST_F(MulticastDumps,
       address_none_mrib_and_pmdb_do_nothing_and_bud_objects_are_asked_for_all_the_same) {
  know_rifs({"0x5"});
  const RecordedCommands commands;
  check_mrib_dump("None", "RP0", dl_fd);
  check_pmdb_dump("None", "3", dl_fd);
  EXPECT_THAT(commands.lines(), IsEmpty());
  EXPECT_FALSE(fs::exists(kMribFile));
  EXPECT_FALSE(fs::exists(kPmdbFile));
  EXPECT_THAT(run_state().mribkeys.nodes(), IsEmpty());
  EXPECT_THAT(run_state().mcastpmdbkeys.nodes(), IsEmpty());
  check_mdtbudobj_dump("None", "3", dl_fd);
  EXPECT_THAT(commands.lines(), ElementsAre(bud_command("None")));
  EXPECT_THAT(run_state().mplsmdtbudobj.nodes(), ElementsAre(Pair("None", IsEmpty())));
}

TEST_F(MulticastDumps, write_nothing_to_the_log_or_standard_output) {
  know_rifs({"0x5"});
  mrib_prints("RPF-ID: 1\n");
  const CapturedStream standard_output(STDOUT_FILENO);
  dump_mrib();
  dump_buds();
  dump_pmdb();
  EXPECT_EQ(log_text(), "");
  EXPECT_EQ(standard_output.text(), "");
}

// Both make the same file when they begin.
TEST_F(MulticastDumps, file_shows_the_node_whose_tool_took_longest_too) {
  for (const char* file : {"/tmp/began", "/tmp/go_on"}) fs::remove(file);
  tools.install("ssh", "case $3 in " + kCard +
                           ") touch /tmp/began; until [ -e /tmp/go_on ]; do sleep 0.02; done\n"
                           "echo 'mplsmdtbud(id:1)';; esac");
  auto slow = std::async(std::launch::async, [this] { dump_buds(); });
  while (!fs::exists("/tmp/began")) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  dump_buds("192.0.0.8");
  EXPECT_EQ(read_text(kBudFile), "{\"192.0.0.8\": {}}\n");
  write_text("/tmp/go_on", "");
  slow.get();
  EXPECT_EQ(read_text(kBudFile),
            "{\"192.0.0.6\": {\"0\": {\"mdt_bud_obj\": \"1\"}}, \"192.0.0.8\": {}}\n");
}

// ---- The task of one node

struct TaskCase : Row {
  const char* nodetype;
  int router;
  const char* first;  // the tool of the first collector, null if nothing is collected
};

const TaskCase kTasks[] = {
    {{"route_processor"}, "RP", 1, "mcroute_print"},
    {{"route_processor_of_model_2"}, "RP", 2, "mcroute_print"},
    {{"route_processor_of_model_7"}, "RP", 7, "mcroute_print"},
    {{"line_card"}, "LC", 1, "fwdobj_print"},
    {{"line_card_of_model_2"}, "LC", 2, "fwdobj_print"},
    {{"line_card_of_model_9"}, "LC", 9, "fwdobj_print"},
    {{"type_none_before_the_model_is_probed"}, "None", 0, nullptr},
    {{"type_none_of_an_unknown_model"}, "None", 1, nullptr},
    {{"type_none_of_model_2"}, "None", 2, "fwdobj_print"},
    {{"type_none_of_model_3"}, "None", 3, nullptr},
    {{"type_none_of_model_4"}, "None", 4, nullptr},
    {{"type_none_of_model_5"}, "None", 5, nullptr},
    {{"type_none_of_model_6"}, "None", 6, nullptr},
    {{"type_none_of_model_7"}, "None", 7, "fwdobj_print"},
    {{"type_none_of_model_8"}, "None", 8, nullptr},
    {{"type_none_of_model_9"}, "None", 9, nullptr},
    {{"empty_type"}, "", 1, nullptr},
    {{"empty_type_of_model_7"}, "", 7, "fwdobj_print"},
    {{"type_in_lower_case"}, "rp", 1, nullptr},
    {{"longer_type"}, "LCX", 1, nullptr},
};

class McastDumpTask : public MulticastDumps {
 protected:
  McastDumpTask() { record.nodeip = kCard; }

  void run(const std::string& node, const std::string& nodetype) {
    mcast_dump_task(node, record, dl_fd, nodetype);
  }

  // The names of the tools that were started on the node.
  static Texts tools_of(const RecordedCommands& commands) {
    Texts names;
    for (const std::string& line : commands.lines()) {
      const std::string tool = line.substr(line.rfind('/') + 1);
      names.push_back(tool.substr(0, tool.find(' ')));
    }
    return names;
  }

  NodeRecord record;
};

class NodeTypes : public McastDumpTask, public ::testing::WithParamInterface<TaskCase> {};

TEST_P(NodeTypes, decide_what_is_collected) {
  know_rifs({"0x5"});
  run_state().router = GetParam().router;
  const RecordedCommands commands;
  run("3", GetParam().nodetype);
  if (GetParam().first == nullptr) {
    EXPECT_THAT(commands.lines(), IsEmpty());
  } else {
    EXPECT_THAT(tools_of(commands), ElementsAre(GetParam().first, "hwkey_dump"));
  }
}

INSTANTIATE_TEST_SUITE_P(Nodes, NodeTypes, ::testing::ValuesIn(kTasks), row_name<TaskCase>);

TEST_F(McastDumpTask, route_processor_is_asked_for_its_own_rifs) {
  record.nodeip = kRp;
  mrib_prints("RPF-ID: 1, Tunnel RIF: 4660\n");
  const RecordedCommands commands;
  run("RP0", "RP");
  EXPECT_THAT(commands.lines(), ElementsAre(mrib_command(kRp), pmdb_command(kRp, "0x1234")));
  EXPECT_THAT(commands.outputs(),
              ElementsAre("/tmp/zorbec_mrib_RP0.log", "/tmp/zorbec_pmdb_0x1234.log"));
}

TEST_F(McastDumpTask, failing_mrib_collector_leaves_the_pmdb_out) {
  record.nodeip = kRp;
  know_rifs({"0x5"});
  mrib_prints("Tunnel RIF: 5\n");
  const RecordedCommands commands;
  error_of<CheckError>([this] { run("RP0", "RP"); });
  EXPECT_THAT(tools_of(commands), ElementsAre("mcroute_print"));
  EXPECT_THAT(run_state().mcastpmdbkeys.nodes(), IsEmpty());
}

TEST_F(McastDumpTask, failing_bud_object_collector_leaves_the_pmdb_out_and_waits_for_nobody) {
  know_rifs({"0x5"});
  run_state().rifs.expect({"RP0"});
  buds_print("tun_rif => 5\n");
  const RecordedCommands commands;
  error_of<CheckError>([this] { run("3", "LC"); });
  EXPECT_THAT(tools_of(commands), ElementsAre("fwdobj_print"));
  EXPECT_THAT(run_state().mcastpmdbkeys.nodes(), IsEmpty());
}

TEST_F(McastDumpTask, record_without_address_runs_no_command) {
  record.nodeip.reset();
  const RecordedCommands commands;
  EXPECT_EQ(error_of<CheckError>([this] { run("3", "LC"); }), "the node record has no nodeip");
  EXPECT_THAT(commands.lines(), IsEmpty());
}

struct ReportCase : Row {
  const char* output;  // of the route processor's tool
  const char* nodeip;  // of the route processor
  bool fails;
  std::size_t rifs;  // that the line card then asks for
};

const ReportCase kReports[] = {
    {{"finished"}, "RPF-ID: 1, Tunnel RIF: 5\nRPF-ID: 2, Tunnel RIF: 6\n", "192.0.0.1", false, 2},
    {{"found_nothing"}, "", "192.0.0.1", false, 0},
    {{"failed"}, "RPF-ID: 1, Tunnel RIF: 5\nTunnel RIF: x\n", "192.0.0.1", true, 1},
    {{"has_no_address"}, "", "None", false, 0},
};

class LineCardWaits : public McastDumpTask, public ::testing::WithParamInterface<ReportCase> {};

TEST_P(LineCardWaits, until_the_route_processor_has_ended) {
  mrib_prints(GetParam().output);
  run_state().rifs.expect({"RP0"});
  const RecordedCommands commands;
  auto card = std::async(std::launch::async, [this] { run("3", "LC"); });
  EXPECT_EQ(card.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
  EXPECT_THAT(run_state().mcastpmdbkeys.nodes(), IsEmpty());

  LogStream log("/tmp/mcast_debug_logs_RP0.txt");
  if (GetParam().fails) {
    error_of<CheckError>([&] { check_mrib_dump(GetParam().nodeip, "RP0", log); });
  } else {
    check_mrib_dump(GetParam().nodeip, "RP0", log);
  }
  card.get();
  const Texts names = tools_of(commands);
  EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(names, "hwkey_dump")), GetParam().rifs);
  EXPECT_THAT(run_state().mcastpmdbkeys.nodes(), ElementsAre(Pair(kCard, IsEmpty())));
}

INSTANTIATE_TEST_SUITE_P(RouteProcessor, LineCardWaits, ::testing::ValuesIn(kReports),
                         row_name<ReportCase>);

}  // namespace
}  // namespace zorbec::unit
