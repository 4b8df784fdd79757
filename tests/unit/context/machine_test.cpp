#include "context/machine.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "base/error.h"
#include "context/execute.h"
#include "context/observer.h"
#include "context/run_state.h"
#include "tests/unit/support/answering_machine.h"
#include "tests/unit/support/errors.h"

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using unit::AnsweringRunner;
using unit::Asked;

// A run state that works on a machine on which nothing is started.
class MachineTest : public ::testing::Test {
 protected:
  MachineTest() {
    auto answering = std::make_unique<AnsweringRunner>(
        [](const Asked& asked) { return "answer to " + asked.line; });
    runner = answering.get();
    bring_up_run_state({std::move(answering), std::make_unique<SystemFiles>()});
  }
  ~MachineTest() override { shut_down_run_state(); }

  AnsweringRunner* runner;
};

TEST_F(MachineTest, command_goes_to_its_runner_with_suffix_and_node) {
  EXPECT_EQ(execute("ssh 10.0.0.1 tool", "_tool_3", "10.0.0.1"), "answer to ssh 10.0.0.1 tool");
  EXPECT_THAT(runner->asked(), ElementsAre(Asked({"ssh 10.0.0.1 tool", "_tool_3", "10.0.0.1"})));
}

TEST_F(MachineTest, command_of_this_machine_has_the_default_suffix_and_no_node) {
  execute("tool");
  EXPECT_THAT(runner->asked(), ElementsAre(Asked({"tool", "0", ""})));
}

TEST_F(MachineTest, runner_gets_no_command_that_holds_a_nul_byte) {
  const std::string command("tool\0rest", 9);
  EXPECT_EQ(unit::error_of<CheckError>([&] { execute(command); }),
            "command holds a NUL byte: \"tool\\x00rest\"");
  EXPECT_THAT(runner->asked(), IsEmpty());
}

TEST_F(MachineTest, observer_is_told_what_the_runner_says_of_a_command) {
  class : public Observer {
   public:
    void observe(const Event& event) override {
      if (const auto* ended = std::get_if<event::CommandEnded>(&event)) {
        statuses.push_back(ended->status);
        bytes.push_back(ended->output_bytes);
      }
    }
    std::vector<int> statuses;
    std::vector<std::size_t> bytes;
  } observer;
  run_state().observer = &observer;
  runner->status = 256;
  execute("tool");
  EXPECT_THAT(observer.statuses, ElementsAre(256));
  EXPECT_THAT(observer.bytes, ElementsAre(std::string("answer to tool").size()));
}

TEST_F(MachineTest, runner_is_told_what_will_be_asked) {
  announce_commands([](const CommandRunner::Visit& visit) {
    visit({"one", "_1", "10.0.0.1"});
    visit({"two"});
  });
  EXPECT_THAT(runner->announced(),
              ElementsAre(Asked({"one", "_1", "10.0.0.1"}), Asked({"two", "0", ""})));
  EXPECT_THAT(runner->asked(), IsEmpty());
}

}  // namespace
}  // namespace zorbec
