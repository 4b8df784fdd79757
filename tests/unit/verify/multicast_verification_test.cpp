#include "verify/multicast_verification.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

#include "base/error.h"
#include "context/run_state.h"
#include "tables/multicast_tables.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/recorded_commands.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/verify/node_log_test.h"

namespace zorbec::unit {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string kRp = "192.0.0.1";
const std::string kCard = "192.0.0.6";

// ", mdt handle:" as the route processor's message has it.
const std::string kWideLabel = ", mdt handle:" + std::string(29, ' ');

const MulticastRecord kRoute = {{"rif", "0x12"}, {"mdt_handle", "1f"}};
const MulticastRecord kBud = {{"rif", "0x12"}, {"mdt_bud_obj", "8"}};
const MulticastRecord kHeld = {{"rif", "0x12"}, {"pmdb_port_ifh", "1f"}};

class VerifyMcast : public NodeLogTest {
 protected:
  static void store_routes(const MulticastEntries& entries, const std::string& address = kRp) {
    run_state().mribkeys.store(address, entries);
  }
  static void store_buds(const MulticastEntries& entries, const std::string& address = kCard) {
    run_state().mplsmdtbudobj.store(address, entries);
  }
  static void store_held(const MulticastEntries& entries, const std::string& address) {
    run_state().mcastpmdbkeys.store(address, entries);
  }

  std::string failure() {
    return error_of<CheckError>([this] { verify_mcast(dl_fd); });
  }
};

TEST_F(VerifyMcast,
       empty_mribkeys_logs_three_headings_and_three_empty_renderings_and_prints_nothing) {
  verify_mcast(dl_fd);
  EXPECT_EQ(log_text(),
            "\n mrib rif and ifh handle: \n{}\n"
            "\n pmdb rif and ifh handle \n{}\n"
            "\n mplsmdtbud objects \n{}\n");
  EXPECT_EQ(standard_output.text(), "");
}

TEST_F(VerifyMcast, without_routing_entries_nothing_is_compared) {
  store_buds({{0, {}}});
  store_held({{0, {}}}, kCard);
  verify_mcast(dl_fd);
  EXPECT_EQ(standard_output.text(), "");
}

TEST_F(VerifyMcast, log_holds_the_three_tables_and_no_finding) {
  store_routes({{0, kRoute}});
  store_held({{0, {{"rif", "0x12"}, {"pmdb_port_ifh", "2"}}}}, kRp);
  store_buds({{0, kBud}});
  store_held({{0, kHeld}}, kCard);
  verify_mcast(dl_fd);
  EXPECT_EQ(log_text(), "\n mrib rif and ifh handle: \n" + render(run_state().mribkeys.nodes()) +
                            "\n pmdb rif and ifh handle \n" +
                            render(run_state().mcastpmdbkeys.nodes()) + "\n mplsmdtbud objects \n" +
                            render(run_state().mplsmdtbudobj.nodes()));
  EXPECT_NE(standard_output.text(), "");
}

TEST_F(VerifyMcast, log_holds_the_tables_even_if_the_check_fails) {
  store_routes({{0, kRoute}});
  store_held({}, kRp);
  EXPECT_EQ(failure(), "mcastpmdbkeys of 192.0.0.1: entry 0 is not there");
  EXPECT_THAT(log_text(), HasSubstr("\n mplsmdtbud objects \n{}\n"));
}

TEST_F(VerifyMcast, runs_no_command_and_changes_nothing) {
  store_routes({{0, kRoute}});
  store_held({{0, kHeld}}, kRp);
  const std::string routes = render(run_state().mribkeys.nodes());
  const RecordedCommands commands;
  verify_mcast(dl_fd);
  EXPECT_THAT(commands.lines(), IsEmpty());
  EXPECT_EQ(render(run_state().mribkeys.nodes()), routes);
}

// ---- The route processor's entry against what its own hardware holds

struct RouteProcessorCase : Row {
  MulticastRecord route;
  std::optional<MulticastRecord> held;  // none: the number has no record
  std::string printed;
  std::string complaint = {};  // empty: the check completes
};

const RouteProcessorCase kRouteProcessorCases[] = {
    {{"equal"}, kRoute, kHeld, ""},
    {{"handle_that_is_part_of_a_longer_text_is_consistent"},
     kRoute,
     {{{"rif", "0x12"}, {"pmdb_port_ifh", "a1fb"}}},
     ""},
    {{"rif_that_is_part_of_a_longer_text_counts_as_the_same"},
     kRoute,
     {{{"rif", "0x123"}, {"pmdb_port_ifh", "2"}}},
     "inconsistant data at node 192.0.0.1 rif:0x12" + kWideLabel + "1f\n"},
    {{"another_handle"},
     kRoute,
     {{{"rif", "0x12"}, {"pmdb_port_ifh", "2"}}},
     "inconsistant data at node 192.0.0.1 rif:0x12" + kWideLabel + "1f\n"},
    {{"longer_handle_in_the_routing_entry"},
     {{"rif", "0x12"}, {"mdt_handle", "1f0"}},
     kHeld,
     "inconsistant data at node 192.0.0.1 rif:0x12" + kWideLabel + "1f0\n"},
    {{"empty_handle_is_part_of_any"}, {{"rif", "0x12"}, {"mdt_handle", ""}}, kHeld, ""},
    {{"another_rif_prints_nothing"}, kRoute, {{{"rif", "0x2"}, {"pmdb_port_ifh", "2"}}}, ""},
    {{"shorter_rif_prints_nothing"}, kRoute, {{{"rif", "0x1"}, {"pmdb_port_ifh", "2"}}}, ""},
    {{"none_in_both_fields_prints_nothing"},
     kRoute,
     {{{"rif", "None"}, {"pmdb_port_ifh", "None"}}},
     ""},
    {{"other_fields_are_not_read_if_the_rif_is_another"},
     {{"rif", "0x12"}},
     {{{"rif", "0x2"}}},
     ""},
    {{"number_without_a_record"},
     kRoute,
     std::nullopt,
     "",
     "mcastpmdbkeys of 192.0.0.1: entry 0 is not there"},
    {{"route_without_rif"},
     {{"mdt_handle", "1f"}},
     kHeld,
     "",
     "mribkeys of 192.0.0.1: entry 0 has no rif"},
    {{"route_without_handle"},
     {{"rif", "0x12"}},
     kHeld,
     "",
     "mribkeys of 192.0.0.1: entry 0 has no mdt_handle"},
    {{"hardware_without_rif"},
     kRoute,
     {{{"pmdb_port_ifh", "1f"}}},
     "",
     "mcastpmdbkeys of 192.0.0.1: entry 0 has no rif"},
    {{"hardware_without_port"},
     kRoute,
     {{{"rif", "0x12"}}},
     "",
     "mcastpmdbkeys of 192.0.0.1: entry 0 has no pmdb_port_ifh"},
};

class RouteProcessorCheck : public VerifyMcast,
                            public ::testing::WithParamInterface<RouteProcessorCase> {};

TEST_P(RouteProcessorCheck, compares_by_containment) {
  store_routes({{0, GetParam().route}});
  store_held(GetParam().held ? MulticastEntries{{0, *GetParam().held}} : MulticastEntries{}, kRp);
  if (GetParam().complaint.empty()) {
    verify_mcast(dl_fd);
  } else {
    EXPECT_EQ(failure(), GetParam().complaint);
  }
  EXPECT_EQ(standard_output.text(), GetParam().printed);
}

INSTANTIATE_TEST_SUITE_P(Entries, RouteProcessorCheck, ::testing::ValuesIn(kRouteProcessorCases),
                         row_name<RouteProcessorCase>);

TEST_F(VerifyMcast, route_processor_without_hardware_entries_is_skipped) {
  store_routes({{0, kRoute}});
  verify_mcast(dl_fd);
  EXPECT_EQ(standard_output.text(), "");
}

// ---- A line card's entry against its bud object and what its hardware holds

struct LineCardCase : Row {
  MulticastRecord route;
  std::optional<MulticastRecord> bud;   // none: the number has no record
  std::optional<MulticastRecord> held;  // likewise
  std::string printed;
  std::string complaint = {};  // empty: the check completes
};

const LineCardCase kLineCardCases[] = {
    {{"all_equal"}, kRoute, kBud, kHeld, ""},
    {{"bud_object_rif_0x123_counts_as_present"}, kRoute, {{{"rif", "0x123"}}}, kHeld, ""},
    {{"bud_object_of_another_rif"},
     kRoute,
     {{{"rif", "0x1"}}},
     kHeld,
     "Missing Key in mplsmdtbudobj 0x12\n"},
    {{"hardware_is_not_looked_at_without_the_bud_object"},
     {{"rif", "0x12"}},
     {{{"rif", "0x1"}}},
     std::nullopt,
     "Missing Key in mplsmdtbudobj 0x12\n"},
    {{"hardware_has_no_entry"},
     kRoute,
     kBud,
     std::nullopt,
     "Missing Keys in PMDB rif: 0x12 port ifh: 1f\n"},
    {{"hardware_rif_0x123_is_another"},
     kRoute,
     kBud,
     {{{"rif", "0x123"}, {"pmdb_port_ifh", "1f"}}},
     "inconsistant data at node 192.0.0.6 rif:0x12, mdt handle: 1f\n"},
    {{"handle_that_is_part_of_a_longer_text_is_another"},
     kRoute,
     kBud,
     {{{"rif", "0x12"}, {"pmdb_port_ifh", "a1fb"}}},
     "inconsistant data at node 192.0.0.6 rif:0x12, mdt handle: 1f\n"},
    {{"none_in_both_fields"},
     kRoute,
     kBud,
     {{{"rif", "None"}, {"pmdb_port_ifh", "None"}}},
     "inconsistant data at node 192.0.0.6 rif:0x12, mdt handle: 1f\n"},
    {{"port_is_not_read_if_the_rif_is_another"},
     kRoute,
     kBud,
     {{{"rif", "0x2"}}},
     "inconsistant data at node 192.0.0.6 rif:0x12, mdt handle: 1f\n"},
    {{"no_bud_object_of_that_number"},
     kRoute,
     std::nullopt,
     kHeld,
     "",
     "mplsmdtbudobj of 192.0.0.6: entry 0 is not there"},
    {{"route_without_rif"},
     {{"mdt_handle", "1f"}},
     kBud,
     kHeld,
     "",
     "mribkeys of 192.0.0.1: entry 0 has no rif"},
    {{"bud_object_without_rif"},
     kRoute,
     {{{"mdt_bud_obj", "8"}}},
     kHeld,
     "",
     "mplsmdtbudobj of 192.0.0.6: entry 0 has no rif"},
    {{"missing_in_hardware_and_route_without_handle"},
     {{"rif", "0x12"}},
     kBud,
     std::nullopt,
     "",
     "mribkeys of 192.0.0.1: entry 0 has no mdt_handle"},
    {{"route_without_handle"},
     {{"rif", "0x12"}},
     kBud,
     kHeld,
     "",
     "mribkeys of 192.0.0.1: entry 0 has no mdt_handle"},
    {{"hardware_without_rif"},
     kRoute,
     kBud,
     {{{"pmdb_port_ifh", "1f"}}},
     "",
     "mcastpmdbkeys of 192.0.0.6: entry 0 has no rif"},
    {{"hardware_without_port"},
     kRoute,
     kBud,
     {{{"rif", "0x12"}}},
     "",
     "mcastpmdbkeys of 192.0.0.6: entry 0 has no pmdb_port_ifh"},
};

class LineCardCheck : public VerifyMcast, public ::testing::WithParamInterface<LineCardCase> {};

TEST_P(LineCardCheck, compares_hardware_by_equality) {
  store_routes({{0, GetParam().route}});
  store_buds(GetParam().bud ? MulticastEntries{{0, *GetParam().bud}} : MulticastEntries{});
  store_held(GetParam().held ? MulticastEntries{{0, *GetParam().held}} : MulticastEntries{}, kCard);
  if (GetParam().complaint.empty()) {
    verify_mcast(dl_fd);
  } else {
    EXPECT_EQ(failure(), GetParam().complaint);
  }
  EXPECT_EQ(standard_output.text(), GetParam().printed);
}

INSTANTIATE_TEST_SUITE_P(Entries, LineCardCheck, ::testing::ValuesIn(kLineCardCases),
                         row_name<LineCardCase>);

// As a card whose bud object collector failed leaves it.
TEST_F(VerifyMcast, card_without_hardware_entries_fails_only_where_they_are_needed) {
  store_routes({{0, {{"rif", "0x9"}}}, {1, kRoute}});
  store_buds({{0, kBud}, {1, kBud}});
  EXPECT_EQ(failure(), "mcastpmdbkeys has nothing of 192.0.0.6");
  EXPECT_EQ(standard_output.text(), "Missing Key in mplsmdtbudobj 0x9\n");
}

TEST_F(VerifyMcast, line_card_with_no_bud_objects_at_all_fails_on_its_first_entry) {
  store_routes({{0, kRoute}, {1, kRoute}});
  store_buds({});
  store_held({{0, kHeld}, {1, kHeld}}, kCard);
  EXPECT_EQ(failure(), "mplsmdtbudobj of 192.0.0.6: entry 0 is not there");
  EXPECT_EQ(standard_output.text(), "");
}

TEST_F(VerifyMcast, findings_before_a_failure_stay_and_the_rest_is_not_checked) {
  store_routes({{0, {{"rif", "0x9"}}}, {1, kRoute}, {2, {{"rif", "0x9"}}}});
  store_buds({{0, kBud}, {2, kBud}});
  store_held({}, kCard);
  EXPECT_EQ(failure(), "mplsmdtbudobj of 192.0.0.6: entry 1 is not there");
  EXPECT_EQ(standard_output.text(), "Missing Key in mplsmdtbudobj 0x9\n");
}

TEST_F(VerifyMcast, failure_of_the_route_processor_check_leaves_the_line_cards_out) {
  store_routes({{0, kRoute}});
  store_held({}, kRp);
  store_buds({{0, {{"rif", "0x9"}}}});
  failure();
  EXPECT_EQ(standard_output.text(), "");
}

TEST_F(VerifyMcast, entries_are_matched_by_number) {
  store_routes({{0, {{"rif", "0xa"}, {"mdt_handle", "1"}}}, {1, kRoute}});
  store_buds({{0, kBud}, {1, {{"rif", "0xa"}}}});
  store_held({}, kCard);
  verify_mcast(dl_fd);
  EXPECT_EQ(standard_output.text(),
            "Missing Key in mplsmdtbudobj 0xa\nMissing Key in mplsmdtbudobj 0x12\n");
}

TEST_F(VerifyMcast, entries_are_compared_in_numeric_order) {
  MulticastEntries routes;
  MulticastEntries buds;
  std::string expected;
  for (std::uint32_t number = 0; number < 12; ++number) {
    const std::string rif = "0x" + std::to_string(100 + number);
    routes[number] = {{"rif", rif}};
    buds[number] = {{"rif", ""}};
    expected += "Missing Key in mplsmdtbudobj " + rif + "\n";
  }
  store_routes(routes);
  store_buds(buds);
  verify_mcast(dl_fd);
  EXPECT_EQ(standard_output.text(), expected);
}

TEST_F(VerifyMcast,
       route_processors_come_first_then_card_by_card_then_route_processor_by_route_processor) {
  const std::string rp1 = "192.0.0.2";
  const std::string card4 = "192.0.0.8";
  store_routes({{0, {{"rif", "0xa"}, {"mdt_handle", "1"}}}});
  store_routes({{0, {{"rif", "0xb"}, {"mdt_handle", "2"}}}}, rp1);
  store_buds({{0, kBud}});
  store_buds({{0, {{"rif", "0xb"}}}}, card4);
  store_held({{0, {{"rif", "0xa"}, {"pmdb_port_ifh", ""}}}}, kRp);
  store_held({{0, {{"rif", "0xb"}, {"pmdb_port_ifh", ""}}}}, rp1);
  store_held({}, card4);
  verify_mcast(dl_fd);
  EXPECT_EQ(standard_output.text(),
            "inconsistant data at node 192.0.0.1 rif:0xa" + kWideLabel + "1\n" +
                "inconsistant data at node 192.0.0.2 rif:0xb" + kWideLabel + "2\n" +
                "Missing Key in mplsmdtbudobj 0xa\n"    // 192.0.0.6
                "Missing Key in mplsmdtbudobj 0xb\n"    //
                "Missing Key in mplsmdtbudobj 0xa\n" +  // 192.0.0.8
                "Missing Keys in PMDB rif: 0xb port ifh: 2\n");
}

}  // namespace
}  // namespace zorbec::unit
