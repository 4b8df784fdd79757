#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "base/huge_pages.h"

namespace zorbec {

// Owns the bytes of one file. kSlack zero bytes follow the text, so a scanner need not check for
// the end of the text at every step (json/scanning.h).
struct FileText {
  // No memory at all, not even the zero bytes.
  FileText() = default;
  // Room for `length` bytes. They are not initialised: the caller reads the file into `bytes`.
  // Throws std::bad_alloc.
  explicit FileText(std::size_t length);
  // Zero bytes behind the text. They may be read.
  static constexpr std::size_t kSlack = 64;

  // Cuts the text off at `length`, which must not be larger than `size`.
  void shorten(std::size_t length);

  std::string_view view() const noexcept { return {bytes.get(), size}; }

  std::unique_ptr<char[], FreeHuge> bytes;
  std::size_t size = 0;  // of the text, without the zero bytes
};

}  // namespace zorbec
