// The process clock: local wall-clock time and processor time, as every date, time of day and
// change stamp of the engine reads them. Tests pin it to a chosen moment.
#pragma once

#include <cstdint>

namespace vemra::platform {

// Returns the current local date and time taken apart into calendar fields and counted as if
// they were UTC, in whole seconds since 1970-01-01 00:00 (so 13:05 local time on some day is
// day * 86400 + 13 * 3600 + 5 * 60). Returns the pinned value while the clock is pinned.
// Thread-safe.
int64_t LocalWallSeconds();

// Returns the processor time used by the process, in clock ticks (std::clock units), or the
// pinned tick count while the clock is pinned. Thread-safe.
uint64_t ProcessorTicks();

// Pins the clock: LocalWallSeconds() returns `local_seconds` and ProcessorTicks() returns
// `ticks` until UnpinClock(). Thread-safe; meant for tests.
void PinClock(int64_t local_seconds, uint64_t ticks = 0);

// Returns the clock to the system's time. Thread-safe.
void UnpinClock();

// Reports whether the clock is pinned and, if so, to what.
bool IsClockPinned(int64_t& local_seconds, uint64_t& ticks);

// Pins the clock for the lifetime of the object; on destruction the clock returns to the pin
// (or the system time) it had before, so that pins nest.
class ScopedClockPin {
 public:
  explicit ScopedClockPin(int64_t local_seconds, uint64_t ticks = 0)
      : was_pinned_(IsClockPinned(previous_seconds_, previous_ticks_)) {
    PinClock(local_seconds, ticks);
  }
  ~ScopedClockPin() {
    if (was_pinned_) {
      PinClock(previous_seconds_, previous_ticks_);
    } else {
      UnpinClock();
    }
  }
  ScopedClockPin(const ScopedClockPin&) = delete;
  ScopedClockPin& operator=(const ScopedClockPin&) = delete;

 private:
  int64_t previous_seconds_ = 0;
  uint64_t previous_ticks_ = 0;
  bool was_pinned_;
};

}  // namespace vemra::platform
