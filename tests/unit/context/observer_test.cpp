#include <gmock/gmock.h>
#include <sys/wait.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "context/execute.h"
#include "context/tell.h"
#include "context/this_machine.h"
#include "tests/unit/support/run_state_test.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;

// Writes down the commands that it is told of.
class CommandWatch : public Observer {
 public:
  void observe(const Event& event) override {
    if (const auto* started = std::get_if<event::CommandStarted>(&event)) {
      told.push_back("start " + std::string(started->command));
    } else if (const auto* ended = std::get_if<event::CommandEnded>(&event)) {
      told.push_back("end " + std::string(ended->command));
      last = *ended;
    }
  }

  std::vector<std::string> told;
  event::CommandEnded last{};
};

class ObserverTest : public unit::RunStateTest {};

TEST_F(ObserverTest, without_an_observer_no_event_is_made) {
  EXPECT_FALSE(is_watched());
  bool is_made = false;
  tell([&] {
    is_made = true;
    return event::RouterProbed{1};
  });
  EXPECT_FALSE(is_made);
}

TEST_F(ObserverTest, with_one_the_event_is_made_once_and_observed) {
  class : public Observer {
   public:
    void observe(const Event& event) override {
      model = std::get<event::RouterProbed>(event).model;
    }
    int model = 0;
  } observer;
  run_state().observer = &observer;
  int made = 0;
  tell([&] {
    ++made;
    return event::RouterProbed{8};
  });
  EXPECT_EQ(made, 1);
  EXPECT_EQ(observer.model, 8);
}

TEST_F(ObserverTest, command_is_told_with_its_status_and_size) {
  CommandWatch watch;
  run_state().observer = &watch;
  EXPECT_EQ(execute("printf 12345; exit 7"), "12345");
  EXPECT_THAT(watch.told, ElementsAre("start printf 12345; exit 7", "end printf 12345; exit 7"));
  EXPECT_TRUE(WIFEXITED(watch.last.status));
  EXPECT_EQ(WEXITSTATUS(watch.last.status), 7);
  EXPECT_EQ(watch.last.output_bytes, 5U);
  EXPECT_GT(watch.last.took.count(), 0);
}

TEST_F(ObserverTest, command_that_a_signal_ended_is_told_so) {
  CommandWatch watch;
  run_state().observer = &watch;
  execute("kill -9 $$");
  EXPECT_TRUE(WIFSIGNALED(watch.last.status));
  EXPECT_EQ(WTERMSIG(watch.last.status), 9);
}

TEST_F(ObserverTest, what_an_observer_throws_ends_whoever_told_it) {
  class : public Observer {
   public:
    void observe(const Event&) override { throw std::runtime_error("seen enough"); }
  } observer;
  run_state().observer = &observer;
  EXPECT_THROW(execute("true"), std::runtime_error);
}

TEST_F(ObserverTest, run_state_is_brought_up_without_one) {
  CommandWatch watch;
  run_state().observer = &watch;
  shut_down_run_state();
  bring_up_run_state(this_machine());
  EXPECT_FALSE(is_watched());
}

}  // namespace
}  // namespace zorbec
