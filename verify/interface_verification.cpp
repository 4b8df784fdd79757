#include "verify/interface_verification.h"

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/integer.h"
#include "context/observer.h"
#include "context/run_state.h"
#include "context/tell.h"
#include "keys/interface_records.h"
#include "tables/interface_class.h"
#include "tables/table_rendering.h"
#include "verify/expected_index.h"
#include "verify/findings.h"
#include "verify/key_matching.h"
#include "verify/leak_check.h"
#include "verify/shared_truth.h"

namespace zorbec {
namespace {

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
  // All outlive this. `matching` is of the same keys; null: they were not matched with an index.
  ClassComparison(PmdbTable& pmdb, KeyMatching* matching, LogStream& log,
                  const std::string& nodename)
      : pmdb_(pmdb),
        matching_(matching),
        log_(log),
        nodename_(nodename),
        findings_(nodename, log) {}

  // Looks up all that one interface expects. `owner` is the node that reports it.
  void look_up(const InterfaceRecord& record, const std::string& owner) {
    const bool has_keys = for_each_expected_key(record, [&](const Integer& key) {
      const std::optional<std::uint32_t> entry = find(key);
      if (entry) pmdb_.set_visited(*entry);
      count(entry.has_value(), [&] { report_missing(record, owner, key); });
    });
    if (!has_keys) claim_by_handle(record);
  }

  // The same for one key of the index, which the keys were matched with and can be claimed by.
  void claim(const ExpectedIndex::Expected& expected) {
    const ExpectedIndex& index = matching_->index();
    const auto& reporter = index.owner(expected.owner);
    const std::string& owner = reporter.first;
    // Most keys are there, and need no look at their interface.
    const auto record = [&] { return InterfaceRecord(*reporter.second, expected.entry); };
    if (expected.number == ExpectedIndex::kNoKey) {
      look_up(record(), owner);
    } else {
      count(matching_->claim(expected.number),
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
    const std::optional<std::uint32_t> entry = find(record.handle());
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

  // A key, or the name of an entry.
  template <typename Key>
  std::optional<std::uint32_t> find(const Key& key) const {
    return matching_ != nullptr ? matching_->find(key) : pmdb_.find(key);
  }

  PmdbTable& pmdb_;
  KeyMatching* const matching_;
  LogStream& log_;
  const std::string& nodename_;
  Findings findings_;
  // Of the last finding. They keep their room for the next one.
  std::string for_log_;
  std::string for_operator_;
  std::size_t expected_ = 0;
  std::size_t missing_ = 0;
};

// Goes through all interfaces of the class one by one: the plain way, which takes any table.
int look_up_all(const InterfaceTables& pidb_dict, ClassComparison& comparison) {
  // All nodes' interfaces: every node's hardware has to know every interface of the router.
  for (const auto& [node, table] : pidb_dict.nodes()) {
    table->require_object();
    for (std::uint32_t number = 0; number < table->document.size(); ++number) {
      comparison.look_up(InterfaceRecord(*table, number), node);
    }
  }
  return comparison.conclude();
}

// Compares one class. If the index tells all that the class expects, each key costs one look into
// the matching; findings come in the same order as from look_up_all().
int compare_class(InterfaceClass intf_class, PmdbTable& pmdb, KeyMatching& matching, LogStream& log,
                  const std::string& nodename) {
  ClassComparison comparison(pmdb, &matching, log, nodename);
  const ExpectedIndex::Class& expected = matching.index().of(intf_class);
  if (!expected.is_complete || !matching.can_claim()) {
    return look_up_all(run_state().interfaces(intf_class), comparison);
  }
  for (const ExpectedIndex::Expected& key : expected.keys) comparison.claim(key);
  return comparison.conclude();
}

}  // namespace

void verify(const std::string& nodename, LogStream& dl_fd) {
  SharedTruth own_truth;
  verify(nodename, dl_fd, own_truth);
}

void verify(const std::string& nodename, LogStream& dl_fd, SharedTruth& truth) {
  PmdbTable* const pmdb_dict = run_state().pmdb_keys.find(nodename);
  if (pmdb_dict == nullptr) {
    dl_fd.write("\nERROR: PMDB Dictionary is empty for " + nodename);
    return;
  }

  int overall = 0;
  const auto write_result = [&](std::string_view label, int result) {
    dl_fd.write(std::string(label) + std::to_string(result));
    if (overall == 0) overall = result;
  };
  truth.make_ahead();
  const std::shared_ptr<const ExpectedIndex> index = truth.index();
  KeyMatching matching(*pmdb_dict, *index);
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    tell([&] { return event::StepStarted{nodename, event::Step::kComparison, intf_class}; });
    const InterfaceClassRow& texts = kInterfaceClassTable[intf_class];
    dl_fd.write(texts.heading);
    dl_fd.write(texts.label);
    dl_fd.write(*truth.rendering(intf_class));
    // Shown once, before anything in it is marked.
    if (intf_class == kEnumerators<InterfaceClass>.front()) write_key_map(*pmdb_dict, dl_fd);
    write_result(texts.result, compare_class(intf_class, *pmdb_dict, matching, dl_fd, nodename));
  }
  tell([&] { return event::StepStarted{nodename, event::Step::kLeaks, std::nullopt}; });
  dl_fd.write("\nChecking pmdb leaks: \n");
  write_result("\ncheck_pmdb_leak Result is : ", check_pmdb_leak(*pmdb_dict, dl_fd, nodename));
  dl_fd.write("\nOverall Result is : " + std::to_string(overall));
}

int verify_intf_specific(const InterfaceTables& pidb_dict, PmdbTable& pmdb_dict, LogStream& dl_fd,
                         const std::string& nodename) {
  ClassComparison comparison(pmdb_dict, nullptr, dl_fd, nodename);
  return look_up_all(pidb_dict, comparison);
}

}  // namespace zorbec
