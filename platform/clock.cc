#include "platform/clock.h"

#include <atomic>
#include <ctime>

namespace vemra::platform {
namespace {

std::atomic<bool> g_pinned{false};
std::atomic<int64_t> g_pinned_seconds{0};
std::atomic<uint64_t> g_pinned_ticks{0};

}  // namespace

int64_t LocalWallSeconds() {
  if (g_pinned.load(std::memory_order_acquire)) return g_pinned_seconds.load();
  std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) == nullptr) return static_cast<int64_t>(now);
  // timegm reads the local calendar fields as UTC, which is exactly the wall-clock count.
  return static_cast<int64_t>(timegm(&local));
}

uint64_t ProcessorTicks() {
  if (g_pinned.load(std::memory_order_acquire)) return g_pinned_ticks.load();
  std::clock_t ticks = std::clock();
  return ticks < 0 ? 0 : static_cast<uint64_t>(ticks);
}

void PinClock(int64_t local_seconds, uint64_t ticks) {
  g_pinned_seconds.store(local_seconds);
  g_pinned_ticks.store(ticks);
  g_pinned.store(true, std::memory_order_release);
}

void UnpinClock() {
  g_pinned.store(false, std::memory_order_release);
}

}  // namespace vemra::platform
