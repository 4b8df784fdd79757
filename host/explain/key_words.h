#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "base/integer.h"
#include "tables/interface_class.h"

namespace zorbec {

// What a key says to a person.

// The four fields of a key, and whether it has bits that belong to none.
struct DecodedKey {
  bool aggregate;
  bool layer2;
  unsigned port;     // 14 bits
  unsigned rif_lif;  // 16 bits
  bool beyond_bit_31;
};
DecodedKey decode_key(const Integer& key);

// The key that somebody writes as decimal digits, or as "0x" and hexadecimal digits. Empty if it is
// neither, or has more than 4,000 digits.
std::optional<Integer> read_key(std::string_view text);

// The member id and the bundle's id that a member's key is made of. Exact unless the member id
// reaches the aggregate bit. Empty for a key of more than 64 bits.
struct Member {
  std::uint64_t memid;
  std::uint64_t lagid;
};
std::optional<Member> decode_member(const Integer& key, int scale_mode);

// Where a key stands among an interface's expected keys.
struct KeyPlace {
  InterfaceClass intf_class;
  std::size_t index;  // in its `key_list`
  bool is_l2;         // what the rule of the class makes of the field
  int scale_mode;
};
// By which rule the interface expects the key: "layer-2 key from lif 9 at port 2".
std::string rule_words(const Integer& key, const KeyPlace& place);

// In how many fields two keys differ, bits beyond the last field being one, and which:
// "source port 3 instead of 2".
std::size_t differing_fields(const DecodedKey& a, const DecodedKey& b);
std::string difference_words(const DecodedKey& asked, const DecodedKey& other);

}  // namespace zorbec
