// Dumps of one node, from JSON text to verdict. Input: two characters for router model and scale
// mode, the node's six PIDB files, its PMDB file; form feeds between them.

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "context/run_state.h"
#include "keys/interface_truth.h"
#include "tests/fuzz/support/bytes.h"
#include "tests/fuzz/support/detached.h"
#include "tests/unit/support/tables.h"
#include "verify/interface_verification.h"
#include "verify/leak_check.h"

namespace zorbec {
namespace {

using fuzz::require;
using fuzz::require_equal;

constexpr const char* kNode = "2";
// Digits that choose the platform, a dump of each class, the keys.
constexpr std::size_t kPmdbText = 1 + kEnumCount<InterfaceClass>;
constexpr std::size_t kTexts = kPmdbText + 1;

// Fills the tables as a dump worker does; says what went wrong.
std::string load(const std::vector<std::string_view>& texts) {
  RunState& state = run_state();
  const auto digit = [&](std::size_t at) {
    return texts[0].size() > at ? static_cast<unsigned char>(texts[0][at]) : 0U;
  };
  state.router = static_cast<int>(1 + digit(0) % 9);
  state.known_scale_mode = std::array{0, 1, 2, 10}[digit(1) % 4];
  state.dl_fd.set(std::make_shared<LogStream>("dump log"));
  return fuzz::failure_of([&] {
           for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
             const std::string_view text = texts[1 + enum_index(intf_class)];
             if (!text.empty())
               state.interfaces(intf_class).set(kNode, unit::interface_table(text));
           }
           construct_pidb_truth_db(kNode);
         }) +
         fuzz::failure_of([&] {
           if (!texts[kPmdbText].empty()) {
             state.pmdb_keys.set(kNode, unit::pmdb_table(texts[kPmdbText]));
           }
         });
}

std::string answer(const std::string& command) {
  return command.find('7') != std::string::npos ? "Bundle-Ether7" : "";
}

// What is found by the way that a verification worker takes.
std::string findings_of_verify(const std::vector<std::string_view>& texts) {
  const fuzz::DetachedRun run(answer);
  std::string failure = load(texts);
  LogStream log = run.log();
  failure += fuzz::failure_of([&] { verify(kNode, log); });
  log.close();
  const bool is_complete = run.logged().find("\nOverall Result is : ") != std::string::npos;
  require(is_complete || !failure.empty() || run_state().pmdb_keys.find(kNode) == nullptr,
          "without a failure there is a result");
  return run.printed() + failure;
}

// What is found if every interface is gone through.
std::string findings_one_by_one(const std::vector<std::string_view>& texts) {
  const fuzz::DetachedRun run(answer);
  std::string failure = load(texts);
  RunState& state = run_state();
  PmdbTable* const pmdb = state.pmdb_keys.find(kNode);
  LogStream log = run.log();
  failure += fuzz::failure_of([&] {
    if (pmdb == nullptr) return;
    for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
      verify_intf_specific(state.interfaces(intf_class), *pmdb, log, kNode);
    }
    check_pmdb_leak(*pmdb, log, kNode);
  });
  return run.printed() + failure;
}

}  // namespace
}  // namespace zorbec

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorbec;
  const auto texts = fuzz::split_input(data, size, kTexts);
  require_equal(findings_of_verify(texts), findings_one_by_one(texts),
                "the index finds what going through all interfaces finds");
  return 0;
}
