#include "context/run_state.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/mutex.h"
#include "base/ordered_map.h"
#include "context/node_table_pattern.h"
#include "context/this_machine.h"
#include "tables/node_record.h"
#include "tests/unit/support/errors.h"
#include "tests/unit/support/rows.h"
#include "tests/unit/support/threads.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using unit::error_of;

TEST(RunState, is_created_empty_and_anew_each_time) {
  EXPECT_FALSE(run_state_is_up());
  bring_up_run_state(this_machine());
  ASSERT_TRUE(run_state_is_up());
  run_state().router = 8;
  run_state().vmcnt = 3;
  run_state().nodeinfo.set("RP0", std::make_shared<NodeRecord>());
  shut_down_run_state();
  EXPECT_FALSE(run_state_is_up());

  bring_up_run_state(this_machine());
  const RunState& state = run_state();
  EXPECT_EQ(state.router, 0);
  EXPECT_EQ(state.vmcnt, 0);
  EXPECT_EQ(state.activenode_cnt, 0);
  EXPECT_EQ(state.standbynode_cnt, 0);
  EXPECT_EQ(state.is_mdtbudobj, 0);
  EXPECT_TRUE(state.nodeinfo.empty());
  EXPECT_EQ(state.activenodeinfo, nullptr);
  EXPECT_EQ(state.standbynodeinfo, nullptr);
  EXPECT_FALSE(state.nodename.has_value());
  EXPECT_EQ(state.db_file.get(), nullptr);
  EXPECT_EQ(state.dl_fd.get(), nullptr);
  EXPECT_TRUE(state.pmdb_keys.nodes().empty());
  EXPECT_TRUE(state.pidb_physical_ifh.nodes().empty());
  shut_down_run_state();
}

TEST(RunState, each_class_has_a_table_of_its_own) {
  bring_up_run_state(this_machine());
  std::set<const InterfaceTables*> tables;
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    tables.insert(&run_state().interfaces(intf_class));
  }
  EXPECT_EQ(tables.size(), kEnumCount<InterfaceClass>);
  shut_down_run_state();
}

TEST(RunState, node_table_pattern_takes_a_node_table_line_apart) {
  bring_up_run_state(this_machine());
  std::smatch groups;
  const std::string line = "0/3/CPU0 LC (ACTIVE) NONE IMAGE READY 192.0.0.6";
  ASSERT_TRUE(std::regex_match(line, groups, run_state().sh_plat_vm_regex->regex));
  EXPECT_THAT(std::vector<std::string>(groups.begin() + 1, groups.end()),
              ElementsAre("3", "LC", "ACTIVE", "NONE", "IMAGE READY", "192.0.0.6"));
  shut_down_run_state();
}

// ---------------------------------------------------------------------------------------------

TEST(SharedSlot, is_empty_at_first) {
  const SharedSlot<int> slot;
  EXPECT_EQ(slot.get(), nullptr);
}

TEST(SharedSlot, object_lives_until_its_last_user_lets_go_of_it) {
  SharedSlot<int> slot;
  slot.set(std::make_shared<int>(1));
  std::shared_ptr<int> user = slot.get();
  const std::weak_ptr<int> first = user;
  slot.set(std::make_shared<int>(2));
  EXPECT_EQ(*user, 1);
  EXPECT_EQ(*slot.get(), 2);
  user.reset();
  EXPECT_TRUE(first.expired());
  slot.set(nullptr);
  EXPECT_EQ(slot.get(), nullptr);
}

TEST(SharedSlot, may_be_replaced_while_others_use_it) {
  SharedSlot<std::string> slot;
  slot.set(std::make_shared<std::string>("0"));
  unit::in_threads(5, [&](std::size_t number) {
    for (int i = 0; i < 1000; ++i) {
      if (number == 0) {
        slot.set(std::make_shared<std::string>(std::to_string(i)));
      } else {
        EXPECT_FALSE(slot.get()->empty());
      }
    }
  });
  EXPECT_EQ(*slot.get(), "999");
}

// ---------------------------------------------------------------------------------------------

TEST(OrderedMap, keeps_the_order_of_insertion_and_a_replaced_value_its_place) {
  OrderedMap<int> map;
  map.set("RP0", 1);
  map.set("10", 2);
  map.set("2", 3);
  map.set("RP0", 4);
  EXPECT_EQ(map.size(), 3U);
  EXPECT_THAT(std::vector(map.begin(), map.end()),
              ElementsAre(Pair("RP0", 4), Pair("10", 2), Pair("2", 3)));
}

TEST(OrderedMap, looking_for_a_name_does_not_insert_it) {
  OrderedMap<int> map;
  EXPECT_EQ(map.find("RP0"), nullptr);
  EXPECT_TRUE(map.empty());
  map.set("RP0", 1);
  *map.find("RP0") = 2;
  EXPECT_EQ(*std::as_const(map).find("RP0"), 2);
  map.clear();
  EXPECT_EQ(map.find("RP0"), nullptr);
  map.set("2", 3);
  EXPECT_THAT(std::vector(map.begin(), map.end()), ElementsAre(Pair("2", 3)));
}

TEST(NodeRecord, missing_field_is_another_thing_than_an_empty_one) {
  NodeRecord record;
  record.nodeip = "";
  EXPECT_EQ(required(record.nodeip, "nodeip"), "");
  EXPECT_EQ(error_of<CheckError>([&] { required(record.nodetype, "nodetype"); }),
            "the node record has no nodetype");
}

// ---------------------------------------------------------------------------------------------

TEST(Errors, name_the_call_the_path_and_the_reason) {
  EXPECT_EQ(error_of<std::system_error>([] {
              errno = EACCES;
              throw_errno("open", "/tmp/x");
            }),
            "open /tmp/x: Permission denied");
  EXPECT_EQ(error_of<std::system_error>([] { throw_error_number(EAGAIN, "posix_spawn", "bash"); }),
            "posix_spawn bash: Resource temporarily unavailable");
}

struct QuotesCase : unit::Row {
  std::string text;
  std::string quoted;
};

class InQuotes : public ::testing::TestWithParam<QuotesCase> {};

TEST_P(InQuotes, stands_on_one_line) {
  EXPECT_EQ(in_quotes(GetParam().text), GetParam().quoted);
}

INSTANTIATE_TEST_SUITE_P(
    Text, InQuotes,
    ::testing::Values(QuotesCase{"empty", "", R"("")"}, QuotesCase{"plain", "a b", R"("a b")"},
                      QuotesCase{"quotes_and_backslashes", R"(a"\)", R"("a\"\\")"},
                      QuotesCase{"control_characters", "\n\t\x7f\x1b", R"("\n\x09\x7f\x1b")"},
                      QuotesCase{"nul_byte", std::string("a\0b", 3), R"("a\x00b")"},
                      QuotesCase{"beyond_ascii", "\xc3\xa9", R"("\xc3\xa9")"},
                      QuotesCase{"longest", std::string(80, 'x'),
                                 "\"" + std::string(80, 'x') + "\""},
                      QuotesCase{"too_long", std::string(81, 'x'),
                                 "\"" + std::string(80, 'x') + "\"... (81 bytes)"}),
    unit::row_name<QuotesCase>);

}  // namespace
}  // namespace zorbec
