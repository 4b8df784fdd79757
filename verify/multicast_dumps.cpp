#include "verify/multicast_dumps.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/files.h"
#include "base/integer.h"
#include "base/text_lines.h"
#include "context/execute.h"
#include "context/observer.h"
#include "context/run_state.h"
#include "context/tell.h"
#include "platform/platform_probes.h"
#include "tables/multicast_tables.h"

namespace zorbec {
namespace {

constexpr const char* kMribFile = "/tmp/mribdump.txt";
constexpr const char* kBudFile = "/tmp/mplsmdtbud.txt";
constexpr const char* kPmdbFile = "/tmp/pmdbdump.txt";

// A piece of a tool's output that names a field, and the functions that get its value.
class Item {
 public:
  Item(const std::string& command, std::string_view text) : command_(&command), text_(text) {}

  bool holds(std::string_view word) const { return text_.find(word) != std::string_view::npos; }

  // The text behind the first `separator`, up to the next one or the end. Throws CheckError if
  // there is none.
  Item after(std::string_view separator) const {
    const std::string_view rest = all_after(separator);
    return {*command_, rest.substr(0, rest.find(separator))};
  }

  // All that stands behind the first `separator`. Throws CheckError if there is none.
  std::string_view all_after(std::string_view separator) const {
    const std::size_t at = text_.find(separator);
    if (at == std::string_view::npos) fail("has no \"" + std::string(separator) + "\"");
    return text_.substr(at + separator.size());
  }

  // Only the letters and digits of the text.
  std::string cleaned() const {
    std::string letters_and_digits;
    std::ranges::copy_if(text_, std::back_inserter(letters_and_digits), [](char c) {
      return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    });
    return letters_and_digits;
  }

  // The cleaned text, read as a decimal number and written in hexadecimal. Throws CheckError if it
  // is not a decimal number.
  std::string hexadecimal() const {
    const std::optional<Integer> number = Integer::from_decimal(cleaned());
    if (!number) fail("is not a decimal number");
    return number->hexadecimal();
  }

  [[noreturn]] void fail(const std::string& what) const {
    throw CheckError(*command_ + ": " + in_quotes(text_) + " " + what);
  }

 private:
  const std::string* command_;
  std::string_view text_;
};

// The entries that a collector has found so far. The destructor stores them in the node's place of
// the table, so that they are there even if the collector fails.
class Collection {
 public:
  Collection(MulticastTable& table, std::string address)
      : table_(table), address_(std::move(address)) {}
  ~Collection() { table_.store(address_, std::move(entries_)); }
  Collection(const Collection&) = delete;
  Collection& operator=(const Collection&) = delete;

  // Goes on to the next number, which has no record until reset_record().
  void next_number() { ++number_; }
  // Gives the current number a new empty record.
  void reset_record() { entries_[number_].clear(); }
  void open_entry() {
    next_number();
    reset_record();
  }
  // Sets a field of the current record. Throws CheckError, naming `item`, if there is no record.
  void set(const char* field, std::string value, const Item& item) {
    const auto entry = entries_.find(number_);
    if (entry == entries_.end()) item.fail("belongs to no entry");
    entry->second[field] = std::move(value);
  }

  // Stores the entries in the table, and writes the whole table to the file at `path`.
  void finish(const std::string& path) {
    table_.store(address_, entries_);
    // All nodes write this file, and each replaces it. This order matters: store, create, render.
    // The worker that creates its file last renders after all others have stored, so the file that
    // remains shows all nodes.
    const UniqueFd file = run_state().files().create_fresh(path);
    write_all(file.get(), render(table_.nodes()), path);
  }

  std::size_t size() const { return entries_.size(); }

 private:
  MulticastTable& table_;
  const std::string address_;
  MulticastEntries entries_;
  std::uint32_t number_ = std::numeric_limits<std::uint32_t>::max();  // the next one is 0
};

void tell_step(const std::string& nodename, event::Step step) {
  tell([&] { return event::StepStarted{nodename, step, std::nullopt}; });
}

void tell_collected(const std::string& nodename, event::Step step, const Collection& entries,
                    std::size_t unreadable = 0) {
  tell([&] { return event::EntriesCollected{nodename, step, entries.size(), unreadable}; });
}

// Splits a line at every comma that is followed by a blank.
std::vector<std::string_view> split_items(std::string_view line) {
  static constexpr std::string_view kSeparator = ", ";
  std::vector<std::string_view> items;
  for (;;) {
    const std::size_t end = line.find(kSeparator);
    items.push_back(line.substr(0, end));
    if (end == std::string_view::npos) return items;
    line.remove_prefix(end + kSeparator.size());
  }
}

// Reads one item of the routing entries. An item may name several of the fields.
void take_mrib_item(const Item& item, Collection& entries, std::vector<std::string>& rifs) {
  if (item.holds("RPF-ID")) {
    // The id is not used, but it must be there.
    entries.open_entry();
    if (item.all_after(": ").empty()) item.fail("has no RPF id");
  }
  if (item.holds("MDT Handle")) entries.set("mdt_handle", item.after(": ").cleaned(), item);
  if (item.holds("Tunnel RIF")) {
    const std::string rif = item.after(": ").hexadecimal();
    entries.set("rif", rif, item);
    rifs.push_back(rif);
  }
}

// Reports a route processor's tunnel RIFs when its collector ends, also by an exception: workers of
// other nodes wait for the report.
class RifReport {
 public:
  explicit RifReport(const std::string& nodename) : nodename_(nodename) {}
  ~RifReport() { run_state().rifs.report(nodename_, std::move(rifs)); }
  RifReport(const RifReport&) = delete;
  RifReport& operator=(const RifReport&) = delete;

  std::vector<std::string> rifs;

 private:
  const std::string& nodename_;
};

}  // namespace

void mcast_dump_task(const std::string& nodename, const NodeRecord& node_info, LogStream& dl_fd,
                     std::string_view nodetype) {
  const std::string& nodeip = required(node_info.nodeip, "nodeip");
  const int router = run_state().router;
  if (nodetype == "RP") {
    check_mrib_dump(nodeip, nodename, dl_fd);
  } else if (nodetype == "LC" || router == kModelKvr330 || router == kModelKvr78q4) {
    check_mdtbudobj_dump(nodeip, nodename, dl_fd);
  } else {
    return;
  }
  run_state().rifs.wait();
  check_pmdb_dump(nodeip, nodename, dl_fd);
}

void check_mrib_dump(const std::string& nodeip, const std::string& nodename, LogStream& /*dl_fd*/) {
  RifReport report(nodename);
  if (nodeip == kNone) return;
  tell_step(nodename, event::Step::kRoutes);
  run_state().files().create_fresh(kMribFile);  // it stays empty if the collector fails
  const std::string command =
      "ssh  -o 'StrictHostKeyChecking=no' " + nodeip + " /pkg/bin/mcroute_print -cmd 0x9";
  const std::string output = execute(command, "_mrib_" + nodename, nodeip);

  Collection entries(run_state().mribkeys, nodeip);
  for (const std::string_view line : split_lines(output)) {
    for (const std::string_view item : split_items(line)) {
      take_mrib_item(Item(command, item), entries, report.rifs);
    }
  }
  entries.finish(kMribFile);
  tell_collected(nodename, event::Step::kRoutes, entries);
}

void check_mdtbudobj_dump(const std::string& nodeip, const std::string& nodename,
                          LogStream& /*dl_fd*/) {
  tell_step(nodename, event::Step::kBuds);
  run_state().files().create_fresh(kBudFile);
  const std::string command =
      "ssh  -o 'StrictHostKeyChecking=no' " + nodeip + " /pkg/bin/fwdobj_print -t 0xbe -l 0 -o b";
  const std::string output = execute(command, "_mplsmdtbud_" + nodename, nodeip);

  Collection entries(run_state().mplsmdtbudobj, nodeip);
  for (const std::string_view text : split_lines(output)) {
    const Item line(command, text);
    if (line.holds("mplsmdtbud")) {
      entries.open_entry();
      entries.set("mdt_bud_obj", line.after("(").after(":").cleaned(), line);
    }
    if (line.holds("tun_rif")) entries.set("rif", line.after("=>").hexadecimal(), line);
  }
  entries.finish(kBudFile);
  tell_collected(nodename, event::Step::kBuds, entries);
}

void check_pmdb_dump(const std::string& nodeip, const std::string& nodename, LogStream& /*dl_fd*/) {
  if (nodeip == kNone) return;
  tell_step(nodename, event::Step::kHandles);
  run_state().files().create_fresh(kPmdbFile);
  Collection entries(run_state().mcastpmdbkeys, nodeip);
  const std::string question =
      "ssh -o StrictHostKeyChecking=no " + nodeip + " /pkg/bin/hwkey_dump -r ";
  const std::vector<std::string> rifs = run_state().rifs.list();
  announce_commands([&](const CommandRunner::Visit& visit) {
    for (const std::string& rif : rifs) visit({question + rif, "_pmdb_" + rif, nodeip});
  });
  std::size_t unreadable = 0;
  for (const std::string& rif : rifs) {
    const std::string command = question + rif;
    // All nodes use the same suffix for a RIF, and so the same file. Each call still reads its own
    // output (ShellRunner).
    const std::string output = execute(command, "_pmdb_" + rif, nodeip);
    entries.next_number();
    bool has_field = output.empty();
    for (const std::string_view text : split_lines(output)) {
      const Item line(command, text);
      if (line.holds("intf_info.port_ifh")) {
        has_field = true;
        entries.reset_record();
        entries.set("pmdb_port_ifh", line.after(": ").cleaned(), line);
      }
      // Kept as this tool prints it, without the conversion to hexadecimal.
      if (line.holds("intf_info.rif")) entries.set("rif", line.after(": ").cleaned(), line);
    }
    if (!has_field) ++unreadable;
  }
  entries.finish(kPmdbFile);
  tell_collected(nodename, event::Step::kHandles, entries, unreadable);
}

}  // namespace zorbec
