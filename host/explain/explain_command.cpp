#include "host/explain/explain_command.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>  // seconds of compiling
#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>  // seconds of compiling
#include <cstddef>
#include <exception>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>  // seconds of compiling
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/log_stream.h"
#include "base/ordered_map.h"
#include "context/run_state.h"
#include "context/this_machine.h"
#include "host/explain/dump_folder.h"
#include "host/explain/key_words.h"
#include "host/report/report_file.h"
#include "host/words/near_matches.h"
#include "host/words/wrapped_text.h"
#include "json/numbers.h"
#include "keys/interface_records.h"
#include "platform/platform_probes.h"
#include "tables/interface_class.h"

namespace zorbec {

// The dumps of a check hold nearly all that is needed to explain a key: the interfaces of all nodes
// in the PIDB dumps, the keys of all nodes in the PMDB dumps. So the folder is loaded into the run
// state as in a check, and the core derives the expected keys: a key is expected here exactly if a
// check of these dumps expects it. Only the router model and the bundle scale are in no dump, see
// settle_platform().
//
// What cannot be loaded is named below the answer: a key without an owner means little if the
// interfaces of a node are not known.

namespace {

constexpr std::size_t kMostOwners = 5;  // of the nearest key

struct ExplainOptions {
  std::string key;
  std::optional<std::string> node;
  std::string folder = "/tmp";
  std::optional<int> model;
  std::optional<int> bundle_scale;
};

// Brings the run state up and shuts it down. The core's tables and rules are used, but no run is
// started.
class BroughtUp {
 public:
  BroughtUp() { bring_up_run_state(this_machine()); }
  ~BroughtUp() { shut_down_run_state(); }
  BroughtUp(const BroughtUp&) = delete;
  BroughtUp& operator=(const BroughtUp&) = delete;
};

void complain(const std::string& line) {
  report_error({printable(line)});
}

// Sets the router model and the bundle scale, which a check gets from the platform. On them depend
// the keys of bundle members. They come from the options, else from the report in the folder;
// without both, a standard model with scale 256 is assumed. Returns the sentence that says so, or
// nothing.
//
// Both are always set, because the core would run a command to find out what is not.
std::string settle_platform(const ExplainOptions& options) {
  std::optional<int> model = options.model;
  std::optional<int> scale_mode;
  if (options.bundle_scale) scale_mode = spa_mode_of(std::to_string(*options.bundle_scale));

  const std::string path = options.folder + "/zorbec_report.json";
  std::error_code unknown;
  if ((!model || !scale_mode) && std::filesystem::exists(path, unknown)) {
    try {
      // The report may have been edited or damaged: only numbers in the known range are taken.
      const nlohmann::json report = read_report(path);
      const auto number = [&](const char* name, int most) -> std::optional<int> {
        const auto router = report.find("router");
        if (router == report.end() || !router->is_object()) return std::nullopt;
        const auto found = router->find(name);
        if (found == router->end() || !found->is_number_unsigned()) return std::nullopt;
        const auto value = found->get<std::uint64_t>();
        if (value > static_cast<std::uint64_t>(most)) return std::nullopt;
        return static_cast<int>(value);
      };
      if (!model) model = number("model_code", 9);
      if (!scale_mode) scale_mode = number("scale_mode", 10);
    } catch (const std::exception& error) {
      complain(error.what());
    }
  }
  if (model == 0) model.reset();  // the check had not found out

  std::vector<std::string> assumed;
  if (!model) assumed.push_back(fmt::format("model {}", kModelUnknown));
  if (!scale_mode) assumed.emplace_back("bundle scale 256");
  run_state().router = model.value_or(kModelUnknown);
  run_state().known_scale_mode = scale_mode.value_or(0);
  if (assumed.empty()) return {};
  return fmt::format("Assumed, because neither an option nor a report in the folder says it: {}.",
                     joined(assumed));
}

// Interfaces that expect a key -------------------------------------------------------------------

// An interface as it is shown, with the nodes that report it. A bundle that four cards report is
// one Owner with four nodes.
struct Owner {
  std::string title;
  std::string rule;
  std::vector<std::string> nodes;
};

std::string title_of(InterfaceClass intf_class, const InterfaceRecord& record) {
  std::string title(class_name(intf_class));
  if (const std::string_view name = interface_name(record); !name.empty()) {
    title.append(" ").append(name);
  }
  const std::optional<Integer> handle = Integer::from_decimal(record.handle());
  return title + ", handle " +
         (handle ? fmt::format("{} ({})", handle->hexadecimal(), record.handle())
                 : in_quotes(record.handle()));
}

bool is_layer2(InterfaceClass intf_class, const InterfaceRecord& record) {
  if (!record.value().is_object()) return false;
  const std::optional<JsonValue> is_l2 = record.find("is_l2");
  if (!is_l2) return false;
  return intf_class == InterfaceClass::kBundle ? equals(*is_l2, 1) : !equals(*is_l2, 0);
}

// Calls visit(record, class, node) for every interface in the loaded dumps.
template <typename Visit>
void for_each_record(Visit visit) {
  for (const InterfaceClass intf_class : kEnumerators<InterfaceClass>) {
    for (const auto& [node, table] : run_state().interfaces(intf_class).nodes()) {
      for (std::uint32_t entry = 0; entry < table->document.size(); ++entry) {
        visit(InterfaceRecord(*table, entry), intf_class, node);
      }
    }
  }
}

// The rule by which the interface expects the key, in words. Empty if it does not expect it.
//
// Three cases, as in the core: a list of keys that was derived; a list that the dump itself
// brought, which the check then uses; no list at all, as members of bundles have none.
std::optional<std::string> rule_of(const Integer& key, InterfaceClass intf_class,
                                   const InterfaceRecord& record) {
  if (const std::optional<KeyList>& derived = record.additions().key_list) {
    const auto found = std::ranges::find(*derived, key);
    if (found == derived->end()) return std::nullopt;
    const auto index = static_cast<std::size_t>(found - derived->begin());
    return rule_words(
        key, {intf_class, index, is_layer2(intf_class, record), *run_state().known_scale_mode});
  }
  bool listed = false;
  try {
    if (for_each_dumped_key(record, [&](const Integer& dumped) { listed |= dumped == key; })) {
      return listed ? std::optional<std::string>("key list that the dump itself holds")
                    : std::nullopt;
    }
  } catch (const CheckError&) {
    if (listed) return "key list that the dump itself holds";
  }
  // Without a list, an interface claims the entry of its own handle.
  if (Integer::from_decimal(record.handle()) == key) {
    return intf_class == InterfaceClass::kPhysical
               ? "the interface's own handle; its other keys are its bundle's"
               : "the interface's own handle";
  }
  return std::nullopt;
}

// The interfaces that expect the key, each once. Records of several nodes are one interface if
// title and rule are equal: that is also what a reader could not tell apart.
std::vector<Owner> owners_of(const Integer& key) {
  OrderedMap<Owner> owners;
  for_each_record(
      [&](const InterfaceRecord& record, InterfaceClass intf_class, const std::string& node) {
        std::optional<std::string> rule = rule_of(key, intf_class, record);
        if (!rule) return;
        std::string title = title_of(intf_class, record);
        const std::string identity = title + '\n' + *rule;
        if (owners.find(identity) == nullptr) {
          owners.set(identity, {std::move(title), std::move(*rule), {}});
        }
        owners.find(identity)->nodes.push_back(node);
      });
  std::vector<Owner> list;
  list.reserve(owners.size());
  for (const auto& [identity, owner] : owners) list.push_back(owner);
  return list;
}

// The expected key that differs from `key` in the fewest fields; among equals, the one nearest to
// it as a number. Empty if no interface expects any key.
//
// A leaked key is most often an old key of an interface that still exists, with another RIF, LIF or
// port. So the fields count before the distance.
std::optional<Integer> nearest_expected_key(const Integer& key) {
  using Wide = boost::multiprecision::cpp_int;
  const auto wide = [](const Integer& value) {
    const std::optional<std::uint64_t> word = value.word();
    return word ? Wide(*word) : Wide(value.decimal());
  };
  const DecodedKey fields = decode_key(key);
  const Wide number = wide(key);
  std::optional<std::pair<Integer, std::pair<std::size_t, Wide>>> nearest;
  for_each_record([&](const InterfaceRecord& record, InterfaceClass, const std::string&) {
    if (!record.additions().key_list) return;
    for (const Integer& candidate : *record.additions().key_list) {
      const std::size_t differing = differing_fields(fields, decode_key(candidate));
      if (nearest && differing > nearest->second.first) continue;
      Wide apart = wide(candidate) - number;
      if (apart < 0) apart = -apart;
      std::pair distance(differing, std::move(apart));
      if (!nearest || distance < nearest->second) nearest.emplace(candidate, std::move(distance));
    }
  });
  if (!nearest) return std::nullopt;
  return nearest->first;
}

// The text ---------------------------------------------------------------------------------------

void say_fields(std::string& out, const Integer& key) {
  const DecodedKey fields = decode_key(key);
  append_wrapped(out, "Key ", fmt::format("{} ({})", key.hexadecimal(), key.decimal()));
  const auto flag = [](bool set) { return set ? "1  yes" : "0  no"; };
  const auto number = [](unsigned value) { return fmt::format("{0}  {0:#x}", value); };
  out += fmt::format("  aggregate flag  {}\n", flag(fields.aggregate));
  out += fmt::format("  layer-2 flag    {}\n", flag(fields.layer2));
  out += fmt::format("  source port     {}\n", number(fields.port));
  out += fmt::format("  RIF or LIF      {}\n", number(fields.rif_lif));
  if (fields.beyond_bit_31) {
    append_wrapped(
        out, "  ",
        "It has bits above bit 31, where a key has no field: a value was too large for its "
        "field.");
  }
}

void say_owners(std::string& out, const std::vector<Owner>& owners, std::size_t most) {
  const std::size_t shown = std::min(most, owners.size());
  for (const Owner& owner : std::span(owners).first(shown)) {
    append_wrapped(out, "  ", owner.title);
    append_wrapped(out, "    ", owner.rule);
    append_wrapped(out, "    ", "reported by " + joined(owner.nodes));
  }
  if (shown < owners.size()) out += fmt::format("  ... and {} more\n", owners.size() - shown);
}

void say_nearest(std::string& out, const Integer& key) {
  const std::optional<Integer> nearest = nearest_expected_key(key);
  if (!nearest) {
    out += "No interface in these dumps expects a key.\n";
    return;
  }
  out += '\n';
  append_wrapped(
      out, "",
      fmt::format("The nearest expected key, {}, has {}. Expected by", nearest->hexadecimal(),
                  difference_words(decode_key(key), decode_key(*nearest))));
  say_owners(out, owners_of(*nearest), kMostOwners);
}

void say_holders(std::string& out, const Integer& key, const DumpFolder& dumps, bool is_expected) {
  std::vector<std::string> with;
  std::vector<std::string> without;
  for (const std::string& node : dumps.pmdb_nodes) {
    (run_state().pmdb_keys.find(node)->find(key) ? with : without).push_back(node);
  }
  const auto say = [&](std::string_view label, const std::vector<std::string>& nodes) {
    append_wrapped(out, label, nodes.empty() ? "none" : joined(nodes));
  };
  out += "\nProgrammed keys (PMDB)\n";
  say("  held by      ", with);
  say(is_expected ? "  missing in   " : "  not held by  ", without);
  if (!is_expected && !with.empty()) {
    out += '\n';
    append_wrapped(
        out, "",
        "No interface in these dumps expects it. On a node that holds it, it is a leak, "
        "unless it belongs to a bundle: only `zorbec check` asks the interface manager.");
  } else if (!is_expected) {
    out += "\nNo interface in these dumps expects it, and no node holds it.\n";
  }
}

std::string explanation(const Integer& key, const DumpFolder& dumps, const std::string& assumed) {
  std::string out;
  say_fields(out, key);
  const std::vector<Owner> owners = owners_of(key);
  out += owners.empty() ? "\nExpected by no interface\n"
                        : fmt::format("\nExpected by {}\n", counted(owners.size(), "interface"));
  say_owners(out, owners, owners.size());
  say_holders(out, key, dumps, !owners.empty());
  if (owners.empty()) say_nearest(out, key);
  if (!dumps.not_looked_at.empty()) {
    out += "\nNot looked at\n";
    for (const std::string& what : dumps.not_looked_at) append_wrapped(out, "  ", what);
  }
  if (!assumed.empty()) {
    out += '\n';
    append_wrapped(out, "", assumed);
  }
  return out;
}

void require_node(const std::string& node, const std::vector<std::string>& known) {
  if (std::ranges::find(known, node) != known.end()) return;
  const std::vector<std::string> near = near_matches(node, known);
  throw CLI::ValidationError(
      "--node", printable(fmt::format("there is no dump of node {}; {}: {}", node,
                                      near.empty() ? "there are dumps of" : "did you mean",
                                      joined(near.empty() ? known : near))));
}

ExitCode explain(const ExplainOptions& options) {
  const std::optional<Integer> key = read_key(options.key);
  if (!key) {
    throw CLI::ValidationError(
        "KEY", in_quotes(options.key) + " is neither decimal digits nor 0x and hexadecimal digits");
  }
  try {
    const std::vector<std::string> nodes = nodes_with_dumps(options.folder);
    if (nodes.empty()) throw CheckError(options.folder + ": holds no dumps of a check");
    if (options.node) require_node(*options.node, nodes);

    const BroughtUp state;
    const std::string assumed = settle_platform(options);
    const DumpFolder dumps = load_dump_folder(options.folder, nodes, options.node, complain);
    if (dumps.dumps_read == 0) throw CheckError(options.folder + ": no dump can be read");
    run_state().standard_output.write(explanation(*key, dumps, assumed));
    return ExitCode::kConsistent;
  } catch (const CLI::ParseError&) {
    throw;
  } catch (const std::exception& error) {
    complain(error.what());
    return ExitCode::kNotCarriedOut;
  }
}

}  // namespace

void add_explain_command(CLI::App& app, ExitCode& exit_code) {
  CLI::App* const command =
      app.add_subcommand("explain", "Show what a key is, who expects it and who holds it");
  const auto options = std::make_shared<ExplainOptions>();
  command->add_option("KEY", options->key, "Decimal, or hexadecimal with 0x")
      ->required()
      ->type_name("");
  command->add_option("--node", options->node, "Look at the programmed keys of this node only")
      ->type_name("NODE");
  command->add_option("--from", options->folder, "Folder with the dumps of a check")
      ->type_name("DIR")
      ->capture_default_str();
  command->add_option("--model", options->model, "Router model code, if not the one in the report")
      ->type_name("CODE")
      ->check(CLI::Range(1, 9));
  command
      ->add_option("--bundle-scale", options->bundle_scale,
                   "Configured bundle scale, if not the one in the report")
      ->type_name("N")
      ->check(CLI::Range(1, 1'000'000));
  command->callback([options, &exit_code] { exit_code = explain(*options); });
}

}  // namespace zorbec
