// The schedule editor's logic: the controls of one recurrence (daily every N days, weekly on
// chosen weekdays of every, odd or even weeks, monthly on a day of chosen months, a start and an
// optional finish) as plain values, rebuilt into a TSchedule after every change and handed to
// the delegate whole. No drawing and no book: the transaction editor owns the value until it
// saves the transaction.
//
// Threads: not thread-safe; use it from one thread.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "core/records/dates.h"
#include "core/records/schedule.h"

namespace vemra::editors {

class ScheduleEditModel {
 public:
  enum class Tab { Daily, Weekly, Monthly };
  // The day menu: items 0-30 are the days 1-31, then "Last" and "Penultimate".
  static constexpr int kDayItems = 33;
  // A schedule must occur within this many days of its start to be saved.
  static constexpr int kFirstOccurrenceDays = 400;

  // Shows `schedule`: its type picks the tab (any other type keeps the daily tab).
  explicit ScheduleEditModel(const TSchedule& schedule = TSchedule());

  // Replaces the value and shows it, as when the editor opens; the delegate is not called.
  void setSchedule(const TSchedule& schedule);
  const TSchedule& schedule() const { return schedule_; }

  // Receives the complete schedule after every change of a control.
  std::function<void(const TSchedule&)> onScheduleUpdated;

  // The controls; each rebuilds the schedule and tells the delegate.
  void selectTab(Tab tab);
  void setStart(ADate date);
  void setFinish(bool ticked);
  void setFinishDate(ADate date);
  // The interval text as typed; read as a whole number, 0 when it is none.
  void setInterval(const std::string& text);
  // 0 every week, 1 odd weeks, 2 even weeks.
  void setWeekType(int item);
  // Monday 0 .. Sunday 6.
  void setWeekday(int index, bool ticked);
  // An item of the day menu (see kDayItems).
  void setDayItem(int item);
  // January 0 .. December 11.
  void setMonth(int index, bool ticked);

  Tab tab() const { return tab_; }
  const std::string& interval() const { return interval_; }
  int dayItem() const { return day_item_; }
  // The finish date control is enabled only while the finish box is ticked.
  bool isFinishDateEnabled() const { return finish_; }
  // The text of the current-week label for `today` ("Current week is odd" when the 0-based
  // week of the year is even: the user counts weeks from 1), in the current language.
  static std::string CurrentWeekText(ADate today);

  // Why `schedule` cannot be saved; empty when it can: a weekly one without a weekday, a
  // monthly one without a month, a finish before the start, or no occurrence within
  // kFirstOccurrenceDays of the start.
  static std::vector<std::string> Problems(const TSchedule& schedule);
  std::vector<std::string> validate() const { return Problems(schedule_); }
  // The schedule's occurrences in [from, until], at most `max`, ascending.
  std::vector<ADate> occurrences(ADate from, ADate until, size_t max) const;
  // Ticks the finish box with the n-th occurrence (counted from the start, n >= 1) as finish
  // date. False, changing nothing, when the schedule has fewer than n occurrences.
  bool finishAfter(int n);

 private:
  void Show();
  void OnChange();

  TSchedule schedule_;
  Tab tab_ = Tab::Daily;
  ADate start_, finish_date_;
  bool finish_ = false;
  std::string interval_;
  int week_type_ = 0;
  std::array<bool, 7> weekdays_{};
  int day_item_ = 0;
  std::array<bool, 12> months_{};
};

}  // namespace vemra::editors
