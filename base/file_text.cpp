#include "base/file_text.h"

#include <cstring>

namespace zorbec {

FileText::FileText(std::size_t length)
    : bytes(static_cast<char*>(allocate_huge(length + kSlack)), FreeHuge{length + kSlack}) {
  shorten(length);
}

void FileText::shorten(std::size_t length) {
  size = length;
  std::memset(bytes.get() + length, 0, kSlack);
}

}  // namespace zorbec
