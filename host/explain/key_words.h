#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "base/integer.h"
#include "tables/interface_class.h"

namespace zorbec {

// A key in words that a person can read.

// The four fields of a key, and whether it has bits that belong to no field.
struct DecodedKey {
  bool aggregate;
  bool layer2;
  unsigned port;     // 14 bits
  unsigned rif_lif;  // 16 bits
  bool beyond_bit_31;
};
DecodedKey decode_key(const Integer& key);

// Reads a key that a user typed: decimal digits, or "0x" and hexadecimal digits. Empty if the text
// is neither, or has more than 4,000 digits.
std::optional<Integer> read_key(std::string_view text);

// The member id and the bundle's id from which a member key was built. They are wrong if the member
// id was so large that it reached the aggregate bit. Empty for a key of more than 64 bits.
struct Member {
  std::uint64_t memid;
  std::uint64_t lagid;
};
std::optional<Member> decode_member(const Integer& key, int scale_mode);

// Where a key stands among an interface's expected keys.
struct KeyPlace {
  InterfaceClass intf_class;
  std::size_t index;  // in its `key_list`
  bool is_l2;         // whether the rule of the class takes the interface as a layer-2 one
  int scale_mode;
};
// The rule by which the interface expects the key: "layer-2 key from lif 9 at port 2".
std::string rule_words(const Integer& key, const KeyPlace& place);

// In how many fields two keys differ, and in which: "source port 3 instead of 2" if `other` has 3
// and `asked` has 2. The bits above bit 31 count as one more field.
std::size_t differing_fields(const DecodedKey& a, const DecodedKey& b);
std::string difference_words(const DecodedKey& asked, const DecodedKey& other);

}  // namespace zorbec
