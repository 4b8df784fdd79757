// Expected keys against a second derivation of them, written down from the rules of each class as
// plainly as can be, for interfaces that the input makes up: fields that are missing, of any kind,
// small, negative and huge.

#include <array>
#include <boost/multiprecision/cpp_int.hpp>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "context/run_state.h"
#include "keys/interface_truth.h"
#include "tests/fuzz/support/bytes.h"
#include "tests/fuzz/support/detached.h"
#include "tests/unit/support/tables.h"

namespace zorbec {
namespace {

using boost::multiprecision::cpp_int;
using fuzz::Bytes;

// A field's value: how a dump writes it, and what it counts as.
struct Value {
  std::string json;
  std::optional<cpp_int> integer = {};    // what can be masked
  std::optional<cpp_int> converted = {};  // what can be shifted and put into a key
  std::optional<int> equal_to = {};       // 0 or 1, if it equals that
  std::string handle = {};                // what it refers to, if it can refer to an interface
};

Value integer_value(const std::string& decimal) {
  Value value{.json = decimal, .handle = decimal};
  value.integer = value.converted = cpp_int(decimal);
  if (decimal == "0" || decimal == "1") value.equal_to = decimal[0] - '0';
  return value;
}
Value text_value(const std::string& decimal) {
  return {.json = "\"" + decimal + "\"", .converted = cpp_int(decimal), .handle = decimal};
}

constexpr const char* kHuge = "10000000000000000000000000000000000000000";
const std::array kNumbers = {"0",
                             "1",
                             "2",
                             "7",
                             "63",
                             "64",
                             "255",
                             "16383",
                             "16384",
                             "65535",
                             "65536",
                             "2147483647",
                             "2147483648",
                             "4294967296",
                             "4294967303",
                             "9223372036854775808",
                             "-1",
                             "-2",
                             "-65536",
                             "-9223372036854775809",
                             kHuge,
                             "18446744073709551615",
                             "18446744073709551616"};
const std::array kHandles = {"1", "2", "3", "4", "5", "6", "0", kHuge, "-3"};
const std::array<Value, 13> kOddValues = {{
    {.json = "null"},
    {.json = "[]"},
    {.json = "{}"},
    {.json = "\"\""},
    {.json = "\"x\""},
    {.json = "\" 1\""},
    {.json = "\"0x1\""},
    {.json = "true", .integer = 1, .converted = 1, .equal_to = 1},
    {.json = "false", .integer = 0, .converted = 0, .equal_to = 0},
    {.json = "0.0", .converted = 0, .equal_to = 0},
    {.json = "1e0", .converted = 1, .equal_to = 1},
    {.json = "-27.5", .converted = -27},
    {.json = "1e999"},
}};

Value make_value(Bytes& bytes) {
  switch (bytes.below(8)) {
    case 0:
      return text_value(bytes.pick(kNumbers));
    case 1:
      return bytes.pick(kOddValues);
    case 2:
      return integer_value(bytes.pick(kNumbers));
    default:
      return integer_value(std::to_string(bytes.byte()));
  }
}
Value make_flag(Bytes& bytes) {
  return bytes.below(16) == 0 ? make_value(bytes) : integer_value(bytes.below(2) == 0 ? "0" : "1");
}
Value make_reference(Bytes& bytes) {
  const std::string handle = bytes.pick(kHandles);
  const std::size_t kind = bytes.below(8);
  if (kind == 0) return make_value(bytes);
  return kind < 4 ? text_value(handle) : integer_value(handle);
}

struct Record {
  std::string handle;
  std::map<std::string, Value> fields;
  std::vector<std::string> dumped_subifs;  // a `subiflist` of the dump's own, if there is one
  // What the rules give it.
  std::optional<std::vector<cpp_int>> keys = {};
  std::optional<std::vector<std::string>> subifs = {};
};
using Table = std::deque<Record>;

struct Router {
  int model = 1;
  int scale_mode = 0;
  std::string node;
  Table bundles, bundle_subifs, ports, port_subifs, bvis, tunnels;
};

void add_field(Bytes& bytes, Record& record, const char* name, Value (*make)(Bytes&)) {
  if (bytes.below(32) != 31) record.fields[name] = make(bytes);
}

Table make_table(Bytes& bytes, std::size_t most, std::initializer_list<const char*> numbers,
                 std::initializer_list<const char*> flags,
                 std::initializer_list<const char*> references) {
  Table table;
  const std::size_t count = bytes.below(most + 1);
  for (std::size_t i = 0; i < count; ++i) {
    Record record{.handle = std::to_string(i + 1), .fields = {}, .dumped_subifs = {}};
    if (bytes.below(32) == 31) record.handle = std::array{"007", "x", "-3", kHuge}[bytes.below(4)];
    for (const char* name : numbers) add_field(bytes, record, name, make_value);
    for (const char* name : flags) add_field(bytes, record, name, make_flag);
    for (const char* name : references) add_field(bytes, record, name, make_reference);
    // A name that stands there twice would be one record.
    const bool is_new = std::ranges::none_of(
        table, [&](const Record& other) { return other.handle == record.handle; });
    if (is_new) table.push_back(std::move(record));
  }
  return table;
}

Router make_router(Bytes& bytes) {
  Router router;
  router.model = static_cast<int>(1 + bytes.below(9));
  router.scale_mode = bytes.pick(std::array{0, 1, 2, 10});
  router.node = bytes.pick(std::array{"2", "2", "2", "70", "15", "RP0"});
  router.bundles = make_table(bytes, 3, {"rif", "lif", "ssp", "slot"}, {"is_l2"}, {});
  for (Record& bundle : router.bundles) {
    if (bytes.below(8) != 7) continue;
    for (std::size_t i = bytes.below(3); i > 0; --i) {
      bundle.dumped_subifs.emplace_back(bytes.pick(kHandles));
    }
  }
  router.bundle_subifs =
      make_table(bytes, 4, {"rif", "lif", "ssp", "slot"}, {"is_l2"}, {"parent_ifh"});
  router.ports = make_table(bytes, 5, {"rif", "lif", "ssp", "slot", "memid", "lagid"},
                            {"is_l2", "is_member"}, {"bundle_ifh"});
  router.port_subifs =
      make_table(bytes, 3, {"rif", "lif", "ssp", "slot"}, {"is_l2"}, {"parent_ifh"});
  router.bvis = make_table(bytes, 3, {"rif", "lif", "ssp", "slot"}, {}, {});
  router.tunnels = make_table(bytes, 3, {"erif", "drif"}, {}, {});
  return router;
}

// The rules
// ----------------------------------------------------------------------------------------

struct Failed {};

// OR of two's complements, each of which fits 512 bits by far.
cpp_int either(const cpp_int& a, const cpp_int& b) {
  const cpp_int range = cpp_int(1) << 512;
  const cpp_int bits = (a < 0 ? cpp_int(a + range) : a) | (b < 0 ? cpp_int(b + range) : b);
  return bits >= range / 2 ? cpp_int(bits - range) : bits;
}
cpp_int remainder(const cpp_int& a, int divisor) {
  const cpp_int rest = a % divisor;
  return rest < 0 ? cpp_int(rest + divisor) : rest;
}

cpp_int key(int agr, int l2, const cpp_int& rif_lif, const cpp_int& ssp) {
  const cpp_int flags = agr * cpp_int(2147483648) + l2 * cpp_int(1073741824);
  return either(either(flags, ssp * 65536), remainder(rif_lif, 65536));
}

const Value& field(const Record& record, const char* name) {
  const auto found = record.fields.find(name);
  if (found == record.fields.end()) throw Failed();
  return found->second;
}
const cpp_int& maskable(const Record& record, const char* name) {
  const Value& value = field(record, name);
  if (!value.integer) throw Failed();
  return *value.integer;
}
const cpp_int& number(const Record& record, const char* name) {
  const Value& value = field(record, name);
  if (!value.converted) throw Failed();
  return *value.converted;
}
Record& look_up(Table& table, const std::string& handle) {
  for (Record& record : table) {
    if (record.handle == handle) return record;
  }
  throw Failed();
}
cpp_int decimal(const std::string& text) {
  const std::string digits = text.starts_with('-') ? text.substr(1) : text;
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) throw Failed();
  const std::size_t begin = std::min(digits.find_first_not_of('0'), digits.size() - 1);
  const cpp_int magnitude(digits.substr(begin));
  return digits.size() == text.size() ? magnitude : cpp_int(-magnitude);
}

cpp_int port_of_slot(const cpp_int& slot) {
  return remainder(slot, 64);
}
bool has_one_port_for_all(const Router& router) {
  return router.model == 2 || router.model == 5 || router.model == 7 || router.model == 8 ||
         router.model == 9;
}
cpp_int own_port(const Router& router) {
  return has_one_port_for_all(router) ? cpp_int(0) : port_of_slot(decimal(router.node));
}

cpp_int bundle_subif_key(const Record& subif) {
  return field(subif, "is_l2").equal_to == 0 ? key(0, 0, maskable(subif, "rif"), 0)
                                             : key(0, 1, maskable(subif, "lif"), 0);
}

void give_to_bundle(Router& router, const Record& member, std::vector<cpp_int> keys) {
  Record& bundle = look_up(router.bundles, number(member, "bundle_ifh").str());
  const int scale_mode = router.model == 9 ? 0 : router.scale_mode;
  const cpp_int member_port =
      either(number(member, "memid") * (cpp_int(1) << (8 + scale_mode)), number(member, "lagid"));
  field(bundle, "rif");
  field(bundle, "lif");
  keys.push_back(key(1, 0, 0, member_port));
  if (field(bundle, "is_l2").equal_to != 0) {
    keys.push_back(key(0, 1, maskable(bundle, "lif"), 0));
  }
  if (!bundle.keys) bundle.keys.emplace();
  bundle.keys->insert(bundle.keys->end(), keys.begin(), keys.end());
  if (!bundle.subifs) return;
  for (const std::string& handle : *bundle.subifs) {
    Record& subif = look_up(router.bundle_subifs, handle);
    field(subif, "rif");
    field(subif, "lif");
    const cpp_int added = bundle_subif_key(subif);
    if (!subif.keys) subif.keys.emplace();
    subif.keys->push_back(added);
  }
}

void require_common_fields(const Record& record) {
  for (const char* name : {"rif", "lif", "ssp", "slot"}) field(record, name);
}

void derive_bundle(Record& record) {
  require_common_fields(record);
  const cpp_int handle = decimal(record.handle);
  record.keys = {handle, field(record, "is_l2").equal_to == 1
                             ? key(0, 1, maskable(record, "lif"), 0)
                             : key(0, 0, maskable(record, "rif"), 0)};
}

void derive_bundle_subif(Router& router, Record& record) {
  const Value& parent = field(record, "parent_ifh");
  if (parent.equal_to != 0) {
    if (parent.handle.empty()) throw Failed();
    Record& bundle = look_up(router.bundles, parent.handle);
    if (!bundle.subifs) bundle.subifs.emplace();
    bundle.subifs->push_back(record.handle);
  }
  require_common_fields(record);
  const cpp_int handle = decimal(record.handle);
  record.keys = {handle, bundle_subif_key(record)};
}

void derive_port(Router& router, Record& record) {
  require_common_fields(record);
  const cpp_int handle = decimal(record.handle);
  const cpp_int port = own_port(router);
  const bool is_l3 = field(record, "is_l2").equal_to == 0;
  std::vector<cpp_int> keys;
  if (is_l3) {
    keys = {key(0, 0, maskable(record, "rif"), 0), key(0, 1, maskable(record, "lif"), port),
            key(0, 0, 0, number(record, "ssp"))};
  } else {
    keys = {key(0, 0, 0, number(record, "ssp")), key(0, 1, maskable(record, "lif"), port),
            key(0, 1, 0, number(record, "ssp"))};
  }
  if (field(record, "is_member").equal_to == 0) {
    keys.insert(keys.begin(), handle);
    record.keys = keys;
  } else {
    give_to_bundle(router, record, keys);
  }
}

void derive_port_subif(const Router& router, Record& record) {
  require_common_fields(record);
  std::vector<cpp_int> keys = {decimal(record.handle)};
  field(record, "parent_ifh");
  const cpp_int port = own_port(router);
  if (field(record, "is_l2").equal_to == 0) keys.push_back(key(0, 0, maskable(record, "rif"), 0));
  keys.push_back(key(0, 1, maskable(record, "lif"), port));
  record.keys = keys;
}

void derive_bvi(const Router& router, Record& record) {
  require_common_fields(record);
  const cpp_int handle = decimal(record.handle);
  const cpp_int port =
      has_one_port_for_all(router) ? cpp_int(0) : port_of_slot(number(record, "slot"));
  record.keys = {handle, key(0, 1, maskable(record, "lif"), port),
                 key(0, 0, maskable(record, "rif"), 0)};
}

void derive_tunnel(Record& record) {
  const cpp_int handle = decimal(record.handle);
  record.keys = {handle, number(record, "erif"), number(record, "drif")};
}

// Whether all of it could be derived.
bool derive(Router& router) {
  for (Record& bundle : router.bundles) {
    if (!bundle.dumped_subifs.empty()) bundle.subifs = bundle.dumped_subifs;
  }
  try {
    for (Record& record : router.bundles) derive_bundle(record);
    for (Record& record : router.bundle_subifs) derive_bundle_subif(router, record);
    for (Record& record : router.ports) derive_port(router, record);
    for (Record& record : router.port_subifs) derive_port_subif(router, record);
    for (Record& record : router.bvis) derive_bvi(router, record);
    for (Record& record : router.tunnels) derive_tunnel(record);
    return true;
  } catch (const Failed&) {
    return false;
  }
}

// The comparison
// -----------------------------------------------------------------------------------

std::string json_of(const Table& table) {
  std::string out;
  for (const Record& record : table) {
    out += (out.empty() ? "{\"" : ",\n \"") + record.handle + "\": {";
    std::string fields;
    for (const auto& [name, value] : record.fields) {
      fields += (fields.empty() ? "\"" : ", \"") + name + "\": " + value.json;
    }
    if (!record.dumped_subifs.empty()) {
      std::string handles;
      for (const std::string& handle : record.dumped_subifs) {
        handles += (handles.empty() ? "\"" : ", \"") + handle + "\"";
      }
      fields += (fields.empty() ? "" : ", ") + ("\"subiflist\": [" + handles + "]");
    }
    out += fields + "}";
  }
  return out.empty() ? out : out + "}";
}

std::string hexadecimal(const cpp_int& number) {
  const cpp_int magnitude = number < 0 ? cpp_int(-number) : number;
  return (number < 0 ? "-0x" : "0x") + magnitude.str(0, std::ios_base::hex);
}

std::string expectation(const Table& table) {
  std::string out;
  for (const Record& record : table) {
    out += record.handle + ":";
    if (!record.keys) out += " none";
    for (const cpp_int& key_value : record.keys.value_or(std::vector<cpp_int>())) {
      out += " " + hexadecimal(key_value);
    }
    out += "\n";
  }
  return out;
}

std::string finding(const InterfaceTable& table) {
  std::string out;
  for (std::uint32_t entry = 0; entry < table.document.size(); ++entry) {
    const RecordAdditions& added = table.additions[entry];
    out += std::string(table.document.name(entry)) + ":";
    if (!added.key_list) out += " none";
    for (const Integer& key_value : added.key_list.value_or(KeyList())) {
      out += " " + key_value.hexadecimal();
    }
    out += "\n";
  }
  return out;
}

}  // namespace
}  // namespace zorbec

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorbec;
  Bytes bytes(data, size);
  Router router = make_router(bytes);

  const fuzz::DetachedRun run;
  RunState& state = run_state();
  state.router = router.model;
  state.known_scale_mode = router.scale_mode;
  const std::pair<const Table*, InterfaceTables*> tables[] = {
      {&router.bundles, &state.pidb_bundle_ifh}, {&router.bundle_subifs, &state.pidb_bundle_subifh},
      {&router.ports, &state.pidb_physical_ifh}, {&router.port_subifs, &state.pidb_physical_subifh},
      {&router.bvis, &state.pidb_bvi_ifh},       {&router.tunnels, &state.pidb_gre_ifh}};
  std::string dumps;
  for (const auto& [expected, table] : tables) {
    if (expected->empty()) continue;
    dumps += json_of(*expected) + "\n";
    table->set(router.node, unit::interface_table(json_of(*expected)));
  }
  const std::string failure = fuzz::failure_of([&] { construct_pidb_truth_db(router.node); });

  fuzz::require(derive(router) == failure.empty(), "fails where the rules do: " + failure + dumps);
  for (const auto& [expected, table] : tables) {
    if (expected->empty()) continue;
    fuzz::require_equal(finding(*table->find(router.node)), expectation(*expected),
                        "keys as the rules give them, of\n" + dumps);
  }
  return 0;
}
