#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// The least work of an interface check: what a program must do that reads the same dumps and writes
// the same logs, and no more. It takes dumps as the tools write them: tables of flat records of
// unsigned 64-bit integers and plain texts, on a router without findings. Anything else it refuses.
namespace zorbec::floor {

// A short text that is compared and copied as four words, whatever its length; both sides may be
// read or written 32 bytes on. Longer ones go the ordinary way.
class Piece {
 public:
  explicit Piece(std::string text);

  std::size_t size() const { return text_.size(); }
  bool stands_at(const char* at) const {
    if (text_.size() > kWide) return std::strncmp(at, text_.data(), text_.size()) == 0;
    Words here;
    std::memcpy(&here, at, kWide);
    std::uint64_t differing = 0;
    for (std::size_t i = 0; i < here.size(); ++i) differing |= (here[i] ^ words_[i]) & mask_[i];
    return differing == 0;
  }
  char* copy_to(char* to) const {
    if (text_.size() > kWide) return to + text_.copy(to, text_.size());
    std::memcpy(to, &words_, kWide);
    return to + text_.size();
  }

 private:
  static constexpr std::size_t kWide = 32;
  using Words = std::array<std::uint64_t, kWide / 8>;

  std::string text_;
  Words words_ = {};
  Words mask_ = {};
};

// What the records with the same member names, written in the same way, share. Nearly all records
// of a dump do, so a record is read by comparing it with the layout of the one before.
struct Layout {
  std::vector<std::string> names;  // in file order, no two the same
  std::vector<Piece> before;       // what stands before each value
  Piece closing{"}"};              // what stands behind the last
};

struct Record {
  std::uint64_t name;     // the handle or key that the record is for
  std::uint32_t name_at;  // where its digits stand
  std::uint32_t at;       // where its brace stands
  std::uint32_t lengths;  // index of the length of its first value
  std::uint16_t layout;
  std::uint16_t name_length;
};

// A dump as it was read, and where the values of its records stand.
struct Table {
  std::unique_ptr<char[]> text;
  std::size_t bytes = 0;
  std::vector<Layout> layouts;
  std::vector<Record> records;
  std::vector<std::uint16_t> lengths;

  std::string_view name(const Record& record) const {
    return {text.get() + record.name_at, record.name_length};
  }
  // Has the memory of a record brought near that will be cut up soon.
  void prefetch(const Record& record) const {
    __builtin_prefetch(&lengths[record.lengths]);
    const char* const begin = text.get() + record.name_at;
    for (const int line : {0, 64, 128}) __builtin_prefetch(begin + line);
  }
  // Cuts out the values of a record, in file order.
  void cut(const Record& record, std::vector<std::string_view>& values) const;
};

// Throws std::runtime_error if a value is not a 64-bit number.
std::uint64_t to_number(std::string_view digits);

// Reads and validates a dump. An empty file gives a table without records; a table without records
// in a file that is not empty is refused. Throws
// std::runtime_error if it is no such dump, std::system_error if it cannot be read.
Table read_table(const std::string& path);

}  // namespace zorbec::floor
