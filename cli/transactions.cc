// The transactions of a period, and adding, editing and deleting transactions.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <map>
#include <set>

#include "cli/book_session.h"
#include "core/records/scheduled_transaction.h"
#include "document/period_text.h"
#include "lists/account_list.h"
#include "lists/period_selection.h"
#include "lists/transaction_list.h"
#include "platform/localization.h"
#include "platform/unicode.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kTransactionsUsage =
    "usage: kestrum-cli transactions FILE [--from DATE --to DATE | --period PERIOD]\n"
    "           [--at DATE] [--move N] [--group-by date|kind|category|payee|split]\n"
    "           [--account NAME_OR_ID]... [--group GROUP] [--currency CODE]\n"
    "           [--search TEXT] [--sort KEY[,KEY...]] [--json]\n"
    "\n"
    "Shows the transactions of a period as the transaction list does: under a header per day\n"
    "(date; the default is the app's last grouping, else date) or per kind (kind), optionally\n"
    "grouped below the kind by category or payee, or below the day by split. Each transaction\n"
    "shows its running balance; each group its total, leaving out uncleared transactions\n"
    "(marked '!'), whose sum it gives apart.\n"
    "PERIOD is day, week (from the book's first day of the week), month, quarter, year or all\n"
    "(the first transaction to the later of today and the last one), each the one containing\n"
    "today (or --at DATE); without --period or --from, the period the book was last shown in.\n"
    "--move N steps the period forward, or back when negative, as the period control does.\n"
    "DATE is YYYY-MM-DD. --account (repeatable) restricts the list to those accounts, --group\n"
    "to the accounts of an account group; amounts are in CODE, else in the currency of the one\n"
    "account (or group) chosen, else in the default currency. --search keeps the transactions\n"
    "whose description holds TEXT (any letter case); --sort orders the rows under each header\n"
    "by KEY[,KEY...] (date, name, comment, category, payee, amount, balance, quantity, price;\n"
    "'-' before a key for descending).\n"
    "JSON: {\"period\": {\"begin\", \"end\", \"text\"}, \"currency\", \"groupBy\", \"search\",\n"
    "\"rows\": [{\"type\", \"ID\", \"title\" or \"name\", \"date\", \"time\", \"amount\", "
    "\"balance\",\n"
    "\"quantity\", \"price\", \"cleared\", \"ghost\", \"category\", \"payee\", \"children\"}]}.\n";

constexpr std::string_view kDeleteUsage =
    "usage: kestrum-cli delete FILE ID...\n"
    "\n"
    "Deletes transactions (or scheduled transactions), splits and categories by ID, as the\n"
    "transaction list's Delete does: a split with all its parts, a category with its children\n"
    "moved up to its parent. One undo step, no question asked.\n";

constexpr std::string_view kMakeGroupUsage =
    "usage: kestrum-cli make-group FILE ID ID...\n"
    "\n"
    "Makes a split named \"Split\" of two transactions or more (none of them scheduled), from\n"
    "the first one's account, date and time, as the transaction list's Make group does.\n";

// ---- transactions ----

// The period of `--period`, `--from/--to` or this month. Returns false with `problem` set.
bool ChoosePeriod(Book& db, const Parsed& p, TimeInterval& period, std::string& problem) {
  const std::string* from = p.Last("--from");
  const std::string* to = p.Last("--to");
  const std::string* kind = p.Last("--period");
  if ((from != nullptr) != (to != nullptr)) {
    problem = "--from and --to go together";
    return false;
  }
  if (from != nullptr) {
    if (kind != nullptr) {
      problem = "give either --from/--to or --period";
      return false;
    }
    ADate a, b;
    if (!ParseDate(*from, a) || !ParseDate(*to, b)) {
      problem = "bad date '" + (ParseDate(*from, a) ? *to : *from) + "': use YYYY-MM-DD";
      return false;
    }
    period = TimeInterval(a, b);
    return true;
  }
  ADate today = TodayADate();
  if (const std::string* at = p.Last("--at"); at != nullptr && !ParseDate(*at, today)) {
    problem = "bad date '" + *at + "': use YYYY-MM-DD";
    return false;
  }
  if (kind == nullptr) {
    // The period the book was last shown in, as the main window opens it.
    period = db.Period;
    if (period.BeginDate.Val == 0 && period.EndDate.Val == 0) {
      period = lists::PeriodOf(lists::PeriodKind::Month, today, 0, today, today);
    }
  } else {
    const std::optional<lists::PeriodKind> k = lists::PeriodKindNamed(*kind);
    if (!k || *k == lists::PeriodKind::Custom) {
      problem = "unknown period '" + *kind + "': use day, week, month, quarter, year or all";
      return false;
    }
    ADate first = today, last = today;
    if (*k == lists::PeriodKind::All) lists::TransactionSpan(db, today, first, last);
    period = lists::PeriodOf(*k, today, lists::FirstWeekday(db.Header.Option0), first, last);
  }
  if (const std::string* move = p.Last("--move")) {
    int64_t steps = 0;
    const char* end = move->data() + move->size();
    auto [at, ec] = std::from_chars(move->data(), end, steps);
    if (ec != std::errc() || at != end || std::abs(steps) > 100000) {
      problem = "--move takes a whole number";
      return false;
    }
    period = lists::MovePeriod(period, steps);
  }
  return true;
}

// Writes the rows of the transaction list, text or JSON.
class RowPrinter {
 public:
  RowPrinter(Book& db, const Money& money, uint64_t currency, bool by_days, int group_by)
      : db_(db), money_(money), currency_(currency), by_days_(by_days), group_by_(group_by) {}

  // Whether a row shown so far had no exchange rate into the list currency (its amount then
  // stands unconverted, marked '?').
  bool MissingRate() const { return missing_rate_; }

  // Whether the currencies of the transaction's accounts convert into the list currency.
  bool HasRate(const TTransaction& t) {
    bool has = true;
    for (uint64_t account : {t.Data.WithdrawAccountID, t.Data.TargetAccountID}) {
      double rate = 0;
      if (account != 0 && !db_.FindExRate(db_.Accounts().GetCurrencyID(account), currency_, rate)) {
        has = false;
      }
    }
    missing_rate_ = missing_rate_ || !has;
    return has;
  }

  // The total of the cleared (or, with `uncleared`, the uncleared) transactions under `row`,
  // each rounded to the currency's minor unit first, so that a total is the sum of the rows
  // shown, to the cent. `count` (when given) is increased by the transactions summed.
  double Total(const lists::Node& row, bool uncleared = false, size_t* count = nullptr) const {
    double sum = 0;
    if (row.Type == NodeType::Transaction && row.Cleared != uncleared) {
      sum += money_.Round(row.Amount);
      if (count != nullptr) ++*count;
    }
    for (const auto& child : row.FilteredNodes) sum += Total(*child, uncleared, count);
    return money_.Round(sum);
  }

  // "  (+$3,200.00 uncleared)" for a group holding uncleared transactions, else empty.
  std::string UnclearedNote(const lists::Node& row) const {
    size_t count = 0;
    const double sum = Total(row, true, &count);
    if (count == 0 || sum == 0) return "";  // nothing left out (transfers may net to 0)
    const std::string shown = money_.Format(sum);
    return "  (" + std::string(shown[0] == '-' ? "" : "+") + shown + " uncleared)";
  }

  void Write(const std::vector<std::shared_ptr<lists::Node>>& rows, int depth, std::string& out) {
    for (const auto& n : rows) {
      // Every line puts its amount in the same column, however deep it stands.
      std::string line(2 * depth, ' ');
      size_t left = (by_days_ ? kLeftColumns : kLeftColumns + 11) - line.size();
      if (n->Type == NodeType::Transaction) {
        line += Row(*n, left);
      } else {
        line += Fit(Label(*n), std::max<size_t>(left, 12) - 1) + " " +
                PadLeft(money_.Format(Total(*n)), 14) + UnclearedNote(*n);
      }
      out += line + "\n";
      Write(n->FilteredNodes, depth + 1, out);
    }
  }

  Json ToJson(const std::vector<std::shared_ptr<lists::Node>>& rows) {
    Json list = Json::array();
    for (const auto& n : rows) {
      Json j;
      j["type"] = TypeName(n->Type);
      j["ID"] = n->ID;
      if (n->Type == NodeType::Transaction) {
        const TTransaction& t = *n->Transaction;
        if (t.IsGhost) j["schedule"] = t.ScheduleID;
        j["name"] = TextToUtf8(n->Name);
        j["date"] = FormatDate(n->Date);
        j["time"] = TimeText(n->Time);
        j["kind"] = KindName(TransactionKind(t));
        j["account"] = AccountName(
            db_, t.Data.WithdrawAccountID != 0 ? t.Data.WithdrawAccountID : t.Data.TargetAccountID);
        if (t.IsTransfer()) j["to_account"] = AccountName(db_, t.Data.TargetAccountID);
        j["category"] = CategoryPath(db_, n->CategoryID);
        j["payee"] = CategoryPath(db_, n->PayeeID);
        j["amount"] = money_.Round(n->Amount);
        j["balance"] = money_.Round(n->Balance);
        j["quantity"] = n->Quantity;
        j["price"] = n->Price;
        j["cleared"] = n->Cleared;
        j["ghost"] = t.IsGhost;
        if (!HasRate(t)) j["rate"] = nullptr;
      } else {
        if (n->Type == NodeType::DateHeader) j["date"] = FormatDate(n->Date);
        if (n->Type == NodeType::Split || n->Type == NodeType::Category) {
          j["name"] = TextToUtf8(n->Name);
        } else {
          j["title"] = Label(*n);
        }
        j["amount"] = Total(*n);
        size_t uncleared = 0;
        const double pending = Total(*n, true, &uncleared);
        if (uncleared != 0) j["uncleared"] = pending;
        if (n->Type == NodeType::Split) j["balance"] = money_.Round(n->Balance);
        j["children"] = ToJson(n->FilteredNodes);
      }
      list.push_back(std::move(j));
    }
    return list;
  }

 private:
  static const char* TypeName(int32_t type) {
    switch (type) {
      case NodeType::DateHeader:
        return "date";
      case NodeType::ExpenseHeader:
        return "expense";
      case NodeType::IncomeHeader:
        return "income";
      case NodeType::TransferHeader:
        return "transfer";
      case NodeType::Split:
        return "split";
      case NodeType::Transaction:
        return "transaction";
      default:
        return "category";
    }
  }

  // "HH:MM"; empty for the numbers the tree gives untimed transactions.
  static std::string TimeText(uint32_t time) {
    if (time < 1000) return "";
    char buf[16];
    std::snprintf(buf, sizeof buf, "%02u:%02u", time / 3600000 % 24, time / 60000 % 60);
    return buf;
  }

  std::string Label(const lists::Node& n) {
    switch (n.Type) {
      case NodeType::DateHeader:
        return FormatDate(n.Date);
      case NodeType::ExpenseHeader:
        return "Expenses";
      case NodeType::IncomeHeader:
        return "Income";
      case NodeType::TransferHeader:
        return "Transfers";
      case NodeType::Split:
        return "Split \"" + TextToUtf8(n.Name) + "\"";
      default:
        return TextToUtf8(n.Name);
    }
  }

  // Characters before the amount column when the rows carry no date.
  static constexpr size_t kLeftColumns = 72;

  // One transaction; its columns before the amount take `left` characters.
  std::string Row(const lists::Node& n, size_t left) {
    const TTransaction& t = *n.Transaction;
    std::string accounts = AccountName(db_, t.Data.WithdrawAccountID);
    if (t.IsTransfer()) accounts += " -> " + AccountName(db_, t.Data.TargetAccountID);
    if (t.Data.WithdrawAccountID == 0) accounts = AccountName(db_, t.Data.TargetAccountID);
    // The group a row stands under already names its category or payee.
    std::string what;
    auto add = [&](const std::string& part) {
      if (!part.empty()) what += (what.empty() ? "" : ", ") + part;
    };
    if (group_by_ != GroupBy::Category) add(CategoryPath(db_, n.CategoryID));
    if (group_by_ != GroupBy::Payee) add(CategoryPath(db_, n.PayeeID));
    if (!n.Name.empty()) add("\"" + TextToUtf8(n.Name) + "\"");
    std::string mark = !n.Cleared ? "!" : t.IsGhost ? "~" : " ";
    std::string start = (by_days_ ? "" : FormatDate(n.Date) + " ") + Pad(TimeText(n.Time), 5) +
                        " " + mark + " " + Fit(accounts, 20) + " ";
    size_t rest = left > start.size() + 12 ? left - start.size() : 12;
    const std::string mark_rate = HasRate(t) ? "" : "?";
    std::string line = start + Fit(what, rest - 1) + " " +
                       PadLeft(money_.Format(n.Amount) + mark_rate, 14) + " " +
                       PadLeft(money_.Format(n.Balance), 16);
    // A transfer between two accounts shown nets to nothing; say what it moved.
    if (t.IsTransfer() && money_.Round(n.Amount) == 0 && t.Data.WithdrawAmount != 0) {
      const Money from = MoneyOf(db_, db_.Accounts().GetCurrencyID(t.Data.WithdrawAccountID));
      line += "  (moves " + from.Format(t.Data.WithdrawAmount) + ")";
    }
    return line;
  }

  Book& db_;
  const Money& money_;
  uint64_t currency_;
  bool by_days_;
  int group_by_;
  bool missing_rate_ = false;
};

}  // namespace

int TransactionsCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kTransactionsUsage,
                    {"--from", "--to", "--period", "--at", "--move", "--group-by", "--account",
                     "--group", "--currency", "--search", "--sort"},
                    {"--json"},
                    1,
                    1,
                    "transactions takes one FILE"};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session&) -> int {
    std::string problem;
    static const std::map<std::string, std::pair<bool, int>> kGroupings = {
        {"date", {true, GroupBy::None}},          {"kind", {false, GroupBy::None}},
        {"category", {false, GroupBy::Category}}, {"payee", {false, GroupBy::Payee}},
        {"split", {true, GroupBy::Split}},
    };
    // Without --group-by, the grouping the app last chose (date when none).
    const int stored = lists::TransactionList::StoredGroupBy();
    const std::string group_by = p.Has("--group-by")           ? *p.Last("--group-by")
                                 : stored == GroupBy::Category ? "category"
                                 : stored == GroupBy::Payee    ? "payee"
                                                               : "date";
    auto grouping = kGroupings.find(group_by);
    if (grouping == kGroupings.end()) {
      return Usage(err, kTransactionsUsage, "unknown grouping '" + group_by + "'");
    }
    std::vector<lists::SortKey> sort;
    if (const std::string* keys = p.Last("--sort")) {
      static const std::set<std::string> kKeys = {
          "date", "name", "comment", "category", "payee", "amount", "balance", "quantity", "price"};
      size_t start = 0;
      while (start <= keys->size()) {
        size_t comma = keys->find(',', start);
        std::string key = keys->substr(start, comma - start);
        lists::SortKey k;
        if (!key.empty() && key[0] == '-') {
          k.ascending = false;
          key.erase(0, 1);
        }
        if (kKeys.count(key) == 0) {
          return Usage(err, kTransactionsUsage, "unknown sort key '" + key + "'");
        }
        k.key = key;
        sort.push_back(k);
        if (comma == std::string::npos) break;
        start = comma + 1;
      }
    }
    if (!ChoosePeriod(db, p, db.Period, problem)) return Usage(err, kTransactionsUsage, problem);
    // The accounts and currency of an account-list selection: accounts or a group's accounts;
    // the currency of the one account (or group) chosen, else the default one.
    std::vector<uint64_t> accounts;
    uint64_t chosen_currency = 0;
    bool nothing = false;
    if (p.Has("--account")) {
      for (const std::string& key : p.options.at("--account")) {
        uint64_t id = FindAccount(db, key, problem);
        if (id == 0) return Refuse(err, problem);
        accounts.push_back(id);
        chosen_currency = db.Accounts().GetCurrencyID(id);
      }
    }
    if (const std::string* group = p.Last("--group")) {
      const lists::Rows rows = lists::AccountList::BuildRows(db);
      const lists::Node* found = nullptr;
      uint64_t id = 0;
      const bool numeric = ParseCount(*group, id);
      for (const auto& row : rows) {
        if (row->Type == NodeType::Group &&
            ((numeric && row->ID == id) || Folded(row->Name) == Folded(Utf8ToWide(*group)))) {
          found = row.get();
        }
      }
      if (found == nullptr) return Refuse(err, "no account group '" + *group + "'");
      for (const auto& child : found->AllNodes) accounts.push_back(child->ID);
      // A group without accounts shows no transactions, not all of them.
      nothing = accounts.empty();
      chosen_currency = found->CurrencyID;
    }
    uint64_t currency =
        accounts.size() == 1 ? chosen_currency : db.Currencies().GetDefaultCurrencyID();
    if (const std::string* code = p.Last("--currency")) {
      currency = CurrencyByCode(db, *code);
      if (currency == 0) return Refuse(err, "no currency with the code '" + *code + "'");
    }
    std::wstring search;
    if (const std::string* text = p.Last("--search");
        text != nullptr && !Utf8ToWide(*text, search)) {
      return Usage(err, kTransactionsUsage, "--search is not UTF-8 text");
    }

    const bool by_days = grouping->second.first;
    std::shared_ptr<lists::Node> root =
        nothing ? std::make_shared<lists::Node>()
                : lists::TransactionList::BuildRoot(db, by_days, grouping->second.second, currency,
                                                    accounts);
    lists::FilterNodes(*root, search);
    lists::TransactionList::SortTree(*root, sort, by_days);
    Money money = MoneyOf(db, currency);
    RowPrinter printer(db, money, currency, by_days, grouping->second.second);
    const std::string text =
        FormatInterval(db.Period, platform::TableLanguage(platform::PreferredLanguage()));
    if (p.Has("--json")) {
      Json j;
      j["period"] = {{"begin", FormatDate(db.Period.BeginDate)},
                     {"end", FormatDate(db.Period.EndDate)},
                     {"text", text}};
      j["currency"] = money.code;
      j["groupBy"] = group_by;
      j["search"] = TextToUtf8(search);
      j["rows"] = printer.ToJson(root->FilteredNodes);
      WriteJsonLine(out, j);
      return kExitOK;
    }
    std::string names;
    for (uint64_t id : accounts) names += (names.empty() ? "" : ", ") + AccountName(db, id);
    std::string head = text + " (" + FormatDate(db.Period.BeginDate) + " \u2013 " +
                       FormatDate(db.Period.EndDate) + ") \u00B7 " + money.code + " \u00B7 by " +
                       group_by + (names.empty() ? "" : " \u00B7 " + names) +
                       (search.empty() ? "" : " \u00B7 search \"" + TextToUtf8(search) + "\"") +
                       "\n";
    printer.Write(root->FilteredNodes, 0, head);
    out << head;
    if (printer.MissingRate()) {
      out << "? an amount in a currency without any exchange rate into " << money.code
          << " stands unconverted; set one with 'kestrum-cli rate FILE FROM TO RATE'\n";
    }
    return kExitOK;
  });
}

namespace {

// The list row a record ID stands for (transaction, scheduled transaction, split or category),
// as the list's Delete and Make group see it; Type 0 when there is no such visible record.
lists::Node RowOfID(Book& db, const std::string& word) {
  lists::Node row;
  uint64_t id = 0;
  if (!ParseCount(word, id) || id == 0) return row;
  for (uint32_t table = 0; table < kTableCount; ++table) {
    const TBaseEntry* e = db.FindEntry(id, table);
    if (e == nullptr) continue;
    const uint32_t type = e->Header.Type;
    if ((type == etTransaction || type == etScheduledTransaction) &&
        !db.Transactions().IsHidden(id)) {
      row.Type = NodeType::Transaction;
      row.Transaction = std::make_shared<TTransaction>(db.Transactions().GetTransaction(id));
    } else if (type == etSplit) {
      row.Type = NodeType::Split;
    } else if (type == etCategory && !db.Categories().IsHidden(id)) {
      row.Type = NodeType::Category;
    }
    row.ID = row.Type != 0 ? id : 0;
    return row;
  }
  return row;
}

// The rows named by the words after FILE; false with `problem` for a word naming none.
bool RowsOf(Document& d, const Parsed& p, std::vector<lists::Node>& rows, std::string& problem) {
  d.Sync([&] {
    for (size_t i = 1; i < p.positional.size() && problem.empty(); ++i) {
      lists::Node row = RowOfID(d.database(), p.positional[i]);
      if (row.Type == 0) problem = "no transaction, split or category " + p.positional[i];
      rows.push_back(std::move(row));
    }
  });
  return problem.empty();
}

// A book opened for a change with the rows the IDs after FILE name.
struct OpenedRows {
  Parsed p;
  Session session;
  std::vector<lists::Node> rows;
  std::vector<const lists::Node*> pointers;  // to `rows`, as the list's commands take them
};

// Opens FILE for a change and reads the rows its IDs name. Returns kOpened, or the exit status
// (usage, open failure or an ID naming nothing, reported on `err`).
int OpenRows(const Args& args, const Shape& shape, OpenedRows& o, std::ostream& out,
             std::ostream& err) {
  if (int status = ParseAndOpen(args, shape, o.p, o.session, out, err); status != kOpened) {
    return status;
  }
  std::string problem;
  if (!RowsOf(o.session.document(), o.p, o.rows, problem)) {
    return o.session.Finish(Refuse(err, problem), err);
  }
  for (const lists::Node& row : o.rows) o.pointers.push_back(&row);
  return kOpened;
}

}  // namespace

int DeleteCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kDeleteUsage, {}, {}, 2, SIZE_MAX, "delete takes FILE and one ID or more",
                    AlwaysChanges};
  OpenedRows o;
  if (int status = OpenRows(args, shape, o, out, err); status != kOpened) return status;
  const std::vector<lists::Node>& rows = o.rows;
  Session& session = o.session;
  Document& d = session.document();
  // What the rows were, said before they go.
  std::vector<std::string> said;
  d.Sync([&] {
    for (const lists::Node& row : rows) {
      if (row.Type == NodeType::Transaction) {
        said.push_back(Describe(d.database(), *row.Transaction));
      } else {
        said.push_back(std::string(row.Type == NodeType::Split ? "split " : "category ") +
                       std::to_string(row.ID));
      }
    }
  });
  lists::TransactionList list(d);
  if (!list.deleteRows(o.pointers)) return session.Finish(Refuse(err, "nothing to delete"), err);
  // A row that is still there was refused (another user's read-only record).
  std::vector<std::string> refused;
  d.Sync([&] {
    for (const lists::Node& row : rows) {
      if (RowOfID(d.database(), std::to_string(row.ID)).Type != 0) {
        refused.push_back(std::to_string(row.ID));
      }
    }
  });
  if (int status = session.Save(err); status != kExitOK) return session.Finish(status, err);
  for (size_t i = 0; i < rows.size(); ++i) {
    if (std::find(refused.begin(), refused.end(), std::to_string(rows[i].ID)) == refused.end()) {
      out << "deleted " << said[i] << "\n";
    }
  }
  for (const std::string& id : refused) err << "kestrum-cli: " << id << " is read-only\n";
  return session.Finish(refused.empty() ? kExitOK : kExitFailed, err);
}

int MakeGroupCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{
      kMakeGroupUsage, {}, {}, 3, SIZE_MAX, "make-group takes FILE and two transaction IDs or more",
      AlwaysChanges};
  OpenedRows o;
  if (int status = OpenRows(args, shape, o, out, err); status != kOpened) return status;
  Session& session = o.session;
  Document& d = session.document();
  std::vector<uint64_t> ids;
  for (const lists::Node& row : o.rows) ids.push_back(row.ID);
  if (!lists::TransactionList::canMakeGroup(o.pointers)) {
    return session.Finish(
        Refuse(err, "a group is made of two transactions or more, none of them scheduled"), err);
  }
  lists::TransactionList list(d);
  const uint64_t split = list.makeGroup(ids);
  if (split == 0) return session.Finish(Refuse(err, "the transactions could not be grouped"), err);
  if (int status = session.Save(err); status != kExitOK) return session.Finish(status, err);
  out << "grouped " << ids.size() << " transactions into split " << split << "\n";
  return session.Finish(kExitOK, err);
}

}  // namespace vemra::cli
