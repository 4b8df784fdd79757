#include "lab/damage.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "lab_process.h"

namespace zorbec::lab {
namespace {

TEST(ParseDamage, reads_all_parts) {
  const std::vector<Damage> damages = parse_damage(
      "# a comment\n"
      "\n"
      "192.0.16.1 ssh late 250  # slow\n"
      "local\tconfdump exit 3\n"
      "* pmdb.dat half");
  ASSERT_EQ(damages.size(), 3U);
  EXPECT_EQ(damages[0].where, "192.0.16.1");
  EXPECT_EQ(damages[0].what, "ssh");
  EXPECT_EQ(damages[0].kind, DamageKind::kLate);
  EXPECT_EQ(damages[0].argument, 250);
  EXPECT_EQ(damages[1].kind, DamageKind::kExit);
  EXPECT_EQ(damages[1].argument, 3);
  EXPECT_EQ(damages[2].what, "pmdb.dat");
  EXPECT_EQ(damages[2].kind, DamageKind::kHalf);
}

struct WrongLine {
  const char* name;
  const char* text;
};

void PrintTo(const WrongLine& row, std::ostream* stream) {
  *stream << row.name;
}

class WrongDamage : public ::testing::TestWithParam<WrongLine> {};

TEST_P(WrongDamage, is_refused) {
  EXPECT_THROW(parse_damage(GetParam().text), std::invalid_argument);
  const TestFolder router;
  router.write("damage.txt", GetParam().text);
  EXPECT_EQ(run_on(router.path(), "true").status, 125);
}

const WrongLine kWrongLines[] = {
    {"too_few_words", "* ssh"},
    {"too_many_words", "* ssh refuse now"},
    {"unknown_tool", "* cat none"},
    {"unknown_kind", "* ssh rust"},
    {"tool_cannot_refuse", "* hwkey_dump refuse"},
    {"tool_has_no_half", "* hwkey_dump half"},
    {"file_is_not_late", "* pmdb.dat late 5"},
    {"late_without_time", "* ssh late"},
    {"late_negative", "* ssh late -1"},
    {"late_with_unit", "* ssh late 5ms"},
    {"exit_beyond_a_status", "* ssh exit 256"},
    {"server_is_not_late", "* sshd late 5"},
    {"session_is_not_cut", "* ssh cut 5"},
    {"copy_is_not_down", "* scp down"},
    {"full_without_size", "* tmp full"},
};

INSTANTIATE_TEST_SUITE_P(All, WrongDamage, ::testing::ValuesIn(kWrongLines),
                         [](const auto& row) { return row.param.name; });

TEST(DamageOfARouter, must_name_a_known_node) {
  const TestFolder router;
  router.write("damage.txt", "192.0.99.1 ssh refuse\n");
  EXPECT_EQ(run_on(router.path(), "true").status, 125);
}

class DamageOfRealServers : public ::testing::TestWithParam<WrongLine> {};

TEST_P(DamageOfRealServers, is_refused_where_there_are_none) {
  const std::vector<Damage> damages = parse_damage(GetParam().text);
  ASSERT_EQ(damages.size(), 1U);
  EXPECT_TRUE(needs_openssh(damages[0]));
  const TestFolder router;
  router.write("damage.txt", GetParam().text);
  const Ended ended = run_on(router.path(), "true");
  EXPECT_EQ(ended.status, 125);
  EXPECT_NE(ended.err.find("--openssh"), std::string::npos) << ended.err;
}

const WrongLine kServerDamages[] = {
    {"down", "* sshd down"},     {"hang", "* sshd hang"},
    {"deny", "* sshd deny"},     {"other_key", "* sshd other-key"},
    {"banner", "* sshd banner"}, {"chatty", "* sshd chatty"},
    {"cut", "* scp cut 5"},      {"stall", "* scp stall 5"},
    {"full", "* tmp full 4"},
};

INSTANTIATE_TEST_SUITE_P(All, DamageOfRealServers, ::testing::ValuesIn(kServerDamages),
                         [](const auto& row) { return row.param.name; });

TEST(DamagesThatHit, come_in_file_order) {
  const std::vector<Damage> damages = parse_damage(
      "* ssh late 1\nlocal ssh late 2\n192.0.16.1 ssh late 3\n192.0.16.1 scp late 4\n"
      "* ssh late 5\n");
  std::vector<int> arguments;
  for (const Damage& damage : damages_that_hit(damages, "192.0.16.1", "ssh")) {
    arguments.push_back(damage.argument);
  }
  EXPECT_EQ(arguments, (std::vector<int>{1, 3, 5}));
}

// One damage line and what a script then prints, on a router with two cards of which the first is
// the one named.
struct EffectCase {
  const char* name;
  const char* damage;
  const char* script;
  const char* out;
};

void PrintTo(const EffectCase& row, std::ostream* stream) {
  *stream << row.name;
}

class DamageEffect : public ::testing::TestWithParam<EffectCase> {
 protected:
  DamageEffect() {
    router.write("banner.txt", "the banner\n");
    for (const char* node : {"nodes/192.0.16.1/", "nodes/192.0.17.1/"}) {
      router.write(std::string(node) + "dumps/pmdb.dat", "0123456789");
      router.write(std::string(node) + "tmp/pmdb.dat", "old");
      router.write(std::string(node) + "out/hwkey_dump", "done\n");
    }
  }

  TestFolder router;
};

TEST_P(DamageEffect, is_as_described) {
  router.write("damage.txt", GetParam().damage);
  const std::string functions =
      "dump() { ssh $1 /pkg/bin/hwkey_dump -g 2> /tmp/err; echo status $?; wc -l < /tmp/err; };"
      "copy() { scp root@$1:/tmp/pmdb.dat /tmp/x 2> /tmp/err; echo status $?; wc -l < /tmp/err;"
      "         test -e /tmp/x && cat /tmp/x; true; };";
  const Ended ended = run_on(router.path(), functions + GetParam().script);
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out, GetParam().out);
}

#define RUBBISH "?? ~~ line noise ~~ {{{ ] ??\n"

const EffectCase kEffects[] = {
    {"no_damage", "", "dump 192.0.16.1; copy 192.0.16.1",
     "done\nstatus 0\n0\nstatus 0\n0\n0123456789"},
    {"other_node_unharmed", "192.0.16.1 ssh refuse", "dump 192.0.17.1", "done\nstatus 0\n0\n"},
    {"ssh_refuse", "192.0.16.1 ssh refuse", "dump 192.0.16.1", "status 255\n1\n"},
    {"ssh_refuse_anywhere", "* ssh refuse", "dump 192.0.17.1", "status 255\n1\n"},
    {"ssh_is_not_local", "local ssh refuse", "dump 192.0.16.1", "done\nstatus 0\n0\n"},
    {"ssh_rubbish", "* ssh rubbish", "dump 192.0.16.1; copy 192.0.16.1",
     RUBBISH "status 0\n0\nstatus 0\n0\nold"},
    {"ssh_none", "* ssh none", "dump 192.0.16.1; copy 192.0.16.1", "status 0\n0\nstatus 0\n0\nold"},
    {"ssh_absent", "* ssh absent", "dump 192.0.16.1", "status 127\n1\n"},
    {"ssh_exit", "* ssh exit 9", "dump 192.0.16.1", "status 9\n1\n"},
    {"scp_refuse", "* scp refuse", "copy 192.0.16.1", "status 255\n1\n"},
    {"scp_rubbish", "* scp rubbish", "copy 192.0.16.1", "status 0\n0\n" RUBBISH},
    {"scp_none", "* scp none", "copy 192.0.16.1", "status 0\n0\n"},
    {"scp_exit", "* scp exit 1", "copy 192.0.16.1", "status 1\n1\n"},
    {"tool_rubbish", "* hwkey_dump rubbish", "dump 192.0.16.1; copy 192.0.16.1",
     RUBBISH "status 0\n0\nstatus 0\n0\n" RUBBISH},
    {"tool_none", "* hwkey_dump none", "dump 192.0.16.1; copy 192.0.16.1",
     "status 0\n0\nstatus 0\n0\nold"},
    {"tool_absent", "* hwkey_dump absent", "dump 192.0.16.1; copy 192.0.16.1",
     "status 127\n1\nstatus 0\n0\nold"},
    {"tool_exit", "* hwkey_dump exit 4", "dump 192.0.16.1; copy 192.0.16.1",
     "status 4\n1\nstatus 0\n0\nold"},
    {"file_rubbish", "* pmdb.dat rubbish", "dump 192.0.16.1; copy 192.0.16.1",
     "done\nstatus 0\n0\nstatus 0\n0\n" RUBBISH},
    {"file_none", "* pmdb.dat none", "dump 192.0.16.1; copy 192.0.16.1",
     "done\nstatus 0\n0\nstatus 0\n0\nold"},
    {"file_half", "* pmdb.dat half", "dump 192.0.16.1; copy 192.0.16.1",
     "done\nstatus 0\n0\nstatus 0\n0\n01234"},
    {"file_empty", "* pmdb.dat empty", "dump 192.0.16.1; copy 192.0.16.1",
     "done\nstatus 0\n0\nstatus 0\n0\n"},
    {"file_damages_in_order", "* pmdb.dat half\n* pmdb.dat half",
     "dump 192.0.16.1; copy 192.0.16.1", "done\nstatus 0\n0\nstatus 0\n0\n01"},
    {"last_outcome_stands", "* hwkey_dump exit 4\n192.0.16.1 hwkey_dump none",
     "dump 192.0.16.1; dump 192.0.17.1", "status 0\n0\nstatus 4\n1\n"},
    {"tool_late", "* hwkey_dump late 1", "dump 192.0.16.1", "done\nstatus 0\n0\n"},
    {"local_tool", "local relinfo_print rubbish", "relinfo_print", RUBBISH},
    {"local_tool_absent", "local relinfo_print absent", "relinfo_print 2> /tmp/err; echo $?",
     "127\n"},
};

#undef RUBBISH

INSTANTIATE_TEST_SUITE_P(All, DamageEffect, ::testing::ValuesIn(kEffects),
                         [](const auto& row) { return row.param.name; });

// The kinds of damage that these lines of damage.txt order.
std::set<std::string> kinds_in(const std::string& text) {
  std::set<std::string> kinds;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string where;
    std::string what;
    std::string kind;
    if (words >> where >> what >> kind) kinds.insert(kind);
  }
  return kinds;
}

TEST(EveryKindOfDamage, is_tried_above) {
  std::set<std::string> shown_by_all;
  for (const EffectCase& row : kEffects) shown_by_all.merge(kinds_in(row.damage));
  std::set<std::string> shown_by_openssh;
  for (const WrongLine& row : kServerDamages) shown_by_openssh.merge(kinds_in(row.text));
  for (const DamageKindRow& row : kDamageKinds) {
    const bool is_for_all = row.shown_by == ShownBy::kAll;
    EXPECT_EQ(shown_by_all.count(std::string(row.name)), is_for_all ? 1U : 0U) << row.name;
    EXPECT_EQ(shown_by_openssh.count(std::string(row.name)), is_for_all ? 0U : 1U) << row.name;
  }
}

TEST(EveryKindOfDamage, hits_what_its_row_says) {
  const std::pair<const char*, unsigned> targets[] = {
      {"ssh", kHitsSsh},        {"scp", kHitsScp},     {"hwkey_dump", kHitsTools},
      {"pmdb.dat", kHitsFiles}, {"sshd", kHitsServer}, {"tmp", kHitsTmp},
  };
  for (const DamageKindRow& row : kDamageKinds) {
    for (const auto& [what, bit] : targets) {
      std::string line = "* " + std::string(what) + " " + std::string(row.name);
      if (row.largest_argument != kNoArgument) line += " " + std::to_string(row.largest_argument);
      if ((row.targets & bit) == 0) {
        EXPECT_THROW(parse_damage(line), std::invalid_argument) << line;
        continue;
      }
      const std::vector<Damage> damages = parse_damage(line);
      ASSERT_EQ(damages.size(), 1U) << line;
      EXPECT_EQ(damages[0].kind, row.kind) << line;
      EXPECT_EQ(needs_openssh(damages[0]), row.shown_by == ShownBy::kOpenssh) << line;
    }
  }
}

TEST(LateDamage, delays_add_up_and_the_answer_stays) {
  const TestFolder router;
  router.write("banner.txt", "the banner\n");
  router.write("damage.txt", "* relinfo_print late 200\nlocal relinfo_print late 150\n");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(run_on(router.path(), "relinfo_print").out, "the banner\n");
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(350));
}

}  // namespace
}  // namespace zorbec::lab
