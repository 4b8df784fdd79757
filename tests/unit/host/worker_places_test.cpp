#include "host/facts/worker_places.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace zorbec {
namespace {

using event::Step;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> nodes_at(const std::vector<Place>& places) {
  std::vector<std::string> nodes;
  for (const Place& place : places) nodes.push_back(place.node);
  return nodes;
}

// A worker that goes on telling until the test lets it go.
class ToldWorker {
 public:
  ToldWorker(WorkerPlaces& places, const std::string& node)
      : thread_([this, &places, node] {
          places.follow(event::WorkerStarted{node, "dump"});
          started_.set_value();
          end_.get_future().wait();
          last_ = places.follow(event::WorkerEnded{node, "dump", nullptr});
        }) {
    started_.get_future().wait();
  }
  ToldWorker(const ToldWorker&) = delete;
  ToldWorker& operator=(const ToldWorker&) = delete;
  ~ToldWorker() {
    if (thread_.joinable()) end();
  }
  Place end() {
    end_.set_value();
    thread_.join();
    return last_;
  }

 private:
  std::promise<void> started_;
  std::promise<void> end_;
  Place last_;
  std::thread thread_;
};

TEST(WorkerPlaces, thread_that_started_no_worker_has_no_node) {
  WorkerPlaces places;
  const Place place = places.follow(event::RunStarted{0});
  EXPECT_EQ(place.node, "");
  EXPECT_EQ(place.task, "");
  EXPECT_EQ(place.step, std::nullopt);
  EXPECT_THAT(places.running(), IsEmpty());
}

TEST(WorkerPlaces, worker_is_followed_from_step_to_step) {
  WorkerPlaces places;
  const Place started = places.follow(event::WorkerStarted{"1", "dump"});
  EXPECT_EQ(started.node, "1");
  EXPECT_EQ(started.task, "dump");
  EXPECT_EQ(started.step, std::nullopt);

  const Place step =
      places.follow(event::StepStarted{"1", Step::kPidbFile, InterfaceClass::kBundle});
  EXPECT_EQ(step.node, "1");
  EXPECT_EQ(step.step, Step::kPidbFile);
  EXPECT_EQ(step.intf_class, InterfaceClass::kBundle);

  const Place next = places.follow(event::StepStarted{"1", Step::kPmdb, {}});
  EXPECT_EQ(next.step, Step::kPmdb);
  EXPECT_EQ(next.intf_class, std::nullopt);

  const Place other = places.follow(event::TunnelsAsked{"1", true, 5});
  EXPECT_EQ(other.step, Step::kPmdb);
}

TEST(WorkerPlaces, command_is_known_while_it_runs) {
  WorkerPlaces places;
  places.follow(event::WorkerStarted{"1", "dump"});
  const auto before = std::chrono::steady_clock::now();
  const Place running = places.follow(event::CommandStarted{"ssh 192.0.1.1 hwkey_dump"});
  EXPECT_EQ(running.command, "ssh 192.0.1.1 hwkey_dump");
  EXPECT_GE(running.since, before);
  EXPECT_LE(running.since, std::chrono::steady_clock::now());
  ASSERT_EQ(places.running().size(), 1U);
  EXPECT_EQ(places.running().front().command, "ssh 192.0.1.1 hwkey_dump");

  const Place ended = places.follow(event::CommandEnded{"ssh 192.0.1.1 hwkey_dump", 0, {}, 0});
  EXPECT_EQ(ended.command, "");
  EXPECT_EQ(places.running().front().command, "");
}

TEST(WorkerPlaces, main_thread_runs_only_while_it_has_a_command) {
  WorkerPlaces places;
  places.follow(event::CommandStarted{"relinfo_print"});
  EXPECT_THAT(nodes_at(places.running()), ElementsAre(""));
  places.follow(event::CommandEnded{"relinfo_print", 0, {}, 1});
  EXPECT_THAT(places.running(), IsEmpty());
}

TEST(WorkerPlaces, end_of_a_worker_still_has_its_place) {
  WorkerPlaces places;
  places.follow(event::WorkerStarted{"1", "dump"});
  places.follow(event::StepStarted{"1", Step::kPmdb, {}});
  const Place last = places.follow(event::WorkerEnded{"1", "dump", nullptr});
  EXPECT_EQ(last.node, "1");
  EXPECT_EQ(last.step, Step::kPmdb);
  EXPECT_THAT(places.running(), IsEmpty());
}

TEST(WorkerPlaces, next_worker_of_a_thread_begins_anew) {
  WorkerPlaces places;
  places.follow(event::WorkerStarted{"1", "dump"});
  places.follow(event::StepStarted{"1", Step::kPidbFile, InterfaceClass::kBvi});
  places.follow(event::CommandStarted{"true"});
  const Place place = places.follow(event::WorkerStarted{"2", "verify"});
  EXPECT_EQ(place.node, "2");
  EXPECT_EQ(place.task, "verify");
  EXPECT_EQ(place.step, std::nullopt);
  EXPECT_EQ(place.intf_class, std::nullopt);
  EXPECT_EQ(place.command, "");
}

TEST(WorkerPlaces, workers_are_listed_by_node) {
  WorkerPlaces places;
  places.follow(event::CommandStarted{"relinfo_print"});
  ToldWorker third(places, "3");
  ToldWorker processor(places, "RP0");
  ToldWorker first(places, "1");
  EXPECT_THAT(nodes_at(places.running()), ElementsAre("", "1", "3", "RP0"));
  EXPECT_EQ(third.end().node, "3");
  EXPECT_THAT(nodes_at(places.running()), ElementsAre("", "1", "RP0"));
  EXPECT_EQ(first.end().node, "1");
  EXPECT_EQ(processor.end().node, "RP0");
  EXPECT_THAT(nodes_at(places.running()), ElementsAre(""));
}

}  // namespace
}  // namespace zorbec
