// `period`: the interval menu, the period control's steps and the period text, as the main
// window computes them.
#include <algorithm>
#include <charconv>

#include "cli/book_session.h"
#include "core/records/transaction.h"
#include "document/period_text.h"
#include "lists/period_selection.h"
#include "platform/localization.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kPeriodUsage =
    "usage: kestrum-cli period KIND [BEGIN END] [--at DATE] [--move N] [--first-weekday DAY]\n"
    "           [--book FILE] [--password P] [--lang en|ru] [--json]\n"
    "\n"
    "Prints the period of the interval menu entry KIND (day, week, month, quarter, year, all,\n"
    "or custom with BEGIN and END in either order) on DATE (default today), moved N steps of\n"
    "the period control (back when negative), as 'BEGIN  END  TEXT' with the text the period\n"
    "control shows. DAY, the first day of the week, is mon..sun or 0..6 (Monday 0); it\n"
    "defaults to the book's with --book, else Monday. 'all' needs --book (its first and last\n"
    "transaction). The language defaults to the one a new book would get from LANGUAGE,\n"
    "LC_ALL, LC_MESSAGES and LANG.\n"
    "JSON: {\"kind\", \"begin\", \"end\", \"days\", \"text\"}.\n";

// mon..sun or 0..6.
bool ParseWeekday(const std::string& text, int32_t& day) {
  static constexpr std::string_view kNames[] = {"mon", "tue", "wed", "thu", "fri", "sat", "sun"};
  for (int32_t i = 0; i < 7; ++i) {
    if (text == kNames[i] || text == std::to_string(i)) {
      day = i;
      return true;
    }
  }
  return false;
}

bool ParseSteps(const std::string& text, int64_t& steps) {
  const char* end = text.data() + text.size();
  auto [at, ec] = std::from_chars(text.data(), end, steps);
  return ec == std::errc() && at == end && std::abs(steps) <= 100000;
}

}  // namespace

int PeriodCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kPeriodUsage);
  Parsed p;
  std::string problem;
  if (!Parse(args, {"--at", "--move", "--first-weekday", "--book", "--password", "--lang"},
             {"--json"}, p, problem)) {
    return Usage(err, kPeriodUsage, problem);
  }
  if (p.positional.empty()) return Usage(err, kPeriodUsage, "period takes a KIND");
  const std::optional<lists::PeriodKind> kind = lists::PeriodKindNamed(p.positional[0]);
  if (!kind) return Usage(err, kPeriodUsage, "unknown KIND '" + p.positional[0] + "'");
  const bool custom = *kind == lists::PeriodKind::Custom;
  if (p.positional.size() != (custom ? 3u : 1u)) {
    return Usage(err, kPeriodUsage,
                 custom ? "custom takes BEGIN and END" : "only custom takes dates");
  }
  ADate dates[2];
  for (size_t i = 1; i < p.positional.size(); ++i) {
    if (!ParseDate(p.positional[i], dates[i - 1])) {
      return Usage(err, kPeriodUsage, "bad date '" + p.positional[i] + "': give YYYY-MM-DD");
    }
  }
  ADate today = TodayADate();
  if (const std::string* at = p.Last("--at"); at != nullptr && !ParseDate(*at, today)) {
    return Usage(err, kPeriodUsage, "bad date '" + *at + "': give YYYY-MM-DD");
  }
  int64_t steps = 0;
  if (const std::string* move = p.Last("--move"); move != nullptr && !ParseSteps(*move, steps)) {
    return Usage(err, kPeriodUsage, "--move takes a whole number");
  }
  int32_t first_weekday = 0;
  const std::string* weekday = p.Last("--first-weekday");
  if (weekday != nullptr && !ParseWeekday(*weekday, first_weekday)) {
    return Usage(err, kPeriodUsage, "--first-weekday is mon..sun or 0..6");
  }
  std::string language(platform::TableLanguage(platform::PreferredLanguage()));
  if (const std::string* lang = p.Last("--lang"); lang != nullptr) {
    if (*lang != "en" && *lang != "ru") return Usage(err, kPeriodUsage, "--lang is en or ru");
    language = *lang;
  }
  const std::string* book = p.Last("--book");
  if (*kind == lists::PeriodKind::All && book == nullptr) {
    return Usage(err, kPeriodUsage, "'all' needs --book, for its first transaction");
  }
  if (book == nullptr && p.Has("--password")) {
    return Usage(err, kPeriodUsage, "--password goes with --book");
  }

  ADate first = today, last = today;
  Session session;
  if (book != nullptr) {
    if (int status = session.Open(*book, p.Last("--password"), false, err); status != kExitOK) {
      return status;
    }
    session.document().Sync([&] {
      Book& db = session.document().database();
      if (weekday == nullptr) first_weekday = lists::FirstWeekday(db.Header.Option0);
      bool any = false;
      for (const auto& [id, e] : db.GetTable(1)) {
        if (e->Header.Type != etTransaction) continue;
        const ADate d = static_cast<const TTransaction&>(*e).Data.Date;
        first = any ? std::min(first, d) : d;
        last = any ? std::max(last, d) : d;
        any = true;
      }
    });
  }
  TimeInterval period = custom ? TimeInterval(dates[0], dates[1])
                               : lists::PeriodOf(*kind, today, first_weekday, first, last);
  period = lists::MovePeriod(period, steps);
  const std::string text = FormatInterval(period, language);
  if (p.Has("--json")) {
    Json j;
    j["kind"] = p.positional[0];
    j["begin"] = FormatDate(period.BeginDate);
    j["end"] = FormatDate(period.EndDate);
    j["days"] = int64_t{period.EndDate.Val} - period.BeginDate.Val + 1;
    j["text"] = text;
    WriteJsonLine(out, j);
    return kExitOK;
  }
  out << FormatDate(period.BeginDate) << "  " << FormatDate(period.EndDate) << "  " << text << "\n";
  return kExitOK;
}

}  // namespace vemra::cli
