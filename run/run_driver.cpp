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

namespace zorbec {
namespace {

constexpr int kCompleted = 0;
constexpr int kFailed = -2;

// Takes the numbers of the standard streams that the host has closed, for the length of a run. A
// file that got one of them, if only for a moment, would be where other workers' findings go.
// Nothing can be read from these descriptors or written to them, as if they were closed.
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

std::shared_ptr<LogStream> open_log(const std::string& path) {
  RunState& state = run_state();
  auto log = std::make_shared<LogStream>(path, state.files().create_fresh(path));
  state.dl_fd.set(log);
  return log;
}

// The workers of one phase, all started before the first is waited for.
class Phase {
 public:
  // `announce` and `wait` begin the lines that name a worker in the logs.
  Phase(event::Phase phase, std::string_view announce, std::string_view wait)
      : phase_(phase), announce_(announce), wait_(wait) {
    tell([&] { return event::PhaseStarted{phase_}; });
  }

  // Announces a worker in its log, which is the one opened last, and starts it.
  void start(const std::shared_ptr<LogStream>& log, const std::string& node,
             const std::string& task_name, std::function<void(LogStream&)> task) {
    workers_.push_back(std::make_unique<Worker>(node, task_name, log, std::move(task)));
    log->write(announce_ + workers_.back()->display_text() + " on node: " + node);
    workers_.back()->start();
  }

  // Waits for all workers, in start order, and closes their logs. All join lines of the phase go to
  // the log opened last.
  void join() {
    const std::shared_ptr<LogStream> last_log = run_state().dl_fd.get();
    for (const auto& worker : workers_) {
      last_log->write(wait_ + worker->display_text() + " to join \n");
      worker->join();
      last_log->write("\npid " + worker->display_text() + " joined");
    }
    // Closed before any of them is opened anew: a text that still waits must not land in the next
    // phase's log.
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

// The tables keep their nodes in this order, whichever is loaded first.
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

  // From here on the truth tables no longer change.
  SharedTruth truth;
  Phase verification(event::Phase::kVerification, "\nVerify Thread : ", "\nWaiting for pid ");
  for_each_reachable(nodes, [&](const std::string& node, const NodeRecordPtr&) {
    verification.start(open_log(paths::node_log(node)), node, "verify",
                       [node, &truth](LogStream& log) { verify(node, log, truth); });
  });
  verification.join();
}

// While a phase runs in which route processors report their tunnel RIFs. If the main thread fails
// in it, nobody is left waiting for a route processor that was never started.
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
  // Announced under the name of the node visited last, reachable or not.
  if (nodes.empty()) throw CheckError("the node table is empty");
  verification.start(log, std::prev(nodes.end())->first, "verify_mcast", verify_mcast);
  verification.join();
}

// Once a process has threads, each of them that needs more room in the table of descriptors waits
// for an RCU grace period. Where the host may have no more, it goes without.
void make_room_for_descriptors(const UniqueFd& any, std::size_t nodes) {
  constexpr std::size_t kShared = 64;
  constexpr std::size_t kOfAWorker = 4;  // its log, a command's output, a dump, and one to spare
  const std::size_t most = kShared + kOfAWorker * nodes;
  const UniqueFd last(::fcntl(any.get(), F_DUPFD_CLOEXEC, static_cast<int>(most)));
}

void run(std::uint32_t mode) {
  tell([&] { return event::RunStarted{mode}; });
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
  // Between runs no file is open.
  run_state().dl_fd.set(nullptr);
  run_state().db_file.set(nullptr);
  return status;
}

}  // namespace zorbec
