#pragma once

#include <cstddef>

#include "run/json_document.h"
#include "run/record_layout.h"

namespace zorbec {

// Reads a dump as the tools write it, several times as fast as any parser can: a table of flat
// records, nearly all of them with the same members in the same order. A record is read by
// comparing it with the one before, value by value; whatever stands between the values is one
// comparison.
//
// What it does not know it does not judge: texts with escapes or beyond ASCII, real numbers, nested
// values, names that are no plain numbers or stand there twice. Then the parser takes the text.
class TableReader {
 public:
  // Of a document that has its text and nothing else.
  explicit TableReader(JsonDocument& document);

  // Whether the document was filled. If not, it holds part of the table.
  bool read();

 private:
  bool read_entry();
  bool read_record();
  bool follows(const RecordLayout& layout);
  bool learn_layout();
  // Puts the entries' numbers in the order of their names; false if two have the same.
  bool sort_entries();

  void skip_blanks();
  bool skip(char c);

  JsonDocument& document_;
  const char* const begin_;
  const char* const end_;
  const char* at_;
  std::size_t last_layout_ = 0;
};

}  // namespace zorbec
