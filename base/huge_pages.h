#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace zorbec {

// Memory for large data with random access, above all dumps. From 2 MB on it is aligned for
// transparent huge pages (THP), and the kernel is asked to use them: with 4 KB pages nearly every
// access would be a TLB miss. Smaller amounts come from the ordinary heap.
//
// The memory is not initialised. Throws std::bad_alloc. Free it with free_huge() and the same
// `bytes`.
void* allocate_huge(std::size_t bytes);
void free_huge(void* memory, std::size_t bytes) noexcept;

// Deleter for a std::unique_ptr to such memory.
struct FreeHuge {
  std::size_t allocated = 0;  // bytes, as given to allocate_huge()
  void operator()(char* memory) const noexcept { free_huge(memory, allocated); }
};

// Allocator for standard containers that should use such memory.
template <typename T>
struct HugePages {
  // NOLINTNEXTLINE(readability-identifier-naming): containers ask for this name
  using value_type = T;

  HugePages() = default;
  template <typename U>
  HugePages(const HugePages<U>& /*other*/) noexcept {}

  T* allocate(std::size_t count) { return static_cast<T*>(allocate_huge(count * sizeof(T))); }
  void deallocate(T* memory, std::size_t count) noexcept { free_huge(memory, count * sizeof(T)); }

  friend bool operator==(const HugePages& /*a*/, const HugePages& /*b*/) { return true; }
};

}  // namespace zorbec
