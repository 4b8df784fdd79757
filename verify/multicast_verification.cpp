#include "verify/multicast_verification.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "base/error.h"
#include "context/observer.h"
#include "context/run_state.h"
#include "context/tell.h"
#include "tables/multicast_tables.h"

namespace zorbec {
namespace {

// One entry of a table; knows its table, node and number for messages.
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

  // Throws CheckError if the entry has no such field. Call it only for a field that is compared:
  // others may be missing.
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

// One routing entry, and the findings about nodes that hold something else.
class Route {
 public:
  Route(const std::string& processor, const MulticastEntries& routes, std::uint32_t number)
      : processor_(processor), number_(number), entry_("mribkeys", processor, routes, number) {}

  std::uint32_t number() const { return number_; }
  const std::string& rif() const { return entry_.field("rif"); }
  const std::string& mdt_handle() const { return entry_.field("mdt_handle"); }

  // `blanks` go between the label and the handle.
  void report_inconsistent(event::RouteFault fault, const std::string& node,
                           std::string_view blanks) const {
    report(fault, node, mdt_handle(),
           "inconsistant data at node " + node + " rif:" + rif() +
               ", mdt handle:" + std::string(blanks) + mdt_handle());
  }
  void report_missing_bud(const std::string& node) const {
    report(event::RouteFault::kMissingBud, node, {}, "Missing Key in mplsmdtbudobj " + rif());
  }
  void report_missing_handle(const std::string& node) const {
    report(event::RouteFault::kMissingHandle, node, mdt_handle(),
           "Missing Keys in PMDB rif: " + rif() + " port ifh: " + mdt_handle());
  }

 private:
  void report(event::RouteFault fault, const std::string& node, std::string_view handle,
              const std::string& text) const {
    tell([&] { return event::FaultyRoute{fault, node, processor_, number_, rif(), handle, text}; });
    run_state().standard_output.write(text + "\n");
  }

  const std::string& processor_;
  std::uint32_t number_;
  Entry entry_;
};

// Compares a route with the hardware of its own route processor. Texts match if the route's text is
// contained in the hardware's, for both fields; this is required. Returns false if the hardware
// names another RIF: then the handle was not compared.
bool check_route_processor(const Route& route, const Entry& pmdb, const std::string& rp_node) {
  if (!is_contained(route.rif(), pmdb.field("rif"))) return false;
  if (is_contained(route.mdt_handle(), pmdb.field("pmdb_port_ifh"))) return true;
  // 29 blanks here, and one for line cards: scripts of operators search for these texts.
  route.report_inconsistent(event::RouteFault::kProcessorHandle, rp_node,
                            "                             ");
  return true;
}

const MulticastEntries& hardware_entries(const MulticastTable::Nodes& nodes,
                                         const std::string& node) {
  const MulticastEntries* const entries = find_node(nodes, node);
  if (entries == nullptr) throw CheckError("mcastpmdbkeys has nothing of " + node);
  return *entries;
}

// Compares a route with a line card. Only the RIF of the bud object may be contained in a longer
// text; RIF and handle of the hardware must be equal. This is required.
void check_line_card(const Route& route, const Entry& bud,
                     const MulticastTable::Nodes& mcastpmdbkeys, const std::string& lc_node) {
  const std::string& rif = route.rif();
  if (!is_contained(rif, bud.field("rif"))) {
    route.report_missing_bud(lc_node);
    return;
  }
  // Looked up only now: if the collector of the hardware entries has failed, missing bud objects
  // are still reported.
  const MulticastEntries& pmdb = hardware_entries(mcastpmdbkeys, lc_node);
  if (!pmdb.contains(route.number())) {
    route.report_missing_handle(lc_node);
    return;
  }
  const Entry held("mcastpmdbkeys", lc_node, pmdb, route.number());
  const bool is_consistent =
      held.field("rif") == rif && held.field("pmdb_port_ifh") == route.mdt_handle();
  if (!is_consistent) route.report_inconsistent(event::RouteFault::kCardHandle, lc_node, " ");
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
    event::RoutesCompared told{rp_node, routes.size()};
    for (const auto& [number, route] : routes) {
      const bool is_compared = check_route_processor(
          {rp_node, routes, number}, {"mcastpmdbkeys", rp_node, *held, number}, rp_node);
      if (!is_compared) ++told.uncompared;
    }
    tell([&] { return told; });
  }
  for (const auto& [lc_node, buds] : mplsmdtbudobj) {
    event::RoutesCompared told{lc_node, 0};
    for (const auto& [rp_node, routes] : mribkeys) {
      for (const auto& [number, route] : routes) {
        check_line_card({rp_node, routes, number}, {"mplsmdtbudobj", lc_node, buds, number},
                        mcastpmdbkeys, lc_node);
        ++told.routes;
      }
    }
    tell([&] { return told; });
  }
}

}  // namespace zorbec
