#include "core/records/record_pool.h"

#include <sys/mman.h>

#include <array>
#include <cstdlib>
#include <mutex>
#include <new>

namespace vemra {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kPooled = false;  // let the sanitizer see every object on its own
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kPooled = false;
#else
constexpr bool kPooled = true;
#endif
#else
constexpr bool kPooled = true;
#endif

constexpr size_t kGrain = 16;
constexpr size_t kLargest = 1024;  // bigger objects come from the general heap
constexpr size_t kBlock = size_t{32} << 20;
constexpr size_t kHugePage = size_t{2} << 20;

struct FreeNode {
  FreeNode* next;
};

class Pool {
 public:
  void* Allocate(size_t size) {
    size_t cls = (size + kGrain - 1) / kGrain;
    std::lock_guard<std::mutex> lock(mutex_);
    if (FreeNode* node = free_[cls]) {
      free_[cls] = node->next;
      return node;
    }
    size_t bytes = cls * kGrain;
    if (left_ < bytes) NewBlock();
    void* p = next_;
    next_ += bytes;
    left_ -= bytes;
    return p;
  }

  void Free(void* p, size_t size) {
    size_t cls = (size + kGrain - 1) / kGrain;
    auto* node = static_cast<FreeNode*>(p);
    std::lock_guard<std::mutex> lock(mutex_);
    node->next = free_[cls];
    free_[cls] = node;
  }

 private:
  void NewBlock() {
    // Over-allocate by one huge page so that the block can start on a huge-page boundary.
    void* raw = mmap(nullptr, kBlock + kHugePage, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (raw == MAP_FAILED) throw std::bad_alloc();
    auto addr = reinterpret_cast<uintptr_t>(raw);
    uintptr_t aligned = (addr + kHugePage - 1) & ~(kHugePage - 1);
    madvise(reinterpret_cast<void*>(aligned), kBlock, MADV_HUGEPAGE);
    // The unused rest of the last block stays mapped: at most one small tail per block.
    next_ = reinterpret_cast<char*>(aligned);
    left_ = kBlock;
  }

  std::mutex mutex_;
  std::array<FreeNode*, kLargest / kGrain + 1> free_{};
  char* next_ = nullptr;
  size_t left_ = 0;
};

Pool& ThePool() {
  static Pool* pool = new Pool;  // never destroyed: records may outlive static destructors
  return *pool;
}

}  // namespace

void* AllocateRecord(size_t size) {
  if (!kPooled || size > kLargest || size == 0) return ::operator new(size);
  return ThePool().Allocate(size);
}

void* AllocateLarge(size_t size) {
  if (!kPooled || size < kHugePage) return ::operator new(size);
  // From the C heap, which maps such sizes on their own and, when they are freed, raises its
  // threshold for doing so: later arrays of a few megabytes (a query's rows) then reuse heap
  // memory instead of faulting in fresh pages on every call.
  const size_t length = (size + kHugePage - 1) & ~(kHugePage - 1);
  void* p = std::aligned_alloc(kHugePage, length);
  if (p == nullptr) throw std::bad_alloc();
  madvise(p, length, MADV_HUGEPAGE);
  return p;
}

void FreeLarge(void* p, size_t size) noexcept {
  if (!kPooled || size < kHugePage) {
    ::operator delete(p);
    return;
  }
  std::free(p);
}

void FreeRecord(void* p, size_t size) noexcept {
  if (p == nullptr) return;
  if (!kPooled || size > kLargest || size == 0) {
    ::operator delete(p);
    return;
  }
  ThePool().Free(p, size);
}

}  // namespace vemra
