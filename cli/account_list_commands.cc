// `account move`, `account delete` and `group delete`: the account list's drag and drop and
// its Delete button, through the list model.
#include "cli/book_session.h"
#include "lists/account_list.h"
#include "platform/unicode.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kAccountUsage =
    "usage: kestrum-cli account move FILE ROW (--above ROW | --on GROUP | --end)\n"
    "       kestrum-cli account delete FILE ACCOUNT [--yes]\n"
    "\n"
    "account move reorders the account list as a drag does: ROW (an account or a group, by\n"
    "name or ID) goes above another row, onto a group (an account joins it) or to the end; an\n"
    "account that lands among another group's accounts joins that group.\n"
    "account delete deletes an account with all its transactions; it asks for --yes first.\n";

constexpr std::string_view kGroupUsage =
    "usage: kestrum-cli group delete FILE GROUP\n"
    "\n"
    "Deletes the account group GROUP (by name or ID); its accounts stay, without a group.\n";

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

int Done(Session& session, bool ok, const std::string& problem, std::ostream& err) {
  if (!ok) return session.Finish(Refuse(err, problem), err);
  return session.Finish(session.Save(err), err);
}

int AccountMove(const Args& args, std::ostream& out, std::ostream& err) {
  Parsed p;
  Session session;
  if (int status =
          OpenList(args, kAccountUsage, 2, {"--above", "--on"}, {"--end"}, p, session, out, err);
      status != kOpened) {
    return status;
  }
  const int targets = p.Has("--above") + p.Has("--on") + p.Has("--end");
  if (targets != 1) return Usage(err, kAccountUsage, "give one of --above, --on and --end");
  lists::AccountList list(session.document());
  list.loadDataAndWait();
  const lists::Rows rows = list.rows();
  std::string problem;
  size_t row = FindRow(rows, p.positional[1], 0, problem);
  if (row == rows.size()) return Refuse(err, problem);
  size_t target = rows.size();
  lists::AccountList::Drop how = lists::AccountList::Drop::Above;
  if (const std::string* above = p.Last("--above")) {
    target = FindRow(rows, *above, 0, problem);
  } else if (const std::string* on = p.Last("--on")) {
    target = FindRow(rows, *on, NodeType::Group, problem);
    how = lists::AccountList::Drop::On;
  }
  if (target == rows.size() && !p.Has("--end")) return Refuse(err, problem);
  if (!list.validateDrop({row}, target, how)) {
    return Refuse(err,
                  "the account list does not take that move (a group goes above a group or "
                  "to the end; an account goes above a row, onto a group or to the end)");
  }
  const bool ok = list.acceptDrop({row}, target, how);
  int status = Done(session, ok, "the move was refused", err);
  if (status == kExitOK) out << "moved " << TextToUtf8(rows[row]->Name) << "\n";
  return status;
}

int AccountDelete(const Args& args, std::ostream& out, std::ostream& err) {
  Parsed p;
  Session session;
  if (int status = OpenList(args, kAccountUsage, 2, {}, {"--yes"}, p, session, out, err);
      status != kOpened) {
    return status;
  }
  lists::AccountList list(session.document());
  list.loadDataAndWait();
  const lists::Rows rows = list.rows();
  std::string problem;
  size_t row = FindRow(rows, p.positional[1], NodeType::Account, problem);
  if (row == rows.size()) return Refuse(err, problem);
  if (!p.Has("--yes")) {
    err << list.deleteQuestion(row) << " All transactions will be deleted as well.\n"
        << "Give --yes to delete it.\n";
    return kExitFailed;
  }
  const bool ok = list.deleteRow(row, &problem);
  int status = Done(session, ok, problem, err);
  if (status == kExitOK) out << "deleted account " << TextToUtf8(rows[row]->Name) << "\n";
  return status;
}

}  // namespace

int AccountCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (args.empty() || IsHelp(args[0])) {
    return args.empty() ? Usage(err, kAccountUsage, "") : Help(out, kAccountUsage);
  }
  const Args rest(args.begin() + 1, args.end());
  if (args[0] == "move") return AccountMove(rest, out, err);
  if (args[0] == "delete") return AccountDelete(rest, out, err);
  return Usage(err, kAccountUsage, "account takes move or delete");
}

int GroupCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (args.empty() || IsHelp(args[0])) {
    return args.empty() ? Usage(err, kGroupUsage, "") : Help(out, kGroupUsage);
  }
  if (args[0] != "delete") return Usage(err, kGroupUsage, "group takes delete");
  Parsed p;
  Session session;
  if (int status = OpenList(Args(args.begin() + 1, args.end()), kGroupUsage, 2, {}, {}, p, session,
                            out, err);
      status != kOpened) {
    return status;
  }
  lists::AccountList list(session.document());
  list.loadDataAndWait();
  const lists::Rows rows = list.rows();
  std::string problem;
  size_t row = FindRow(rows, p.positional[1], NodeType::Group, problem);
  if (row == rows.size()) return Refuse(err, problem);
  const bool ok = list.deleteRow(row, &problem);
  int status = Done(session, ok, problem, err);
  if (status == kExitOK) {
    out << "deleted group " << TextToUtf8(rows[row]->Name) << "; its accounts stay\n";
  }
  return status;
}

}  // namespace vemra::cli
