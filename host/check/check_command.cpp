#include "host/check/check_command.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <CLI/CLI.hpp>  // seconds of compiling
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/files.h"
#include "base/log_stream.h"
#include "context/run_state.h"
#include "context/this_machine.h"
#include "host/check/check_lock.h"
#include "host/check/event_stream.h"
#include "host/check/progress.h"
#include "host/check/watch.h"
#include "host/facts/recorder.h"
#include "host/facts/worker_places.h"
#include "host/report/exit_code.h"
#include "host/report/output_file.h"
#include "host/report/report.h"
#include "host/report/report_json.h"
#include "host/report/summary.h"
#include "host/verdict/verdicts.h"
#include "host/words/near_matches.h"
#include "host/words/wrapped_text.h"
#include "platform/platform_probes.h"
#include "run/run_driver.h"

namespace zorbec {
namespace {

constexpr const char* kLockFile = "/tmp/zorbec.lock";
constexpr const char* kLastReport = "/tmp/zorbec_report.json";
constexpr const char* kStandardOutput = "-";
constexpr double kLongestDeadline = 1e8;  // seconds

struct CheckOptions {
  std::string what = "interfaces";
  bool is_quiet = false;
  std::size_t most_findings = SummaryStyle().most_findings;
  std::string json;
  std::string jsonl;
  Selection selection;
  bool shows_progress = false;
  std::optional<std::chrono::duration<double>> deadline;
  bool waits = false;

  std::vector<Check> checks() const {
    if (what == "interfaces") return {Check::kInterfaces};
    if (what == "multicast") return {Check::kMulticast};
    return {Check::kInterfaces, Check::kMulticast};
  }
  // Whether a JSON document is written to standard output. Nothing else may be written there then.
  bool gives_document() const { return json == kStandardOutput || jsonl == kStandardOutput; }
};

std::string unknown_name(std::string_view what, const std::string& name,
                         const std::vector<std::string>& known) {
  const std::vector<std::string> near = near_matches(name, known);
  return fmt::format("{} {}; {}: {}", what, in_quotes(name),
                     near.empty() ? "it has" : "did you mean",
                     fmt::join(near.empty() ? known : near, ", "));
}

void require_known(std::string_view what, const std::vector<std::string>& names,
                   const std::vector<std::string>& known) {
  for (const std::string& name : names) {
    if (std::ranges::find(known, name) == known.end()) {
      throw CLI::ValidationError(unknown_name(what, name, known));
    }
  }
}

void check_options(const CheckOptions& options) {
  if (!options.json.empty() && options.json == options.jsonl) {
    throw CLI::ValidationError("--json and --jsonl cannot have the same file");
  }
  std::vector<std::string> classes;
  for (const Check check : options.checks()) {
    for (const ReportClass of : classes_of(check)) classes.emplace_back(class_name(of));
  }
  require_known("this check has no class", options.selection.classes, classes);
}

// One `check` from its options to its exit code. The main thread runs it; observe() is called by
// the main thread and by the workers.
//
// An event goes to four members, in this order: the places (which worker is where), the progress
// line, the recorder (facts for the report) and the event stream. None of them calls the core.
class CheckRun : public Observer {
 public:
  explicit CheckRun(CheckOptions options) : options_(std::move(options)), progress_(places_) {
    // Opened before the run: a file that cannot be made must not cost a whole check.
    if (!options_.jsonl.empty()) stream_.emplace(options_.jsonl);
  }

  ExitCode run() {
    const auto started = std::chrono::system_clock::now();
    const auto clock = std::chrono::steady_clock::now();
    bring_up_run_state(this_machine());
    run_state().observer = this;
    give_commands_no_input();
    if (options_.is_quiet || options_.gives_document()) mute();
    watch_.emplace(watch_options());
    // Both runs share the run state, as with the library: the model is probed only once. The facts
    // are kept apart, so that a second run cannot change what was found in the first.
    std::vector<RunFacts> runs;
    for (const Check check : options_.checks()) {
      // A single-processor model has no second copy of the multicast state to compare with.
      if (usage_error_ || (!runs.empty() && is_single_processor(run_state().router))) break;
      runs.push_back(run_check(check));
    }
    // The summary must not be mixed with the progress line.
    watch_->end_progress();
    const ExitCode code =
        usage_error_ ? ExitCode::kWrongCommandLine : report(std::move(runs), started, clock);
    // The watch uses the run state, so it ends first.
    watch_.reset();
    shut_down_run_state();
    if (usage_error_) throw CLI::ValidationError(*usage_error_);
    return code;
  }

  void observe(const Event& event) override {
    const Place place = places_.follow(event);
    // The core prints the finding after this call, and the progress line must be gone by then.
    if (is_finding(event)) watch_->clear_line();
    progress_.take(event);
    recorder_->take(event, place);
    if (stream_) stream_->take(event, place);
    if (std::holds_alternative<event::NodesListed>(event)) check_nodes();
  }

 private:
  // Findings are the only events after which the core writes to standard output.
  static bool is_finding(const Event& event) {
    return std::holds_alternative<event::MissingKey>(event) ||
           std::holds_alternative<event::LeakedKey>(event) ||
           std::holds_alternative<event::FaultyRoute>(event);
  }

  // Called after the runs have ended, with no worker left.
  //
  // Judges the facts of the runs, writes the report and returns the exit code.
  ExitCode report(std::vector<RunFacts> runs, std::chrono::system_clock::time_point started,
                  std::chrono::steady_clock::time_point clock) {
    Report report = judge(std::move(runs), options_.selection, ended_early_.reason());
    report.started = started;
    report.took = std::chrono::steady_clock::now() - clock;
    if (stream_) stream_->end(report.verdict);
    return put_out(report) ? exit_code(report.verdict) : exit_code(Verdict::kRunFailed);
  }

  // Commands inherit standard input, and ssh reads all of it. In `while read`, it would take the
  // lines of the loop.
  static void give_commands_no_input() {
    const UniqueFd null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (null.get() < 0) throw_errno("open", "/dev/null");
    if (::dup2(null.get(), STDIN_FILENO) < 0) throw_errno("dup2", "standard input");
  }

  // The core goes on writing its findings, to nowhere: the check takes the same way with and
  // without
  // --quiet.
  void mute() {
    null_ = UniqueFd(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (null_.get() < 0) throw_errno("open", "/dev/null");
    run_state().standard_output.redirect(null_.get());
  }

  WatchOptions watch_options() {
    WatchOptions watch;
    if (options_.deadline) {
      watch.deadline = std::chrono::duration_cast<std::chrono::nanoseconds>(*options_.deadline);
    }
    watch.is_terminal = ::isatty(STDERR_FILENO) == 1;
    watch.shows_progress = watch.is_terminal || options_.shows_progress;
    watch.status_line = [this] { return printable(progress_.line()); };
    watch.end_early = [this](Reason reason, int signal) {
      // Set first: a worker whose command ends now asks for the reason at once.
      ended_early_.set(reason);
      run_state().commands().end(signal);
    };
    return watch;
  }

  RunFacts run_check(Check check) {
    progress_.begin(check);
    if (stream_) stream_->begin(check);
    recorder_.emplace(check, ended_early_);
    std::string error;
    const int status = run_zorbec(check == Check::kInterfaces ? 0 : 1, error);
    RunFacts facts = recorder_->facts();
    if (status != 0) {
      // A wrong --node ends the run from inside, see check_nodes(). It is reported as a usage
      // error.
      facts.run_error = error;
      if (!usage_error_) report_error({check_name(check), " check: run failed: ", error});
    }
    return facts;
  }

  // Called as soon as the names are known, so that a mistyped --node costs no whole check. The
  // exception leaves the function of the core that reported the event and so ends the run.
  void check_nodes() {
    const std::vector<std::string> known = recorder_->node_names();
    for (const std::string& name : options_.selection.nodes) {
      if (std::ranges::find(known, name) != known.end()) continue;
      usage_error_ = unknown_name("this router has no node", name, known);
      throw CheckError(*usage_error_);
    }
  }

  // Writes the report to every place that was asked for. A place that cannot be written is named on
  // standard error and does not keep the others from being written. Returns whether all were.
  bool put_out(const Report& report) {
    bool is_whole = true;
    const auto attempt = [&](const auto& write) {
      try {
        write();
      } catch (const std::exception& error) {
        report_error({"cannot write the report: ", error.what()});
        is_whole = false;
      }
    };
    const std::string json = to_json(report);
    // First the report that is always written: `zorbec explain` reads it, and it is still there
    // when nobody reads standard output.
    attempt([&] { replace_file(kLastReport, json); });
    if (options_.json == kStandardOutput) {
      attempt([&] { write_all(STDOUT_FILENO, json, "standard output"); });
    } else if (!options_.json.empty()) {
      attempt([&] { write_output_file(options_.json, json); });
    }
    if (!options_.is_quiet && !options_.gives_document()) {
      const SummaryStyle style{has_colour(), options_.most_findings};
      attempt(
          [&] { write_all(STDOUT_FILENO, "\n" + summarize(report, style), "standard output"); });
    }
    // A failed write of an event did not end the check, so it is told here.
    if (stream_ && !stream_->failure().empty()) {
      report_error({"cannot write the events: ", stream_->failure()});
      is_whole = false;
    }
    return is_whole;
  }

  // Colour only on a terminal that has it, and only if the user did not switch it off (NO_COLOR).
  static bool has_colour() {
    const char* const no_colour = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) == 1 && (no_colour == nullptr || *no_colour == '\0') &&
           (terminal == nullptr || std::string_view(terminal) != "dumb");
  }

  const CheckOptions options_;
  WorkerPlaces places_;
  Progress progress_;
  std::optional<Recorder> recorder_;
  std::optional<EventStream> stream_;
  EndedEarly ended_early_;
  std::optional<std::string> usage_error_;
  UniqueFd null_;
  std::optional<Watch> watch_;
};

ExitCode check(const CheckOptions& options) {
  // Before the lock: Ctrl-C must end the wait for it in good order too.
  const SignalsForWatch signals;
  const auto start = std::chrono::steady_clock::now();
  bool has_said = false;
  const CheckLock lock(kLockFile, [&](const std::string& who) {
    if (SignalsForWatch::is_end_asked_for()) return false;
    if (options.deadline && std::chrono::steady_clock::now() - start > *options.deadline)
      return false;
    if (options.waits && !std::exchange(has_said, true)) {
      report_error({"waiting for another check to end: ", who});
    }
    return options.waits;
  });
  return CheckRun(options).run();
}

}  // namespace

void add_check_command(CLI::App& app, ExitCode& exit_code) {
  CLI::App* const command =
      app.add_subcommand("check", "Check this router from its active route processor");
  const auto options = std::make_shared<CheckOptions>();
  command->add_option("WHAT", options->what, "interfaces, multicast or all")
      ->check(CLI::IsMember({"interfaces", "multicast", "all"}))
      ->capture_default_str();
  command->add_flag("--quiet", options->is_quiet, "Print nothing on standard output");
  command
      ->add_option("--max-findings", options->most_findings,
                   "Show at most N rows of findings in the summary")
      ->type_name("N")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  command
      ->add_option("--json", options->json, "Write the report as JSON to FILE; -: standard output")
      ->type_name("FILE");
  command
      ->add_option("--jsonl", options->jsonl,
                   "Write events as JSON lines to FILE; -: standard output")
      ->type_name("FILE");
  command->add_option("--node", options->selection.nodes, "Report only this node; may be repeated")
      ->type_name("NODE")
      ->expected(1)
      ->take_all();
  command
      ->add_option("--class", options->selection.classes, "Report only this class; may be repeated")
      ->type_name("CLASS")
      ->expected(1)
      ->take_all();
  command->add_flag("--progress", options->shows_progress,
                    "Show progress even if standard error is not a terminal");
  command
      ->add_option_function<double>(
          "--deadline",
          [options](double seconds) {
            // Not written as "<= 0 or > kLongestDeadline": that would let NaN pass.
            if (!(seconds > 0 && seconds <= kLongestDeadline)) {
              throw CLI::ValidationError("--deadline",
                                         "must be more than 0 and at most 100,000,000 seconds");
            }
            options->deadline = std::chrono::duration<double>(seconds);
          },
          "End the running commands after SECONDS, then report")
      ->type_name("SECONDS");
  command->add_flag("--wait", options->waits, "Wait until another check on this router has ended");
  command->final_callback([options, &exit_code] {
    check_options(*options);
    exit_code = check(*options);
  });
}

}  // namespace zorbec
