// `account move`, `account delete` and `group delete`: the account list's drag and drop and
// its Delete button, through the list model.
#include <map>
#include <memory>

#include "cli/book_session.h"
#include "editors/account_edit_model.h"
#include "lists/account_list.h"
#include "platform/unicode.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kAccountUsage =
    "usage: kestrum-cli account add FILE --name S [--currency CUR] [--group G] [--opening X]\n"
    "           [--comment S] [--icon N] [--hidden] [--json]\n"
    "       kestrum-cli account edit FILE ACCOUNT [the options of add] [--visible] [--no-group]\n"
    "       kestrum-cli account close FILE ACCOUNT [--force]\n"
    "       kestrum-cli account reopen FILE ACCOUNT\n"
    "       kestrum-cli account move FILE ROW (--above ROW | --on GROUP | --end)\n"
    "       kestrum-cli account delete FILE ACCOUNT [--yes]\n"
    "\n"
    "account add and edit work as the account editor: a name unique among the accounts, a\n"
    "currency (code, name or ID; the default currency for a new account), a group (name or ID),\n"
    "the opening balance rounded to the currency's decimal places, an icon number, the hidden\n"
    "box (--hidden closes the account, --visible opens it). account close ticks the hidden box,\n"
    "and is refused while the balance is not zero unless --force; reopen unticks it. An edit\n"
    "that changes nothing says so and writes nothing.\n"
    "JSON: {\"ID\", \"Name\", \"Comment\", \"CurrencyID\", \"GroupID\", \"InitialBalance\",\n"
    "\"ImageIndex\", \"Visible\"}.\n"
    "\n"
    "account move reorders the account list as a drag does: ROW (an account or a group, by\n"
    "name or ID) goes above another row, onto a group (an account joins it) or to the end; an\n"
    "account that lands among another group's accounts joins that group.\n"
    "account delete deletes an account with all its transactions; it asks for --yes first.\n";

constexpr std::string_view kGroupUsage =
    "usage: kestrum-cli group add FILE --name S [--currency CUR] [--comment S] [--icon N] "
    "[--json]\n"
    "       kestrum-cli group edit FILE GROUP [the options of add]\n"
    "       kestrum-cli group delete FILE GROUP\n"
    "\n"
    "group add and edit work as the account editor does for a group (a name unique among the\n"
    "groups, the currency its total is shown in). group delete deletes the account group GROUP\n"
    "(by name or ID); its accounts stay, without a group.\n";

// The index of the row named or numbered `key` (the overall row excluded); rows.size() with
// `problem` set when none or several match.
size_t FindRow(const lists::Rows& rows, const std::string& key, int32_t only_type,
               std::string& problem) {
  uint64_t id = 0;
  const bool numeric = ParseCount(key, id);
  const std::wstring wanted = FoldCase(Utf8ToWide(key));
  std::vector<size_t> found;
  for (size_t i = 1; i < rows.size(); ++i) {
    if (only_type != 0 && rows[i]->Type != only_type) continue;
    if ((numeric && rows[i]->ID == id) || FoldCase(rows[i]->Name) == wanted) found.push_back(i);
  }
  if (found.size() == 1) return found[0];
  const char* what = only_type == NodeType::Account ? "account"
                     : only_type == NodeType::Group ? "group"
                                                    : "account or group";
  problem = found.empty() ? std::string("no ") + what + " '" + key + "'"
                          : "several rows are named '" + key + "'; give the ID";
  return rows.size();
}

// Opens FILE for a change of the account list; `list` is loaded. Returns kOpened or the status.
int OpenList(const Args& args, std::string_view usage, size_t words,
             const std::vector<std::string_view>& valued,
             const std::vector<std::string_view>& flags, Parsed& p, Session& session,
             std::ostream& out, std::ostream& err) {
  const Shape shape{usage, valued, flags, words, words, "wrong number of words", AlwaysChanges};
  return ParseAndOpen(args, shape, p, session, out, err);
}

// The account list of a book opened for a change.
struct OpenedList {
  Parsed p;
  Session session;
  std::unique_ptr<lists::AccountList> list;
  lists::Rows rows;
  size_t row = 0;  // the row named by the word after FILE
};

// Opens FILE, loads its account list and finds the row the word after FILE names (of `type`,
// 0 for any). Returns kOpened, or the exit status with the reason reported.
int OpenRow(const Args& args, std::string_view usage, const std::vector<std::string_view>& valued,
            const std::vector<std::string_view>& flags, int32_t type, OpenedList& o,
            std::ostream& out, std::ostream& err) {
  if (int status = OpenList(args, usage, 2, valued, flags, o.p, o.session, out, err);
      status != kOpened) {
    return status;
  }
  o.list = std::make_unique<lists::AccountList>(o.session.document());
  o.list->loadDataAndWait();
  o.rows = o.list->rows();
  std::string problem;
  o.row = FindRow(o.rows, o.p.positional[1], type, problem);
  return o.row == o.rows.size() ? Refuse(err, problem) : kOpened;
}

int Done(Session& session, bool ok, const std::string& problem, std::ostream& err) {
  if (!ok) return session.Finish(Refuse(err, problem), err);
  return session.Finish(session.Save(err), err);
}

int AccountMove(const Args& args, std::ostream& out, std::ostream& err) {
  OpenedList o;
  if (int status = OpenRow(args, kAccountUsage, {"--above", "--on"}, {"--end"}, 0, o, out, err);
      status != kOpened) {
    return status;
  }
  const Parsed& p = o.p;
  const int targets = p.Has("--above") + p.Has("--on") + p.Has("--end");
  if (targets != 1) return Usage(err, kAccountUsage, "give one of --above, --on and --end");
  std::string problem;
  size_t target = o.rows.size();
  lists::AccountList::Drop how = lists::AccountList::Drop::Above;
  if (const std::string* above = p.Last("--above")) {
    target = FindRow(o.rows, *above, 0, problem);
  } else if (const std::string* on = p.Last("--on")) {
    target = FindRow(o.rows, *on, NodeType::Group, problem);
    how = lists::AccountList::Drop::On;
  }
  if (target == o.rows.size() && !p.Has("--end")) return Refuse(err, problem);
  if (!o.list->validateDrop({o.row}, target, how)) {
    return Refuse(err,
                  "the account list does not take that move (a group goes above a group or "
                  "to the end; an account goes above a row, onto a group or to the end)");
  }
  const bool ok = o.list->acceptDrop({o.row}, target, how);
  int status = Done(o.session, ok, "the move was refused", err);
  if (status == kExitOK) out << "moved " << TextToUtf8(o.rows[o.row]->Name) << "\n";
  return status;
}

int AccountDelete(const Args& args, std::ostream& out, std::ostream& err) {
  OpenedList o;
  if (int status = OpenRow(args, kAccountUsage, {}, {"--yes"}, NodeType::Account, o, out, err);
      status != kOpened) {
    return status;
  }
  if (!o.p.Has("--yes")) {
    err << o.list->deleteQuestion(o.row) << " All transactions will be deleted as well.\n"
        << "Give --yes to delete it.\n";
    return kExitFailed;
  }
  std::string problem;
  const bool ok = o.list->deleteRow(o.row, &problem);
  int status = Done(o.session, ok, problem, err);
  if (status == kExitOK) out << "deleted account " << TextToUtf8(o.rows[o.row]->Name) << "\n";
  return status;
}

// Runs the account editor for `add`/`edit` (and `close`/`reopen`) of an account or a group.
int EditEntry(const Args& args, bool group, const std::string& verb, std::ostream& out,
              std::ostream& err) {
  const bool adding = verb == "add";
  const bool toggling = verb == "close" || verb == "reopen";
  const std::string_view usage = group ? kGroupUsage : kAccountUsage;
  std::vector<std::string_view> valued, flags = {"--json"};
  if (!toggling) valued = {"--name", "--currency", "--comment", "--icon"};
  if (!toggling && !group) {
    valued.insert(valued.end(), {"--group", "--opening"});
    flags.insert(flags.end(), {"--hidden", "--visible", "--no-group"});
  }
  if (verb == "close") flags.push_back("--force");
  const size_t words = adding ? 1 : 2;
  Parsed p;
  Session session;
  if (int status = OpenList(args, usage, words, valued, flags, p, session, out, err);
      status != kOpened) {
    return status;
  }
  auto form = [&](const std::string& problem) {
    return session.Finish(Usage(err, usage, problem), err);
  };
  auto refuse = [&](const std::string& problem) {
    return session.Finish(Refuse(err, problem), err);
  };
  if (adding && !p.Has("--name")) {
    return form(std::string(group ? "group" : "account") + " add needs --name");
  }
  if (p.Has("--hidden") && p.Has("--visible")) {
    return form("--hidden and --visible exclude each other");
  }
  if (p.Has("--group") && p.Has("--no-group")) {
    return form("--group and --no-group exclude each other");
  }
  uint64_t icon = 0;
  if (const std::string* i = p.Last("--icon");
      i != nullptr && (!ParseCount(*i, icon) || icon > 100000)) {
    return form("--icon takes an image number");
  }
  const std::string* opening = p.Last("--opening");
  if (opening != nullptr) {
    double value = 0;
    const bool negative = !opening->empty() && (*opening)[0] == '-';
    if (!ParseNumber(negative ? opening->substr(1) : *opening, value) || value >= 1e13) {
      return form("--opening takes an amount below 10^13 such as 1250.50 or -20");
    }
  }
  Document& d = session.document();
  // Closed accounts too: they are edited and reopened by name like any other.
  lists::Rows rows;
  d.Sync([&] {
    Book& db = d.database();
    const uint8_t shown = db.Header.Reserved2;
    db.Header.Reserved2 = 1;
    rows = lists::AccountList::BuildRows(db);
    db.Header.Reserved2 = shown;
  });
  uint64_t id = 0;
  std::string problem;
  if (!adding) {
    const size_t row =
        FindRow(rows, p.positional[1], group ? NodeType::Group : NodeType::Account, problem);
    if (row == rows.size()) return refuse(problem);
    id = rows[row]->ID;
  }
  editors::AccountEditModel model(d, id, group);
  if (const std::string* name = p.Last("--name")) model.setName(Utf8ToWide(*name));
  if (const std::string* comment = p.Last("--comment")) model.setComment(Utf8ToWide(*comment));
  if (const std::string* currency = p.Last("--currency")) {
    const uint64_t currency_id = FindCurrency(d, *currency);
    if (currency_id == 0) return refuse("no single currency '" + *currency + "'");
    // The command line names what should be; only a different currency is a change.
    if (adding || currency_id != model.currencyID()) model.setCurrency(currency_id);
  }
  if (p.Has("--icon") && (adding || icon != model.icon()))
    model.setIcon(static_cast<uint32_t>(icon));
  if (const std::string* g = p.Last("--group")) {
    const size_t row = FindRow(rows, *g, NodeType::Group, problem);
    if (row == rows.size()) return refuse(problem);
    if (rows[row]->ID != model.accountGroup()) model.setAccountGroup(rows[row]->ID);
  }
  if (p.Has("--no-group") && model.accountGroup() != 0) model.setAccountGroup(0);
  if (opening != nullptr) model.setOpeningBalance(*opening);
  if (p.Has("--hidden") || verb == "close") model.setHidden(true);
  if (p.Has("--visible") || verb == "reopen") model.setHidden(false);
  if (verb == "close" && !p.Has("--force")) {
    // A closed account leaves the lists; one that still holds money would take it along.
    std::map<uint64_t, double> sums = {{id, 0.0}};
    double balance = 0;
    Money money;
    d.Sync([&] {
      d.database().AddBalanceSums(sums, ADate(TodayADate().Val + 1));
      balance = model.account().Data.InitialBalance + sums[id];
      money = MoneyOf(d.database(), model.account().Data.CurrencyID);
    });
    if (money.Round(balance) != 0) {
      return refuse("the account still holds " + money.Format(balance) +
                    "; give --force to close it all the same");
    }
  }
  uint64_t saved = 0;
  if (int status = SaveEntry(session, !adding, model, saved, out, err); status != kOpened) {
    return status;
  }
  if (p.Has("--json")) {
    Json j;
    j["ID"] = saved;
    if (group) {
      const TAccGroup& g = model.group();
      j["Name"] = TextToUtf8(g.Name);
      j["Comment"] = TextToUtf8(g.Comment);
      j["CurrencyID"] = g.Data.CurrencyID;
      j["ImageIndex"] = g.Data.ImageIndex;
    } else {
      const TAccount& a = model.account();
      j["Name"] = TextToUtf8(a.Name);
      j["Comment"] = TextToUtf8(a.Comment);
      j["CurrencyID"] = a.Data.CurrencyID;
      j["GroupID"] = a.Data.GroupID;
      j["InitialBalance"] = a.Data.InitialBalance;
      j["ImageIndex"] = a.Data.ImageIndex;
      j["Visible"] = a.Data.Visible != 0;
    }
    WriteJsonLine(out, j);
  } else {
    const std::wstring& name = group ? model.group().Name : model.account().Name;
    const char* done = adding             ? "added"
                       : verb == "close"  ? "closed"
                       : verb == "reopen" ? "reopened"
                                          : "changed";
    out << done << (group ? " group " : " account ") << saved << ": " << TextToUtf8(name) << "\n";
  }
  return session.Finish(kExitOK, err);
}

}  // namespace

int AccountCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (args.empty() || IsHelp(args[0])) {
    return args.empty() ? Usage(err, kAccountUsage, "") : Help(out, kAccountUsage);
  }
  const Args rest(args.begin() + 1, args.end());
  if (args[0] == "move") return AccountMove(rest, out, err);
  if (args[0] == "add" || args[0] == "edit" || args[0] == "close" || args[0] == "reopen") {
    return EditEntry(rest, false, args[0], out, err);
  }
  if (args[0] == "delete") return AccountDelete(rest, out, err);
  return Usage(err, kAccountUsage, "account takes add, edit, close, reopen, move or delete");
}

int GroupCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (args.empty() || IsHelp(args[0])) {
    return args.empty() ? Usage(err, kGroupUsage, "") : Help(out, kGroupUsage);
  }
  if (args[0] == "add" || args[0] == "edit") {
    return EditEntry(Args(args.begin() + 1, args.end()), true, args[0], out, err);
  }
  if (args[0] != "delete") return Usage(err, kGroupUsage, "group takes add, edit or delete");
  OpenedList o;
  if (int status = OpenRow(Args(args.begin() + 1, args.end()), kGroupUsage, {}, {}, NodeType::Group,
                           o, out, err);
      status != kOpened) {
    return status;
  }
  std::string problem;
  const bool ok = o.list->deleteRow(o.row, &problem);
  int status = Done(o.session, ok, problem, err);
  if (status == kExitOK) {
    out << "deleted group " << TextToUtf8(o.rows[o.row]->Name) << "; its accounts stay\n";
  }
  return status;
}

}  // namespace vemra::cli
