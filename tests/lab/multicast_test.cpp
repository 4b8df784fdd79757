// The multicast state of generated routers, read back from their files as the check reads it.

#include "lab/multicast.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "lab/generate.h"
#include "lab/words.h"
#include "lab_process.h"

namespace zorbec::lab {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr char kRouteProcessor[] = "192.0.1.1";
constexpr char kStandby[] = "192.0.2.1";

// What a tool says about one route; a field that it does not print is empty.
struct Entry {
  std::string rif;
  std::string handle;
};

std::string decimal_to_hex(const std::string& text) {
  return hex_text(std::stoull(text));
}

std::string first_match(const std::string& text, const char* pattern) {
  std::smatch match;
  return std::regex_search(text, match, std::regex(pattern)) ? match.str(1) : std::string();
}

// Cuts a tool's output where `begin` stands.
std::vector<std::string> pieces(const std::string& text, const std::string& begin) {
  std::vector<std::string> found;
  for (std::size_t at = text.find(begin); at != std::string::npos;) {
    const std::size_t next = text.find(begin, at + 1);
    found.push_back(text.substr(at, next - at));
    at = next;
  }
  return found;
}

std::string text_if_present(const fs::path& file) {
  return fs::exists(file) ? file_text(file) : std::string();
}

std::vector<Entry> routes_of(const fs::path& router, const std::string& address) {
  std::vector<Entry> routes;
  const fs::path file = router / "nodes" / address / "out/mcroute_print";
  for (const std::string& piece : pieces(text_if_present(file), "RPF-ID: ")) {
    routes.push_back({decimal_to_hex(first_match(piece, ", Tunnel RIF: (\\d+)[,\n]")),
                      first_match(piece, ", MDT Handle: (0x[0-9a-f]+),")});
  }
  return routes;
}

std::vector<std::string> bud_rifs_of(const fs::path& router, const std::string& address) {
  std::vector<std::string> rifs;
  const fs::path file = router / "nodes" / address / "out/fwdobj_print";
  for (const std::string& piece : pieces(text_if_present(file), "mplsmdtbud(id: 0x")) {
    rifs.push_back(decimal_to_hex(first_match(piece, "\n  tun_rif => (\\d+)\n")));
  }
  return rifs;
}

std::optional<Entry> key_of(const fs::path& router, const std::string& address,
                            const std::string& rif) {
  const std::string text = text_if_present(router / "nodes" / address / "rifs" / rif);
  if (text.empty()) return std::nullopt;
  const std::string handle = first_match(text, "\n  intf_info.port_ifh: (0x[0-9a-f]+)\n");
  EXPECT_NE(handle, "") << text;  // the check reads nothing that stands before it
  return Entry{first_match(text, "intf_info.port_ifh[^]*\n  intf_info.rif: (0x[0-9a-f]+)\n"),
               handle};
}

bool is_contained(const std::string& text, const std::string& in) {
  return in.find(text) != std::string::npos;
}

std::vector<std::string> card_addresses(int line_cards) {
  std::vector<std::string> addresses;
  addresses.reserve(static_cast<std::size_t>(line_cards));
  for (int i = 0; i < line_cards; ++i) {
    addresses.push_back("192.0." + std::to_string(16 + i) + ".1");
  }
  return addresses;
}

struct Outcome {
  std::vector<std::string> lines;  // in the order in which they are printed
  bool is_complete = true;         // false if the check ends before everything is compared
};

// What the multicast check prints on a router with one route processor that has routes.
Outcome check(const fs::path& router, const std::vector<std::string>& cards) {
  Outcome outcome{{}, false};
  const auto report = [&](std::initializer_list<std::string_view> parts) {
    std::string& line = outcome.lines.emplace_back();
    for (const std::string_view part : parts) line += part;
  };
  const std::vector<Entry> routes = routes_of(router, kRouteProcessor);
  for (const Entry& route : routes) {
    const std::optional<Entry> key = key_of(router, kRouteProcessor, route.rif);
    if (!key || key->rif.empty()) return outcome;
    if (!is_contained(route.rif, key->rif)) continue;
    if (route.handle.empty()) return outcome;
    if (!is_contained(route.handle, key->handle)) {
      report({"inconsistant data at node ", kRouteProcessor, " rif:", route.rif,
              ", mdt handle:                             ", route.handle});
    }
  }
  for (const std::string& card : cards) {
    const std::vector<std::string> buds = bud_rifs_of(router, card);
    for (std::size_t i = 0; i < routes.size(); ++i) {
      const auto& [rif, handle] = routes[i];
      if (i >= buds.size()) return outcome;
      const std::optional<Entry> key = key_of(router, card, rif);
      if (!is_contained(rif, buds[i])) {
        report({"Missing Key in mplsmdtbudobj ", rif});
      } else if (!key) {
        report({"Missing Keys in PMDB rif: ", rif, " port ifh: ", handle});
      } else if (key->rif.empty()) {
        return outcome;
      } else if (key->rif != rif || key->handle != handle) {
        report({"inconsistant data at node ", card, " rif:", rif, ", mdt handle: ", handle});
      }
    }
  }
  outcome.is_complete = true;
  return outcome;
}

struct Planted {
  std::vector<std::string> lines;  // in the order of the file
  std::map<std::string, int> kinds;
  int ends = 0;
};

Planted read_planted(const fs::path& router) {
  Planted planted;
  const json document = json::parse(file_text(router / "planted.json"));
  for (const json& defect : document.at("defects")) {
    const std::string kind = defect.at("kind");
    if (!is_multicast_defect(parse_defect(kind).kind)) continue;
    ++planted.kinds[kind];
    if (defect.contains("ends_check")) ++planted.ends;
    for (const json& finding : defect.at("findings")) planted.lines.push_back(finding.at("text"));
  }
  return planted;
}

RouterOptions options_for(int routes, int line_cards = 2) {
  RouterOptions options;
  options.interfaces = 10;
  options.line_cards = line_cards;
  options.multicast = routes;
  return options;
}

class GeneratedRoutes : public ::testing::TestWithParam<int> {};

TEST_P(GeneratedRoutes, are_consistent_on_all_nodes) {
  const TestFolder folder;
  RouterOptions options = options_for(GetParam());
  options.standby = true;
  generate_router(folder.path(), options, {});
  const auto count = static_cast<std::size_t>(GetParam());
  const std::vector<Entry> routes = routes_of(folder.path(), kRouteProcessor);
  EXPECT_EQ(routes.size(), count);
  EXPECT_EQ(text_if_present(folder.path() / "nodes" / kStandby / "out/mcroute_print"), "");
  const Outcome outcome = check(folder.path(), card_addresses(2));
  EXPECT_TRUE(outcome.is_complete);
  EXPECT_EQ(outcome.lines, std::vector<std::string>());
  for (const std::string& card : card_addresses(2)) {
    EXPECT_EQ(bud_rifs_of(folder.path(), card).size(), count);
  }
  for (const Entry& route : routes) {
    const std::optional<Entry> key = key_of(folder.path(), kStandby, route.rif);
    ASSERT_TRUE(key) << route.rif;
    EXPECT_EQ(key->rif, route.rif);
    EXPECT_EQ(key->handle, route.handle);
  }
  const json planted = json::parse(file_text(folder.path() / "planted.json"));
  EXPECT_EQ(planted.at("router").at("multicast"), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Counts, GeneratedRoutes, ::testing::Values(0, 1, 12, 1000));

TEST(MulticastRoutes, have_rifs_and_handles_that_are_no_part_of_another) {
  for (const int count : {1, 30719, 30720, 30721, 100'000}) {
    Random random(3);
    const std::vector<MulticastRoute> routes = plan_multicast_routes(count, random);
    ASSERT_EQ(routes.size(), static_cast<std::size_t>(count));
    std::set<std::uint32_t> rifs;
    std::set<std::uint32_t> handles;
    for (const MulticastRoute& route : routes) {
      rifs.insert({route.rif, route.rif + 1});
      handles.insert({route.mdt_handle, route.mdt_handle + 1});
    }
    EXPECT_EQ(rifs.size(), 2 * routes.size()) << count;
    EXPECT_EQ(handles.size(), 2 * routes.size()) << count;
    EXPECT_EQ(hex_text(*rifs.begin()).size(), hex_text(*rifs.rbegin()).size()) << count;
    EXPECT_EQ(hex_text(*handles.begin()).size(), hex_text(*handles.rbegin()).size()) << count;
  }
}

TEST(MulticastRoutes, leave_the_interfaces_as_they_are) {
  const TestFolder with;
  const TestFolder without;
  const std::vector<std::string> defects = {"missing-physical:2", "leaked"};
  generate_router(with.path(), options_for(5), defects);
  RouterOptions options = options_for(5);
  options.multicast.reset();
  generate_router(without.path(), options, defects);
  int files = 0;
  for (const auto& entry : fs::recursive_directory_iterator(without.path())) {
    const fs::path file = entry.path().lexically_relative(without.path());
    if (!entry.is_regular_file() || file == "planted.json") continue;
    EXPECT_EQ(file_text(entry.path()), file_text(with.path() / file)) << file;
    ++files;
  }
  EXPECT_GT(files, 10);
  EXPECT_FALSE(fs::exists(without.path() / "nodes" / kRouteProcessor / "out"));
  EXPECT_EQ(json::parse(file_text(with.path() / "planted.json")).at("defects"),
            json::parse(file_text(without.path() / "planted.json")).at("defects"));
}

struct FindingCase {
  const char* name;
  const char* kind;
  const char* pattern;  // of the one line
};

void PrintTo(const FindingCase& row, std::ostream* stream) {
  *stream << row.name;
}

class MulticastFinding : public ::testing::TestWithParam<FindingCase> {};

TEST_P(MulticastFinding, is_the_only_one) {
  const TestFolder folder;
  generate_router(folder.path(), options_for(12, 1), {GetParam().kind});
  const Planted planted = read_planted(folder.path());
  ASSERT_EQ(planted.lines.size(), 1U);
  EXPECT_TRUE(std::regex_match(planted.lines.front(), std::regex(GetParam().pattern)))
      << planted.lines.front();
  EXPECT_EQ(planted.ends, 0);
  const Outcome outcome = check(folder.path(), card_addresses(1));
  EXPECT_TRUE(outcome.is_complete);
  EXPECT_EQ(outcome.lines, planted.lines);
}

const FindingCase kFindings[] = {
    {"route_processor_handle", "mcast-rp-handle",
     R"(inconsistant data at node 192\.0\.1\.1 rif:0x\w{4}, mdt handle: {29}0x\w{8})"},
    {"missing_bud", "mcast-missing-bud", R"(Missing Key in mplsmdtbudobj 0x\w{4})"},
    {"missing_pmdb", "mcast-missing-pmdb",
     R"(Missing Keys in PMDB rif: 0x\w{4} port ifh: 0x\w{8})"},
    {"card_handle", "mcast-lc-handle",
     R"(inconsistant data at node 192\.0\.16\.1 rif:0x\w{4}, mdt handle: 0x\w{8})"},
    {"card_rif", "mcast-lc-rif",
     R"(inconsistant data at node 192\.0\.16\.1 rif:0x\w{4}, mdt handle: 0x\w{8})"},
};

INSTANTIATE_TEST_SUITE_P(All, MulticastFinding, ::testing::ValuesIn(kFindings),
                         [](const auto& row) { return row.param.name; });

const std::vector<std::string> kMixedDefects = {"mcast-rp-handle:5", "mcast-missing-bud:7",
                                                "mcast-missing-pmdb:7", "mcast-lc-handle:7",
                                                "mcast-lc-rif:7"};

class MulticastModel : public ::testing::TestWithParam<int> {};

TEST_P(MulticastModel, has_exactly_the_planted_defects) {
  const TestFolder folder;
  RouterOptions options = options_for(20, 4);
  options.model = GetParam();
  options.standby = GetParam() % 2 == 0;
  generate_router(folder.path(), options, kMixedDefects);
  const Planted planted = read_planted(folder.path());
  const std::map<std::string, int> kinds = {{"mcast-rp-handle", 5},
                                            {"mcast-missing-bud", 7},
                                            {"mcast-missing-pmdb", 7},
                                            {"mcast-lc-handle", 7},
                                            {"mcast-lc-rif", 7}};
  EXPECT_EQ(planted.kinds, kinds);
  EXPECT_EQ(planted.lines.size(), 33U);
  const Outcome outcome = check(folder.path(), card_addresses(4));
  EXPECT_TRUE(outcome.is_complete);
  EXPECT_EQ(outcome.lines, planted.lines);
}

INSTANTIATE_TEST_SUITE_P(All, MulticastModel, ::testing::Values(1, 2, 3, 4, 6, 8));

class MulticastEnd : public ::testing::TestWithParam<const char*> {};

TEST_P(MulticastEnd, hides_what_comes_after_it) {
  std::set<std::size_t> line_counts;
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    const TestFolder folder;
    RouterOptions options = options_for(20, 3);
    options.seed = seed;
    std::vector<std::string> defects = kMixedDefects;
    defects.insert(defects.begin() + 2, GetParam());
    generate_router(folder.path(), options, defects);
    const Planted planted = read_planted(folder.path());
    EXPECT_EQ(planted.ends, 1);
    EXPECT_EQ(planted.kinds.at(GetParam()), 1);
    const Outcome outcome = check(folder.path(), card_addresses(3));
    EXPECT_FALSE(outcome.is_complete) << seed;
    EXPECT_EQ(outcome.lines, planted.lines) << seed;
    line_counts.insert(planted.lines.size());
  }
  EXPECT_GT(line_counts.size(), 2U);  // it comes at different places
  EXPECT_LT(*line_counts.begin(), 33U);
}

INSTANTIATE_TEST_SUITE_P(All, MulticastEnd,
                         ::testing::Values("mcast-end-rp-pmdb", "mcast-end-bud", "mcast-end-field"),
                         [](const auto& row) {
                           std::string name = row.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

TEST(MulticastDefects, end_field_is_planted_in_routes_and_in_keys) {
  std::set<std::string> nodes;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    const TestFolder folder;
    RouterOptions options = options_for(2, 1);
    options.seed = seed;
    generate_router(folder.path(), options, {"mcast-end-field"});
    const json defect = json::parse(file_text(folder.path() / "planted.json")).at("defects").at(0);
    EXPECT_EQ(defect.at("ends_check"), true);
    EXPECT_EQ(defect.at("findings"), json::array());
    const Entry route = routes_of(folder.path(), kRouteProcessor).at(defect.at("entry"));
    EXPECT_EQ(route.rif, defect.at("rif"));
    const std::string node = defect.at("node");
    nodes.insert(node);
    EXPECT_EQ(route.handle.empty(), node == "RP0");
    const std::optional<Entry> key = key_of(folder.path(), "192.0.16.1", route.rif);
    ASSERT_TRUE(key);
    EXPECT_EQ(key->rif.empty(), node == "0");
    EXPECT_EQ(key->handle, defect.at("mdt_handle"));
  }
  EXPECT_EQ(nodes, (std::set<std::string>{"0", "RP0"}));
}

TEST(MulticastDefects, can_be_on_every_route_of_every_node) {
  const TestFolder folder;
  generate_router(folder.path(), options_for(6, 3),
                  {"mcast-lc-rif:9", "mcast-missing-bud:9", "mcast-rp-handle:6"});
  EXPECT_EQ(read_planted(folder.path()).lines.size(), 24U);
  EXPECT_EQ(check(folder.path(), card_addresses(3)).lines.size(), 24U);
}

TEST(MulticastDefects, are_the_same_for_the_same_options) {
  std::vector<std::string> texts;
  for (const std::uint64_t seed : {5U, 5U, 6U}) {
    const TestFolder folder;
    RouterOptions options = options_for(20);
    options.seed = seed;
    generate_router(folder.path(), options, kMixedDefects);
    std::string text = file_text(folder.path() / "planted.json");
    for (const Entry& route : routes_of(folder.path(), kRouteProcessor)) text += route.rif;
    texts.push_back(text);
  }
  EXPECT_EQ(texts[0], texts[1]);
  EXPECT_NE(texts[0], texts[2]);
}

struct MulticastRefusalCase {
  const char* name;
  std::vector<std::string> options;
  const char* message;
};

void PrintTo(const MulticastRefusalCase& row, std::ostream* stream) {
  *stream << row.name;
}

class MulticastRefusal : public ::testing::TestWithParam<MulticastRefusalCase> {};

TEST_P(MulticastRefusal, writes_nothing) {
  const TestFolder folder;
  std::vector<std::string> arguments = {"generate", folder.path() / "router"};
  arguments.insert(arguments.end(), GetParam().options.begin(), GetParam().options.end());
  const Ended ended = run_lab(arguments);
  EXPECT_EQ(ended.status, 125);
  EXPECT_NE(ended.err.find(GetParam().message), std::string::npos) << ended.err;
  EXPECT_FALSE(fs::exists(folder.path() / "router"));
}

const MulticastRefusalCase kMulticastRefusals[] = {
    {"model_5", {"--multicast", "3", "--model", "5"}, "no node table"},
    {"model_7", {"--multicast", "3", "--model", "7"}, "no node table"},
    {"model_9_without_routes", {"--multicast", "0", "--model", "9"}, "no node table"},
    {"negative", {"--multicast", "-1"}, "--multicast"},
    {"too_many_routes", {"--multicast", "100001"}, "--multicast"},
    {"defect_without_routes", {"--defect", "mcast-lc-rif"}, "not that many multicast routes"},
    {"too_many_defects",
     {"--multicast", "3", "--defect", "mcast-rp-handle:4"},
     "not that many multicast routes"},
    {"two_of_one_end", {"--multicast", "3", "--defect", "mcast-end-bud:2"}, "only one defect"},
    {"two_ends",
     {"--multicast", "3", "--defect", "mcast-end-bud", "--defect", "mcast-end-field"},
     "only one defect"},
    {"unknown_kind", {"--multicast", "3", "--defect", "mcast-end"}, "no defect"},
};

INSTANTIATE_TEST_SUITE_P(All, MulticastRefusal, ::testing::ValuesIn(kMulticastRefusals),
                         [](const auto& row) { return row.param.name; });

TEST(MulticastRouter, answers_the_commands_of_the_check) {
  const TestFolder folder;
  generate_router(folder.path(), options_for(2, 1), {});
  const std::string rif = routes_of(folder.path(), kRouteProcessor).back().rif;
  const fs::path nodes = folder.path() / "nodes";
  const Ended ended = run_on(folder.path(),
                             "ssh  -o 'StrictHostKeyChecking=no' 192.0.1.1 "
                             "/pkg/bin/mcroute_print -cmd 0x9;"
                             "ssh  -o 'StrictHostKeyChecking=no' 192.0.16.1 "
                             "/pkg/bin/fwdobj_print -t 0xbe -l 0 -o b;"
                             "ssh -o StrictHostKeyChecking=no 192.0.16.1 "
                             "/pkg/bin/hwkey_dump -r " +
                                 rif);
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out, file_text(nodes / "192.0.1.1/out/mcroute_print") +
                           file_text(nodes / "192.0.16.1/out/fwdobj_print") +
                           file_text(nodes / "192.0.16.1/rifs" / rif));
}

}  // namespace
}  // namespace zorbec::lab
