#include "host/verdict/ground.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

#include "host/verdict/problems.h"
#include "tests/unit/host/sound_run.h"
#include "tests/unit/support/rows.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using unit::node_of;
using unit::sound_run;

constexpr const char* kKnown = "known";

// A problem of a test by its detail.
std::string text_of(const Problem* problem) {
  return problem == nullptr ? kKnown : problem->detail;
}

Problem doubt_about(const std::string& detail) {
  return {Reason::kStale, "a dump", detail};
}

ClassFacts& class_at(RunFacts& run, const std::string& node, InterfaceClass intf_class) {
  return node_of(run, node).classes[intf_class];
}

struct GroundCase : unit::Row {
  std::function<void(RunFacts&)> change;  // of the sound run
  std::string node;
  InterfaceClass intf_class;
  std::string problem;
};

const GroundCase kGroundCases[] = {
    {{"all_is_known"}, [](RunFacts&) {}, "1", InterfaceClass::kBvi, kKnown},
    {{"processor_goes_by_the_cards"}, [](RunFacts&) {}, "RP0", InterfaceClass::kBvi, kKnown},
    {{"node_that_nobody_knows"},
     [](RunFacts&) {},
     "9",
     InterfaceClass::kBvi,
     "the check of this node ended before this part of it"},
    {{"set_up_is_in_doubt"},
     [](RunFacts& run) {
       run.set_up = {doubt_about("set-up")};
       node_of(run, "1").pidb = {doubt_about("its own")};
     },
     "1",
     InterfaceClass::kBvi,
     "set-up"},
    {{"set_up_is_in_doubt_for_processors_too"},
     [](RunFacts& run) { run.set_up = {doubt_about("set-up")}; },
     "RP0",
     InterfaceClass::kBvi,
     "set-up"},
    {{"whole_dump_is_in_doubt"},
     [](RunFacts& run) {
       node_of(run, "1").pidb = {doubt_about("first"), doubt_about("second")};
       class_at(run, "1", InterfaceClass::kBvi).problems = {doubt_about("class")};
     },
     "1",
     InterfaceClass::kBvi,
     "first"},
    {{"own_class_is_in_doubt"},
     [](RunFacts& run) {
       class_at(run, "1", InterfaceClass::kBvi).problems = {doubt_about("class")};
     },
     "1",
     InterfaceClass::kBvi,
     "class"},
    {{"other_class_is_in_doubt"},
     [](RunFacts& run) {
       class_at(run, "1", InterfaceClass::kBundle).problems = {doubt_about("class")};
     },
     "1",
     InterfaceClass::kBvi,
     kKnown},
    {{"other_node_is_in_doubt"},
     [](RunFacts& run) { node_of(run, "2").pidb = {doubt_about("other")}; },
     "1",
     InterfaceClass::kBvi,
     kKnown},
    {{"bundles_get_keys_from_ports"},
     [](RunFacts& run) {
       class_at(run, "1", InterfaceClass::kPhysical).problems = {doubt_about("ports")};
     },
     "1",
     InterfaceClass::kBundle,
     "ports"},
    {{"sub_interfaces_of_bundles_get_keys_from_ports"},
     [](RunFacts& run) {
       class_at(run, "1", InterfaceClass::kPhysical).problems = {doubt_about("ports")};
     },
     "1",
     InterfaceClass::kBundleSubif,
     "ports"},
    {{"sub_interfaces_of_ports_do_not"},
     [](RunFacts& run) {
       class_at(run, "1", InterfaceClass::kPhysical).problems = {doubt_about("ports")};
     },
     "1",
     InterfaceClass::kPhysicalSubif,
     kKnown},
    {{"bundles_own_doubt_comes_first"},
     [](RunFacts& run) {
       class_at(run, "1", InterfaceClass::kPhysical).problems = {doubt_about("ports")};
       class_at(run, "1", InterfaceClass::kBundle).problems = {doubt_about("bundles")};
     },
     "1",
     InterfaceClass::kBundle,
     "bundles"},
    {{"class_was_never_loaded"},
     [](RunFacts& run) { class_at(run, "1", InterfaceClass::kBvi).interfaces.reset(); },
     "1",
     InterfaceClass::kBvi,
     "the check of this node ended before this part of it"},
    {{"nobody_asked_for_tunnels"},
     [](RunFacts& run) { node_of(run, "1").has_tunnels.reset(); },
     "1",
     InterfaceClass::kGre,
     "the check of this node ended before this part of it"},
    {{"tunnels_were_never_loaded"},
     [](RunFacts& run) { class_at(run, "1", InterfaceClass::kGre).interfaces.reset(); },
     "1",
     InterfaceClass::kGre,
     "the check of this node ended before this part of it"},
    {{"no_tunnels_need_no_dump"},
     [](RunFacts& run) {
       for (const char* const card : {"1", "2"}) {
         node_of(run, card).has_tunnels = false;
         class_at(run, card, InterfaceClass::kGre).interfaces.reset();
       }
     },
     "1",
     InterfaceClass::kGre,
     kKnown},
    {{"only_one_card_saw_no_tunnels"},
     [](RunFacts& run) { node_of(run, "1").has_tunnels = false; },
     "1",
     InterfaceClass::kGre,
     "other nodes found GRE tunnels in the running configuration, this node found none"},
    {{"tunnels_in_doubt"},
     [](RunFacts& run) {
       class_at(run, "1", InterfaceClass::kGre).problems = {doubt_about("tunnels")};
     },
     "1",
     InterfaceClass::kGre,
     "tunnels"},
    {{"processor_needs_one_card_that_is_known"},
     [](RunFacts& run) { node_of(run, "1").pidb = {doubt_about("first card")}; },
     "RP0",
     InterfaceClass::kBvi,
     kKnown},
    {{"processor_while_no_card_is_known"},
     [](RunFacts& run) {
       node_of(run, "1").pidb = {doubt_about("first card")};
       node_of(run, "2").pidb = {doubt_about("second card")};
     },
     "RP0",
     InterfaceClass::kBvi,
     "first card"},
    {{"processor_without_any_card"},
     [](RunFacts& run) { run.nodes.resize(1); },
     "RP0",
     InterfaceClass::kBvi,
     "the check of this node ended before this part of it"},
};

class GroundOf : public ::testing::TestWithParam<GroundCase> {};

TEST_P(GroundOf, tells_why_interfaces_cannot_be_relied_on) {
  RunFacts run = sound_run();
  GetParam().change(run);
  const Ground ground(run);
  EXPECT_EQ(text_of(ground.problem(GetParam().node, GetParam().intf_class)), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(Interfaces, GroundOf, ::testing::ValuesIn(kGroundCases),
                         unit::row_name<GroundCase>);

std::vector<std::string> names_of_doubtful(const Ground& ground) {
  std::vector<std::string> names;
  for (const NodeFacts* const node : ground.doubtful_nodes()) names.push_back(node->name);
  return names;
}

TEST(Ground, sound_run_leaves_no_doubt) {
  const RunFacts run = sound_run();
  const Ground ground(run);
  EXPECT_THAT(names_of_doubtful(ground), IsEmpty());
  EXPECT_EQ(ground.first_problem(run.nodes[1]), nullptr);
}

TEST(Ground, one_class_makes_a_node_doubtful) {
  RunFacts run = sound_run();
  class_at(run, "2", InterfaceClass::kBvi).problems = {doubt_about("class")};
  const Ground ground(run);
  EXPECT_THAT(names_of_doubtful(ground), ElementsAre("2"));
  EXPECT_EQ(text_of(ground.first_problem(node_of(run, "2"))), "class");
}

TEST(Ground, first_problem_is_that_of_the_first_class) {
  RunFacts run = sound_run();
  class_at(run, "2", InterfaceClass::kGre).problems = {doubt_about("tunnels")};
  class_at(run, "2", InterfaceClass::kPhysicalSubif).problems = {doubt_about("sub-interfaces")};
  EXPECT_EQ(text_of(Ground(run).first_problem(node_of(run, "2"))), "sub-interfaces");
}

TEST(Ground, processor_without_interfaces_of_its_own_is_never_doubtful) {
  RunFacts run = sound_run();
  node_of(run, "1").pidb = node_of(run, "2").pidb = {doubt_about("lost")};
  EXPECT_THAT(names_of_doubtful(Ground(run)), ElementsAre("1", "2"));
}

TEST(Ground, one_worker_that_saw_tunnels_is_enough) {
  RunFacts run = sound_run();
  EXPECT_FALSE(Ground(run).has_no_tunnels());
  node_of(run, "1").has_tunnels = false;
  EXPECT_FALSE(Ground(run).has_no_tunnels());
  node_of(run, "2").has_tunnels.reset();
  EXPECT_TRUE(Ground(run).has_no_tunnels());
}

// Programmed keys.

struct PmdbCase : unit::Row {
  std::function<void(RunFacts&)> change;  // of the sound run
  std::string problem;                    // of node 1
};

const PmdbCase kPmdbCases[] = {
    {{"all_is_known"}, [](RunFacts&) {}, kKnown},
    {{"set_up_is_in_doubt"},
     [](RunFacts& run) {
       run.set_up = {doubt_about("set-up")};
       node_of(run, "1").pmdb = {doubt_about("keys")};
     },
     "set-up"},
    {{"keys_are_in_doubt_though_they_were_loaded"},
     [](RunFacts& run) { node_of(run, "1").pmdb = {doubt_about("keys")}; },
     "keys"},
    {{"interfaces_are_in_doubt_and_keys_are_not"},
     [](RunFacts& run) { node_of(run, "1").pidb = {doubt_about("interfaces")}; },
     kKnown},
    {{"not_loaded_after_the_interfaces_failed"},
     [](RunFacts& run) {
       node_of(run, "1").programmed.reset();
       node_of(run, "1").pidb = {doubt_about("interfaces")};
       class_at(run, "1", InterfaceClass::kBvi).problems = {doubt_about("class")};
     },
     "interfaces"},
    {{"not_loaded_after_a_class_failed"},
     [](RunFacts& run) {
       node_of(run, "1").programmed.reset();
       class_at(run, "1", InterfaceClass::kBvi).problems = {doubt_about("class")};
     },
     "class"},
    {{"not_loaded_and_nothing_says_why"},
     [](RunFacts& run) { node_of(run, "1").programmed.reset(); },
     "the check of this node ended before this part of it"},
};

class PmdbGround : public ::testing::TestWithParam<PmdbCase> {};

TEST_P(PmdbGround, tells_why_keys_cannot_be_relied_on) {
  RunFacts run = sound_run();
  GetParam().change(run);
  EXPECT_EQ(text_of(pmdb_problem(run, node_of(run, "1"))), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(Keys, PmdbGround, ::testing::ValuesIn(kPmdbCases),
                         unit::row_name<PmdbCase>);

}  // namespace
}  // namespace zorbec
