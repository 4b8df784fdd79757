#include "lab/dump_text.h"

#include <array>
#include <charconv>
#include <string_view>

namespace zorbec::lab {
namespace {

// Hashes a number to 64 bits (splitmix64). It fills the attributes that nobody checks: they differ
// from one interface or key to the next, and are the same in every file that has the interface or
// key.
std::uint64_t scatter(std::uint64_t value) {
  value += 0x9e3779b97f4a7c15U;
  value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9U;
  value = (value ^ (value >> 27)) * 0x94d049bb133111ebU;
  return value ^ (value >> 31);
}

void append_number(std::string& text, std::uint64_t value) {
  std::array<char, 20> digits;
  const auto [end, error] = std::to_chars(digits.begin(), digits.end(), value);
  text.append(digits.begin(), end);
}

// Writes one member of the outer object. No name or value has a character that JSON must escape.
class Entry {
 public:
  Entry(std::string& text, std::uint64_t name) : text_(text) {
    text_ += '"';
    append_number(text_, name);
    text_ += "\": {";
  }
  void add(std::string_view name, std::uint64_t value) {
    begin(name);
    append_number(text_, value);
  }
  void add(std::string_view name, std::string_view value) {
    begin(name);
    text_.append("\"").append(value).append("\"");
  }
  ~Entry() { text_ += "},\n"; }
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

 private:
  void begin(std::string_view name) {
    if (text_.back() != '{') text_ += ", ";
    text_.append("\"").append(name).append("\": ");
  }

  std::string& text_;
};

// Makes the object of its member lines. The last one ends with ",\n", which is cut off.
std::string enclose(std::string_view lines) {
  std::string text = "{";
  if (!lines.empty()) text.append(lines.substr(0, lines.size() - 2));
  return text += "}\n";
}

void append_tunnel(std::string& text, const Interface& tunnel) {
  const std::uint64_t noise = scatter(tunnel.handle);
  Entry entry(text, tunnel.handle);
  entry.add("intf_name", tunnel.name);
  entry.add("ifh", tunnel.handle);
  entry.add("erif", tunnel.erif);
  entry.add("drif", tunnel.drif);
  entry.add("slot", tunnel.slot);
  entry.add("tunnel_id", noise % 0x10000);
  entry.add("source_addr", noise % 0xe0000000);
  entry.add("dest_addr", (noise >> 16) % 0xe0000000);
  entry.add("ttl", std::uint64_t{255});
  entry.add("tos", noise % 64);
  entry.add("mtu", std::uint64_t{1476});
  entry.add("bandwidth_kbps", std::uint64_t{100});
  entry.add("encap_type", "gre");
  entry.add("vrf_id", 0x60000000 + noise % 8);
  entry.add("table_id", 0xe0000000 + noise % 8);
  entry.add("stats_id", noise >> 40);
  entry.add("admin_state", "up");
  entry.add("oper_state", "up");
}

void append_interface(std::string& text, const Interface& interface) {
  if (interface.interface_class == InterfaceClass::kGre) return append_tunnel(text, interface);
  const std::uint64_t noise = scatter(interface.handle);
  Entry entry(text, interface.handle);
  entry.add("intf_name", interface.name);
  entry.add("ifh", interface.handle);
  entry.add("rif", interface.rif);
  entry.add("lif", interface.lif);
  entry.add("ssp", interface.ssp);
  entry.add("slot", interface.slot);
  entry.add("is_l2", std::uint64_t{interface.is_l2});
  entry.add("is_member", std::uint64_t{interface.is_member});
  entry.add("bundle_ifh", interface.bundle);
  entry.add("memid", interface.memid);
  entry.add("lagid", interface.lagid);
  entry.add("parent_ifh", interface.parent);
  entry.add("mtu", std::uint64_t{1514});
  entry.add("bandwidth_kbps", std::uint64_t{100000000});
  entry.add("mac_low", noise % 0x1000000);
  entry.add("vrf_id", 0x60000000 + noise % 8);
  entry.add("stats_id", noise >> 40);
  entry.add("encap_type", interface.parent == 0 ? "plain" : "tagged");
  entry.add("admin_state", "up");
  entry.add("oper_state", "up");
}

void append_key(std::string& text, std::uint64_t key) {
  const std::uint64_t noise = scatter(key);
  Entry entry(text, key);
  entry.add("key_type", noise % 5);
  entry.add("table_id", noise % 7);
  entry.add("hw_index", (noise >> 8) % 0x80000);
  entry.add("stats_ptr", (noise >> 32) % 0x1000000);
  entry.add("ref_count", 1 + noise % 3);
  entry.add("flags", (noise >> 24) % 64);
}

}  // namespace

std::string pidb_text(const std::vector<Interface>& interfaces, InterfaceClass interface_class) {
  std::string lines;
  for (const Interface& interface : interfaces) {
    if (interface.interface_class == interface_class) append_interface(lines, interface);
  }
  return enclose(lines);
}

PmdbText::PmdbText(const std::vector<std::uint64_t>& keys) : keys_(keys) {
  ends_.reserve(keys.size());
  for (const std::uint64_t key : keys) {
    append_key(lines_, key);
    ends_.push_back(lines_.size());
  }
}

std::string PmdbText::with(const PmdbChange& change) const {
  if (change.missing.empty() && change.leaked.empty()) return enclose(lines_);
  std::string lines;
  lines.reserve(lines_.size() + change.leaked.size() * 128);
  std::size_t begin = 0;
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    if (!change.missing.count(keys_[i])) lines.append(lines_, begin, ends_[i] - begin);
    begin = ends_[i];
  }
  for (const std::uint64_t key : change.leaked) append_key(lines, key);
  return enclose(lines);
}

}  // namespace zorbec::lab
