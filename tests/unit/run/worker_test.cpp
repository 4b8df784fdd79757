#include "run/worker.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <variant>

#include "base/error.h"
#include "context/observer.h"
#include "context/run_state.h"
#include "context/this_machine.h"
#include "tests/unit/support/captured_stream.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/process.h"

namespace zorbec {
namespace {

using ::testing::MatchesRegex;

const std::string kLogPath = "/tmp/worker_test.txt";

class WorkerTest : public ::testing::Test {
 protected:
  std::unique_ptr<Worker> worker(std::function<void(LogStream&)> task) const {
    return std::make_unique<Worker>("3", "dump_task", log, std::move(task));
  }

  const std::shared_ptr<LogStream> log = std::make_shared<LogStream>(kLogPath);
};

// "1234" in "<Thread(Thread-1, started 1234)>".
std::string identifier_in(const std::string& display_text) {
  const std::size_t blank = display_text.rfind(' ');
  return display_text.substr(blank + 1, display_text.size() - blank - 3);
}

TEST_F(WorkerTest, display_text_says_initial_then_started_then_stopped) {
  std::promise<void> may_end;
  const auto one = worker([&](LogStream&) { may_end.get_future().wait(); });
  const std::string initial = one->display_text();
  EXPECT_THAT(initial, MatchesRegex("<Thread\\(Thread-[0-9]+, initial\\)>"));
  const std::string name = initial.substr(0, initial.find(','));

  one->start();
  const std::string started = one->display_text();
  EXPECT_THAT(started, MatchesRegex("<Thread\\(Thread-[0-9]+, started [0-9]+\\)>"));
  EXPECT_EQ(started.substr(0, started.find(',')), name);
  EXPECT_NE(identifier_in(started), "0");

  may_end.set_value();
  one->join();
  EXPECT_EQ(one->display_text(), name + ", stopped " + identifier_in(started) + ")>");
}

TEST_F(WorkerTest, workers_are_numbered_one_after_another) {
  const auto number_of = [](const Worker& of) {
    const std::string before = "<Thread(Thread-";
    return std::stoi(of.display_text().substr(before.size()));
  };
  const auto first = worker([](LogStream&) {});
  const auto second = worker([](LogStream&) {});
  EXPECT_GE(number_of(*first), 1);
  EXPECT_EQ(number_of(*second), number_of(*first) + 1);
}

TEST_F(WorkerTest, does_its_task_on_a_thread_of_its_own_and_flushes_the_log) {
  const auto one = worker([here = ::gettid()](LogStream& its_log) {
    its_log.write(::gettid() != here ? "elsewhere" : "here");
  });
  one->start();
  one->join();
  EXPECT_EQ(unit::read_text(kLogPath), "elsewhere");
}

TEST_F(WorkerTest, does_nothing_before_it_is_started) {
  bool done = false;
  {
    const auto one = worker([&](LogStream&) { done = true; });
  }
  EXPECT_FALSE(done);
}

TEST_F(WorkerTest, is_waited_for_when_it_goes) {
  bool done = false;
  {
    const auto one = worker([&](LogStream&) { done = true; });
    one->start();
  }
  EXPECT_TRUE(done);
  EXPECT_TRUE(unit::comes_down_to_one_thread());
}

TEST_F(WorkerTest, failing_task_gives_one_line_on_standard_error_and_joins) {
  const unit::CapturedStream errors(STDERR_FILENO);
  const auto one = worker([](LogStream& its_log) {
    its_log.write("findings so far");
    throw CheckError("/tmp/pmdb_3.dat: holds a list, not a table");
  });
  one->start();
  one->join();
  EXPECT_EQ(errors.text(),
            "zorbec: node 3: dump_task: /tmp/pmdb_3.dat: holds a list, not a table\n");
  EXPECT_EQ(unit::read_text(kLogPath), "findings so far");
  EXPECT_THAT(one->display_text(), MatchesRegex(".*, stopped [0-9]+\\)>"));
}

TEST_F(WorkerTest, does_its_task_even_if_nobody_can_be_told_that_it_started) {
  class : public Observer {
   public:
    void observe(const Event& event) override {
      if (std::holds_alternative<event::WorkerStarted>(event)) throw CheckError("no room");
    }
  } observer;
  bring_up_run_state(this_machine());
  run_state().observer = &observer;
  const unit::CapturedStream errors(STDERR_FILENO);
  const auto one = worker([](LogStream& its_log) { its_log.write("done"); });
  one->start();
  one->join();
  shut_down_run_state();
  EXPECT_EQ(errors.text(), "zorbec: node 3: dump_task: no room\n");
  EXPECT_EQ(unit::read_text(kLogPath), "done");
}

TEST_F(WorkerTest, failing_task_and_failing_log_give_one_line) {
  const unit::CapturedStream errors(STDERR_FILENO);
  const auto one = worker([](LogStream& its_log) {
    its_log.close();
    its_log.write("text");
  });
  one->start();
  one->join();
  EXPECT_EQ(errors.text(),
            "zorbec: node 3: dump_task: write " + kLogPath + ": Bad file descriptor\n");
}

TEST_F(WorkerTest, signals_are_blocked_in_its_thread_and_stay_as_they_were_outside) {
  sigset_t before;
  ::pthread_sigmask(SIG_SETMASK, nullptr, &before);
  sigset_t in_worker;
  sigemptyset(&in_worker);
  const auto one = worker([&](LogStream&) { ::pthread_sigmask(SIG_SETMASK, nullptr, &in_worker); });
  one->start();
  one->join();
  sigset_t after;
  ::pthread_sigmask(SIG_SETMASK, nullptr, &after);
  for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGCHLD, SIGPIPE, SIGUSR1, SIGALRM}) {
    EXPECT_EQ(sigismember(&in_worker, signal), 1) << signal;
    EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
  }
}

TEST_F(WorkerTest, keeps_its_log_alive) {
  auto own_log = std::make_shared<LogStream>("/tmp/worker_test_own.txt");
  const std::weak_ptr<LogStream> watched = own_log;
  auto one = std::make_unique<Worker>("3", "verify", std::move(own_log),
                                      [](LogStream& its_log) { its_log.write("text"); });
  EXPECT_EQ(one->log(), watched.lock());
  one->start();
  one->join();
  EXPECT_FALSE(watched.expired());
  one.reset();
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(unit::read_text("/tmp/worker_test_own.txt"), "text");
}

}  // namespace
}  // namespace zorbec
