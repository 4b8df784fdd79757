#include "host/check/event_stream.h"

#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <nlohmann/json.hpp>  // seconds of compiling
#include <string_view>
#include <type_traits>

#include "base/error.h"
#include "base/integer.h"
#include "host/report/output_file.h"
#include "host/report/report_json.h"

namespace zorbec {
namespace {

using OrderedJson = nlohmann::ordered_json;

double seconds(std::chrono::nanoseconds time) {
  return std::chrono::duration<double>(time).count();
}

std::string_view phase_name(event::Phase phase) {
  return phase == event::Phase::kDump ? "dump" : "verification";
}

// `status` is as waitpid() gives it; below 0: nobody knows it.
OrderedJson exit_of(int status) {
  if (status < 0) return {};
  return WIFSIGNALED(status) ? OrderedJson(-WTERMSIG(status)) : OrderedJson(WEXITSTATUS(status));
}

OrderedJson class_of(const std::optional<InterfaceClass>& intf_class) {
  return intf_class ? OrderedJson(class_name(*intf_class)) : OrderedJson();
}

std::string_view step_name(event::Step step) {
  static constexpr EnumNames<event::Step> kNames({
      {event::Step::kPidbTool, "pidb-tool"},
      {event::Step::kPidbFile, "pidb-file"},
      {event::Step::kTunnels, "tunnels"},
      {event::Step::kKeys, "keys"},
      {event::Step::kPmdb, "pmdb"},
      {event::Step::kComparison, "comparison"},
      {event::Step::kLeaks, "leaks"},
      {event::Step::kRoutes, "routes"},
      {event::Step::kBuds, "buds"},
      {event::Step::kHandles, "handles"},
  });
  return kNames[step];
}

// The name of an event and its members, in the order of docs/events.schema.json. A new event does
// not compile without a line here.
struct Members {
  const Place& place;

  OrderedJson operator()(const event::RunStarted& told) const {
    return {{"event", "run_started"}, {"mode", told.mode}};
  }
  OrderedJson operator()(const event::RouterProbed& told) const {
    return {{"event", "router_probed"}, {"model_code", told.model}};
  }
  OrderedJson operator()(const event::NodesListed& told) const {
    OrderedJson nodes = OrderedJson::array();
    for (const auto& [name, record] : told.nodes) {
      if (record->nodeip.value_or("") != kNone) nodes.push_back(name);
    }
    return {{"event", "nodes_listed"}, {"nodes", nodes}};
  }
  OrderedJson operator()(const event::NodeIgnored& told) const {
    return {{"event", "node_ignored"}, {"line", told.line}};
  }
  OrderedJson operator()(const event::NodeReplaced& told) const {
    return {{"event", "node_replaced"}, {"node", told.node}, {"address", told.address}};
  }
  OrderedJson operator()(const event::PhaseStarted& told) const {
    return {{"event", "phase_started"}, {"phase", phase_name(told.phase)}};
  }
  OrderedJson operator()(const event::PhaseEnded& told) const {
    return {{"event", "phase_ended"}, {"phase", phase_name(told.phase)}};
  }
  OrderedJson operator()(const event::WorkerStarted& told) const {
    return {{"event", "worker_started"}, {"node", told.node}, {"task", told.task}};
  }
  OrderedJson operator()(const event::WorkerEnded& told) const {
    return {{"event", "worker_ended"},
            {"node", told.node},
            {"task", told.task},
            {"error", told.error == nullptr ? OrderedJson() : OrderedJson(told.error->what())}};
  }
  OrderedJson operator()(const event::StepStarted& told) const {
    return {{"event", "step_started"},
            {"node", told.node},
            {"step", step_name(told.step)},
            {"class", class_of(told.intf_class)}};
  }
  OrderedJson operator()(const event::CommandStarted& told) const {
    return {{"event", "command_started"}, {"node", node()}, {"command", told.command}};
  }
  OrderedJson operator()(const event::CommandEnded& told) const {
    return {{"event", "command_ended"},      {"node", node()},
            {"command", told.command},       {"exit", exit_of(told.status)},
            {"seconds", seconds(told.took)}, {"output_bytes", told.output_bytes}};
  }
  OrderedJson operator()(const event::DumpLoaded& told) const {
    return {{"event", "dump_loaded"},
            {"node", told.node},
            {"class", class_of(told.intf_class)},
            {"path", told.path},
            {"bytes", told.bytes},
            {"entries", told.content.entries},
            {"modified", utc_text(told.modified)}};
  }
  OrderedJson operator()(const event::TunnelsAsked& told) const {
    return {{"event", "tunnels_asked"}, {"node", told.node}, {"configured", told.are_configured}};
  }
  OrderedJson operator()(const event::ScaleModeProbed& told) const {
    return {{"event", "scale_mode_probed"}, {"node", node()}, {"scale_mode", told.scale_mode}};
  }
  OrderedJson operator()(const event::ClassCompared& told) const {
    return {{"event", "class_compared"},
            {"node", told.node},
            {"class", class_of(place.intf_class)},
            {"expected", told.expected},
            {"missing", told.missing}};
  }
  OrderedJson operator()(const event::LeaksChecked& told) const {
    return {{"event", "leaks_checked"},      {"node", told.node},
            {"programmed", told.programmed}, {"leaked", told.leaked},
            {"of_bundles", told.of_bundles}, {"marked_in_dump", told.marked_in_dump}};
  }
  OrderedJson operator()(const event::EntriesCollected& told) const {
    return {{"event", "entries_collected"},
            {"node", told.node},
            {"step", step_name(told.step)},
            {"entries", told.entries},
            {"unreadable", told.unreadable}};
  }
  OrderedJson operator()(const event::RoutesCompared& told) const {
    return {{"event", "routes_compared"},
            {"address", told.address},
            {"routes", told.routes},
            {"uncompared", told.uncompared}};
  }
  OrderedJson operator()(const event::MissingKey& told) const {
    return {{"event", "missing_key"},
            {"node", told.node},
            {"class", class_of(place.intf_class)},
            {"owner", told.owner},
            {"handle", told.handle.hexadecimal()},
            {"key", told.key.hexadecimal()},
            {"text", told.text}};
  }
  OrderedJson operator()(const event::LeakedKey& told) const {
    return {{"event", "leaked_key"},
            {"node", told.node},
            {"key", told.key.hexadecimal()},
            {"text", told.text}};
  }
  OrderedJson operator()(const event::FaultyRoute& told) const {
    return {{"event", "faulty_route"},
            {"fault", fault_name(told.fault)},
            {"address", told.address},
            {"processor", told.processor},
            {"number", told.number},
            {"rif", told.rif},
            {"mdt_handle", told.mdt_handle.empty() ? OrderedJson() : OrderedJson(told.mdt_handle)},
            {"text", told.text}};
  }

  OrderedJson node() const { return place.node.empty() ? OrderedJson() : OrderedJson(place.node); }
};

// Texts of a router may be no UTF-8: such bytes are replaced, as the line must be valid JSON.
std::string line_of(const OrderedJson& json) {
  return json.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

}  // namespace

EventStream::EventStream(const std::string& path)
    : path_(path),
      file_(path == "-" ? UniqueFd() : open_output_stream(path)),
      fd_(path == "-" ? STDOUT_FILENO : file_.get()) {}

void EventStream::begin(Check check) {
  write(line_of({{"t", seconds(std::chrono::steady_clock::now() - start_)},
                 {"event", "check_started"},
                 {"format", "zorbec-events"},
                 {"version", 1},
                 {"check", check_name(check)}}));
}

void EventStream::take(const Event& event, const Place& place) {
  OrderedJson json = {{"t", seconds(std::chrono::steady_clock::now() - start_)}};
  json.update(std::visit(Members{place}, event));
  write(line_of(json));
}

void EventStream::end(Verdict verdict) {
  write(line_of({{"t", seconds(std::chrono::steady_clock::now() - start_)},
                 {"event", "check_ended"},
                 {"verdict", verdict_text(verdict)}}));
}

std::string EventStream::failure() const {
  const MutexLock lock(mutex_);
  return failure_;
}

void EventStream::write(const std::string& line) {
  const MutexLock lock(mutex_);
  // After a failed write the file may end inside a line: nothing may follow it.
  if (!failure_.empty()) return;
  try {
    write_all(fd_, line, path_);
  } catch (const std::exception& error) {
    failure_ = error.what();
  }
}

}  // namespace zorbec
