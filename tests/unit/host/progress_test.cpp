#include "host/check/progress.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace zorbec {
namespace {

using ::testing::MatchesRegex;

// The progress of a run on nodes at these addresses.
class ProgressTest : public ::testing::Test {
 protected:
  // As whoever watches a run does: the places first.
  void tell(const Event& event) {
    places_.follow(event);
    progress.take(event);
  }
  void list_nodes(const std::vector<std::string>& addresses) {
    NodeInfo nodes;
    for (const std::string& address : addresses) {
      const auto record = std::make_shared<NodeRecord>();
      record->nodeip = address;
      nodes.set(std::to_string(nodes.size()), record);
    }
    tell(event::NodesListed{nodes});
  }
  void end_worker() { progress.take(event::WorkerEnded{"0", "dump", nullptr}); }

 private:
  WorkerPlaces places_;

 protected:
  Progress progress{places_};
};

TEST_F(ProgressTest, begins_with_the_set_up) {
  EXPECT_EQ(progress.line(), "interfaces, set-up");
}

TEST_F(ProgressTest, counts_the_nodes_that_are_done) {
  list_nodes({"192.0.0.1", "192.0.1.1", "192.0.2.1"});
  EXPECT_EQ(progress.line(), "interfaces, set-up");
  tell(event::PhaseStarted{event::Phase::kDump});
  EXPECT_EQ(progress.line(), "interfaces, dump: 0 of 3 nodes done");
  end_worker();
  end_worker();
  EXPECT_EQ(progress.line(), "interfaces, dump: 2 of 3 nodes done");
}

TEST_F(ProgressTest, nodes_without_an_address_are_not_waited_for) {
  list_nodes({"192.0.0.1", std::string(kNone), "192.0.2.1"});
  tell(event::PhaseStarted{event::Phase::kDump});
  EXPECT_EQ(progress.line(), "interfaces, dump: 0 of 2 nodes done");
}

TEST_F(ProgressTest, single_node_is_not_counted) {
  list_nodes({"192.0.0.1"});
  tell(event::PhaseStarted{event::Phase::kDump});
  EXPECT_EQ(progress.line(), "interfaces, dump");
}

TEST_F(ProgressTest, each_phase_counts_anew) {
  list_nodes({"192.0.0.1", "192.0.1.1"});
  tell(event::PhaseStarted{event::Phase::kDump});
  end_worker();
  end_worker();
  tell(event::PhaseEnded{event::Phase::kDump});
  EXPECT_EQ(progress.line(), "interfaces, dump: 2 of 2 nodes done");
  tell(event::PhaseStarted{event::Phase::kVerification});
  EXPECT_EQ(progress.line(), "interfaces, verification: 0 of 2 nodes done");
}

TEST_F(ProgressTest, multicast_state_is_compared_by_one_worker) {
  progress.begin(Check::kMulticast);
  list_nodes({"192.0.0.1", "192.0.1.1"});
  tell(event::PhaseStarted{event::Phase::kDump});
  EXPECT_EQ(progress.line(), "multicast, dump: 0 of 2 nodes done");
  tell(event::PhaseStarted{event::Phase::kVerification});
  EXPECT_EQ(progress.line(), "multicast, verification");
}

TEST_F(ProgressTest, next_check_begins_anew) {
  list_nodes({"192.0.0.1", "192.0.1.1"});
  tell(event::PhaseStarted{event::Phase::kDump});
  progress.begin(Check::kMulticast);
  EXPECT_EQ(progress.line(), "multicast, set-up");
}

TEST_F(ProgressTest, tells_what_is_waited_for) {
  tell(event::CommandStarted{"relinfo_print"});
  EXPECT_THAT(progress.line(),
              MatchesRegex("interfaces, set-up; waiting for relinfo_print \\([0-9]+ s\\)"));
  tell(event::CommandEnded{"relinfo_print", 0, {}, 1});
  EXPECT_EQ(progress.line(), "interfaces, set-up");
}

TEST_F(ProgressTest, tells_which_node_is_waited_for) {
  tell(event::WorkerStarted{"3", "dump"});
  EXPECT_EQ(progress.line(), "interfaces, set-up");
  tell(event::CommandStarted{"scp root@192.0.3.1:/tmp/a b"});
  EXPECT_THAT(
      progress.line(),
      MatchesRegex(
          "interfaces, set-up; waiting for node 3: scp root@192.0.3.1:/tmp/a b \\([0-9]+ s\\)"));
}

TEST_F(ProgressTest, all_that_is_waited_for_stands_in_one_line) {
  tell(event::CommandStarted{"confdump"});
  std::thread([this] {
    tell(event::WorkerStarted{"3", "dump"});
    tell(event::CommandStarted{"ssh 192.0.3.1 hwkey_dump"});
  }).join();
  EXPECT_THAT(progress.line(),
              MatchesRegex("interfaces, set-up; waiting for confdump \\([0-9]+ s\\), node 3: ssh "
                           "192.0.3.1 hwkey_dump \\([0-9]+ s\\)"));
}

}  // namespace
}  // namespace zorbec
