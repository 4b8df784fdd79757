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

// Two ways to compare a class of interfaces with a node's keys:
//
//   - The plain way, look_up_all(): goes through all interfaces of all nodes and looks up each of
//     their keys. It takes any tables, also malformed ones, and decides what is an error.
//   - The fast way, compare_class() with an ExpectedIndex: goes through the list of numbers that
//     the class expects. It reads an interface's record, which would be a cache miss, only when a
//     key is missing.
//
// Both use ClassComparison for each key, so texts, events and counts are the same. The order of the
// findings is the same too, because the index was made in that order. When the index cannot express
// all of a class, or the node's dump is malformed, the fast way hands over to the plain way before
// it has written anything.
namespace zorbec {
namespace {

void write_key_map(const PmdbTable& pmdb, LogStream& log) {
  log.write("\npmdb_dict is :\n");
  log.write_pieces([&](const auto& sink) { render(pmdb, sink); });
}

// Like text = a + b + ..., but keeps the memory of `text`: there can be hundreds of thousands of
// findings.
void assign(std::string& text, std::initializer_list<std::string_view> pieces) {
  text.clear();
  for (const std::string_view piece : pieces) text += piece;
}

// Compares one class with one node's keys: marks the keys that are there, reports the others, and
// counts both. Belongs to the worker of the node.
class ClassComparison {
 public:
  // All arguments must outlive the object. `matching` is the matching of `pmdb`; null if there is
  // none, and then claim() must not be called.
  ClassComparison(PmdbTable& pmdb, KeyMatching* matching, LogStream& log,
                  const std::string& nodename)
      : pmdb_(pmdb),
        matching_(matching),
        log_(log),
        nodename_(nodename),
        findings_(nodename, log) {}

  // The plain way: looks up all keys that an interface expects. `owner` is the node that reports
  // the interface.
  void look_up(const InterfaceRecord& record, const std::string& owner) {
    const bool has_keys = for_each_expected_key(record, [&](const Integer& key) {
      const std::optional<std::uint32_t> entry = find(key);
      if (entry) pmdb_.set_visited(*entry);
      count(entry.has_value(), [&] { report_missing(record, owner, key); });
    });
    if (!has_keys) claim_by_handle(record);
  }

  // The fast way: the same for one key of the index. Only if the matching can_claim().
  void claim(const ExpectedIndex::Expected& expected) {
    const ExpectedIndex& index = matching_->index();
    const auto& reporter = index.owner(expected.owner);
    const std::string& owner = reporter.first;
    // Made only when it is needed: most keys are there.
    const auto record = [&] { return InterfaceRecord(*reporter.second, expected.entry); };
    if (expected.number == ExpectedIndex::kNoKey) {
      look_up(record(), owner);
    } else {
      count(matching_->claim(expected.number),
            [&] { report_missing(record(), owner, Integer(index.key(expected.number))); });
    }
  }

  // Call it once, at the end. Returns the class's result for the log: 0 if no key is missing, else
  // -1.
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

  // An interface without a key list (a member of a bundle) claims the entry that is named like its
  // handle. The line in the log is not an error of the check, in spite of its text.
  void claim_by_handle(const InterfaceRecord& record) {
    log_.write("\nERROR: Key_list not present " + record.handle_number().message_hexadecimal());
    // By text, not by number: a handle "007" must not claim the entry "7".
    const std::optional<std::uint32_t> entry = find(record.handle());
    if (!entry) record.fail("has no key list, and its handle is no key of the node");
    pmdb_.set_visited(*entry);
  }

  void report_missing(const InterfaceRecord& record, const std::string& owner, const Integer& key) {
    const Integer handle = record.handle_number();
    // The log and standard output have the same text but for the first word and the newline. The
    // event has the text of standard output without the newlines around it.
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

  // `key` is an Integer, or a text: the name of an entry.
  template <typename Key>
  std::optional<std::uint32_t> find(const Key& key) const {
    return matching_ != nullptr ? matching_->find(key) : pmdb_.find(key);
  }

  PmdbTable& pmdb_;
  KeyMatching* const matching_;
  LogStream& log_;
  const std::string& nodename_;
  Findings findings_;
  // The texts of the last finding; members, to keep their memory for the next one.
  std::string for_log_;
  std::string for_operator_;
  std::size_t expected_ = 0;
  std::size_t missing_ = 0;
};

// The plain way.
int look_up_all(const InterfaceTables& pidb_dict, ClassComparison& comparison) {
  // The interfaces of all nodes: the hardware of every node must know every interface.
  for (const auto& [node, table] : pidb_dict.nodes()) {
    table->require_object();
    for (std::uint32_t number = 0; number < table->document.size(); ++number) {
      comparison.look_up(InterfaceRecord(*table, number), node);
    }
  }
  return comparison.conclude();
}

// The fast way, or the plain way if the fast one cannot do it.
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
    // Each result is 0 or -1, so this is 0 only if all are.
    if (overall == 0) overall = result;
  };
  // Before the first log line: all workers begin here at the same time, and each makes something
  // that the others have not begun to make.
  truth.make_ahead();
  const std::shared_ptr<const ExpectedIndex> index = truth.index();
  KeyMatching matching(*pmdb_dict, *index);
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    tell([&] { return event::StepStarted{nodename, event::Step::kComparison, intf_class}; });
    const InterfaceClassRow& texts = kInterfaceClassTable[intf_class];
    dl_fd.write(texts.heading);
    dl_fd.write(texts.label);
    dl_fd.write(*truth.rendering(intf_class));
    // Written once, before the first comparison: the log shows the keys without marks.
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
