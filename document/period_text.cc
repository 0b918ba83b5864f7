#include "document/period_text.h"

#include <cstdio>
#include <utility>

#include "platform/localization.h"

namespace vemra {
namespace {

// The short date form of the language, from the language table rather than the C library's
// locales (often missing), so that the CLI and the app agree.
std::string ShortDate(ADate d, std::string_view language) {
  char text[32];
  if (platform::TableLanguage(language) == "ru") {
    std::snprintf(text, sizeof text, "%02d.%02d.%d", DayOf(d), MonthOf(d) + 1, YearOf(d));
  } else {
    std::snprintf(text, sizeof text, "%d/%d/%d", MonthOf(d) + 1, DayOf(d), YearOf(d));
  }
  return text;
}

}  // namespace

std::string FormatInterval(const TimeInterval& interval, std::string_view language) {
  ADate a = interval.BeginDate, b = interval.EndDate;
  if (b < a) std::swap(a, b);
  const int32_t ay = YearOf(a), am = MonthOf(a), ad = DayOf(a);
  const int32_t by = YearOf(b), bm = MonthOf(b), bd = DayOf(b);
  auto month = [&](int32_t m) { return platform::Text(100 + m, language); };
  if (a == b) return month(am) + " " + std::to_string(ad) + ", " + std::to_string(ay);
  if (ad == 1 && ay == by && am == bm && bd == DaysInMonth(ay, am)) {
    return month(am) + " " + std::to_string(ay);
  }
  if (ay == by) {
    if (am % 3 == 0 && bm == am + 2 && ad == 1 && bd == DaysInMonth(by, bm)) {
      return "Q" + std::to_string(am / 3 + 1) + " " + std::to_string(ay);
    }
    if (am == 0 && ad == 1 && bm == 11 && bd == 31) return std::to_string(ay);
  }
  return ShortDate(a, language) + " - " + ShortDate(b, language);
}

}  // namespace vemra
