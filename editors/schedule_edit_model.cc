#include "editors/schedule_edit_model.h"

#include <algorithm>
#include <charconv>

#include "core/database/database.h"
#include "platform/localization.h"

namespace vemra::editors {

ScheduleEditModel::ScheduleEditModel(const TSchedule& schedule) {
  setSchedule(schedule);
}

void ScheduleEditModel::setSchedule(const TSchedule& schedule) {
  schedule_ = schedule;
  Show();
}

void ScheduleEditModel::Show() {
  const TSchedule& s = schedule_;
  finish_ = s.End != 0;
  finish_date_ = s.EndDate;
  start_ = s.BeginDate;
  week_type_ = s.WeekType;
  for (size_t i = 0; i < weekdays_.size(); ++i) weekdays_[i] = s.WeekDays[i] != 0;
  for (size_t i = 0; i < months_.size(); ++i) months_[i] = s.Months[i] != 0;
  switch (s.ScheduleType) {
    case 2:
      tab_ = Tab::Daily;
      interval_ = std::to_string(s.Day);
      break;
    case 3:
      tab_ = Tab::Weekly;
      break;
    case 4:
      tab_ = Tab::Monthly;
      day_item_ = s.Day >= 1 ? std::min<int>(s.Day - 1, kDayItems - 1) : 0;
      break;
    default:
      break;
  }
}

void ScheduleEditModel::OnChange() {
  TSchedule s = schedule_;  // Ghost, and Day on the weekly tab, keep their values
  s.End = finish_ ? 1 : 0;
  s.EndDate = finish_date_;
  s.BeginDate = start_;
  s.WeekType = static_cast<int8_t>(week_type_);
  for (size_t i = 0; i < weekdays_.size(); ++i) s.WeekDays[i] = weekdays_[i] ? 1 : 0;
  for (size_t i = 0; i < months_.size(); ++i) s.Months[i] = months_[i] ? 1 : 0;
  switch (tab_) {
    case Tab::Daily: {
      // Only "-", digits and "." count; what does not read as a whole number gives 0.
      std::string kept;
      for (char c : interval_) {
        if (c == '-' || c == '.' || (c >= '0' && c <= '9')) kept += c;
      }
      int day = 0;
      auto [end, ec] = std::from_chars(kept.data(), kept.data() + kept.size(), day);
      // Past the field's top of 10000 reads as the top; negative or no number as 0.
      if (ec == std::errc::result_out_of_range || day > 10000) day = 10000;
      if (ec == std::errc::invalid_argument || kept[0] == '-' || day < 0) day = 0;
      s.ScheduleType = 2;
      s.Day = static_cast<uint16_t>(day);
      interval_ = std::to_string(day);  // the stepper shows what was read
      break;
    }
    case Tab::Weekly:
      s.ScheduleType = 3;
      break;
    case Tab::Monthly:
      s.ScheduleType = 4;
      s.Day = static_cast<uint16_t>(day_item_ + 1);
      break;
  }
  schedule_ = s;
  if (onScheduleUpdated) onScheduleUpdated(schedule_);
}

void ScheduleEditModel::selectTab(Tab tab) {
  tab_ = tab;
  OnChange();
}

void ScheduleEditModel::setStart(ADate date) {
  start_ = date;
  OnChange();
}

void ScheduleEditModel::setFinish(bool ticked) {
  finish_ = ticked;
  OnChange();
}

void ScheduleEditModel::setFinishDate(ADate date) {
  finish_date_ = date;
  OnChange();
}

void ScheduleEditModel::setInterval(const std::string& text) {
  interval_ = text;
  OnChange();
}

void ScheduleEditModel::setWeekType(int item) {
  week_type_ = std::clamp(item, 0, 2);
  OnChange();
}

void ScheduleEditModel::setWeekday(int index, bool ticked) {
  if (index >= 0 && index < 7) weekdays_[index] = ticked;
  OnChange();
}

void ScheduleEditModel::setDayItem(int item) {
  day_item_ = std::clamp(item, 0, kDayItems - 1);
  OnChange();
}

void ScheduleEditModel::setMonth(int index, bool ticked) {
  if (index >= 0 && index < 12) months_[index] = ticked;
  OnChange();
}

std::string ScheduleEditModel::CurrentWeekText(ADate today) {
  return platform::Text(WeekOfYear(today) % 2 == 0 ? 17021 : 17022);
}

std::vector<std::string> ScheduleEditModel::Problems(const TSchedule& s) {
  std::vector<std::string> problems;
  if (s.ScheduleType == 0) return problems;
  const auto none = [](const auto& flags) {
    return std::none_of(flags.begin(), flags.end(), [](uint8_t v) { return v != 0; });
  };
  if (s.ScheduleType == 3 && none(s.WeekDays)) {
    problems.push_back("a weekly schedule needs a weekday");
  }
  if (s.ScheduleType == 4 && none(s.Months)) {
    problems.push_back("a monthly schedule needs a month");
  }
  if (s.End && s.EndDate < s.BeginDate) {
    problems.push_back("the schedule finishes before it starts");
  }
  if (problems.empty() && DataBase::ScheduleOccurrences(
                              s, s.BeginDate, ADate(s.BeginDate.Val + kFirstOccurrenceDays), 1)
                              .empty()) {
    problems.push_back("the schedule has no date within " + std::to_string(kFirstOccurrenceDays) +
                       " days of its start");
  }
  return problems;
}

std::vector<ADate> ScheduleEditModel::occurrences(ADate from, ADate until, size_t max) const {
  return DataBase::ScheduleOccurrences(schedule_, from, until, max);
}

bool ScheduleEditModel::finishAfter(int n) {
  if (n < 1) return false;
  TSchedule open = schedule_;
  open.End = 0;
  const std::vector<ADate> dates = DataBase::ScheduleOccurrences(
      open, open.BeginDate, MakeADate(9999, 11, 31), static_cast<size_t>(n));
  if (dates.size() < static_cast<size_t>(n)) return false;
  finish_ = true;
  finish_date_ = dates.back();
  OnChange();
  return true;
}

}  // namespace vemra::editors
