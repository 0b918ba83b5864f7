#include "document/period_text.h"

#include <gtest/gtest.h>

namespace vemra {
namespace {

ADate D(int y, int m, int d) {
  return MakeADate(y, m - 1, d);
}

TEST(PeriodTextTest, NamesDaysMonthsQuartersYearsAndRanges) {
  struct Case {
    ADate begin, end;
    const char* en;
    const char* ru;
  };
  const Case kCases[] = {
      {D(2019, 3, 5), D(2019, 3, 5), "March 5, 2019", "Март 5, 2019"},
      {D(2024, 2, 1), D(2024, 2, 29), "February 2024", "Февраль 2024"},
      {D(2023, 2, 1), D(2023, 2, 28), "February 2023", "Февраль 2023"},
      {D(2023, 2, 1), D(2023, 2, 27), "2/1/2023 - 2/27/2023", "01.02.2023 - 27.02.2023"},
      {D(2019, 10, 1), D(2019, 12, 31), "Q4 2019", "Q4 2019"},
      {D(2019, 4, 1), D(2019, 6, 30), "Q2 2019", "Q2 2019"},
      {D(2019, 2, 1), D(2019, 4, 30), "2/1/2019 - 4/30/2019", "01.02.2019 - 30.04.2019"},
      {D(2019, 1, 1), D(2019, 12, 31), "2019", "2019"},
      {D(2019, 12, 1), D(2020, 1, 31), "12/1/2019 - 1/31/2020", "01.12.2019 - 31.01.2020"},
      {D(2019, 1, 1), D(2019, 12, 30), "1/1/2019 - 12/30/2019", "01.01.2019 - 30.12.2019"},
  };
  for (const Case& c : kCases) {
    TimeInterval forward;
    forward.BeginDate = c.begin;
    forward.EndDate = c.end;
    EXPECT_EQ(FormatInterval(forward, "en"), c.en);
    EXPECT_EQ(FormatInterval(forward, "ru_RU.UTF-8"), c.ru);
    // End before begin reads as the swapped interval.
    TimeInterval backward;
    backward.BeginDate = c.end;
    backward.EndDate = c.begin;
    EXPECT_EQ(FormatInterval(backward, "en"), c.en);
  }
}

}  // namespace
}  // namespace vemra
