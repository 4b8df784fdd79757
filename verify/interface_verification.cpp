#include "verify/interface_verification.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
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

void assign(std::string& text, std::initializer_list<std::string_view> pieces) {
  text.clear();
  for (const std::string_view piece : pieces) text += piece;
}

// The comparison of one class with one node's keys.
class ClassComparison {
 public:
  // All outlive this.
  ClassComparison(PmdbTable& pmdb, LogStream& log, const std::string& nodename)
      : pmdb_(pmdb), log_(log), nodename_(nodename), findings_(nodename, log) {}

  // Looks up all that one interface expects. `owner` is the node that reports it.
  void look_up(const InterfaceRecord& record, const std::string& owner) {
    const bool has_keys = for_each_expected_key(record, [&](const Integer& key) {
      const std::optional<std::uint32_t> entry = pmdb_.find(key);
      if (entry) pmdb_.set_visited(*entry);
      count(entry.has_value(), [&] { report_missing(record, owner, key); });
    });
    if (!has_keys) claim_by_handle(record);
  }

  // The same for one key of the index.
  void claim(const ExpectedIndex& index, const ExpectedIndex::Expected& expected) {
    const auto& reporter = index.owner(expected.owner);
    const std::string& owner = reporter.first;
    // Most keys are there, and need no look at their interface.
    const auto record = [&] { return InterfaceRecord(*reporter.second, expected.entry); };
    if (expected.number == ExpectedIndex::kNoKey) {
      look_up(record(), owner);
    } else {
      count(pmdb_.claim(expected.number),
            [&] { report_missing(record(), owner, Integer(index.key(expected.number))); });
    }
  }

  // Tells what it came to, and returns the result for the log.
  int conclude() {
    findings_.flush();
    tell([&] { return event::ClassCompared{nodename_, expected_, missing_}; });
    return missing_ == 0 ? 0 : -1;
  }

 private:
  template <typename Report>
  void count(bool is_there, Report report) {
    ++expected_;
    if (is_there) return;
    ++missing_;
    report();
  }

  // An interface that expects no keys of its own claims the entry that is named like its handle.
  void claim_by_handle(const InterfaceRecord& record) {
    log_.write("\nERROR: Key_list not present " + record.handle_number().message_hexadecimal());
    const std::optional<std::uint32_t> entry = pmdb_.find(record.handle());
    if (!entry) record.fail("has no key list, and its handle is no key of the node");
    pmdb_.set_visited(*entry);
  }

  void report_missing(const InterfaceRecord& record, const std::string& owner, const Integer& key) {
    const Integer handle = record.handle_number();
    static constexpr std::string_view kLabel = "\nMISSING";
    assign(for_log_, {kLabel, " PMDB Key ", key.message_hexadecimal(), " for ifh ",
                      handle.message_hexadecimal(), " in node ", nodename_});
    const std::string_view finding = std::string_view(for_log_).substr(kLabel.size());
    assign(for_operator_, {"\nMissing", finding, "\n"});
    const std::string_view text =
        std::string_view(for_operator_).substr(1, for_operator_.size() - 2);
    tell([&] { return event::MissingKey{nodename_, owner, record, handle, key, text}; });
    findings_.report(for_operator_, for_log_);
  }

  PmdbTable& pmdb_;
  LogStream& log_;
  const std::string& nodename_;
  Findings findings_;
  // Of the last finding. They keep their room for the next one.
  std::string for_log_;
  std::string for_operator_;
  std::size_t expected_ = 0;
  std::size_t missing_ = 0;
};

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
    ClassComparison comparison(pmdb_, log, nodename);
    for (const ExpectedIndex::Expected& key : expected.keys) comparison.claim(*index_, key);
    return comparison.conclude();
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
  ClassComparison comparison(pmdb_dict, dl_fd, nodename);
  // All nodes' interfaces: every node's hardware has to know every interface of the router.
  for (const auto& [node, table] : pidb_dict.nodes()) {
    table->require_object();
    for (std::uint32_t number = 0; number < table->document.size(); ++number) {
      comparison.look_up(InterfaceRecord(*table, number), node);
    }
  }
  return comparison.conclude();
}

}  // namespace zorbec
