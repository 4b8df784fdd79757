#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace zorbec {

// Memory for what is large and read at random, dumps above all: in huge pages where the machine
// has some to give, so that reading here and there does not cost a page walk each time. Small
// amounts come from the heap. Throws std::bad_alloc if there is not enough.
void* allocate_huge(std::size_t bytes);
void free_huge(void* memory, std::size_t bytes) noexcept;

// For a pointer to such memory.
struct FreeHuge {
  std::size_t allocated = 0;
  void operator()(char* memory) const noexcept { free_huge(memory, allocated); }
};

// The same for containers.
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
