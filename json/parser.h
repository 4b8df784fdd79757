#pragma once

#include <string>

#include "base/error.h"
#include "base/file_text.h"
#include "json/storage.h"

namespace zorbec {

// The text is not one valid JSON document. what() says at which byte, and why.
class JsonError : public CheckError {
 public:
  JsonError(const std::string& what, bool is_truncated)
      : CheckError(what), is_truncated_(is_truncated) {}

  // True if the text is valid as far as it goes, but ends too early.
  bool is_truncated() const { return is_truncated_; }

 private:
  bool is_truncated_;
};

// Reads any JSON document. This is the complete reader: it alone decides what is an error, and the
// table reader (table_reader.h) must agree with it. The document must be strictly valid and in
// UTF-8. A repeated member name keeps its first place and gets its last value. Integers keep every
// digit.
//
// Throws JsonError if the document is not valid, is nested deeper than 32 levels, or contains a
// string of 256 MB or more or an exponent beyond 2^31. Safe from any thread.
JsonStorage parse_json(FileText text);

}  // namespace zorbec
