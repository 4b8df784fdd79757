#include "run/file_text.h"

#include <cstring>

#include "run/scanning.h"

namespace zorbec {

FileText::FileText(std::size_t length)
    : bytes(static_cast<char*>(allocate_large(length + kScanSlack)),
            FreeLarge{length + kScanSlack}) {
  shorten(length);
}

void FileText::shorten(std::size_t length) {
  size = length;
  std::memset(bytes.get() + length, 0, kScanSlack);
}

}  // namespace zorbec
