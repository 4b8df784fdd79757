#include "run/large_pages.h"

#include <sys/mman.h>

#include <cstdlib>

namespace zorbec {
namespace {

constexpr std::size_t kLargePage = std::size_t{2} * 1024 * 1024;

bool is_large(std::size_t bytes) {
  return bytes >= kLargePage;
}

}  // namespace

void* allocate_large(std::size_t bytes) {
  if (!is_large(bytes)) return ::operator new(bytes);
  // Aligned, so that the first large page begins at once.
  void* const memory =
      std::aligned_alloc(kLargePage, (bytes + kLargePage - 1) / kLargePage * kLargePage);
  if (memory == nullptr) throw std::bad_alloc();
  // Only advice: a machine without such pages does as well, a little slower.
  ::madvise(memory, bytes, MADV_HUGEPAGE);
  return memory;
}

void free_large(void* memory, std::size_t bytes) noexcept {
  if (is_large(bytes)) {
    std::free(memory);
  } else {
    ::operator delete(memory);
  }
}

}  // namespace zorbec
