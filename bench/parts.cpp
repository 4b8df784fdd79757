// The parts of a check, each by itself, on the dumps of one line card; and what a command costs.
//
// ZORBEC_BENCH_ROUTER is the folder of a generated router. Runs in the lab, since it writes to
// /tmp.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "base/files.h"
#include "base/log_stream.h"
#include "context/execute.h"
#include "context/paths.h"
#include "context/run_state.h"
#include "context/this_machine.h"
#include "json/load.h"
#include "keys/interface_truth.h"
#include "keys/key_encoding.h"
#include "platform/platform_probes.h"
#include "tables/dump_tables.h"
#include "tables/table_rendering.h"
#include "verify/interface_verification.h"

namespace zorbec {
namespace {

const std::string kNode = "0";

std::string dump_path(const std::string& name) {
  const char* const router = std::getenv("ZORBEC_BENCH_ROUTER");
  if (router == nullptr) throw std::runtime_error("ZORBEC_BENCH_ROUTER is not set");
  return std::string(router).append("/nodes/192.0.16.1/dumps/").append(name).append(".dat");
}

FileText dump(const std::string& name) {
  return read_file(dump_path(name), kMostJsonBytes);
}

FileText copy_of(std::string_view text) {
  FileText copy(text.size());
  std::ranges::copy(text, copy.bytes.get());
  return copy;
}

// The node's PMDB as its tool writes it, and the same with a last entry of another form, which only
// the complete parser and the general renderer know. The quick reader has read all others in vain.
constexpr const char* kPlain = "";
constexpr const char* kWideKey = R"(, "4294967296": {"key_type": 1})";
constexpr const char* kNested = R"(, "1": {"key_type": {"of": 1}})";

std::string pmdb_text(const char* odd_entry) {
  std::string text(dump("pmdb").view());
  return text.insert(text.rfind('}'), odd_entry);
}

// Loads what the node reports; no keys are derived yet.
void fill_interface_tables() {
  RunState& state = run_state();
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    const std::string name(kInterfaceClassTable[intf_class].dump);
    state.interfaces(intf_class).set(kNode, InterfaceTable(name, load_json(dump(name))));
  }
}

std::int64_t count_keys(const InterfaceTables& tables) {
  std::size_t keys = 0;
  for (const RecordAdditions& added : tables.find(kNode)->additions) keys += added.key_list->size();
  return static_cast<std::int64_t>(keys);
}

void encode_keys(benchmark::State& state) {
  int number = 0;
  for ([[maybe_unused]] const auto turn : state) {
    ++number;
    benchmark::DoNotOptimize(get_pmdb_key_value(0, 1, number, number % 64));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(encode_keys);

// Texts are copied while the clock stands.
void load(benchmark::State& state, const std::string& text) {
  for ([[maybe_unused]] const auto turn : state) {
    state.PauseTiming();
    FileText file = copy_of(text);
    state.ResumeTiming();
    benchmark::DoNotOptimize(load_json(std::move(file)));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void load_interfaces(benchmark::State& state) {
  load(state, std::string(dump("pidb_physical_subif").view()));
}
BENCHMARK(load_interfaces)->Unit(benchmark::kMillisecond);

void load_keys(benchmark::State& state, const char* odd_entry) {
  load(state, pmdb_text(odd_entry));
}
BENCHMARK_CAPTURE(load_keys, plain, kPlain)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(load_keys, wide_key, kWideKey)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(load_keys, nested, kNested)->Unit(benchmark::kMillisecond);

void derive(benchmark::State& state) {
  for ([[maybe_unused]] const auto turn : state) {
    state.PauseTiming();
    fill_interface_tables();
    state.ResumeTiming();
    construct_pidb_truth_db(kNode);
  }
  const auto interfaces = run_state().pidb_physical_subifh.find(kNode)->document.size();
  state.SetItemsProcessed(state.iterations() * interfaces);
}
BENCHMARK(derive)->Unit(benchmark::kMillisecond);

void compare(benchmark::State& state) {
  LogStream log("/tmp/compare.txt");
  fill_interface_tables();
  construct_pidb_truth_db(kNode);
  const InterfaceTables& tables = run_state().pidb_physical_subifh;
  PmdbTable pmdb("pmdb", load_json(dump("pmdb")));
  for ([[maybe_unused]] const auto turn : state) {
    if (verify_intf_specific(tables, pmdb, log, kNode) != 0)
      state.SkipWithError("a key is missing");
  }
  state.SetItemsProcessed(state.iterations() * count_keys(tables));
}
BENCHMARK(compare)->Unit(benchmark::kMillisecond);

// A PMDB without keys: every look-up is a finding, written to a log and for the operator.
void report_missing(benchmark::State& state) {
  LogStream log("/tmp/missing.txt");
  const UniqueFd nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  run_state().standard_output.redirect(nowhere.get());
  fill_interface_tables();
  construct_pidb_truth_db(kNode);
  const InterfaceTables& tables = run_state().pidb_physical_subifh;
  PmdbTable pmdb("no keys", JsonDocument());
  for ([[maybe_unused]] const auto turn : state) {
    if (verify_intf_specific(tables, pmdb, log, kNode) == 0) state.SkipWithError("no key missing");
  }
  state.SetItemsProcessed(state.iterations() * count_keys(tables));
  run_state().standard_output.redirect(STDOUT_FILENO);
}
BENCHMARK(report_missing)->Unit(benchmark::kMillisecond);

void render_interfaces(benchmark::State& state) {
  fill_interface_tables();
  construct_pidb_truth_db(kNode);
  std::size_t bytes = 0;
  for ([[maybe_unused]] const auto turn : state) {
    bytes += render(run_state().pidb_physical_subifh).size();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(render_interfaces)->Unit(benchmark::kMillisecond);

void render_keys(benchmark::State& state, const char* odd_entry) {
  const PmdbTable pmdb("keys", load_json(copy_of(pmdb_text(odd_entry))));
  std::size_t bytes = 0;
  for ([[maybe_unused]] const auto turn : state) {
    render(pmdb, [&](std::string_view piece) { bytes += piece.size(); });
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK_CAPTURE(render_keys, plain, kPlain)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(render_keys, wide_key, kWideKey)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(render_keys, nested, kNested)->Unit(benchmark::kMillisecond);

// What a command costs at least: a shell that only answers.
void run_command(benchmark::State& state) {
  const std::string suffix = "_bench_" + std::to_string(state.thread_index());
  for ([[maybe_unused]] const auto turn : state) {
    if (execute("echo answer", suffix) != "answer\n") state.SkipWithError("another answer");
  }
}
BENCHMARK(run_command)->Threads(1)->Threads(16)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace zorbec

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  zorbec::bring_up_run_state(zorbec::this_machine());
  // A model on which no command is run for keys; those of slot 0 are the same on all models.
  zorbec::run_state().router = zorbec::kModelK310x;
  zorbec::run_state().db_file.set(
      std::make_shared<zorbec::UniqueFd>(zorbec::create_fresh_file(zorbec::paths::kCommandErrors)));
  zorbec::run_state().dl_fd.set(std::make_shared<zorbec::LogStream>(zorbec::paths::kFirstLog));
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
