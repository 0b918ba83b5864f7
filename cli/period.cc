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

constexpr std::string_view kViewUsage =
    "usage: kestrum-cli view FILE [--period KIND [BEGIN END] | --move N] [--at DATE]\n"
    "           [--hidden-accounts show|hide] [--json]\n"
    "\n"
    "Shows the book's view options: the period the lists show (with the text of the period\n"
    "control) and whether closed accounts are shown. --period sets the period as the interval\n"
    "menu does (KIND as for 'period'; custom takes BEGIN and END), --move steps it as the\n"
    "period control does, --hidden-accounts sets the option; the book is then saved. These\n"
    "changes are neither undone nor sent as sync parts.\n"
    "JSON: {\"period\": {\"begin\", \"end\", \"text\"}, \"hiddenAccounts\": true|false}.\n";

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
      lists::TransactionSpan(db, today, first, last);
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

int ViewCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kViewUsage,
                    {"--period", "--move", "--at", "--hidden-accounts"},
                    {"--json"},
                    1,
                    3,
                    "view takes FILE (and BEGIN END after --period custom)",
                    [](const Parsed& given) {
                      return given.Has("--period") || given.Has("--move") ||
                             given.Has("--hidden-accounts");
                    }};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session& session) -> int {
    const std::string* kind_name = p.Last("--period");
    std::optional<lists::PeriodKind> kind;
    if (kind_name != nullptr) {
      kind = lists::PeriodKindNamed(*kind_name);
      if (!kind) return Usage(err, kViewUsage, "unknown KIND '" + *kind_name + "'");
    }
    const bool custom = kind == lists::PeriodKind::Custom;
    if (p.positional.size() != (custom ? 3u : 1u)) {
      return Usage(err, kViewUsage,
                   custom ? "custom takes BEGIN and END" : "only --period custom takes dates");
    }
    ADate today = TodayADate();
    if (const std::string* at = p.Last("--at"); at != nullptr && !ParseDate(*at, today)) {
      return Usage(err, kViewUsage, "bad date '" + *at + "': give YYYY-MM-DD");
    }
    int64_t steps = 0;
    if (const std::string* move = p.Last("--move"); move != nullptr && !ParseSteps(*move, steps)) {
      return Usage(err, kViewUsage, "--move takes a whole number");
    }
    const std::string* hidden = p.Last("--hidden-accounts");
    if (hidden != nullptr && *hidden != "show" && *hidden != "hide") {
      return Usage(err, kViewUsage, "--hidden-accounts is show or hide");
    }
    TimeInterval period = db.Period;
    if (custom) {
      ADate a, b;
      if (!ParseDate(p.positional[1], a) || !ParseDate(p.positional[2], b)) {
        return Usage(err, kViewUsage, "bad date: give YYYY-MM-DD");
      }
      period = TimeInterval(a, b);
    } else if (kind) {
      ADate first = today, last = today;
      if (*kind == lists::PeriodKind::All) lists::TransactionSpan(db, today, first, last);
      period = lists::PeriodOf(*kind, today, lists::FirstWeekday(db.Header.Option0), first, last);
    }
    period = lists::MovePeriod(period, steps);
    const bool changed = kind || steps != 0 || hidden != nullptr;
    if (changed) {
      // View options: saved with the book, not undoable and not journalled.
      lists::SetPeriod(session.document(), period, "en");
      if (hidden != nullptr) lists::SetShowHiddenAccounts(session.document(), *hidden == "show");
      if (int status = session.Save(err); status != kExitOK) return status;
    }
    const std::string text =
        FormatInterval(period, platform::TableLanguage(platform::PreferredLanguage()));
    const bool shown = db.Header.Reserved2 != 0;
    if (p.Has("--json")) {
      Json j;
      j["period"] = {{"begin", FormatDate(period.BeginDate)},
                     {"end", FormatDate(period.EndDate)},
                     {"text", text}};
      j["hiddenAccounts"] = shown;
      WriteJsonLine(out, j);
      return kExitOK;
    }
    out << "period: " << FormatDate(period.BeginDate) << "  " << FormatDate(period.EndDate) << "  "
        << text << "\n"
        << "closed/hidden accounts: " << (shown ? "shown" : "hidden") << "\n";
    return kExitOK;
  });
}

}  // namespace vemra::cli
