// Making a new book, and the summary of one.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>

#include "cli/book_session.h"
#include "core/records/account.h"
#include "core/records/currency.h"
#include "core/records/scheduled_transaction.h"
#include "core/records/transaction.h"
#include "platform/localization.h"
#include "platform/unicode.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kNewUsage =
    "usage: kestrum-cli new FILE [--lang en|ru]\n"
    "\n"
    "Makes a new database FILE from the built-in template of the language: the world's main\n"
    "currencies, an account, a category tree and a few payees, the current month as period.\n"
    "The language defaults to the user's (LANGUAGE, LC_ALL, LC_MESSAGES, LANG: Russian and\n"
    "Ukrainian take the Russian template, anything else the English one). FILE must not exist\n"
    "yet.\n";

constexpr std::string_view kSummaryUsage =
    "usage: kestrum-cli summary FILE\n"
    "\n"
    "Prints the accounts of the database FILE, closed ones too, with their balances up to\n"
    "today as the account list counts them, and the count of transactions by kind with the\n"
    "dates they span.\n";

}  // namespace

int NewCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kNewUsage);
  Parsed p;
  std::string problem;
  if (!Parse(args, {"--lang"}, {}, p, problem)) return Usage(err, kNewUsage, problem);
  if (p.positional.size() != 1) return Usage(err, kNewUsage, "new takes one FILE");
  // Without --lang, the language a new document takes: the user's preferred one.
  const std::string lang =
      p.Has("--lang") ? *p.Last("--lang")
                      : std::string(platform::TableLanguage(platform::PreferredLanguage()));
  if (lang != "en" && lang != "ru") return Usage(err, kNewUsage, "--lang is en or ru");
  const std::string& file = p.positional[0];
  std::error_code ec;
  if (std::filesystem::exists(file, ec) || ec) {
    return Refuse(err, file + ": already exists; a new database needs a new file name");
  }
  Document d;
  d.New(lang);
  if (SaveResult r = d.saveToFile(file); !r.ok()) return Refuse(err, r.message);
  d.Sync([&] {
    Book& db = d.database();
    out << file << ": new database, default currency "
        << MoneyOf(db, db.Currencies().GetDefaultCurrencyID()).code << ", account "
        << AccountName(db, db.UserSettings.DefaultAccountID) << "\n";
  });
  return kExitOK;
}

int SummaryCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kSummaryUsage, {}, {}, 1, 1, "summary takes one FILE"};
  return RunBook(args, shape, out, err, [&](Parsed&, Book& db, Session&) -> int {
    ADate today = TodayADate();
    std::map<uint64_t, double> balance;
    size_t expenses = 0, incomes = 0, transfers = 0, in_splits = 0, uncleared = 0, future = 0;
    ADate first(INT32_MAX), last(INT32_MIN);
    for (const auto& [id, e] : db.GetTable(1)) {
      const auto* t = dynamic_cast<const TTransaction*>(e.get());
      if (t == nullptr) continue;
      const TTransaction::TData& d = t->Data;
      first = std::min(first, d.Date);
      last = std::max(last, d.Date);
      if (d.WithdrawAccountID != 0 && d.TargetAccountID != 0) {
        ++transfers;
      } else if (d.TargetAccountID != 0) {
        ++incomes;
      } else {
        ++expenses;
      }
      if (d.SplitID != 0) ++in_splits;
      if (d.Cleared == 0) ++uncleared;
      if (d.Date > today) ++future;
    }
    // The balance every list shows: the opening balance and the transactions that count for
    // it up to today (the account list's rule).
    for (const auto& [id, e] : db.GetTable(0)) {
      if (e->Header.Type == etAccount) balance[id] = 0;
    }
    db.AddBalanceSums(balance, ADate(today.Val + 1));

    out << "accounts (balance up to " << FormatDate(today) << "):\n";
    for (const auto& [id, e] : db.GetTable(0)) {
      const auto* a = dynamic_cast<const TAccount*>(e.get());
      if (a == nullptr) continue;
      std::wstring name;
      db.GetString(a->Data.NameID, name);
      std::string code = "?";
      int decimals = 2;
      if (const auto* c = dynamic_cast<const TCurrency*>(db.FindEntry(a->Data.CurrencyID, 0))) {
        code = c->GetCode();
        decimals = std::min<int>(c->Data.Decimals, 9);
      }
      char line[192];
      std::snprintf(line, sizeof line, "  %-28s %-3s %16s%s\n", TextToUtf8(name).c_str(),
                    code.c_str(),
                    FormatAmount(a->Data.InitialBalance + balance[id], decimals).c_str(),
                    a->Data.Visible ? "" : "  (closed)");
      out << line;
    }
    size_t total = expenses + incomes + transfers;
    out << "transactions: " << total;
    if (total > 0) out << " from " << FormatDate(first) << " to " << FormatDate(last);
    out << "\n  expenses " << expenses << ", incomes " << incomes << ", transfers " << transfers
        << ", in splits " << in_splits << ", uncleared " << uncleared << ", after today " << future
        << "\n";
    size_t scheduled = 0;
    for (const auto& [id, e] : db.GetTable(0))
      scheduled += e->Header.Type == etScheduledTransaction;
    out << "scheduled transactions: " << scheduled << "\n";
    out << "deletion markers: " << db.DeletedHeaders().size() << "\n";
    return kExitOK;
  });
}
}  // namespace vemra::cli
