#include "verify/interface_verification.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "keys/interface_records.h"
#include "run/expected_index.h"
#include "run/integer.h"
#include "run/interface_class.h"
#include "run/observer.h"
#include "run/run_state.h"
#include "run/table_rendering.h"
#include "verify/findings.h"
#include "verify/leak_check.h"

namespace zorbec {
namespace {

struct ClassSection {
  InterfaceClass intf_class;
  std::string_view heading;
  std::string_view table_label;
  InterfaceTables RunState::*table;
  SharedRendering RunState::*rendering;
  std::string_view result_label;
};

constexpr std::array<ClassSection, 6> kSections = {{
    {InterfaceClass::kPhysical, "\nphysical intf verification\n", "pidb_physical_ifh is :\n",
     &RunState::pidb_physical_ifh, &RunState::physical_rendering, "\n Physical intf Result is : "},
    {InterfaceClass::kPhysicalSubif, "\nphysical sub intf verification\n",
     "pidb_physical_subifh is :\n", &RunState::pidb_physical_subifh,
     &RunState::physical_sub_rendering, "\nPhysical sub intf Result is : "},
    {InterfaceClass::kBundle, "\nbundle intf verification\n", "pidb_bundle_ifh is :\n",
     &RunState::pidb_bundle_ifh, &RunState::bundle_rendering, "\nBundle intf Result is : "},
    // Labelled like the bundle result on purpose: readers of the log know it under this label.
    {InterfaceClass::kBundleSubif, "\nbundle sub intf verification\n", "pidb_bundle_subifh is :\n",
     &RunState::pidb_bundle_subifh, &RunState::bundle_sub_rendering, "\nBundle intf Result is : "},
    {InterfaceClass::kBvi, "\nbvi intf verification\n", "pidb_bvi_ifh is :\n",
     &RunState::pidb_bvi_ifh, &RunState::bvi_rendering, "\nBVI intf Result is : "},
    {InterfaceClass::kGre, "\ngre intf verification\n", "pidb_gre_ifh is :\n",
     &RunState::pidb_gre_ifh, &RunState::gre_rendering, "\nGRE intf Result is : "},
}};

void write_key_map(const PmdbTable& pmdb, LogStream& log) {
  log.write("\npmdb_dict is :\n");
  log.write_pieces([&](const auto& sink) { render(pmdb, sink); });
}

Integer handle_of(const InterfaceRecord& record) {
  const std::optional<Integer> handle = Integer::from_decimal(record.handle());
  if (!handle) record.fail("has a handle that is not a decimal number");
  return *handle;
}

// An interface that expects no keys of its own claims the entry that is named like its handle.
void claim_by_handle(const InterfaceRecord& record, PmdbTable& pmdb, LogStream& log) {
  log.write("\nERROR: Key_list not present " + handle_of(record).message_hexadecimal());
  const std::optional<std::uint32_t> entry = pmdb.find(record.handle());
  if (!entry) record.fail("has no key list, and its handle is no key of the node");
  pmdb.set_visited(*entry);
}

void report_missing(const InterfaceRecord& record, const std::string& owner, const Integer& key,
                    const std::string& nodename, Findings& findings) {
  const Integer handle = handle_of(record);
  const std::string finding = " PMDB Key " + key.message_hexadecimal() + " for ifh " +
                              handle.message_hexadecimal() + " in node " + nodename;
  const std::string text = "Missing" + finding;
  tell([&] { return event::MissingKey{nodename, owner, record, handle, key, text}; });
  findings.report("\n" + text + "\n", "\nMISSING" + finding);
}

// What the comparison of one class came to.
struct Compared {
  std::size_t expected = 0;
  std::size_t missing = 0;
};

// Tells it, and returns the result for the log.
int concluded(const Compared& compared, const std::string& nodename) {
  tell([&] { return event::ClassCompared{nodename, compared.expected, compared.missing}; });
  return compared.missing == 0 ? 0 : -1;
}

// Looks up all that one interface expects.
void compare_interface(const InterfaceRecord& record, const std::string& owner, PmdbTable& pmdb,
                       LogStream& log, const std::string& nodename, Findings& findings,
                       Compared& compared) {
  const bool has_keys = for_each_expected_key(record, [&](const Integer& key) {
    ++compared.expected;
    if (const std::optional<std::uint32_t> entry = pmdb.find(key)) {
      pmdb.set_visited(*entry);
    } else {
      ++compared.missing;
      report_missing(record, owner, key, nodename, findings);
    }
  });
  if (!has_keys) claim_by_handle(record, pmdb, log);
}

// What all nodes are compared with.
ExpectedIndex make_expected_index(const RunState& state) {
  std::array<const InterfaceTables*, kSections.size()> tables{};
  std::ranges::transform(kSections, tables.begin(),
                         [&](const ClassSection& section) { return &(state.*section.table); });
  return ExpectedIndex(tables);
}

// Makes what all nodes share as far as no other node's worker makes it: all of them begin at the
// same time, and would otherwise wait for one of them at each table in turn.
void make_shared_ahead(RunState& state) {
  state.expected_index.make_ahead([&] { return make_expected_index(state); });
  for (const ClassSection& section : kSections) {
    (state.*section.rendering).make_ahead(state.*section.table);
  }
}

// A node's keys, matched with the index for as long as it lives.
class Matching {
 public:
  Matching(PmdbTable& pmdb, std::shared_ptr<const ExpectedIndex> index)
      : pmdb_(pmdb), index_(index) {
    pmdb_.match(std::move(index));
  }
  ~Matching() { pmdb_.forget_match(); }
  Matching(const Matching&) = delete;
  Matching& operator=(const Matching&) = delete;

  // Claims all that a class expects and reports what is missing, like verify_intf_specific() and in
  // the same order. Nothing, and nothing is done, if the interfaces have to be gone through.
  std::optional<int> verify(InterfaceClass intf_class, LogStream& log,
                            const std::string& nodename) {
    const ExpectedIndex::Class& expected = index_->of(intf_class);
    if (!expected.is_complete || !pmdb_.can_claim()) return std::nullopt;
    Compared compared;
    Findings findings(nodename, log);
    for (const ExpectedIndex::Expected& key : expected.keys) {
      const bool is_key = key.number != ExpectedIndex::kNoKey;
      if (is_key) {
        ++compared.expected;
        if (pmdb_.claim(key.number)) continue;
      }
      const auto& [owner, table] = index_->owner(key.owner);
      const InterfaceRecord record(*table, key.entry);
      if (is_key) {
        ++compared.missing;
        report_missing(record, owner, Integer(index_->key(key.number)), nodename, findings);
      } else {
        compare_interface(record, owner, pmdb_, log, nodename, findings, compared);
      }
    }
    findings.flush();
    return concluded(compared, nodename);
  }

 private:
  PmdbTable& pmdb_;
  const std::shared_ptr<const ExpectedIndex> index_;
};

}  // namespace

void verify(const std::string& nodename, LogStream& dl_fd) {
  RunState& state = run_state();
  PmdbTable* const pmdb_dict = state.pmdb_keys.find(nodename);
  if (pmdb_dict == nullptr) {
    dl_fd.write("\nERROR: PMDB Dictionary is empty for " + nodename);
    return;
  }

  int overall = 0;
  const auto write_result = [&](std::string_view label, int result) {
    dl_fd.write(std::string(label) + std::to_string(result));
    if (overall == 0) overall = result;
  };
  make_shared_ahead(state);
  Matching matching(*pmdb_dict,
                    state.expected_index.get([&] { return make_expected_index(state); }));
  for (const ClassSection& section : kSections) {
    tell([&] {
      return event::StepStarted{nodename, event::Step::kComparison, section.intf_class};
    });
    const InterfaceTables& table = state.*section.table;
    dl_fd.write(section.heading);
    dl_fd.write(section.table_label);
    dl_fd.write(*(state.*section.rendering).get(table));
    // Shown once, before anything in it is marked.
    if (&section == &kSections.front()) write_key_map(*pmdb_dict, dl_fd);
    std::optional<int> result = matching.verify(section.intf_class, dl_fd, nodename);
    if (!result) result = verify_intf_specific(table, *pmdb_dict, dl_fd, nodename);
    write_result(section.result_label, *result);
  }
  tell([&] { return event::StepStarted{nodename, event::Step::kLeaks, std::nullopt}; });
  dl_fd.write("\nChecking pmdb leaks: \n");
  write_result("\ncheck_pmdb_leak Result is : ", check_pmdb_leak(*pmdb_dict, dl_fd, nodename));
  dl_fd.write("\nOverall Result is : " + std::to_string(overall));
}

int verify_intf_specific(const InterfaceTables& pidb_dict, PmdbTable& pmdb_dict, LogStream& dl_fd,
                         const std::string& nodename) {
  Compared compared;
  Findings findings(nodename, dl_fd);
  // All nodes' interfaces: every node's hardware has to know every interface of the router.
  for (const auto& [node, table] : pidb_dict.nodes()) {
    table->require_object();
    for (std::uint32_t number = 0; number < table->document.size(); ++number) {
      compare_interface(InterfaceRecord(*table, number), node, pmdb_dict, dl_fd, nodename, findings,
                        compared);
    }
  }
  findings.flush();
  return concluded(compared, nodename);
}

}  // namespace zorbec
