#include "base/huge_pages.h"

#include <sys/mman.h>

#include <cstdlib>

namespace zorbec {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} * 1024 * 1024;

bool takes_huge_pages(std::size_t bytes) {
  return bytes >= kHugePage;
}

}  // namespace

void* allocate_huge(std::size_t bytes) {
  if (!takes_huge_pages(bytes)) return ::operator new(bytes);
  // Aligned, so that the first huge page begins at once.
  void* const memory =
      std::aligned_alloc(kHugePage, (bytes + kHugePage - 1) / kHugePage * kHugePage);
  if (memory == nullptr) throw std::bad_alloc();
  // Only advice: a machine without such pages does as well, a little slower.
  ::madvise(memory, bytes, MADV_HUGEPAGE);
  return memory;
}

void free_huge(void* memory, std::size_t bytes) noexcept {
  if (takes_huge_pages(bytes)) {
    std::free(memory);
  } else {
    ::operator delete(memory);
  }
}

}  // namespace zorbec
