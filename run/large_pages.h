#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace zorbec {

// Memory for what is large and read at random, dumps above all: in large pages where the machine
// has some to give, so that reading here and there does not cost a page walk each time. Small
// amounts come from the heap. Throws std::bad_alloc if there is not enough.
void* allocate_large(std::size_t bytes);
void free_large(void* memory, std::size_t bytes) noexcept;

// For a pointer to such memory.
struct FreeLarge {
  std::size_t allocated = 0;
  void operator()(char* memory) const noexcept { free_large(memory, allocated); }
};

// The same for containers.
template <typename T>
struct LargePages {
  // NOLINTNEXTLINE(readability-identifier-naming): containers ask for this name
  using value_type = T;

  LargePages() = default;
  template <typename U>
  LargePages(const LargePages<U>& /*other*/) noexcept {}

  T* allocate(std::size_t count) { return static_cast<T*>(allocate_large(count * sizeof(T))); }
  void deallocate(T* memory, std::size_t count) noexcept { free_large(memory, count * sizeof(T)); }

  friend bool operator==(const LargePages& /*a*/, const LargePages& /*b*/) { return true; }
};

}  // namespace zorbec
