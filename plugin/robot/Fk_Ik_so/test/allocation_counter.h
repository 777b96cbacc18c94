// Replaces the global allocation functions with ones that count every allocation in
// allocationCount and can make a chosen one fail. Include it in exactly one source file of a test
// program.
#ifndef FK_IK_SO_ALLOCATION_COUNTER_H
#define FK_IK_SO_ALLOCATION_COUNTER_H

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

// The replacements below pair malloc with free by design; once GCC inlines them into a
// new/delete pair it mistakes that for a mismatch (seen in the sanitizer build).
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

namespace {

std::atomic<long> allocationCount{0};
// The allocation whose count reaches failingAllocation throws std::bad_alloc (0: none does).
std::atomic<long> failingAllocation{0};

void* countedAllocation(std::size_t size, std::size_t alignment) {
  if (++allocationCount == failingAllocation) throw std::bad_alloc();
  if (size == 0) size = 1;
  void* p = alignment <= alignof(std::max_align_t)
                ? std::malloc(size)
                : std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

}  // namespace

void* operator new(std::size_t size) {
  return countedAllocation(size, 0);
}
void* operator new[](std::size_t size) {
  return countedAllocation(size, 0);
}
void* operator new(std::size_t size, std::align_val_t a) {
  return countedAllocation(size, static_cast<std::size_t>(a));
}
void* operator new[](std::size_t size, std::align_val_t a) {
  return countedAllocation(size, static_cast<std::size_t>(a));
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete[](void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::align_val_t) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept {
  std::free(p);
}

#endif  // FK_IK_SO_ALLOCATION_COUNTER_H
