// What the documents list is what the program knows.

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/enums.h"
#include "context/observer.h"
#include "host/check/event_stream.h"
#include "host/report/exit_code.h"
#include "host/report/report.h"
#include "host/report/report_json.h"
#include "tables/interface_class.h"
#include "tests/unit/support/files.h"

namespace zorbec {
namespace {

using Json = nlohmann::json;
using Names = std::vector<std::string>;

std::string document(const std::string& path) {
  return unit::read_text(std::string(ZORBEC_SOURCES "/") + path);
}

// What lies between `begin` and the next `end`. Throws if there is no such place.
std::string between(const std::string& text, const std::string& begin, const std::string& end) {
  const std::size_t at = text.find(begin);
  if (at == std::string::npos) throw std::runtime_error("nowhere: " + begin);
  const std::size_t from = at + begin.size();
  const std::size_t to = text.find(end, from);
  if (to == std::string::npos) throw std::runtime_error("nowhere: " + end);
  return text.substr(from, to - from);
}

Names split_words(const std::string& text) {
  Names words;
  std::istringstream stream(text);
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

// The texts between pairs of `mark`.
Names marked(const std::string& text, const std::string& mark) {
  Names found;
  for (std::size_t at = text.find(mark); at != std::string::npos;) {
    const std::size_t from = at + mark.size();
    const std::size_t to = text.find(mark, from);
    if (to == std::string::npos) break;
    found.push_back(text.substr(from, to - from));
    at = text.find(mark, to + mark.size());
  }
  return found;
}

std::string trimmed(const std::string& text) {
  const std::size_t from = text.find_first_not_of(' ');
  if (from == std::string::npos) return {};
  return text.substr(from, text.find_last_not_of(' ') - from + 1);
}

// A column of the table with this header line.
Names column(const std::string& text, const std::string& header, std::size_t number) {
  Names cells;
  std::istringstream rows(between(text, "\n" + header + "\n", "\n\n") + "\n");
  std::string row;
  std::getline(rows, row);  // the rule below the header
  while (std::getline(rows, row)) {
    std::istringstream parts(row.substr(1));
    std::string cell;
    for (std::size_t at = 0; at <= number; ++at) std::getline(parts, cell, '|');
    cells.push_back(trimmed(cell));
  }
  return cells;
}

// What the program knows.

template <typename E>
Names all_of(std::string_view (*text)(E)) {
  Names names;
  for (const E value : kEnumerators<E>) names.emplace_back(text(value));
  return names;
}

Names classes_of_interfaces() {
  return all_of<InterfaceClass>([](InterfaceClass of) { return class_name(of); });
}

Names all_classes() {
  Names names;
  for (const Check check : kEnumerators<Check>) {
    for (const ReportClass of : classes_of(check)) names.emplace_back(class_name(of));
  }
  return names;
}

Names checks() {
  return all_of<Check>(check_name);
}

Names reasons() {
  return all_of<Reason>(reason_text);
}

Names verdicts_but(std::vector<Verdict> others) {
  Names names;
  for (const Verdict verdict : kEnumerators<Verdict>) {
    if (std::ranges::count(others, verdict) == 0) names.emplace_back(verdict_text(verdict));
  }
  return names;
}
Names verdicts_of_reports() {
  return verdicts_but({Verdict::kNothing, Verdict::kByDesign});
}
Names verdicts_of_classes() {
  return verdicts_but({Verdict::kRunFailed});
}

template <std::size_t... values>
Names texts_of_codes(std::index_sequence<values...> /*all*/) {
  Names codes;
  ((enums::is_enumerator<ExitCode, static_cast<ExitCode>(values)>()
        ? codes.push_back(std::to_string(values))
        : void()),
   ...);
  return codes;
}
// All that a process can end with.
Names exit_codes() {
  return texts_of_codes(std::make_index_sequence<256>());
}

// One member of what the event stream writes for each of the events.
Names written(const std::vector<Event>& events, const std::string& member) {
  const std::string path = "/tmp/documents_test.jsonl";
  EventStream stream(path);
  for (const Event& event : events) stream.take(event, {});
  Names names;
  std::istringstream lines(unit::read_text(path));
  for (std::string line; std::getline(lines, line);) {
    names.push_back(Json::parse(line).at(member));
  }
  return names;
}

// The same lists in the documents.

Names listed(const Json& schema) {
  Names names;
  for (const Json& value : schema.at("enum")) {
    if (!value.is_null()) names.push_back(value);
  }
  return names;
}

TEST(ExitCodes, are_found_one_by_one) {
  EXPECT_EQ(exit_codes(), (Names{"0", "1", "2", "3", "64"}));
}

class ReportSchema : public ::testing::Test {
 protected:
  const Json& definition(const std::string& name) const { return schema.at("$defs").at(name); }
  Names member_of(const std::string& name, const std::string& member) const {
    return listed(definition(name).at("properties").at(member));
  }

  const Json schema = Json::parse(document("docs/report.schema.json"));
};

// Calls visit(place, object) for each description of an object, but for conditions, which repeat
// members.
template <typename Visit>
void for_each_object(const Json& schema, const std::string& place, Visit visit) {
  if (schema.is_object() && schema.contains("properties")) visit(place, schema);
  if (!schema.is_structured()) return;
  for (const auto& [name, child] : schema.items()) {
    if (name == "oneOf" || name == "if" || name == "then" || name == "else") continue;
    for_each_object(child, place + "/" + name, visit);
  }
}

TEST_F(ReportSchema, requires_every_member_that_it_describes) {
  int objects = 0;
  for_each_object(schema, "", [&](const std::string& place, const Json& object) {
    ++objects;
    std::set<std::string> described;
    for (const auto& [name, member] : object.at("properties").items()) described.insert(name);
    EXPECT_EQ(object.at("required").get<std::set<std::string>>(), described) << place;
  });
  EXPECT_GT(objects, 5);
}

TEST_F(ReportSchema, describes_every_member_of_a_report) {
  Report report;
  NodeReport& node = report.nodes.emplace_back();
  node.problems.emplace_back();
  node.dumps.emplace_back();
  node.cells.emplace_back();
  report.not_looked_at.emplace_back();
  report.run_errors.emplace_back();
  const Json written = Json::parse(to_json(report));
  const auto members = [](const Json& object) {
    std::set<std::string> names;
    for (const auto& [name, value] : object.items()) names.insert(name);
    return names;
  };
  std::set<std::set<std::string>> described;
  for_each_object(schema, "", [&](const std::string&, const Json& object) {
    described.insert(members(object.at("properties")));
  });
  const Json& row = written.at("nodes")[0];
  for (const Json& object :
       {written, written.at("selection"), written.at("router"), written.at("coverage"), row,
        row.at("problems")[0], row.at("dumps")[0], row.at("classes")[0],
        written.at("not_looked_at")[0], written.at("run_errors")[0]}) {
    EXPECT_TRUE(described.contains(members(object))) << object;
  }
}

TEST_F(ReportSchema, lists_checks) {
  EXPECT_EQ(listed(definition("check")), checks());
}

TEST_F(ReportSchema, lists_classes) {
  EXPECT_EQ(listed(definition("class")), all_classes());
  EXPECT_EQ(member_of("missing_key", "class"), classes_of_interfaces());
  EXPECT_EQ(member_of("leaked_key", "class"), Names{std::string(class_name(ReportClass::kLeak))});
  EXPECT_EQ(member_of("faulty_route", "class"),
            Names{std::string(class_name(ReportClass::kMulticast))});
}

TEST_F(ReportSchema, lists_reasons) {
  EXPECT_EQ(listed(definition("reason")), reasons());
  EXPECT_EQ(listed(schema.at("properties").at("ended_early")),
            (Names{std::string(reason_text(Reason::kInterrupted)),
                   std::string(reason_text(Reason::kDeadline))}));
}

TEST_F(ReportSchema, lists_verdicts) {
  EXPECT_EQ(listed(schema.at("properties").at("verdict")), verdicts_of_reports());
  EXPECT_EQ(member_of("class_of_node", "verdict"), verdicts_of_classes());
  EXPECT_EQ(member_of("node", "verdict"), verdicts_but({Verdict::kNothing, Verdict::kRunFailed}));
}

TEST_F(ReportSchema, gives_each_verdict_its_exit_code) {
  Names described;
  for (const Json& one : schema.at("oneOf")) {
    const Json& properties = one.at("properties");
    described.push_back(properties.at("verdict").at("const").get<std::string>() + " " +
                        properties.at("exit_code").at("const").dump());
  }
  Names known;
  Names codes;
  for (const Verdict verdict : kEnumerators<Verdict>) {
    if (verdict == Verdict::kNothing || verdict == Verdict::kByDesign) continue;
    const std::string code = std::to_string(static_cast<int>(exit_code(verdict)));
    known.push_back(std::string(verdict_text(verdict)) + " " + code);
    codes.push_back(code);
  }
  EXPECT_EQ(described, known);
  Names listed_codes;
  for (const Json& code : schema.at("properties").at("exit_code").at("enum")) {
    listed_codes.push_back(code.dump());
  }
  EXPECT_EQ(listed_codes, codes);
}

TEST_F(ReportSchema, lists_kinds_of_findings) {
  Names kinds;
  for (const Json& reference : definition("finding").at("oneOf")) {
    const std::string target = reference.at("$ref");
    for (const std::string& kind : member_of(target.substr(target.rfind('/') + 1), "kind")) {
      kinds.push_back(kind);
    }
  }
  EXPECT_EQ(kinds, all_of<FindingKind>(kind_name));
}

TEST_F(ReportSchema, lists_dumps) {
  Names dumps =
      all_of<InterfaceClass>([](InterfaceClass of) { return kInterfaceClassTable[of].dump; });
  dumps.emplace_back("pmdb");
  EXPECT_EQ(member_of("dump", "name"), dumps);
}

class EventsSchema : public ::testing::Test {
 protected:
  Names member_of(const std::string& name, const std::string& member) const {
    return listed(schema.at("$defs").at(name).at("properties").at(member));
  }

  const Json schema = Json::parse(document("docs/events.schema.json"));
};

TEST_F(EventsSchema, lists_checks_and_verdicts) {
  EXPECT_EQ(member_of("check_started", "check"), checks());
  EXPECT_EQ(member_of("check_ended", "verdict"), verdicts_of_reports());
}

TEST_F(EventsSchema, lists_steps) {
  std::vector<Event> steps;
  for (const event::Step step : kEnumerators<event::Step>) {
    steps.emplace_back(event::StepStarted{"1", step, {}});
  }
  EXPECT_EQ(member_of("step_started", "step"), written(steps, "step"));
  EXPECT_EQ(member_of("entries_collected", "step"),
            written({event::StepStarted{"1", event::Step::kRoutes, {}},
                     event::StepStarted{"1", event::Step::kBuds, {}},
                     event::StepStarted{"1", event::Step::kHandles, {}}},
                    "step"));
}

TEST_F(EventsSchema, lists_phases) {
  std::vector<Event> phases;
  for (const event::Phase phase : kEnumerators<event::Phase>) {
    phases.emplace_back(event::PhaseStarted{phase});
  }
  EXPECT_EQ(member_of("phase_started", "phase"), written(phases, "phase"));
  EXPECT_EQ(member_of("phase_ended", "phase"), written(phases, "phase"));
}

TEST_F(EventsSchema, lists_classes) {
  for (const char* const name : {"step_started", "dump_loaded", "class_compared", "missing_key"}) {
    EXPECT_EQ(member_of(name, "class"), classes_of_interfaces()) << name;
  }
}

TEST_F(EventsSchema, lists_faults) {
  EXPECT_EQ(member_of("faulty_route", "fault"), all_of<event::RouteFault>(event::fault_name));
}

TEST(ManPage, lists_classes) {
  std::string text =
      between(document("docs/man/zorbec.1"), "Reports only this class:\n", "May be repeated.");
  std::erase(text, '\\');
  Names classes;
  for (const std::string& word : split_words(text)) {
    if (word != ".BR" && word != "or" && word != "," && word != ".") classes.push_back(word);
  }
  EXPECT_EQ(classes, all_classes());
}

TEST(ManPage, lists_exit_codes) {
  const std::string text = between(document("docs/man/zorbec.1"), ".SH EXIT STATUS\n", "\n.PP\n");
  Names codes;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line == ".TP" && std::getline(lines, line)) codes.push_back(split_words(line).at(1));
  }
  EXPECT_EQ(codes, exit_codes());
}

TEST(ManPage, lists_checks) {
  std::string text = between(document("docs/man/zorbec.1"), ".SS zorbec check ", "\n");
  for (const char* const font : {"\\fR", "\\fB"}) {
    for (std::size_t at = 0; (at = text.find(font)) != std::string::npos;) text.erase(at, 3);
  }
  EXPECT_EQ(text, "[interfaces|multicast|all]");
}

TEST(Readme, lists_exit_codes) {
  EXPECT_EQ(column(document("README.md"), "| Status | Meaning |", 0), exit_codes());
}

class ReportGuide : public ::testing::Test {
 protected:
  const std::string text = document("docs/report.md");
};

TEST_F(ReportGuide, lists_classes) {
  EXPECT_EQ(marked(between(text, "Each node has a verdict for each class: ", "\n\n"), "`"),
            all_classes());
}

TEST_F(ReportGuide, lists_verdicts) {
  EXPECT_EQ(column(text, "| In the table | Verdict | Meaning |", 1), verdicts_of_classes());
}

TEST_F(ReportGuide, lists_reasons) {
  Names listed_reasons;
  for (const std::string& cell : column(text, "| Reason | What happened | What to do |", 0)) {
    std::istringstream parts(cell);
    for (std::string reason; std::getline(parts, reason, ',');) {
      listed_reasons.push_back(trimmed(reason));
    }
  }
  EXPECT_EQ(listed_reasons, reasons());
}

// Each paragraph begins with the words of the kinds that it is about.
TEST_F(ReportGuide, speaks_of_every_kind_of_finding) {
  const std::string chapter = between(text, "\n## Findings, and what to do next\n", "\n## ");
  Names words;
  for (const std::string& heading : marked(chapter, "**")) {
    std::istringstream parts(heading);
    for (std::string part; std::getline(parts, part, ',');) {
      part = trimmed(part);
      if (part.ends_with('.')) part.pop_back();
      words.push_back(part);
    }
  }
  std::erase(words, "(unconfirmed)");
  Names known = all_of<FindingKind>(kind_words);
  for (Names* const names : {&words, &known}) {
    std::ranges::sort(*names);
    names->erase(std::unique(names->begin(), names->end()), names->end());
  }
  EXPECT_EQ(words, known);
}

class Completion : public ::testing::Test {
 protected:
  const std::string text = document("completions/zorbec.bash");
};

TEST_F(Completion, offers_classes) {
  EXPECT_EQ(split_words(between(text, "--class) words='", "'")), all_classes());
}

TEST_F(Completion, offers_checks) {
  Names known = checks();
  known.emplace_back("all");
  EXPECT_EQ(split_words(between(between(text, "*:check)", ";;"), "words='", "'")), known);
}

}  // namespace
}  // namespace zorbec
