#include <fcntl.h>
#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "base/error.h"
#include "base/log_stream.h"
#include "context/run_state.h"
#include "tests/unit/support/answering_machine.h"
#include "tests/unit/support/tables.h"
#include "verify/leak_check.h"
#include "verify/multicast_dumps.h"

namespace zorbec {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using unit::AnsweringRunner;
using unit::Asked;

class AnnouncedCommands : public ::testing::Test {
 protected:
  AnnouncedCommands() {
    auto answering = std::make_unique<AnsweringRunner>(
        [](const Asked&) { return std::string("Bundle-Ether3\n"); });
    runner = answering.get();
    bring_up_run_state({std::move(answering), std::make_unique<SystemFiles>()});
  }
  ~AnnouncedCommands() override { shut_down_run_state(); }

  AnsweringRunner* runner;
  LogStream log{"/tmp/announced_commands_test.txt"};
};

TEST_F(AnnouncedCommands, are_the_questions_for_all_tunnels_in_order) {
  run_state().rifs.report("RP0", {"0x5", "0x6"});
  check_pmdb_dump("10.0.0.1", "3", log);
  const std::string question = "ssh -o StrictHostKeyChecking=no 10.0.0.1 /pkg/bin/hwkey_dump -r ";
  EXPECT_THAT(runner->announced(), ElementsAre(Asked({question + "0x5", "_pmdb_0x5", "10.0.0.1"}),
                                               Asked({question + "0x6", "_pmdb_0x6", "10.0.0.1"})));
  EXPECT_EQ(runner->asked(), runner->announced());
}

TEST_F(AnnouncedCommands, are_the_questions_for_all_unclaimed_keys_in_order) {
  PmdbTable pmdb = unit::pmdb_table(R"({"70": {}, "5": {}, "80": {}})");
  pmdb.set_visited(1);
  check_pmdb_leak(pmdb, log, "3");
  EXPECT_THAT(runner->announced(), ElementsAre(Asked({"ifmgr_print database -i 70 -l 0x2"}),
                                               Asked({"ifmgr_print database -i 80 -l 0x2"})));
}

TEST_F(AnnouncedCommands, leave_out_what_the_dump_marks_as_claimed) {
  const PmdbTable pmdb = unit::pmdb_table(R"({"70": {"visited": 1}, "80": {}})");
  check_pmdb_leak(pmdb, log, "3");
  EXPECT_THAT(runner->announced(), ElementsAre(Asked({"ifmgr_print database -i 80 -l 0x2"})));
}

TEST_F(AnnouncedCommands, end_where_the_leak_check_ends) {
  for (const char* const end : {R"("5": 1)", R"("a b": {})"}) {
    const PmdbTable pmdb = unit::pmdb_table(R"({"70": {}, )" + std::string(end) + R"(, "80": {}})");
    EXPECT_THROW(check_pmdb_leak(pmdb, log, "3"), CheckError);
    EXPECT_THAT(runner->announced(), Each(Asked({"ifmgr_print database -i 70 -l 0x2"}))) << end;
  }
}

}  // namespace
}  // namespace zorbec
