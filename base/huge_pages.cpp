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
  // A huge page begins at a multiple of its size. Unaligned memory would lose the first one.
  void* const memory =
      std::aligned_alloc(kHugePage, (bytes + kHugePage - 1) / kHugePage * kHugePage);
  if (memory == nullptr) throw std::bad_alloc();
  // Only advice, so the result is not checked: without huge pages it works too, a little slower.
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
