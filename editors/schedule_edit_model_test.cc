#include "editors/schedule_edit_model.h"

#include <gtest/gtest.h>

#include "platform/localization.h"

namespace vemra::editors {
namespace {

TSchedule Daily(ADate begin, uint16_t every) {
  TSchedule s;
  s.ScheduleType = 2;
  s.BeginDate = begin;
  s.Day = every;
  return s;
}

TEST(ScheduleEditModelTest, ControlsRebuildTheWholeValue) {
  ScheduleEditModel m(Daily(MakeADate(2027, 0, 1), 3));
  EXPECT_EQ(m.tab(), ScheduleEditModel::Tab::Daily);
  EXPECT_EQ(m.interval(), "3");
  int updates = 0;
  TSchedule last;
  m.onScheduleUpdated = [&](const TSchedule& s) {
    ++updates;
    last = s;
  };
  // An interval of 0 or of text stores Day 0 (the transaction editor saves it as 1).
  for (const char* text : {"0", "abc", "-4"}) {
    m.setInterval(text);
    EXPECT_EQ(last.Day, 0) << text;
  }
  m.setInterval("12 days");
  EXPECT_EQ(last.Day, 12);
  m.setInterval("99999");
  EXPECT_EQ(last.Day, 10000);

  // Weekdays survive a trip to another tab and back; Day keeps its value on the weekly tab.
  m.selectTab(ScheduleEditModel::Tab::Weekly);
  m.setWeekday(0, false);
  m.setWeekday(6, false);
  m.selectTab(ScheduleEditModel::Tab::Daily);
  m.selectTab(ScheduleEditModel::Tab::Weekly);
  EXPECT_EQ(last.ScheduleType, 3);
  EXPECT_EQ(last.WeekDays, (std::array<uint8_t, 7>{0, 1, 1, 1, 1, 1, 0}));
  EXPECT_EQ(last.Day, 10000);

  // "Last" is 32, "Penultimate" 33; a stored Day past the menu shows its last item.
  m.selectTab(ScheduleEditModel::Tab::Monthly);
  m.setDayItem(31);
  EXPECT_EQ(last.Day, 32);
  m.setDayItem(32);
  EXPECT_EQ(last.Day, 33);
  TSchedule odd = last;
  odd.Day = 40;
  m.setSchedule(odd);
  EXPECT_EQ(m.dayItem(), 32);

  // Unticking the finish box keeps the date.
  m.setFinishDate(MakeADate(2027, 5, 30));
  m.setFinish(true);
  EXPECT_TRUE(m.isFinishDateEnabled());
  m.setFinish(false);
  EXPECT_EQ(last.End, 0);
  EXPECT_EQ(last.EndDate, MakeADate(2027, 5, 30));
  EXPECT_FALSE(m.isFinishDateEnabled());
  EXPECT_GT(updates, 10);
}

TEST(ScheduleEditModelTest, CurrentWeekLabelCountsWeeksFromOne) {
  platform::SetLanguage("en");
  // 2024 begins on a Monday: its first week is week 1, odd; the next one even.
  EXPECT_EQ(ScheduleEditModel::CurrentWeekText(MakeADate(2024, 0, 1)), "Current week is odd");
  EXPECT_EQ(ScheduleEditModel::CurrentWeekText(MakeADate(2024, 0, 8)), "Current week is even");
}

TEST(ScheduleEditModelTest, OccurrencesAndFinishAfter) {
  ScheduleEditModel daily(Daily(MakeADate(2027, 0, 1), 3));
  // Daily dates count from the start, whatever day the listing begins.
  EXPECT_EQ(
      daily.occurrences(MakeADate(2027, 0, 5), MakeADate(2027, 0, 31), 3),
      (std::vector<ADate>{MakeADate(2027, 0, 7), MakeADate(2027, 0, 10), MakeADate(2027, 0, 13)}));
  ASSERT_TRUE(daily.finishAfter(4));
  EXPECT_EQ(daily.schedule().End, 1);
  EXPECT_EQ(daily.schedule().EndDate, MakeADate(2027, 0, 10));
  EXPECT_EQ(daily.occurrences(MakeADate(2027, 0, 1), MakeADate(2028, 0, 1), 100).size(), 4u);

  TSchedule monthly;
  monthly.ScheduleType = 4;
  monthly.Day = 33;  // the last but one day
  monthly.BeginDate = MakeADate(2024, 0, 1);
  monthly.Months.fill(0);
  monthly.Months[1] = 1;  // February only
  ScheduleEditModel m(monthly);
  EXPECT_EQ(m.occurrences(MakeADate(2024, 0, 1), MakeADate(2025, 11, 31), 10),
            (std::vector<ADate>{MakeADate(2024, 1, 28), MakeADate(2025, 1, 27)}));
  // A finish before the first date leaves none, and the schedule cannot be saved.
  monthly.End = 1;
  monthly.EndDate = MakeADate(2024, 5, 1);
  m.setSchedule(monthly);
  EXPECT_TRUE(m.validate().empty());
  monthly.EndDate = MakeADate(2024, 0, 31);
  m.setSchedule(monthly);
  ASSERT_EQ(m.validate().size(), 1u);
  EXPECT_EQ(m.validate()[0], "the schedule has no date within 400 days of its start");
}

}  // namespace
}  // namespace vemra::editors
