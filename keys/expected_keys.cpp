#include "keys/expected_keys.h"

#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

#include "base/error.h"
#include "base/log_stream.h"
#include "context/run_state.h"
#include "json/numbers.h"
#include "keys/interface_records.h"
#include "keys/key_encoding.h"
#include "platform/platform_probes.h"
#include "tables/table_rendering.h"

namespace zorbec {
namespace {

// A field that may be an integer or anything that can be converted to one.
Integer number(const InterfaceRecord& record, std::string_view field) {
  const JsonValue value = record.field(field);
  const std::optional<Integer> converted = to_integer(value);
  if (!converted) {
    record.fail("has " + std::string(field) + " " + describe(value) +
                ", not a whole number of at most 4,000 digits");
  }
  return *converted;
}

// A RIF or LIF. Unlike number(), a text or a real number is an error: these fields are masked as
// integers, without a conversion.
Integer id(const InterfaceRecord& record, std::string_view field) {
  const JsonValue value = record.field(field);
  const std::optional<Integer> integer = as_integer(value);
  if (!integer) {
    record.fail("has " + std::string(field) + " " + describe(value) +
                ", not an integer of at most 4,000 digits");
  }
  return *integer;
}

bool is(const InterfaceRecord& record, std::string_view field, int value) {
  return equals(record.field(field), value);
}

Integer layer3_key(const InterfaceRecord& record) {
  return get_pmdb_key_value(0, 0, id(record, "rif"), 0);
}
Integer layer2_key(const InterfaceRecord& record, const Integer& port) {
  return get_pmdb_key_value(0, 1, id(record, "lif"), port);
}

// The key of a bundle sub-interface. Both the sub-interface itself and each member of its bundle
// add it.
Integer bundle_subif_key(const InterfaceRecord& record) {
  return is(record, "is_l2", 0) ? layer3_key(record) : layer2_key(record, 0);
}

// Throws CheckError if a field is missing, even if its value is not used: a record without it is
// malformed.
void require_fields(const InterfaceRecord& record, std::initializer_list<std::string_view> fields) {
  for (const std::string_view field : fields) record.field(field);
}

void extend(std::optional<KeyList>& list, KeyList keys) {
  if (list && !list->empty()) {
    list->insert(list->end(), std::make_move_iterator(keys.begin()),
                 std::make_move_iterator(keys.end()));
  } else {
    list = std::move(keys);
  }
}

// Adds the keys of a member port to its bundle, and one key to each sub-interface of the bundle.
void give_to_bundle(const InterfaceRecord& member, KeyList keys, const std::string& nodename) {
  RunState& state = run_state();
  const InterfaceRecord bundle = find_interface(state.pidb_bundle_ifh, nodename,
                                                number(member, "bundle_ifh").decimal(), member);

  const int spa_mode = get_router_type() == kModelK310x ? 0 : get_spa_mode();
  const Integer memid = number(member, "memid");
  const Integer member_port =
      memid << static_cast<unsigned>(8 + spa_mode) | number(member, "lagid");

  require_fields(bundle, {"rif", "lif", "is_l2"});
  keys.push_back(get_pmdb_key_value(1, 0, 0, member_port));
  // Added for every member. The duplicates are kept on purpose.
  if (!is(bundle, "is_l2", 0)) keys.push_back(layer2_key(bundle, 0));
  extend(bundle.additions().key_list, std::move(keys));

  const std::shared_ptr<LogStream> log = state.dl_fd.get();
  if (log != nullptr) log->write("\nbundle_key_inputs:\n" + render(bundle));

  const auto& subif_handles = own_subiflist(bundle);
  if (subif_handles == nullptr) return;
  if (log != nullptr) log->write("\nbsubif_ifh_list :\n" + render(*subif_handles));
  for_each_subif(bundle, *subif_handles, [&](std::string_view handle) {
    const InterfaceRecord subif =
        find_interface(state.pidb_bundle_subifh, nodename, handle, bundle);
    require_fields(subif, {"rif", "lif", "is_l2"});
    extend(subif.additions().key_list, {bundle_subif_key(subif)});
  });
}

void construct_physical(const InterfaceRecord& record, KeyList keys, const std::string& nodename) {
  const Integer port = get_rack_slot_ssp(nodename);
  const auto ssp_key = [&](int l2) { return get_pmdb_key_value(0, l2, 0, number(record, "ssp")); };
  if (is(record, "is_l2", 0)) {
    keys.push_back(layer3_key(record));
    keys.push_back(layer2_key(record, port));
    keys.push_back(ssp_key(0));
  } else {
    keys.push_back(ssp_key(0));
    keys.push_back(layer2_key(record, port));
    keys.push_back(ssp_key(1));
  }
  if (is(record, "is_member", 0)) {
    record.additions().key_list = std::move(keys);
  } else {
    keys.erase(keys.begin());  // the port's own handle
    give_to_bundle(record, std::move(keys), nodename);
  }
}

}  // namespace

void construct_key_db(InterfaceRecord key_inputs, std::string_view intftype,
                      std::string_view ifhvalue, const std::string& nodename) {
  const InterfaceRecord& record = key_inputs;
  const std::optional<InterfaceClass> intf_class = class_named(intftype);
  if (intf_class != InterfaceClass::kGre) require_fields(record, {"rif", "lif", "ssp", "slot"});

  const std::optional<Integer> handle = Integer::from_decimal(ifhvalue);
  if (!handle) record.fail("has a handle that is not a decimal number");
  KeyList keys{*handle};

  if (!intf_class) return;
  switch (*intf_class) {
    case InterfaceClass::kBundle:
      keys.push_back(is(record, "is_l2", 1) ? layer2_key(record, 0) : layer3_key(record));
      break;
    case InterfaceClass::kBvi: {
      const Integer port = get_rack_slot_ssp([&] { return number(record, "slot"); });
      keys.push_back(layer2_key(record, port));
      keys.push_back(layer3_key(record));
      break;
    }
    case InterfaceClass::kGre:
      require_fields(record, {"erif", "drif"});
      keys.push_back(number(record, "erif"));
      keys.push_back(number(record, "drif"));
      break;
    case InterfaceClass::kBundleSubif:
      keys.push_back(bundle_subif_key(record));
      break;
    case InterfaceClass::kPhysical:
      construct_physical(record, std::move(keys), nodename);
      return;
    case InterfaceClass::kPhysicalSubif: {
      require_fields(record, {"parent_ifh"});
      const Integer port = get_rack_slot_ssp(nodename);
      if (is(record, "is_l2", 0)) keys.push_back(layer3_key(record));
      keys.push_back(layer2_key(record, port));
      break;
    }
  }
  record.additions().key_list = std::move(keys);
}

}  // namespace zorbec
