#pragma once

#include <string>

#include "base/error.h"
#include "base/file_text.h"
#include "json/storage.h"

namespace zorbec {

// A text that is not one valid JSON document; says at which byte and why.
class JsonError : public CheckError {
 public:
  JsonError(const std::string& what, bool is_truncated)
      : CheckError(what), is_truncated_(is_truncated) {}

  // Whether the text only ends too early.
  bool is_truncated() const { return is_truncated_; }

 private:
  bool is_truncated_;
};

// The complete way to read a text, which alone decides what is an error. `text` must be one
// strictly valid JSON document in UTF-8. A repeated member name keeps its first place and takes its
// last value. Integers keep every digit.
//
// Throws JsonError if the text is not valid, is nested deeper than 32, or holds a text of 256 MB or
// more or an exponent beyond 2^31.
JsonStorage parse_json(FileText text);

}  // namespace zorbec
