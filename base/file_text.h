#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "base/huge_pages.h"

namespace zorbec {

// The bytes of one file, owned, exactly as many. They are not initialised before they are read;
// some zero bytes behind them are, so that who scans them need not look for the end at every step.
struct FileText {
  FileText() = default;
  explicit FileText(std::size_t length);
  // Readable zero bytes behind the text.
  static constexpr std::size_t kSlack = 64;

  // Leaves out what is behind `length`.
  void shorten(std::size_t length);

  std::string_view view() const noexcept { return {bytes.get(), size}; }

  std::unique_ptr<char[], FreeHuge> bytes;
  std::size_t size = 0;
};

}  // namespace zorbec
