// TSchedule: the recurrence rule stored in scheduled transactions and scheduled events.
#pragma once

#include <array>
#include <cstdint>

#include "core/records/body_codec.h"
#include "core/records/dates.h"

namespace vemra {

struct TSchedule {
  uint8_t ScheduleType = 0;  // 0 not scheduled; the editor writes 2 daily, 3 weekly, 4 monthly
  ADate BeginDate;           // moved forward as occurrences are handled
  ADate EndDate;
  uint8_t End = 0;   // EndDate applies (0/1)
  uint16_t Day = 1;  // daily: every Day days; monthly: day of the month
  std::array<uint8_t, 7> WeekDays{1, 1, 1, 1, 1, 1, 1};  // Monday .. Sunday
  int8_t WeekType = 0;  // weekly: 0 every week, 1 even week numbers only, 2 odd ones only
  std::array<uint8_t, 12> Months{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};  // January .. December
  uint8_t Ghost = 0;  // due occurrences are not entered as transactions (0/1)

  static constexpr size_t kSize = 40;
  // The layout before Ghost existed: the first 36 bytes.
  static constexpr size_t kOldSize = 36;

  // Begins today and ends 30 days later.
  TSchedule();
  void Write(BodyWriter& w) const;
  // Reads the 40-byte layout, or the 36-byte old one (Ghost then 0) when `old_layout`.
  void Read(BodyReader& r, bool old_layout);
  friend bool operator==(const TSchedule&, const TSchedule&) = default;
};

}  // namespace vemra
