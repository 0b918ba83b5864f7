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
  // Every new record asks for the date and time; converting once per second per thread keeps
  // a million of them cheap. The zone offset cannot change within one second.
  thread_local std::time_t cached_now = -1;
  thread_local int64_t cached_local = 0;
  if (now == cached_now) return cached_local;
  std::tm local{};
  if (localtime_r(&now, &local) == nullptr) return static_cast<int64_t>(now);
  // timegm reads the local calendar fields as UTC, which is exactly the wall-clock count.
  cached_now = now;
  cached_local = static_cast<int64_t>(timegm(&local));
  return cached_local;
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

bool IsClockPinned(int64_t& local_seconds, uint64_t& ticks) {
  if (!g_pinned.load(std::memory_order_acquire)) return false;
  local_seconds = g_pinned_seconds.load();
  ticks = g_pinned_ticks.load();
  return true;
}

void UnpinClock() {
  g_pinned.store(false, std::memory_order_release);
}

}  // namespace vemra::platform
