#include "verify/multicast_verification.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "run/error.h"
#include "run/multicast_tables.h"
#include "run/run_state.h"

namespace zorbec {
namespace {

// One entry of one of the tables, and where it stands, for messages.
class Entry {
 public:
  // Throws CheckError if the node has no entry of that number.
  Entry(const char* table, const std::string& node, const MulticastEntries& entries,
        std::uint32_t number)
      : table_(table), node_(node), number_(number) {
    const auto found = entries.find(number);
    if (found == entries.end()) fail("is not there");
    record_ = &found->second;
  }

  // Fields are read only where a comparison needs them: others may be missing.
  const std::string& field(const char* name) const {
    const auto found = record_->find(name);
    if (found == record_->end()) fail("has no " + std::string(name));
    return found->second;
  }

 private:
  [[noreturn]] void fail(const std::string& what) const {
    throw CheckError(std::string(table_) + " of " + node_ + ": entry " + std::to_string(number_) +
                     " " + what);
  }

  const char* table_;
  const std::string& node_;
  std::uint32_t number_;
  const MulticastRecord* record_ = nullptr;
};

bool is_contained(const std::string& text, std::string_view in) {
  return in.find(text) != std::string_view::npos;
}

void print(const std::string& finding) {
  run_state().standard_output.write(finding + "\n");
}

void print_inconsistent(const std::string& node, const Entry& mrib, std::string_view blanks) {
  print("inconsistant data at node " + node + " rif:" + mrib.field("rif") +
        ", mdt handle:" + std::string(blanks) + mrib.field("mdt_handle"));
}

// Here a text that is part of another counts as equal, for both fields.
void check_route_processor(const Entry& mrib, const Entry& pmdb, const std::string& rp_node) {
  if (!is_contained(mrib.field("rif"), pmdb.field("rif"))) return;
  if (is_contained(mrib.field("mdt_handle"), pmdb.field("pmdb_port_ifh"))) return;
  // Operators' scripts know this message with its 29 blanks, and the line cards' with one.
  print_inconsistent(rp_node, mrib, "                             ");
}

const MulticastEntries& hardware_entries(const MulticastTable::Nodes& nodes,
                                         const std::string& node) {
  const MulticastEntries* const entries = find_node(nodes, node);
  if (entries == nullptr) throw CheckError("mcastpmdbkeys has nothing of " + node);
  return *entries;
}

// Here only the RIF of the bud object is compared by containment; the hardware's must be equal.
void check_line_card(const Entry& mrib, const Entry& bud,
                     const MulticastTable::Nodes& mcastpmdbkeys, std::uint32_t number,
                     const std::string& lc_node) {
  const std::string& rif = mrib.field("rif");
  if (!is_contained(rif, bud.field("rif"))) {
    print("Missing Key in mplsmdtbudobj " + rif);
    return;
  }
  // Looked up only here: a card whose collector failed has no such entries, and what its bud
  // objects lack is reported all the same.
  const MulticastEntries& pmdb = hardware_entries(mcastpmdbkeys, lc_node);
  if (!pmdb.contains(number)) {
    print("Missing Keys in PMDB rif: " + rif + " port ifh: " + mrib.field("mdt_handle"));
    return;
  }
  const Entry held("mcastpmdbkeys", lc_node, pmdb, number);
  const bool is_consistent =
      held.field("rif") == rif && held.field("pmdb_port_ifh") == mrib.field("mdt_handle");
  if (!is_consistent) print_inconsistent(lc_node, mrib, " ");
}

}  // namespace

void verify_mcast(LogStream& dl_fd) {
  const RunState& state = run_state();
  const MulticastTable::Nodes mribkeys = state.mribkeys.nodes();
  const MulticastTable::Nodes mcastpmdbkeys = state.mcastpmdbkeys.nodes();
  const MulticastTable::Nodes mplsmdtbudobj = state.mplsmdtbudobj.nodes();

  dl_fd.write("\n mrib rif and ifh handle: \n" + render(mribkeys));
  dl_fd.write("\n pmdb rif and ifh handle \n" + render(mcastpmdbkeys));
  dl_fd.write("\n mplsmdtbud objects \n" + render(mplsmdtbudobj));

  for (const auto& [rp_node, routes] : mribkeys) {
    const MulticastEntries* const held = find_node(mcastpmdbkeys, rp_node);
    if (held == nullptr) continue;
    for (const auto& [number, route] : routes) {
      check_route_processor({"mribkeys", rp_node, routes, number},
                            {"mcastpmdbkeys", rp_node, *held, number}, rp_node);
    }
  }
  for (const auto& [lc_node, buds] : mplsmdtbudobj) {
    for (const auto& [rp_node, routes] : mribkeys) {
      for (const auto& [number, route] : routes) {
        check_line_card({"mribkeys", rp_node, routes, number},
                        {"mplsmdtbudobj", lc_node, buds, number}, mcastpmdbkeys, number, lc_node);
      }
    }
  }
}

}  // namespace zorbec
