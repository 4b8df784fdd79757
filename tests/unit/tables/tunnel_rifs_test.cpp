#include "tables/tunnel_rifs.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace zorbec {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

// Someone who waits in a thread of its own.
class Waiting {
 public:
  explicit Waiting(const TunnelRifs& rifs)
      : found_(std::async(std::launch::async, [&rifs] {
          rifs.wait();
          return rifs.list();
        })) {}

  // Whether it still waits; given some time to stop.
  bool still_waits() const {
    return found_.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
  }
  // What it saw when it went on.
  Texts found() { return found_.get(); }

 private:
  std::future<Texts> found_;
};

TEST(TunnelRifs, nobody_waits_if_no_route_processor_is_expected) {
  TunnelRifs rifs;
  rifs.wait();
  rifs.expect({});
  rifs.wait();
  EXPECT_THAT(rifs.list(), IsEmpty());
}

TEST(TunnelRifs, of_a_node_that_nobody_expects_are_appended_at_once) {
  TunnelRifs rifs;
  rifs.expect({"RP0"});
  rifs.report("3", {"0x3"});
  EXPECT_THAT(rifs.list(), ElementsAre("0x3"));
}

TEST(TunnelRifs, keep_duplicates_and_the_order_in_which_they_were_found) {
  TunnelRifs rifs;
  rifs.report("RP0", {"0x9", "0x1", "0x9"});
  EXPECT_THAT(rifs.list(), ElementsAre("0x9", "0x1", "0x9"));
}

TEST(TunnelRifs, stand_in_node_table_order_whoever_reports_first) {
  TunnelRifs rifs;
  rifs.expect({"RP0", "RP1", "RP2"});
  rifs.report("RP2", {"0x2"});
  rifs.report("RP0", {"0x0"});
  EXPECT_THAT(rifs.list(), ElementsAre("0x0"));
  rifs.report("RP1", {"0x1"});
  EXPECT_THAT(rifs.list(), ElementsAre("0x0", "0x1", "0x2"));
}

TEST(TunnelRifs, only_grow_from_phase_to_phase) {
  TunnelRifs rifs;
  for (const char* rif : {"0x1", "0x2"}) {
    rifs.expect({"RP0"});
    rifs.report("RP0", {rif});
    rifs.abandon();
  }
  EXPECT_THAT(rifs.list(), ElementsAre("0x1", "0x2"));
}

TEST(TunnelRifs, everybody_waits_until_the_last_route_processor_has_reported) {
  TunnelRifs rifs;
  rifs.expect({"RP0", "RP1"});
  Waiting one(rifs);
  Waiting another(rifs);
  rifs.report("RP1", {"0x2"});
  EXPECT_TRUE(one.still_waits());
  rifs.report("RP0", {"0x1"});
  EXPECT_THAT(one.found(), ElementsAre("0x1", "0x2"));
  EXPECT_THAT(another.found(), ElementsAre("0x1", "0x2"));
}

TEST(TunnelRifs, reporting_nothing_ends_the_wait_too) {
  TunnelRifs rifs;
  rifs.expect({"RP0"});
  Waiting waiting(rifs);
  EXPECT_TRUE(waiting.still_waits());
  rifs.report("RP0", {});
  EXPECT_THAT(waiting.found(), IsEmpty());
}

TEST(TunnelRifs, of_others_do_not_end_the_wait) {
  TunnelRifs rifs;
  rifs.expect({"RP0"});
  Waiting waiting(rifs);
  rifs.report("3", {"0x3"});
  EXPECT_TRUE(waiting.still_waits());
  rifs.report("RP0", {"0x1"});
  EXPECT_THAT(waiting.found(), ElementsAre("0x3", "0x1"));
}

TEST(TunnelRifs, abandon_ends_the_wait_with_what_there_is) {
  TunnelRifs rifs;
  rifs.expect({"RP0", "RP1", "RP2"});
  rifs.report("RP1", {"0x1"});
  Waiting waiting(rifs);
  EXPECT_TRUE(waiting.still_waits());
  rifs.abandon();
  EXPECT_THAT(waiting.found(), ElementsAre("0x1"));
}

TEST(TunnelRifs, report_that_comes_after_abandon_is_appended) {
  TunnelRifs rifs;
  rifs.expect({"RP0"});
  rifs.abandon();
  rifs.report("RP0", {"0x1"});
  EXPECT_THAT(rifs.list(), ElementsAre("0x1"));
  rifs.wait();
}

TEST(TunnelRifs, abandon_when_all_have_reported_changes_nothing) {
  TunnelRifs rifs;
  rifs.expect({"RP0"});
  rifs.report("RP0", {"0x1"});
  rifs.abandon();
  EXPECT_THAT(rifs.list(), ElementsAre("0x1"));
}

TEST(TunnelRifs, many_phases_with_route_processors_that_report_at_the_same_time) {
  TunnelRifs rifs;
  Texts expected;
  for (int phase = 0; phase < 100; ++phase) {
    rifs.expect({"RP0", "RP1"});
    Waiting waiting(rifs);
    std::thread other([&] { rifs.report("RP1", {"0x1"}); });
    rifs.report("RP0", {"0x0"});
    expected.insert(expected.end(), {"0x0", "0x1"});
    EXPECT_EQ(waiting.found(), expected);
    other.join();
  }
}

}  // namespace
}  // namespace zorbec
