#include "run/run_driver.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/files.h"
#include "base/log_stream.h"
#include "context/observer.h"
#include "context/paths.h"
#include "context/run_state.h"
#include "context/tell.h"
#include "dump/dump_task.h"
#include "platform/node_inventory.h"
#include "platform/platform_probes.h"
#include "run/worker.h"
#include "verify/interface_verification.h"
#include "verify/multicast_dumps.h"
#include "verify/multicast_verification.h"
#include "verify/shared_truth.h"

// The driver of a run; run() is the list of its steps. It executes on the host's thread, which is
// called the main thread here. A phase starts its workers and waits for all of them, so no worker
// runs between phases:
//
//   interface check   prepare | dump: one worker a node | verification: one worker a node
//   multicast check   prepare | dump: one worker a node | verification: one worker for all
//
// A phase changes the tables only through its workers, and each worker changes only what belongs to
// its node. The next phase reads what the one before has written; joining the workers is all the
// synchronisation that this needs.
//
// An exception here ends the run, but the destructors of Phase still wait for workers that run. An
// exception in a worker ends only that worker (run/worker.cpp).
namespace zorbec {
namespace {

constexpr int kCompleted = 0;
constexpr int kFailed = -2;

// During a run, occupies those of the descriptors 0 to 2 that the host has closed. open() returns
// the lowest free number: without this, some file could become descriptor 1 or 2, if only for a
// moment, and workers would write findings or errors into it. With O_PATH, reads and writes fail
// with EBADF, as on a closed descriptor.
class ClosedStreams {
 public:
  ClosedStreams() {
    for (;;) {
      UniqueFd fd(::open("/", O_PATH | O_CLOEXEC));
      if (fd.get() < 0) throw_errno("open", "/");
      if (fd.get() > STDERR_FILENO) return;
      taken_.push_back(std::move(fd));
    }
  }

 private:
  std::vector<UniqueFd> taken_;
};

// Creates a log, and makes it the one that the driver has opened last (`dl_fd`). The file of an
// earlier phase with the same path is replaced.
std::shared_ptr<LogStream> open_log(const std::string& path) {
  RunState& state = run_state();
  auto log = std::make_shared<LogStream>(path, state.files().create_fresh(path));
  state.dl_fd.set(log);
  return log;
}

// The workers of one phase. All are started before the first is waited for. If an exception leaves
// the driver before join(), the destructors of the workers wait for their threads.
class Phase {
 public:
  // `announce` and `wait` are the beginnings of the log lines for the start and the join of a
  // worker.
  Phase(event::Phase phase, std::string_view announce, std::string_view wait)
      : phase_(phase), announce_(announce), wait_(wait) {
    tell([&] { return event::PhaseStarted{phase_}; });
  }

  // Writes a worker's announcement to its log, and starts it. The announcement comes first, so it
  // is the first line of the log.
  void start(const std::shared_ptr<LogStream>& log, const std::string& node,
             const std::string& task_name, std::function<void(LogStream&)> task) {
    workers_.push_back(std::make_unique<Worker>(node, task_name, log, std::move(task)));
    log->write(announce_ + workers_.back()->display_text() + " on node: " + node);
    workers_.back()->start();
  }

  // Waits for all workers, in the order in which they were started, and closes their logs. All join
  // lines of a phase go to the log that was opened last. This is required.
  void join() {
    const std::shared_ptr<LogStream> last_log = run_state().dl_fd.get();
    for (const auto& worker : workers_) {
      last_log->write(wait_ + worker->display_text() + " to join \n");
      worker->join();
      last_log->write("\npid " + worker->display_text() + " joined");
    }
    // The next phase may replace these files, so buffered text must be written now. close() also
    // throws an error that a destructor would lose.
    for (const auto& worker : workers_) worker->log()->close();
    last_log->close();
    tell([&] { return event::PhaseEnded{phase_}; });
  }

 private:
  const event::Phase phase_;
  const std::string announce_;
  const std::string wait_;
  std::vector<std::unique_ptr<Worker>> workers_;
};

// Calls start(node, record) for each reachable node, in node-table order.
template <typename Start>
void for_each_reachable(const NodeInfo& nodes, Start start) {
  for (const auto& [node, record] : nodes) {
    if (required(record->nodeip, "nodeip") != kNone) start(node, record);
  }
}

// Gives the node its place in every table before workers run. So tables are in node-table order,
// and do not depend on which worker is the first to load something.
void declare_node(RunState& state, const std::string& node) {
  state.pmdb_keys.declare(node);
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    state.interfaces(intf_class).declare(node);
  }
}

void check_interfaces(const NodeInfo& nodes) {
  RunState& state = run_state();
  for (const auto& [node, record] : nodes) declare_node(state, node);

  Phase dump(event::Phase::kDump, "\nThread : ", "\nwaiting for pid ");
  for_each_reachable(nodes, [&](const std::string& node, const NodeRecordPtr& record) {
    dump.start(open_log(paths::node_log(node)), node, "dump_task",
               [node, record](LogStream& log) { dump_task(node, *record, log); });
  });
  dump.join();

  // From here on the interface tables do not change. So workers may share what is made from them.
  SharedTruth truth;
  Phase verification(event::Phase::kVerification, "\nVerify Thread : ", "\nWaiting for pid ");
  for_each_reachable(nodes, [&](const std::string& node, const NodeRecordPtr&) {
    verification.start(open_log(paths::node_log(node)), node, "verify",
                       [node, &truth](LogStream& log) { verify(node, log, truth); });
  });
  verification.join();
}

// Exists while route processors report their tunnel RIFs. If the main thread fails before it has
// started all workers, those that run would wait for ever for a report of one that was never
// started. The destructor ends their wait.
class RifReports {
 public:
  explicit RifReports(const std::vector<std::string>& route_processors) {
    run_state().rifs.expect(route_processors);
  }
  ~RifReports() { run_state().rifs.abandon(); }
  RifReports(const RifReports&) = delete;
  RifReports& operator=(const RifReports&) = delete;
};

void collect_multicast(const NodeInfo& nodes) {
  RunState& state = run_state();
  std::vector<std::string> route_processors;
  for_each_reachable(nodes, [&](const std::string& node, const NodeRecordPtr& record) {
    for (MulticastTable* const table :
         {&state.mribkeys, &state.mcastpmdbkeys, &state.mplsmdtbudobj}) {
      table->declare(*record->nodeip);
    }
    if (record->nodetype == "RP") route_processors.push_back(node);
  });

  // In this order: destructors run in reverse, so the wait ends before Phase joins the workers.
  Phase dump(event::Phase::kDump, "\nVerify Thread : ", "\nWaiting for pid ");
  const RifReports reports(route_processors);
  for_each_reachable(nodes, [&](const std::string& node, const NodeRecordPtr& record) {
    const std::shared_ptr<LogStream> log = open_log(paths::multicast_node_log(node));
    dump.start(log, node, "mcast_dump_task",
               [node, record, nodetype = required(record->nodetype, "nodetype")](LogStream& dl_fd) {
                 mcast_dump_task(node, *record, dl_fd, nodetype);
               });
  });
  dump.join();
}

void check_multicast(const NodeInfo& nodes) {
  collect_multicast(nodes);
  Phase verification(event::Phase::kVerification, "\nVerify Thread : ", "\nWaiting for pid ");
  const std::shared_ptr<LogStream> log = open_log(paths::kMulticastVerificationLog);
  // The worker gets the name of the last node, reachable or not. This is required: the name is in
  // the log.
  if (nodes.empty()) throw CheckError("the node table is empty");
  verification.start(log, std::prev(nodes.end())->first, "verify_mcast", verify_mcast);
  verification.join();
}

// Enlarges the process's descriptor table before there are workers. In a process with several
// threads, enlarging it waits for an RCU grace period, some milliseconds. The kernel enlarges it
// when a high descriptor number is taken, and never makes it smaller; so one is taken and closed at
// once. If the limit of the process does not allow that, nothing is lost but time.
void make_room_for_descriptors(const UniqueFd& any, std::size_t nodes) {
  constexpr std::size_t kShared = 64;
  constexpr std::size_t kOfAWorker = 4;  // its log, a command's output, a dump, and one to spare
  const std::size_t most = kShared + kOfAWorker * nodes;
  const UniqueFd last(::fcntl(any.get(), F_DUPFD_CLOEXEC, static_cast<int>(most)));
}

void run(std::uint32_t mode) {
  tell([&] { return event::RunStarted{mode}; });
  // Before the first file is opened.
  const ClosedStreams closed_streams;
  RunState& state = run_state();
  state.db_file.set(std::make_shared<UniqueFd>(state.files().create_fresh(paths::kCommandErrors)));
  state.router = get_router_type();
  tell([&] { return event::RouterProbed{state.router}; });
  nodeinfo_init();
  const NodeInfo& nodes = get_list_of_vms();
  tell([&] { return event::NodesListed{nodes}; });
  make_room_for_descriptors(*state.db_file.get(), nodes.size());
  open_log(paths::kFirstLog);
  state.files().remove(paths::kStaleGreDump);
  if (mode == 0) {
    check_interfaces(nodes);
  } else {
    check_multicast(nodes);
  }
}

}  // namespace

int run_zorbec(std::uint32_t mode, std::string& pending_error) {
  int status = kCompleted;
  try {
    run(mode);
  } catch (const std::exception& error) {
    pending_error = error.what();
    status = kFailed;
  }
  // Between runs no file is open, and a failed run must not keep its log.
  run_state().dl_fd.set(nullptr);
  run_state().db_file.set(nullptr);
  return status;
}

}  // namespace zorbec
