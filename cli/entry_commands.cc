// `add`, `edit` and `schedule`: transactions and scheduled transactions entered through the
// transaction and schedule editors, replayed as a user fills them in.
#include <algorithm>
#include <cmath>
#include <optional>
#include <set>

#include "cli/book_session.h"
#include "collections/category_path.h"
#include "core/database/database.h"
#include "core/records/scheduled_transaction.h"
#include "editors/schedule_edit_model.h"
#include "editors/transaction_edit_model.h"
#include "platform/unicode.h"

namespace vemra::cli {
namespace {

using editors::ScheduleEditModel;
using editors::TransactionEditModel;

constexpr std::string_view kAddUsage =
    "usage: kestrum-cli add FILE (--expense | --income | --transfer | --copy ID)\n"
    "           [--account A] [--to-account B] [--amount X] [--to-amount Y] [--rate R]\n"
    "           [--quantity Q] [--price P] [--date YYYY-MM-DD] [--time HH:MM[:SS]]\n"
    "           [--category PATH] [--payee PATH] [--name S] [--comment S]\n"
    "           [--cleared | --uncleared] [--star | --no-star] [--create] [--json]\n"
    "\n"
    "Adds a transaction through the transaction editor, as if typed into it: the options fill\n"
    "the editor's fields and the amounts are coupled as the editor couples them. An expense\n"
    "takes the money from A (the default account when not given), an income puts it into A, a\n"
    "transfer takes it from A and puts it into B. --amount is the amount field (taken, or for\n"
    "an income received), --to-amount the amount received by a transfer between currencies,\n"
    "--rate its exchange rate, --quantity and --price the details of an expense or income; the\n"
    "five are typed in the order given. Between currencies, --to-amount alone converts at the\n"
    "current rate; --amount alone leaves the received amount 0 and is refused. --copy ID starts\n"
    "from transaction ID (dated and cleared as a new one). Accounts by name or ID; --category\n"
    "names an existing category path such as 'Food/Groceries' (--create makes missing levels);\n"
    "a missing --payee is created. An empty --category, --payee, --name or --comment clears it.\n"
    "Amounts are stored rounded to the currency's decimal places.\n"
    "JSON: {\"ID\", \"kind\", \"WithdrawAccountID\", \"TargetAccountID\", \"WithdrawAmount\",\n"
    "\"TargetAmount\", \"Quantity\", \"Date\", \"Time\", \"Cleared\", \"Star\", \"CategoryID\",\n"
    "\"PayeeID\", \"Name\", \"Comment\"}.\n";

constexpr std::string_view kEditUsage =
    "usage: kestrum-cli edit FILE ID [the options of add, without --copy] [--swap]\n"
    "\n"
    "Changes transaction ID through the transaction editor: the options given are typed into\n"
    "its fields (see add). Changing the kind needs --amount; --swap exchanges the accounts and\n"
    "amounts of a transfer. An edit that changes nothing says so and writes nothing.\n";

constexpr std::string_view kScheduleUsage =
    "usage: kestrum-cli schedule add FILE (--daily [--every N] | --weekly [--on DAYS]\n"
    "           [--weeks all|odd|even] | --monthly [--day D] [--months MONTHS])\n"
    "           [--until YYYY-MM-DD | --times N] [--start YYYY-MM-DD] [the options of add]\n"
    "       kestrum-cli schedule edit FILE ID [the options of schedule add] [--swap] [--no-end]\n"
    "       kestrum-cli schedule delete FILE ID\n"
    "       kestrum-cli schedule list FILE [--json]\n"
    "       kestrum-cli schedule upcoming FILE [ID] [--count N] [--until YYYY-MM-DD] [--json]\n"
    "\n"
    "A scheduled transaction repeats from its start: every N days (0-10000, 0 counts as 1),\n"
    "weekly on DAYS (mon,tue,... ; every, odd or even week of the year), or monthly on day D\n"
    "(1-31, last or penultimate) of MONTHS (jan,feb,...; all when not given), until a date or\n"
    "for N times (1-1000). The start defaults to the date a new transaction would get; weekly\n"
    "defaults to its weekday, monthly to its day of the month. Switching the recurrence of an\n"
    "existing schedule needs its --every, --on or --day. list shows every scheduled transaction\n"
    "with its recurrence and next date; upcoming the dates after today, by date, at most N\n"
    "(10). JSON as add, plus \"next\" and \"Schedule\": {\"type\", \"every\", \"weekdays\",\n"
    "\"weeks\", \"day\", \"months\", \"start\", \"until\"}; upcoming: {\"occurrences\":\n"
    "[{\"ScheduleID\", \"date\", \"Name\", \"WithdrawAmount\", \"TargetAmount\"}]}.\n";

constexpr const char* kDayNames[] = {"mon", "tue", "wed", "thu", "fri", "sat", "sun"};
constexpr const char* kMonthNames[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                       "jul", "aug", "sep", "oct", "nov", "dec"};
constexpr const char* kDayFull[] = {"monday", "tuesday",  "wednesday", "thursday",
                                    "friday", "saturday", "sunday"};
constexpr const char* kMonthFull[] = {"january",   "february", "march",    "april",
                                      "may",       "june",     "july",     "august",
                                      "september", "october",  "november", "december"};
constexpr const char* kKinds[] = {"--expense", "--income", "--transfer"};
constexpr const char* kRecurrences[] = {"--daily", "--weekly", "--monthly"};
// The amount fields, typed in command-line order.
const std::set<std::string> kAmountOptions = {"--amount", "--to-amount", "--rate", "--quantity",
                                              "--price"};

enum class Mode { Add, Edit, ScheduleAdd, ScheduleEdit };

// A number as the amount fields take it from the command line: -?digits[.digits], below 10^13
// in size.
bool IsAmountText(const std::string& text) {
  size_t i = !text.empty() && text[0] == '-' ? 1 : 0;
  const size_t point = text.find('.', i);
  auto digits = [&](size_t from, size_t to) {
    return to > from && std::all_of(text.begin() + static_cast<std::ptrdiff_t>(from),
                                    text.begin() + static_cast<std::ptrdiff_t>(to),
                                    [](char c) { return c >= '0' && c <= '9'; });
  };
  if (point == std::string::npos ? !digits(i, text.size())
                                 : !digits(i, point) || !digits(point + 1, text.size())) {
    return false;
  }
  return std::fabs(std::strtod(text.c_str(), nullptr)) < TransactionEditModel::kAmountLimit;
}

// HH:MM[:SS] as milliseconds since midnight.
bool ParseTime(const std::string& text, uint32_t& ms) {
  if (text.size() != 5 && text.size() != 8) return false;
  uint64_t h = 0, m = 0, s = 0;
  if (text[2] != ':' || !ParseCount(text.substr(0, 2), h) || !ParseCount(text.substr(3, 2), m)) {
    return false;
  }
  if (text.size() == 8 && (text[5] != ':' || !ParseCount(text.substr(6, 2), s))) return false;
  if (h > 23 || m > 59 || s > 59) return false;
  ms = static_cast<uint32_t>((h * 3600 + m * 60 + s) * 1000);
  return true;
}

// Day or month names, short or full ("mon,Wednesday"), as indexes into `names` (short names;
// `full` the full ones); false for an unknown name.
bool ParseNames(const std::string& text, const char* const* names, const char* const* full,
                size_t count, std::set<int>& out) {
  size_t start = 0;
  while (start <= text.size()) {
    const size_t comma = std::min(text.find(',', start), text.size());
    std::string word = text.substr(start, comma - start);
    std::transform(word.begin(), word.end(), word.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    size_t i = 0;
    while (i < count && word != names[i] && word != full[i]) ++i;
    if (i == count) return false;
    out.insert(static_cast<int>(i));
    start = comma + 1;
  }
  return !out.empty();
}

std::string FormatTime(uint32_t ms) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%02u:%02u:%02u", ms / 3600000 % 24, ms / 60000 % 60,
                ms / 1000 % 60);
  return buffer;
}

// The first date of `s` after today; 0 when none.
ADate NextDate(const TSchedule& s) {
  const std::vector<ADate> next =
      DataBase::ScheduleOccurrences(s, ADate(TodayADate().Val + 1), MakeADate(9999, 11, 31), 1);
  return next.empty() ? ADate(0) : next[0];
}

// The recurrence of `s` in words: "every 3 days", "weekly on mon, thu (odd weeks)",
// "monthly on day 31 of jan, mar", "stopped"; then the start and the finish.
std::string Recurrence(const TSchedule& s) {
  std::string words;
  auto list = [](const auto& flags, const char* const* names) {
    std::string out;
    for (size_t i = 0; i < flags.size(); ++i) {
      if (flags[i]) out += (out.empty() ? "" : ", ") + std::string(names[i]);
    }
    return out;
  };
  switch (s.ScheduleType) {
    case 2:
      words = s.Day <= 1 ? "every day" : "every " + std::to_string(s.Day) + " days";
      break;
    case 3:
      words = "weekly on " + list(s.WeekDays, kDayNames) +
              (s.WeekType == 1   ? " (odd weeks)"
               : s.WeekType == 2 ? " (even weeks)"
                                 : "");
      break;
    case 4: {
      const std::string day = s.Day == 32   ? "the last day"
                              : s.Day == 33 ? "the penultimate day"
                                            : "day " + std::to_string(s.Day);
      const bool all = std::all_of(s.Months.begin(), s.Months.end(), [](uint8_t v) { return v; });
      words = "monthly on " + day + (all ? "" : " of " + list(s.Months, kMonthNames));
      break;
    }
    default:
      return "stopped";
  }
  words += " from " + FormatDate(s.BeginDate);
  if (s.End) words += " until " + FormatDate(s.EndDate);
  return words;
}

Json ScheduleJson(const TSchedule& s) {
  static const char* const kTypes[] = {"stopped", "stopped", "daily", "weekly", "monthly"};
  Json j;
  j["type"] = s.ScheduleType <= 4 ? kTypes[s.ScheduleType] : "stopped";
  j["every"] = s.ScheduleType == 2 ? Json(s.Day) : Json();
  Json weekdays = Json::array(), months = Json::array();
  for (size_t i = 0; i < 7; ++i) {
    if (s.WeekDays[i]) weekdays.push_back(kDayNames[i]);
  }
  for (size_t i = 0; i < 12; ++i) {
    if (s.Months[i]) months.push_back(kMonthNames[i]);
  }
  j["weekdays"] = s.ScheduleType == 3 ? weekdays : Json();
  j["weeks"] = s.ScheduleType == 3 ? Json(s.WeekType == 1   ? "odd"
                                          : s.WeekType == 2 ? "even"
                                                            : "all")
                                   : Json();
  j["day"] = s.ScheduleType != 4 ? Json()
             : s.Day == 32       ? Json("last")
             : s.Day == 33       ? Json("penultimate")
                                 : Json(s.Day);
  j["months"] = s.ScheduleType == 4 ? months : Json();
  j["start"] = FormatDate(s.BeginDate);
  j["until"] = s.End ? Json(FormatDate(s.EndDate)) : Json();
  return j;
}

Json EntryJson(const TTransaction& t, const TSchedule* schedule) {
  Json j;
  j["ID"] = t.Header.ID;
  j["kind"] = KindName(TransactionKind(t));
  j["WithdrawAccountID"] = t.Data.WithdrawAccountID;
  j["TargetAccountID"] = t.Data.TargetAccountID;
  j["WithdrawAmount"] = t.Data.WithdrawAmount;
  j["TargetAmount"] = t.Data.TargetAmount;
  j["Quantity"] = t.Data.Quantity;
  j["Date"] = FormatDate(t.Data.Date);
  j["Time"] = FormatTime(t.Data.Time);
  j["Cleared"] = t.Data.Cleared != 0;
  j["Star"] = t.Data.CustomCheckBox != 0;
  j["CategoryID"] = t.Categories.CategoryID;
  j["PayeeID"] = t.Categories.PayeeID;
  j["Name"] = TextToUtf8(std::wstring(t.Name));
  j["Comment"] = TextToUtf8(std::wstring(t.Comment));
  if (schedule != nullptr) {
    const ADate next = NextDate(*schedule);
    j["next"] = next.Val != 0 ? Json(FormatDate(next)) : Json();
    j["Schedule"] = ScheduleJson(*schedule);
  }
  return j;
}

// The form of the command line, checked before the book is read: returns the problem, empty
// when the words are well formed.
std::string FormProblem(const Parsed& p, Mode mode) {
  const bool adding = mode == Mode::Add || mode == Mode::ScheduleAdd;
  const bool scheduling = mode == Mode::ScheduleAdd || mode == Mode::ScheduleEdit;
  const int kinds = p.Has(kKinds[0]) + p.Has(kKinds[1]) + p.Has(kKinds[2]);
  if (kinds > 1) return "give one of --expense, --income and --transfer";
  if (adding && kinds == 0 && !p.Has("--copy")) {
    return "give one of --expense, --income and --transfer" +
           std::string(mode == Mode::Add ? " (or --copy ID)" : "");
  }
  for (auto [a, b] : {std::pair{"--cleared", "--uncleared"}, std::pair{"--star", "--no-star"},
                      std::pair{"--until", "--times"}, std::pair{"--until", "--no-end"},
                      std::pair{"--times", "--no-end"}}) {
    if (p.Has(a) && p.Has(b)) return std::string(a) + " and " + b + " exclude each other";
  }
  const bool amount = std::any_of(kAmountOptions.begin(), kAmountOptions.end(),
                                  [&](const std::string& o) { return p.Has(o); });
  if (adding && !amount && !p.Has("--copy")) {
    return "give the amount (--amount, or --to-amount, --quantity and --price)";
  }
  if (mode == Mode::Add && p.Has(kKinds[2]) && !p.Has("--to-account") && !p.Has("--copy")) {
    return "a transfer needs --to-account";
  }
  for (const auto& [option, value] : p.sequence) {
    if (kAmountOptions.count(option) != 0 && !IsAmountText(value)) {
      return "bad number '" + value + "' for " + option +
             ": use digits with an optional point and minus, below 10^13 (12.50, -3)";
    }
  }
  for (const char* option : {"--date", "--start", "--until"}) {
    ADate d;
    if (const std::string* v = p.Last(option); v != nullptr && !ParseDate(*v, d)) {
      return "bad date '" + *v + "' for " + option + ": use a real YYYY-MM-DD";
    }
  }
  for (const char* option : {"--name", "--comment", "--category", "--payee"}) {
    std::wstring wide;
    if (const std::string* v = p.Last(option); v != nullptr && !Utf8ToWide(*v, wide)) {
      return std::string(option) + " is not UTF-8 text";
    }
  }
  uint32_t ms = 0;
  if (const std::string* v = p.Last("--time"); v != nullptr && !ParseTime(*v, ms)) {
    return "bad time '" + *v + "': use HH:MM or HH:MM:SS";
  }
  if (!scheduling) return "";
  const int recurrences = p.Has(kRecurrences[0]) + p.Has(kRecurrences[1]) + p.Has(kRecurrences[2]);
  if (recurrences > 1) return "give one of --daily, --weekly and --monthly";
  if (mode == Mode::ScheduleAdd && recurrences == 0) {
    return "give one of --daily, --weekly and --monthly";
  }
  uint64_t n = 0;
  if (const std::string* v = p.Last("--every"); v != nullptr && (!ParseCount(*v, n) || n > 10000)) {
    return "--every takes a number of days from 0 to 10000";
  }
  if (const std::string* v = p.Last("--times");
      v != nullptr && (!ParseCount(*v, n) || n < 1 || n > 1000)) {
    return "--times takes a count from 1 to 1000";
  }
  if (const std::string* v = p.Last("--day")) {
    if (*v != "last" && *v != "penultimate" && (!ParseCount(*v, n) || n < 1 || n > 31)) {
      return "--day takes 1 to 31, last or penultimate";
    }
  }
  std::set<int> names;
  if (const std::string* v = p.Last("--on");
      v != nullptr && !ParseNames(*v, kDayNames, kDayFull, 7, names)) {
    return "unknown day in '" + *v + "': use mon,tue,wed,thu,fri,sat,sun";
  }
  if (const std::string* v = p.Last("--months");
      v != nullptr && !ParseNames(*v, kMonthNames, kMonthFull, 12, names)) {
    return "unknown month in '" + *v + "': use jan,feb,...,dec";
  }
  if (const std::string* v = p.Last("--weeks");
      v != nullptr && *v != "all" && *v != "odd" && *v != "even") {
    return "--weeks takes all, odd or even";
  }
  return "";
}

// The fields of `t` and `schedule` as a reply line.
std::string Reply(Book& db, const TTransaction& t, const TSchedule* schedule) {
  std::string line = Describe(db, t);
  if (schedule != nullptr) {
    line += "; " + Recurrence(*schedule);
    const ADate next = NextDate(*schedule);
    if (next.Val != 0) line += ", next " + FormatDate(next);
  }
  return line;
}

// Runs add, edit, schedule add or schedule edit.
int EnterTransaction(const Args& args, Mode mode, std::ostream& out, std::ostream& err) {
  const bool adding = mode == Mode::Add || mode == Mode::ScheduleAdd;
  const bool scheduling = mode == Mode::ScheduleAdd || mode == Mode::ScheduleEdit;
  const std::string_view usage = scheduling ? kScheduleUsage : adding ? kAddUsage : kEditUsage;
  std::vector<std::string_view> valued = {"--account",
                                          "--to-account",
                                          "--amount",
                                          "--to-amount",
                                          "--rate",
                                          "--quantity",
                                          "--price",
                                          "--time",
                                          "--category",
                                          "--payee",
                                          "--name",
                                          "--comment",
                                          scheduling ? "--start" : "--date"};
  std::vector<std::string_view> flags = {"--expense", "--income",    "--transfer",
                                         "--cleared", "--uncleared", "--star",
                                         "--no-star", "--create",    "--json"};
  if (adding) valued.push_back("--copy");
  if (!adding) flags.push_back("--swap");
  if (scheduling) {
    valued.insert(valued.end(),
                  {"--every", "--on", "--weeks", "--day", "--months", "--until", "--times"});
    flags.insert(flags.end(), {"--daily", "--weekly", "--monthly"});
    if (!adding) flags.push_back("--no-end");
  }
  const size_t words = adding ? 1 : 2;
  const Shape shape{usage,        valued,
                    flags,        words,
                    words,        adding ? "give one FILE" : "give FILE and a transaction ID",
                    AlwaysChanges};
  Parsed p;
  Session session;
  // The form is checked before the book is opened: a wrong command line leaves it alone.
  {
    std::string problem;
    Parsed early;
    std::vector<std::string_view> with_password = valued;
    with_password.push_back("--password");
    if (!WantsHelp(args) && Parse(args, with_password, flags, early, problem) &&
        !(problem = FormProblem(early, mode)).empty()) {
      return Usage(err, usage, problem);
    }
  }
  if (int status = ParseAndOpen(args, shape, p, session, out, err); status != kOpened) {
    return status;
  }
  auto form = [&](const std::string& problem) {
    return session.Finish(Usage(err, usage, problem), err);
  };
  auto refuse = [&](const std::string& problem) {
    return session.Finish(Refuse(err, problem), err);
  };
  Document& d = session.document();
  uint64_t id = 0;
  if (!adding && !ParseCount(p.positional[1], id)) return form(std::string(shape.wrong_count));
  auto find_account = [&](const std::string& key, uint64_t& account) {
    std::string problem;
    d.Sync([&] { account = FindAccount(d.database(), key, problem); });
    if (account == 0) refuse(problem);
    return account != 0;
  };
  // The record named on the command line: visible, and for schedule edit a scheduled one.
  uint64_t source = id;
  if (const std::string* copy = p.Last("--copy")) {
    if (!ParseCount(*copy, source)) return form("--copy takes a transaction ID");
  }
  if (source != 0) {
    bool found = false, scheduled = false;
    d.Sync([&] {
      Book& db = d.database();
      const TBaseEntry* e = db.FindEntry(source, 1);
      if (e == nullptr) e = db.FindEntry(source, 0);
      found = e != nullptr && !db.Transactions().IsHidden(source) &&
              (e->Header.Type == etTransaction || e->Header.Type == etScheduledTransaction);
      scheduled = found && e->Header.Type == etScheduledTransaction;
    });
    if (!found) return refuse("no transaction " + std::to_string(source));
    if (mode == Mode::ScheduleEdit && !scheduled) {
      return refuse("transaction " + std::to_string(source) +
                    " is not scheduled; make a scheduled copy with 'schedule add FILE --copy " +
                    std::to_string(source) + "'");
    }
  }

  // Open, as the editor opens: a new entry takes its account, date and status from the
  // command line.
  const int wanted_kind = p.Has(kKinds[0]) ? 0 : p.Has(kKinds[1]) ? 1 : p.Has(kKinds[2]) ? 2 : -1;
  uint64_t account = 0, to_account = 0;
  if (const std::string* a = p.Last("--account"); a != nullptr && !find_account(*a, account)) {
    return kExitFailed;
  }
  if (const std::string* b = p.Last("--to-account");
      b != nullptr && !find_account(*b, to_account)) {
    return kExitFailed;
  }
  editors::TransactionPresets presets;
  if (adding) {
    if (account != 0 && wanted_kind != 1) presets.accountID = account;
    ADate date;
    if (const std::string* v = p.Last(scheduling ? "--start" : "--date")) {
      ParseDate(*v, date);
      presets.date = date;
    }
    if (p.Has("--cleared")) presets.status = 1;
    if (p.Has("--uncleared")) presets.status = 0;
  }
  TTransaction::ResetEditOrder();
  TransactionEditModel model(d, adding ? source : id, adding && source != 0, presets);
  if (mode == Mode::Edit || mode == Mode::ScheduleEdit) {
    // "changing the kind needs --amount"
    if (wanted_kind >= 0 && wanted_kind != model.transactionType() && !p.Has("--amount")) {
      return form("changing the kind needs --amount");
    }
  }
  const int old_kind = model.transactionType();
  // The account the money was counted in stays when the kind changes without --account.
  const uint64_t counted =
      old_kind == 1 ? model.targetAccount().Header.ID : model.withdrawAccount().Header.ID;
  if (wanted_kind >= 0 && wanted_kind != old_kind) model.setTransactionType(wanted_kind);
  const int kind = model.transactionType();
  if (account == 0 && wanted_kind >= 0 && (wanted_kind == 1) != (old_kind == 1)) account = counted;
  if (kind == 1) {
    if (account != 0 && account != model.targetAccount().Header.ID) {
      model.selectTargetAccount(account);
    }
  } else if (account != 0 && account != model.withdrawAccount().Header.ID) {
    model.selectWithdrawAccount(account);
  }
  if (to_account != 0) {
    if (kind != 2) return refuse("--to-account is for transfers");
    if (to_account != model.targetAccount().Header.ID) model.selectTargetAccount(to_account);
  }
  if (p.Has("--swap")) {
    if (kind != 2) return refuse("--swap is for transfers");
    model.swapAccounts();
  }

  // The amount fields in command-line order, each typed where the editor shows it.
  for (const auto& [option, value] : p.sequence) {
    if (kAmountOptions.count(option) == 0) continue;
    if (option == "--quantity" || option == "--price") model.showAmountDetails(true);
    const std::string field = option == "--amount" ? (kind == 1 ? "targetAmount" : "withdrawAmount")
                              : option == "--to-amount" ? "targetAmount"
                              : option == "--rate"      ? "exRate"
                              : option == "--quantity"  ? "quantity"
                                                        : "price";
    if (!model.isShown(field)) {
      return refuse(option == "--to-amount" || option == "--rate"
                        ? option + " is for a transfer between accounts of different currencies"
                        : option + " is not for transfers");
    }
    if (field == "withdrawAmount") model.withdrawAmountTyped(value, ".");
    if (field == "targetAmount") model.targetAmountTyped(value, ".");
    if (field == "exRate") model.exRateTyped(value, ".");
    if (field == "quantity") model.quantityTyped(value, ".");
    if (field == "price") model.priceTyped(value, ".");
  }

  // The other fields.
  if (const std::string* v = p.Last(scheduling ? "--start" : "--date"); v != nullptr && !adding) {
    ADate date;
    ParseDate(*v, date);
    model.setDate(date);
  }
  if (const std::string* v = p.Last("--time")) {
    uint32_t ms = 0;
    ParseTime(*v, ms);
    model.setTime(ms);
  }
  std::string created_payee;
  for (const bool payee : {false, true}) {
    const std::string* path = p.Last(payee ? "--payee" : "--category");
    if (path == nullptr) continue;
    const uint64_t root = payee ? kPayeeRoot : kCategoryRoot;
    const TransactionEditModel::Choice& now = payee ? model.payee() : model.category();
    const std::wstring wide = Utf8ToWide(*path);
    uint64_t found = 0;
    std::string problem;
    std::vector<std::string> closest;
    bool ok = true;
    d.Sync([&] {
      ok = ResolveCategoryPath(d.database(), root, wide, false, found, problem);
      if (ok && found == 0 && !wide.empty()) {
        closest = ClosestCategoryPaths(d.database(), root, wide, 3);
      }
    });
    if (!ok) return refuse(problem);
    if (wide.empty() || found != 0) {
      if (found != now.ID || (found == 0 && !now.Name.empty())) {
        payee ? model.selectPayee(found) : model.selectCategory(found);
      }
    } else if (payee) {
      model.setPayeeText(wide);
      created_payee = *path;
    } else if (p.Has("--create")) {
      model.setCategoryText(wide);
    } else {
      std::string names;
      for (const std::string& c : closest) names += (names.empty() ? "" : ", ") + c;
      return refuse("no category '" + *path + "'" +
                    (names.empty() ? "" : "; the closest are: " + names) +
                    " (give --create to make it)");
    }
  }
  if (const std::string* v = p.Last("--name")) model.setName(Utf8ToWide(*v));
  if (const std::string* v = p.Last("--comment")) model.setComment(Utf8ToWide(*v));
  if (!adding && p.Has("--cleared")) model.setCleared(true);
  if (!adding && p.Has("--uncleared")) model.setCleared(false);
  if (p.Has("--star")) model.setStar(true);
  if (p.Has("--no-star")) model.setStar(false);

  // The schedule: the menu item (a new one pre-filled from the date), then each control of
  // the schedule editor, --times last.
  if (scheduling) {
    const int item = p.Has("--daily") ? 1 : p.Has("--weekly") ? 2 : p.Has("--monthly") ? 3 : 0;
    const bool switching = item != 0 && item != model.scheduleItem();
    if (!adding && switching) {
      static const char* const kNeeds[] = {"", "--every", "--on", "--day"};
      if (!p.Has(kNeeds[item])) {
        return form(std::string("switching to ") + (kRecurrences[item - 1] + 2) + " needs " +
                    kNeeds[item]);
      }
    }
    const int type = item != 0 ? item : model.scheduleItem();
    for (auto [option, needs] :
         {std::pair{"--every", 1}, std::pair{"--on", 2}, std::pair{"--weeks", 2},
          std::pair{"--day", 3}, std::pair{"--months", 3}}) {
      if (p.Has(option) && type != needs) {
        return form(std::string(option) + " is for " + (kRecurrences[needs - 1] + 2) +
                    " schedules");
      }
    }
    if (switching) model.setScheduleItem(item);
    // The dialog's controls, its final value handed over once (a value equal to the stored
    // one is no change).
    ScheduleEditModel schedule(model.schedule());
    if (!adding && switching) {
      schedule.selectTab(static_cast<ScheduleEditModel::Tab>(item - 1));
    }
    if (const std::string* v = p.Last("--every")) schedule.setInterval(*v);
    std::set<int> ticked;
    if (const std::string* v = p.Last("--on");
        v != nullptr && ParseNames(*v, kDayNames, kDayFull, 7, ticked)) {
      for (int i = 0; i < 7; ++i) schedule.setWeekday(i, ticked.count(i) != 0);
    }
    if (const std::string* v = p.Last("--weeks")) {
      schedule.setWeekType(*v == "odd" ? 1 : *v == "even" ? 2 : 0);
    }
    if (const std::string* v = p.Last("--day")) {
      uint64_t day = 0;
      schedule.setDayItem(*v == "last"          ? 31
                          : *v == "penultimate" ? 32
                          : ParseCount(*v, day) ? static_cast<int>(day) - 1
                                                : 0);
    }
    ticked.clear();
    if (const std::string* v = p.Last("--months");
        v != nullptr && ParseNames(*v, kMonthNames, kMonthFull, 12, ticked)) {
      for (int i = 0; i < 12; ++i) schedule.setMonth(i, ticked.count(i) != 0);
    }
    if (const std::string* v = p.Last("--until")) {
      ADate until;
      ParseDate(*v, until);
      schedule.setFinishDate(until);
      schedule.setFinish(true);
    }
    if (p.Has("--no-end")) schedule.setFinish(false);
    if (const std::string* v = p.Last("--times")) {
      uint64_t times = 0;
      ParseCount(*v, times);
      if (!schedule.finishAfter(static_cast<int>(times))) {
        return refuse("the schedule has fewer than " + *v + " dates");
      }
    }
    if (schedule.schedule() != model.schedule()) model.scheduleUpdated(schedule.schedule());
  }

  uint64_t saved = 0;
  if (int status = SaveEntry(session, !adding, model, saved, out, err); status != kOpened) {
    return status;
  }
  const TTransaction& t = model.transaction();
  const TSchedule* schedule = scheduling || model.isTemplate() ? &model.schedule() : nullptr;
  if (p.Has("--json")) {
    Json j = EntryJson(t, schedule);
    j["ID"] = saved;
    WriteJsonLine(out, j);
  } else {
    std::string line;
    d.Sync([&] { line = Reply(d.database(), t, schedule); });
    out << (adding ? "added " : "changed ") << line << "\n";
    if (!created_payee.empty()) out << "created payee " << created_payee << "\n";
  }
  return session.Finish(kExitOK, err);
}

// The scheduled transactions of `db` the user sees, in ID order, with their schedules.
std::vector<std::pair<TTransaction, TSchedule>> Scheduled(Book& db) {
  std::vector<std::pair<TTransaction, TSchedule>> out;
  for (const auto& [id, e] : db.GetTable(0)) {
    if (e->Header.Type != etScheduledTransaction || db.Transactions().IsHidden(id)) continue;
    out.emplace_back(db.Transactions().GetTransaction(id), db.Transactions().GetSchedule(id));
  }
  return out;
}

int ScheduleList(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kScheduleUsage, {}, {"--json"}, 1, 1, "schedule list takes one FILE"};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session&) -> int {
    const auto all = Scheduled(db);
    if (p.Has("--json")) {
      Json list = Json::array();
      for (const auto& [t, s] : all) list.push_back(EntryJson(t, &s));
      WriteJsonLine(out, list);
      return kExitOK;
    }
    if (all.empty()) out << "no scheduled transactions\n";
    for (const auto& [t, s] : all) out << Reply(db, t, &s) << "\n";
    return kExitOK;
  });
}

int ScheduleUpcoming(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kScheduleUsage,
                    {"--count", "--until"},
                    {"--json"},
                    1,
                    2,
                    "schedule upcoming takes FILE and perhaps a schedule ID"};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session&) -> int {
    uint64_t count = 10, only = 0;
    if (const std::string* v = p.Last("--count");
        v != nullptr && (!ParseCount(*v, count) || count < 1 || count > 1000)) {
      return Usage(err, kScheduleUsage, "--count takes a count from 1 to 1000");
    }
    ADate until = MakeADate(9999, 11, 31);
    if (const std::string* v = p.Last("--until"); v != nullptr && !ParseDate(*v, until)) {
      return Usage(err, kScheduleUsage, "bad date '" + *v + "' for --until: use YYYY-MM-DD");
    }
    if (p.positional.size() == 2 && !ParseCount(p.positional[1], only)) {
      return Usage(err, kScheduleUsage, "the schedule ID is a number");
    }
    struct Occurrence {
      ADate date;
      const TTransaction* t;
    };
    const auto all = Scheduled(db);
    if (only != 0 && std::none_of(all.begin(), all.end(),
                                  [&](const auto& e) { return e.first.Header.ID == only; })) {
      return Refuse(err, "no scheduled transaction " + std::to_string(only));
    }
    std::vector<Occurrence> found;
    const ADate tomorrow(TodayADate().Val + 1);
    for (const auto& [t, s] : all) {
      if (only != 0 && t.Header.ID != only) continue;
      for (ADate date : DataBase::ScheduleOccurrences(s, tomorrow, until, count)) {
        found.push_back({date, &t});
      }
    }
    std::sort(found.begin(), found.end(), [](const Occurrence& a, const Occurrence& b) {
      return a.date != b.date ? a.date < b.date : a.t->Header.ID < b.t->Header.ID;
    });
    if (found.size() > count) found.resize(count);
    if (p.Has("--json")) {
      Json list = Json::array();
      for (const Occurrence& o : found) {
        list.push_back({{"ScheduleID", o.t->Header.ID},
                        {"date", FormatDate(o.date)},
                        {"Name", TextToUtf8(std::wstring(o.t->Name))},
                        {"WithdrawAmount", o.t->Data.WithdrawAmount},
                        {"TargetAmount", o.t->Data.TargetAmount}});
      }
      WriteJsonLine(out, Json{{"occurrences", list}});
      return kExitOK;
    }
    if (found.empty()) out << "nothing scheduled\n";
    for (const Occurrence& o : found) {
      TTransaction shown = *o.t;
      shown.Data.Date = o.date;
      out << Describe(db, shown) << "\n";
    }
    return kExitOK;
  });
}

int ScheduleDelete(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kScheduleUsage, {}, {}, 2, 2, "schedule delete takes FILE and a schedule ID",
                    AlwaysChanges};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session& session) -> int {
    uint64_t id = 0;
    if (!ParseCount(p.positional[1], id)) return Usage(err, kScheduleUsage, shape.wrong_count);
    const TBaseEntry* e = db.FindEntry(id, 0);
    if (e == nullptr || e->Header.Type != etScheduledTransaction ||
        db.Transactions().IsHidden(id)) {
      return Refuse(err, "no scheduled transaction " + p.positional[1]);
    }
    const std::string line = Describe(db, db.Transactions().GetTransaction(id));
    db.BeginUndoStep(4);
    if (!db.Transactions().DeleteTransaction(id)) {
      return Refuse(err, "scheduled transaction " + p.positional[1] + " is read-only");
    }
    if (int status = session.Save(err); status != kExitOK) return status;
    out << "deleted " << line << "\n";
    return kExitOK;
  });
}

}  // namespace

int AddCommand(const Args& args, std::ostream& out, std::ostream& err) {
  return EnterTransaction(args, Mode::Add, out, err);
}

int EditCommand(const Args& args, std::ostream& out, std::ostream& err) {
  return EnterTransaction(args, Mode::Edit, out, err);
}

int ScheduleCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (args.empty() || IsHelp(args[0])) {
    return args.empty() ? Usage(err, kScheduleUsage, "") : Help(out, kScheduleUsage);
  }
  const Args rest(args.begin() + 1, args.end());
  if (args[0] == "add") return EnterTransaction(rest, Mode::ScheduleAdd, out, err);
  if (args[0] == "edit") return EnterTransaction(rest, Mode::ScheduleEdit, out, err);
  if (args[0] == "delete") return ScheduleDelete(rest, out, err);
  if (args[0] == "list") return ScheduleList(rest, out, err);
  if (args[0] == "upcoming") return ScheduleUpcoming(rest, out, err);
  return Usage(err, kScheduleUsage, "schedule takes add, edit, delete, list or upcoming");
}

}  // namespace vemra::cli
