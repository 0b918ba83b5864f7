// Memory for record objects. A book of a million transactions is a million small objects made
// in one burst when the file is read; taking them from large blocks backed by huge pages (where
// the system offers them) instead of the general heap saves most of the page faults and the
// allocator's bookkeeping. Freed memory is kept for later records of the same size and is not
// given back to the system.
#pragma once

#include <cstddef>

namespace vemra {

// Returns memory for an object of `size` bytes (16-byte aligned). Never returns null; throws
// std::bad_alloc like operator new when the system has no memory. Thread-safe.
void* AllocateRecord(size_t size);
// Gives back memory from AllocateRecord(size) with the same `size`. Thread-safe.
void FreeRecord(void* p, size_t size) noexcept;

// Returns memory for a large array of `size` bytes: from 2 MiB up aligned to and advised onto huge
// pages (where the system offers them), so that filling it costs a fault per 2 MiB instead of per
// 4 KiB; plain heap memory below that. Throws std::bad_alloc when the system has no memory.
// Thread-safe.
void* AllocateLarge(size_t size);
// Gives back memory from AllocateLarge(size) with the same `size`.
void FreeLarge(void* p, size_t size) noexcept;

// An allocator for the large arrays of the indexes over the records.
template <typename T>
struct LargeArrayAllocator {
  using value_type = T;
  LargeArrayAllocator() = default;
  template <typename U>
  LargeArrayAllocator(const LargeArrayAllocator<U>&) {}  // NOLINT: allocator rebinding
  T* allocate(size_t n) { return static_cast<T*>(AllocateLarge(n * sizeof(T))); }
  void deallocate(T* p, size_t n) noexcept { FreeLarge(p, n * sizeof(T)); }
  template <typename U>
  friend bool operator==(const LargeArrayAllocator&, const LargeArrayAllocator<U>&) {
    return true;
  }
};

// An allocator over the same pool for the nodes of the record tables.
template <typename T>
struct RecordPoolAllocator {
  using value_type = T;
  RecordPoolAllocator() = default;
  template <typename U>
  RecordPoolAllocator(const RecordPoolAllocator<U>&) {}  // NOLINT: allocator rebinding
  T* allocate(size_t n) { return static_cast<T*>(AllocateRecord(n * sizeof(T))); }
  void deallocate(T* p, size_t n) noexcept { FreeRecord(p, n * sizeof(T)); }
  template <typename U>
  friend bool operator==(const RecordPoolAllocator&, const RecordPoolAllocator<U>&) {
    return true;
  }
};

}  // namespace vemra
