// `account move`, `account delete` and `group delete`: the account list's drag and drop and
// its Delete button, through the list model.
#include <memory>

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
