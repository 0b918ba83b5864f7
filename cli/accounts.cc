// The account list, the currencies and exchange rates.
#include <cstdio>

#include "cli/book_session.h"
#include "lists/account_list.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kAccountsUsage =
    "usage: kestrum-cli accounts FILE [--show-hidden | --hide-hidden] [--json]\n"
    "\n"
    "Shows the account list: the overall balance in the default currency, the accounts without\n"
    "group, then each group with its balance in the group's currency and its accounts. A\n"
    "balance counts the opening balance and the cleared transactions up to today. Closed\n"
    "accounts show when the book's view option says so; --show-hidden and --hide-hidden\n"
    "override it for this listing.\n";

constexpr std::string_view kCurrenciesUsage =
    "usage: kestrum-cli currencies FILE [--json]\n"
    "\n"
    "Lists the currencies, enabled ones first, with code, symbol, decimals, name and the rate\n"
    "into the default currency (marked '*'): the pair's own rate, else the rate across the\n"
    "default currency, else 'no rate' (null in JSON), never a silent 1.\n";

constexpr std::string_view kRateUsage =
    "usage: kestrum-cli rate FILE FROM TO [RATE] [--json]\n"
    "\n"
    "Shows the exchange rate between the currencies with the codes FROM and TO (the price of\n"
    "one FROM in TO), or sets it to RATE, dated today.\n";

}  // namespace

int AccountsCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{
      kAccountsUsage,           {}, {"--json", "--show-hidden", "--hide-hidden"}, 1, 1,
      "accounts takes one FILE"};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session&) -> int {
    if (p.Has("--show-hidden") && p.Has("--hide-hidden")) {
      return Usage(err, kAccountsUsage, "--show-hidden and --hide-hidden exclude each other");
    }
    // For this listing only; `view` stores the choice.
    if (p.Has("--show-hidden")) db.Header.Reserved2 = 1;
    if (p.Has("--hide-hidden")) db.Header.Reserved2 = 0;
    const lists::Rows rows = lists::AccountList::BuildRows(db);
    const lists::Node& overall = *rows.front();
    const Money home_money = MoneyOf(db, overall.CurrencyID);
    auto row_json = [&](const lists::Node& row) {
      Money m = MoneyOf(db, row.CurrencyID);
      Json j;
      j["id"] = row.ID;
      j["name"] = TextToUtf8(row.Name);
      j["currency"] = m.code;
      j["balance"] = m.Round(row.Balance);
      if (row.Type == NodeType::Account) {
        j["closed"] = row.Account->Data.Visible == 0;
        double rate = 0;
        j["rate"] =
            db.FindExRate(row.CurrencyID, overall.CurrencyID, rate) ? Json(rate) : Json(nullptr);
      }
      return j;
    };
    Json ungrouped = Json::array(), groups = Json::array();
    std::string text;
    for (size_t i = 1; i < rows.size(); ++i) {
      const lists::Node& row = *rows[i];
      const std::string balance =
          PadLeft(MoneyOf(db, row.CurrencyID).Format(row.Balance), 18) + (row.NoRate ? "?" : "");
      const std::string closed =
          row.Type == NodeType::Account && row.Account->Data.Visible == 0 ? "  (closed)" : "";
      if (row.Type == NodeType::Group) {
        Json j = row_json(row);
        j["accounts"] = Json::array();
        groups.push_back(std::move(j));
        text += Pad(TextToUtf8(row.Name), 34) + " " + balance + "\n";
      } else if (row.Parent != nullptr) {
        groups.back()["accounts"].push_back(row_json(row));
        text += "    " + Pad(TextToUtf8(row.Name), 30) + " " + balance + closed + "\n";
      } else {
        ungrouped.push_back(row_json(row));
        text += "  " + Pad(TextToUtf8(row.Name), 32) + " " + balance + closed + "\n";
      }
    }
    if (p.Has("--json")) {
      Json j;
      j["currency"] = home_money.code;
      j["balance"] = home_money.Round(overall.Balance);
      j["accounts"] = std::move(ungrouped);
      j["groups"] = std::move(groups);
      WriteJsonLine(out, j);
      return kExitOK;
    }
    out << Pad("Balance (" + home_money.code + ")", 34) << " "
        << PadLeft(home_money.Format(overall.Balance), 18) << (overall.NoRate ? "?" : "") << "\n"
        << text;
    if (overall.NoRate) {
      out << "? a balance in a currency without any exchange rate is counted unconverted; set\n"
             "  one with 'kestrum-cli rate FILE FROM TO RATE'\n";
    }
    return kExitOK;
  });
}

int CurrenciesCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kCurrenciesUsage, {}, {"--json"}, 1, 1, "currencies takes one FILE"};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session&) -> int {
    ICurrencies& currencies = db.Currencies();
    const uint64_t home = currencies.GetDefaultCurrencyID();
    Json list = Json::array();
    std::string text;
    for (const TCurrency& c : currencies.GetAllCurrencies()) {
      double rate = 0;
      const bool known = db.FindExRate(c.Header.ID, home, rate);
      Json j;
      j["id"] = c.Header.ID;
      j["code"] = c.GetCode();
      j["symbol"] = TextToUtf8(c.Symbol);
      j["name"] = TextToUtf8(c.Name);
      j["decimals"] = c.Data.Decimals;
      j["enabled"] = c.Data.Enabled != 0;
      j["default"] = c.Header.ID == home;
      j["rate"] = known ? Json(rate) : Json(nullptr);
      list.push_back(std::move(j));
      char buf[32] = "no rate";
      if (known) std::snprintf(buf, sizeof buf, "%.6g", rate);
      text += std::string(c.Header.ID == home ? "* " : "  ") + Pad(c.GetCode(), 4) +
              Pad(TextToUtf8(c.Symbol), 5) + std::to_string(c.Data.Decimals) + "  " +
              Pad(TextToUtf8(c.Name), 28) + PadLeft(buf, 12) +
              (c.Data.Enabled != 0 ? "" : "  (disabled)") + "\n";
    }
    if (p.Has("--json")) {
      WriteJsonLine(out, list);
      return kExitOK;
    }
    out << text;
    return kExitOK;
  });
}

int RateCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kRateUsage,
                    {},
                    {"--json"},
                    3,
                    4,
                    "rate takes FILE, FROM, TO and an optional RATE",
                    [](const Parsed& given) { return given.positional.size() == 4; }};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session& session) -> int {
    double rate = 0;
    if (p.positional.size() == 4 && (!ParseNumber(p.positional[3], rate) || !(rate > 0))) {
      return Usage(err, kRateUsage, "bad rate '" + p.positional[3] + "': give a number above 0");
    }
    uint64_t from = CurrencyByCode(db, p.positional[1]);
    uint64_t to = CurrencyByCode(db, p.positional[2]);
    for (size_t i : {1, 2}) {
      if ((i == 1 ? from : to) == 0) {
        return Refuse(err, "no currency with the code '" + p.positional[i] + "'");
      }
    }
    if (p.positional.size() == 4) {
      if (from == to) return Refuse(err, "a currency has no rate to itself");
      if (!db.Currencies().SetExchangeRate(from, to, rate)) {
        return Refuse(err, "the database is read-only");
      }
      if (int status = session.Save(err); status != kExitOK) return status;
    }
    const bool known = db.FindExRate(from, to, rate);
    std::string a = MoneyOf(db, from).code, b = MoneyOf(db, to).code;
    if (p.Has("--json")) {
      Json j;
      j["from"] = a;
      j["to"] = b;
      j["rate"] = known ? Json(rate) : Json(nullptr);
      WriteJsonLine(out, j);
      return kExitOK;
    }
    if (!known) {
      out << a << " -> " << b << ": no rate (neither of its own nor across the default currency)\n";
      return kExitOK;
    }
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.10g", rate);
    out << "1 " << a << " = " << buf << " " << b << "\n";
    return kExitOK;
  });
}

}  // namespace vemra::cli
