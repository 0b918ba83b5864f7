// The short text that names a period in the period control: a day, a month, a quarter, a year,
// or a date range.
#pragma once

#include <string>
#include <string_view>

#include "core/records/dates.h"

namespace vemra {

// `interval` (either order) as text in `language` ("en" or "ru", see platform::TableLanguage):
// "March 5, 2019", "March 2019", "Q2 2019", "2019", or two dates joined by " - " in the
// language's short form (English M/d/yyyy, Russian dd.MM.yyyy). Thread-safe.
std::string FormatInterval(const TimeInterval& interval, std::string_view language);

}  // namespace vemra
