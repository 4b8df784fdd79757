#include "platform/platform_probes.h"

#include <gmock/gmock.h>

#include <string>

#include "base/error.h"
#include "base/integer.h"
#include "context/run_state.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/recorded_commands.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/run_state_test.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using unit::error_of;

class Probes : public unit::RunStateTest {};

// ---------------------------------------------------------------------------------------------

struct BannerCase : unit::Row {
  std::string banner;
  int code;
};

class RouterType : public Probes, public ::testing::WithParamInterface<BannerCase> {};

TEST_P(RouterType, follows_from_the_banner) {
  tools.answer("relinfo_print", GetParam().banner);
  EXPECT_EQ(get_router_type(), GetParam().code);
  EXPECT_EQ(run_state().router, GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(
    Banner, RouterType,
    ::testing::Values(
        BannerCase{"kvr_7700_gives_3", "Router KVR-7700 (x86) processor, 32 GB\n", 3},
        BannerCase{"kvr_330_gives_2", "KVR-330 processor\n", 2},
        BannerCase{"kvr_310_gives_4", "KVR-310 () processor\n", 4},
        BannerCase{"kvr_310_without_brackets_is_unknown", "KVR-310 processor\n", 1},
        BannerCase{"k310x_gives_9", "K310X processor\n", 9},
        BannerCase{"k310_alone_gives_5", "K310 processor\n", 5},
        BannerCase{"kvr_78q4_gives_7", "KVR-78Q4 processor\n", 7},
        BannerCase{"ddc_gives_8", "DDC processor\n", 8},
        BannerCase{"t4400_gives_6", "T4400-61QX-M2 processor\n", 6},
        BannerCase{"kvr_7700_and_kvr_330_give_3", "KVR-330 or KVR-7700 processor\n", 3},
        BannerCase{"kvr_330_and_ddc_give_2", "DDC KVR-330 processor\n", 2},
        BannerCase{"model_within_a_word", "xxK310Xyy processor\n", 9},
        BannerCase{"unknown_model_gives_1", "K2900 processor\n", 1},
        BannerCase{"lower_case_is_unknown", "ddc processor\n", 1},
        BannerCase{"without_processor_gives_1", "KVR-7700\n", 1},
        BannerCase{"empty_gives_1", "", 1},
        BannerCase{"model_behind_processor_is_not_looked_at", "a processor KVR-7700\n", 1},
        BannerCase{"only_the_first_processor_line_counts",
                   "Version 1\nK310 processor\nKVR-7700 processor\n", 5},
        BannerCase{"model_on_another_line_is_not_looked_at", "KVR-7700\nsome processor\n", 1},
        BannerCase{"line_of_only_the_word_does_not_count", "processor\nDDC processor\n", 8},
        BannerCase{"line_that_begins_with_the_word_counts_up_to_the_next",
                   "processor DDC processor\n", 8},
        BannerCase{"text_between_two_processors_is_not_looked_at", "a processor DDC processor\n",
                   1},
        BannerCase{"word_may_stand_at_the_end_without_newline", "DDC processor", 8},
        BannerCase{"plural_counts", "DDC processors\n", 8}),
    unit::row_name<BannerCase>);

TEST_F(Probes, model_is_probed_once) {
  tools.answer("relinfo_print", "DDC processor\n");
  const unit::RecordedCommands commands;
  EXPECT_EQ(get_router_type(), 8);
  tools.answer("relinfo_print", "K310 processor\n");
  EXPECT_EQ(get_router_type(), 8);
  EXPECT_THAT(commands.lines(), ElementsAre("/pkg/bin/relinfo_print"));
}

TEST_F(Probes, line_as_long_as_a_tool_can_write_does_no_harm) {
  tools.answer("relinfo_print", std::string(1'000'000, 'x') + " K310X processor\n");
  EXPECT_EQ(get_router_type(), 9);
}

// ---------------------------------------------------------------------------------------------

struct SlotCase : unit::Row {
  int router;
  std::string node;
  std::string index;
};

class RackSlotSsp : public Probes, public ::testing::WithParamInterface<SlotCase> {};

TEST_P(RackSlotSsp, of_a_node_is) {
  run_state().router = GetParam().router;
  EXPECT_EQ(get_rack_slot_ssp(GetParam().node).decimal(), GetParam().index);
}

INSTANTIATE_TEST_SUITE_P(
    Node, RackSlotSsp,
    ::testing::Values(
        SlotCase{"slot_3", 1, "3", "3"}, SlotCase{"slot_63", 1, "63", "63"},
        SlotCase{"slot_64_wraps", 1, "64", "0"},
        SlotCase{"node_65_on_code_1_gives_1", 1, "65", "1"},
        SlotCase{"leading_zeros", 1, "007", "7"}, SlotCase{"wide", 1, "18446744073709551617", "1"},
        SlotCase{"negative", 1, "-1", "63"}, SlotCase{"code_3", 3, "65", "1"},
        SlotCase{"code_4", 4, "65", "1"}, SlotCase{"code_6", 6, "65", "1"},
        SlotCase{"code_2_gives_0", 2, "65", "0"}, SlotCase{"code_5_gives_0", 5, "65", "0"},
        SlotCase{"code_7_gives_0", 7, "65", "0"}, SlotCase{"code_8_gives_0", 8, "65", "0"},
        SlotCase{"code_9_gives_0", 9, "65", "0"},
        SlotCase{"code_8_gives_0_for_every_node", 8, "D0", "0"}),
    unit::row_name<SlotCase>);

class NoSlot : public Probes, public ::testing::WithParamInterface<SlotCase> {};

TEST_P(NoSlot, is_an_error) {
  run_state().router = GetParam().router;
  EXPECT_THAT(error_of<CheckError>([] { get_rack_slot_ssp(GetParam().node); }),
              HasSubstr("is not a decimal number"));
}

INSTANTIATE_TEST_SUITE_P(Node, NoSlot,
                         ::testing::Values(SlotCase{"route_processor", 1, "RP0", ""},
                                           SlotCase{"empty", 1, "", ""},
                                           SlotCase{"digits_and_more", 1, "3a", ""},
                                           SlotCase{"hexadecimal", 1, "0x3", ""}),
                         unit::row_name<SlotCase>);

TEST_F(Probes, slot_that_has_to_be_read_is_taken_modulo_64) {
  run_state().router = 1;
  EXPECT_EQ(get_rack_slot_ssp([] { return Integer(65); }).decimal(), "1");
}

TEST_F(Probes, slot_is_not_even_read_on_code_8) {
  run_state().router = 8;
  EXPECT_TRUE(get_rack_slot_ssp([]() -> Integer { throw CheckError("was read"); }).is_zero());
}

TEST_F(Probes, slot_that_cannot_be_read_is_the_error_of_who_reads_it) {
  run_state().router = 1;
  EXPECT_EQ(error_of<CheckError>(
                [] { get_rack_slot_ssp([]() -> Integer { throw CheckError("no slot"); }); }),
            "no slot");
}

TEST_F(Probes, slot_asks_for_the_model_if_it_is_not_known) {
  tools.answer("relinfo_print", "DDC processor\n");
  EXPECT_TRUE(get_rack_slot_ssp("65").is_zero());
  EXPECT_EQ(run_state().router, 8);
}

// ---------------------------------------------------------------------------------------------

struct UptimeCase : unit::Row {
  std::string output;
  double seconds;
};

class Uptime : public Probes, public ::testing::WithParamInterface<UptimeCase> {};

TEST_P(Uptime, is_the_first_number) {
  tools.answer("ssh", GetParam().output);
  EXPECT_DOUBLE_EQ(get_node_uptime("192.0.0.6"), GetParam().seconds);
}

INSTANTIATE_TEST_SUITE_P(Output, Uptime,
                         ::testing::Values(UptimeCase{"two_numbers", "12345.67 54321.00\n",
                                                      12345.67},
                                           UptimeCase{"one_number", "7", 7},
                                           UptimeCase{"blanks_before", " \n 1.5 2\n", 1.5},
                                           UptimeCase{"exponent", "1e3 2\n", 1000}),
                         unit::row_name<UptimeCase>);

class NoUptime : public Probes, public ::testing::WithParamInterface<UptimeCase> {};

TEST_P(NoUptime, is_an_error) {
  tools.answer("ssh", GetParam().output);
  EXPECT_THAT(error_of<CheckError>([] { get_node_uptime("192.0.0.6"); }),
              HasSubstr("is not a number of seconds"));
}

INSTANTIATE_TEST_SUITE_P(Output, NoUptime,
                         ::testing::Values(UptimeCase{"empty", "", 0},
                                           UptimeCase{"only_blanks", " \n", 0},
                                           UptimeCase{"words", "Connection refused\n", 0},
                                           UptimeCase{"number_and_more", "12x 5\n", 0}),
                         unit::row_name<UptimeCase>);

TEST_F(Probes, uptime_is_asked_over_ssh) {
  tools.answer("ssh", "1.0 2.0\n");
  const unit::RecordedCommands commands;
  get_node_uptime("192.0.0.6");
  EXPECT_THAT(commands.lines(),
              ElementsAre("ssh  -o 'StrictHostKeyChecking=no ' 192.0.0.6 cat /proc/uptime"));
}

// ---------------------------------------------------------------------------------------------

struct ScaleCase : unit::Row {
  std::string configuration;
  std::string scale;
  int mode;
};

class BundleScale : public Probes, public ::testing::WithParamInterface<ScaleCase> {
 protected:
  BundleScale() { tools.answer("confdump", GetParam().configuration); }
};

TEST_P(BundleScale, is_read_from_the_configuration) {
  EXPECT_EQ(get_bundle_scale(), GetParam().scale);
}
TEST_P(BundleScale, gives_the_scale_mode) {
  EXPECT_EQ(get_spa_mode(), GetParam().mode);
}

INSTANTIATE_TEST_SUITE_P(
    Configuration, BundleScale,
    ::testing::Values(
        ScaleCase{"without_hw_module_profile_gives_256", "name: r1\n", "256", 0},
        ScaleCase{"empty_gives_256", "", "256", 0},
        ScaleCase{"scale_256", "hw-module profile bundle-scale 256\n", "256", 0},
        ScaleCase{"scale_512", "hw-module profile bundle-scale 512\n", "512", 1},
        ScaleCase{"scale_1024", "hw-module profile bundle-scale 1024\n", "1024", 2},
        ScaleCase{"scale_2048_gives_mode_10", "hw-module profile bundle-scale 2048\n", "2048", 10},
        ScaleCase{"leading_zeros_are_another_text", "hw-module profile bundle-scale 0512\n", "0512",
                  10},
        ScaleCase{"digits_end_at_what_is_none", "hw-module profile bundle-scale 512k\n", "512", 1},
        ScaleCase{"first_scale_counts",
                  "hw-module profile bundle-scale 1024\nhw-module profile bundle-scale 512\n",
                  "1024", 2},
        ScaleCase{"scale_without_number_is_passed_over",
                  "hw-module profile bundle-scale x\nhw-module profile bundle-scale 512\n", "512",
                  1},
        ScaleCase{"among_other_lines",
                  "a\nhw-module profile filters\n hw-module profile bundle-scale 512\nb\n", "512",
                  1},
        ScaleCase{"more_digits_than_a_number_holds",
                  "hw-module profile bundle-scale 99999999999999999999999\n",
                  "99999999999999999999999", 10}),
    unit::row_name<ScaleCase>);

class NoBundleScale : public Probes, public ::testing::WithParamInterface<ScaleCase> {
 protected:
  NoBundleScale() { tools.answer("confdump", GetParam().configuration); }
};

TEST_P(NoBundleScale, is_an_error) {
  EXPECT_THAT(error_of<CheckError>([] { get_bundle_scale(); }),
              HasSubstr("without a bundle-scale number"));
  EXPECT_THROW(get_spa_mode(), CheckError);
}

INSTANTIATE_TEST_SUITE_P(
    Configuration, NoBundleScale,
    ::testing::Values(ScaleCase{"other_profile", "hw-module profile filters\n", "", 0},
                      ScaleCase{"no_digits", "hw-module profile bundle-scale\n", "", 0},
                      ScaleCase{"two_blanks", "hw-module profile bundle-scale  512\n", "", 0},
                      ScaleCase{"negative", "hw-module profile bundle-scale -512\n", "", 0}),
    unit::row_name<ScaleCase>);

TEST_F(Probes, bundle_scale_is_asked_without_the_tool_folder) {
  tools.answer("confdump", "");
  const unit::RecordedCommands commands;
  get_spa_mode();
  EXPECT_THAT(commands.lines(),
              ElementsAre("confdump -c -q gl/early/hw-module/profile/bundle-scale/"));
}

TEST_F(Probes, known_scale_mode_is_taken_without_a_command) {
  tools.answer("confdump", "hw-module profile bundle-scale 512\n");
  const unit::RecordedCommands commands;
  run_state().known_scale_mode = 2;
  EXPECT_EQ(get_spa_mode(), 2);
  EXPECT_THAT(commands.lines(), ::testing::IsEmpty());
}

TEST_F(Probes, missing_tool_answers_nothing) {
  tools.install("relinfo_print", "exec /pkg/bin/no_such_tool");
  tools.install("confdump", "exit 1");
  EXPECT_EQ(get_router_type(), 1);
  EXPECT_EQ(get_spa_mode(), 0);
}

}  // namespace
}  // namespace zorbec
