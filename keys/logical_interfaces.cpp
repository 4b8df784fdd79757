#include "keys/logical_interfaces.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/log_stream.h"
#include "base/ordered_map.h"
#include "context/run_state.h"
#include "json/numbers.h"
#include "json/writer.h"
#include "keys/interface_records.h"

namespace zorbec {
namespace {

// The value of a field.
struct FieldValue {
  std::string shown;     // as the log shows it
  std::string compared;  // the same text for equal values: 1, 1.0 and true are equal
};
void append_scalar(std::string& out, const FieldValue& value) {
  out += value.shown;
}

FieldValue field_value(const InterfaceRecord& record, const JsonValue& value) {
  switch (value.kind()) {
    case JsonKind::kNull:
      return {"null", "null"};
    case JsonKind::kFalse:
      return {"false", "0"};
    case JsonKind::kTrue:
      return {"true", "1"};
    case JsonKind::kText: {
      std::string text;
      append_json_text(text, value.text());
      return {text, text};
    }
    case JsonKind::kInteger:
    case JsonKind::kReal:
      return {std::string(value.text()), comparable_number(value)};
    case JsonKind::kArray:
    case JsonKind::kObject:
      break;
  }
  record.fail("holds " + describe(value) + ", which no value can be compared with");
}

// What one node reports of a bundle. The values are copied, because the comparison changes the
// record's `inconsistent`.
struct Report {
  std::string node;
  std::vector<FieldValue> values;
  InterfaceRecord record;
};

Report report_of(const std::string& node, const InterfaceRecord& record) {
  const RecordAdditions& added = record.additions();
  if (added.key_list || added.subiflist) {
    record.fail("has got its key list or sub-interface list already");
  }
  Report report{node, {}, record};
  const JsonShape& shape = record.value().shape();
  for (const JsonShape::Member& member : shape.members) {
    if (member.name == "inconsistent") continue;  // replaced by the checker's own
    report.values.push_back(field_value(record, record.value().at_slot(member.slot)));
  }
  report.values.push_back({"0", "0"});  // the checker's `inconsistent`, which is 0 at first
  return report;
}

std::set<std::string_view> value_set(const Report& report) {
  std::set<std::string_view> values;
  for (const FieldValue& value : report.values) values.insert(value.compared);
  return values;
}

// Bundle handle -> the report of the first node that has the bundle, and then the reports that
// differ from it. Handles are in the order in which they were first reported.
using LogicalHandleSet = OrderedMap<std::vector<Report>>;

// Wrapper types and functions through which JsonWriter reads it (json/writer.h), as
// handle -> list of [node, list of values].

struct Values {
  const std::vector<FieldValue>* values;
};
std::size_t entry_count(const Values& list) {
  return list.values->size();
}
template <typename Entry>
bool for_each_element(const Values& list, Entry entry) {
  return std::ranges::all_of(*list.values, entry);
}

struct Node {
  std::string_view name;
};
void append_scalar(std::string& out, const Node& node) {
  append_json_text(out, node.name);
}

struct Pair {
  const Report* report;
};
std::size_t entry_count(const Pair& /*list*/) {
  return 2;
}
template <typename Entry>
bool for_each_element(const Pair& list, Entry entry) {
  return entry(Node{list.report->node}) && entry(Values{&list.report->values});
}

struct Pairs {
  const std::vector<Report>* reports;
};
std::size_t entry_count(const Pairs& list) {
  return list.reports->size();
}
template <typename Entry>
bool for_each_element(const Pairs& list, Entry entry) {
  return std::ranges::all_of(*list.reports,
                             [&](const Report& report) { return entry(Pair{&report}); });
}

struct Handles {
  std::vector<const LogicalHandleSet::Entry*> sorted;
};
std::size_t entry_count(const Handles& map) {
  return map.sorted.size();
}
template <typename Entry>
bool for_each_member(const Handles& map, Entry entry) {
  return std::ranges::all_of(map.sorted, [&](const LogicalHandleSet::Entry* handle) {
    return entry(std::string_view(handle->first), Pairs{&handle->second});
  });
}

std::string render(const LogicalHandleSet& handles) {
  Handles map;
  for (const auto& handle : handles) map.sorted.push_back(&handle);
  std::ranges::sort(map.sorted, {}, [](const auto* handle) { return handle->first; });
  std::string text;
  JsonWriter([&](std::string_view piece) { text += piece; }).write(map);
  return text;
}

void compare_with_first(Report report, LogicalHandleSet& handles) {
  const std::string handle(report.record.handle());
  std::vector<Report>* const known = handles.find(handle);
  if (known == nullptr) {
    handles.set(handle, {std::move(report)});
  } else if (value_set(report) != value_set(known->front())) {
    known->front().record.additions().inconsistent = 1;
    report.record.additions().inconsistent = 1;
    known->push_back(std::move(report));
  }
}

}  // namespace

void check_pidb(const NodeInfo& nodeinfo) {
  RunState& state = run_state();
  LogicalHandleSet handles;
  for (const auto& [node, node_record] : nodeinfo) {
    if (required(node_record->pidb_dump, "pidb_dump") == 0) continue;
    for_each_interface(state.pidb_bundle_ifh, node,
                       [&, &node = node](const InterfaceRecord& record) {
                         record.require_object();
                         record.additions().inconsistent = 0;
                         compare_with_first(report_of(node, record), handles);
                       });
  }
  const std::shared_ptr<LogStream> log = state.dl_fd.get();
  if (log == nullptr) throw CheckError("no log is open");
  log->write("\nLogical ifh set:\n" + render(handles));
}

}  // namespace zorbec
