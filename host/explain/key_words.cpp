#include "host/explain/key_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "host/words/wrapped_text.h"

namespace zorbec {
namespace {

std::string routed_key(const DecodedKey& key) {
  return fmt::format("routed interface key from rif {}", key.rif_lif);
}
std::string layer2_key(const DecodedKey& key) {
  return fmt::format("layer-2 key from lif {} at port {}", key.rif_lif, key.port);
}
std::string ssp_key(const DecodedKey& key) {
  return fmt::format("{}source system port key, port {}", key.layer2 ? "layer-2 " : "", key.port);
}

// The first two keys of a bundle are its own; all others came from its member ports.
std::string key_of_member(const Integer& key, const DecodedKey& fields, int scale_mode) {
  if (fields.aggregate) {
    const std::optional<Member> member = decode_member(key, scale_mode);
    return member ? fmt::format("member key: memid {}, lagid {}", member->memid, member->lagid)
                  : "member key";
  }
  const bool is_ssp = fields.rif_lif == 0 && fields.port != 0;
  return (is_ssp          ? ssp_key(fields)
          : fields.layer2 ? layer2_key(fields)
                          : routed_key(fields)) +
         ", for a member port";
}

std::string key_of_port(const DecodedKey& key, const KeyPlace& place) {
  if (place.index == 2) return layer2_key(key);
  return place.index == 1 && !place.is_l2 ? routed_key(key) : ssp_key(key);
}

}  // namespace

DecodedKey decode_key(const Integer& key) {
  const Integer low = key & 0xffffffff;
  const auto word = static_cast<std::uint32_t>(*low.word());
  return {.aggregate = (word >> 31) != 0,
          .layer2 = ((word >> 30) & 1) != 0,
          .port = (word >> 16) & 0x3fff,
          .rif_lif = word & 0xffff,
          .beyond_bit_31 = !(key == low)};
}

std::optional<Integer> read_key(std::string_view text) {
  const bool is_hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (is_hexadecimal) text.remove_prefix(2);
  // No sign, and no second "0x".
  const std::string_view digits = is_hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
  if (text.find_first_not_of(digits) != std::string_view::npos) return std::nullopt;
  return is_hexadecimal ? Integer::from_hexadecimal(text) : Integer::from_decimal(text);
}

std::optional<Member> decode_member(const Integer& key, int scale_mode) {
  constexpr std::uint64_t kAggregate = std::uint64_t{1} << 31;
  const std::optional<std::uint64_t> word = key.word();
  if (!word) return std::nullopt;
  const std::uint64_t port = (*word & ~kAggregate) >> 16;
  const auto lagid_bits = static_cast<unsigned>(8 + scale_mode);
  return Member{.memid = port >> lagid_bits,
                .lagid = port & ((std::uint64_t{1} << lagid_bits) - 1)};
}

std::string rule_words(const Integer& key, const KeyPlace& place) {
  if (place.index == 0) return "the interface's own handle";
  const DecodedKey fields = decode_key(key);
  switch (place.intf_class) {
    case InterfaceClass::kPhysical:
      return key_of_port(fields, place);
    case InterfaceClass::kPhysicalSubif:
      return place.index == 1 && !place.is_l2 ? routed_key(fields) : layer2_key(fields);
    case InterfaceClass::kBundle:
      if (place.index > 1) return key_of_member(key, fields, place.scale_mode);
      [[fallthrough]];
    case InterfaceClass::kBundleSubif:
      return place.is_l2 ? layer2_key(fields) : routed_key(fields);
    case InterfaceClass::kBvi:
      return place.index == 1 ? layer2_key(fields) : routed_key(fields);
    case InterfaceClass::kGre:
      return place.index == 1 ? "encapsulation RIF of the tunnel (erif), unchanged"
                              : "decapsulation RIF of the tunnel (drif), unchanged";
  }
  return {};
}

std::size_t differing_fields(const DecodedKey& a, const DecodedKey& b) {
  return static_cast<std::size_t>(a.aggregate != b.aggregate) +
         static_cast<std::size_t>(a.layer2 != b.layer2) +
         static_cast<std::size_t>(a.port != b.port) +
         static_cast<std::size_t>(a.rif_lif != b.rif_lif) +
         static_cast<std::size_t>(a.beyond_bit_31 != b.beyond_bit_31);
}

std::string difference_words(const DecodedKey& asked, const DecodedKey& other) {
  std::vector<std::string> words;
  const auto compare = [&](std::string_view name, unsigned a, unsigned b) {
    if (a != b) words.push_back(fmt::format("{} {} instead of {}", name, b, a));
  };
  compare("aggregate flag", asked.aggregate ? 1 : 0, other.aggregate ? 1 : 0);
  compare("layer-2 flag", asked.layer2 ? 1 : 0, other.layer2 ? 1 : 0);
  compare("source port", asked.port, other.port);
  compare("RIF or LIF", asked.rif_lif, other.rif_lif);
  if (asked.beyond_bit_31 || other.beyond_bit_31) words.emplace_back("bits above bit 31");
  return joined(words);
}

}  // namespace zorbec
