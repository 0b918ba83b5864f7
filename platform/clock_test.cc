#include "platform/clock.h"

#include <gtest/gtest.h>

#include <ctime>

namespace vemra::platform {
namespace {

TEST(ClockTest, PinReplacesBothReadingsUntilReleased) {
  {
    ScopedClockPin pin(1'700'000'000, 1234);
    {
      // Pins nest: the inner one hands the outer pin back.
      ScopedClockPin inner(5, 6);
      EXPECT_EQ(LocalWallSeconds(), 5);
    }
    EXPECT_EQ(LocalWallSeconds(), 1'700'000'000);
    EXPECT_EQ(ProcessorTicks(), 1234u);
  }
  // Unpinned, the wall clock is within a day of UTC now (the local offset is below 15 hours).
  int64_t utc = static_cast<int64_t>(std::time(nullptr));
  EXPECT_LT(std::llabs(LocalWallSeconds() - utc), 15 * 3600 + 5);
}

}  // namespace
}  // namespace vemra::platform
