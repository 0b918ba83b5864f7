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

// A standard allocator over a pair of the functions above.
template <typename T, void* (*Allocate)(size_t), void (*Free)(void*, size_t) noexcept>
struct FunctionAllocator {
  using value_type = T;
  template <typename U>
  struct rebind {
    using other = FunctionAllocator<U, Allocate, Free>;
  };
  FunctionAllocator() = default;
  template <typename U>
  FunctionAllocator(const FunctionAllocator<U, Allocate, Free>&) {}  // NOLINT: rebinding
  T* allocate(size_t n) { return static_cast<T*>(Allocate(n * sizeof(T))); }
  void deallocate(T* p, size_t n) noexcept { Free(p, n * sizeof(T)); }
  template <typename U>
  friend bool operator==(const FunctionAllocator&, const FunctionAllocator<U, Allocate, Free>&) {
    return true;
  }
};

// For the nodes of the record tables: the record pool.
template <typename T>
using RecordPoolAllocator = FunctionAllocator<T, AllocateRecord, FreeRecord>;
// For the large arrays of the indexes over the records.
template <typename T>
using LargeArrayAllocator = FunctionAllocator<T, AllocateLarge, FreeLarge>;

}  // namespace vemra
