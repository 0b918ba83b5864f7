// The category and payee trees.
#include <functional>
#include <map>

#include "cli/book_session.h"
#include "platform/unicode.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kCategoriesUsage =
    "usage: kestrum-cli categories FILE [--payees] [--json]\n"
    "\n"
    "Shows the category tree, or with --payees the payee tree.\n";

}  // namespace

int CategoriesCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kCategoriesUsage,           {}, {"--json", "--payees"}, 1, 1,
                    "categories takes one FILE"};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session&) -> int {
    NodeList tree =
        db.Categories().GetCategoriesTree(p.Has("--payees") ? kPayeeRoot : kCategoryRoot);
    std::function<Json(const NodeList&)> to_json = [&](const NodeList& nodes) {
      Json list = Json::array();
      for (const auto& n : nodes) {
        Json j;
        j["id"] = n->Category->Header.ID;
        j["name"] = Text(db, n->Category->Data.NameID);
        j["children"] = to_json(n->Children);
        list.push_back(std::move(j));
      }
      return list;
    };
    std::function<void(const NodeList&, int, std::string&)> write =
        [&](const NodeList& nodes, int depth, std::string& text) {
          for (const auto& n : nodes) {
            text += std::string(2 * depth, ' ') + Text(db, n->Category->Data.NameID) + "\n";
            write(n->Children, depth + 1, text);
          }
        };
    if (p.Has("--json")) {
      WriteJsonLine(out, to_json(tree));
      return kExitOK;
    }
    std::string text;
    write(tree, 0, text);
    out << text;
    return kExitOK;
  });
}

}  // namespace vemra::cli

namespace vemra::cli {
namespace {

constexpr std::string_view kCategoryUsage =
    "usage: kestrum-cli category add FILE PATH\n"
    "       kestrum-cli category rename FILE PATH NAME\n"
    "       kestrum-cli category move FILE PATH (--to PARENT | --top)\n"
    "       kestrum-cli category delete FILE PATH [--with-children]\n"
    "       (and the same with 'payee' for the payee tree)\n"
    "\n"
    "Keeps the category (or payee) tree: add creates PATH ('Food/Groceries') with the levels it\n"
    "lacks; rename gives the last level a new name; move puts it under PARENT or at the top;\n"
    "delete removes it, its children moving up to its parent unless --with-children deletes\n"
    "them too. Each is one undo step of the book.\n";

int Upkeep(const Args& args, bool payees, std::ostream& out, std::ostream& err) {
  if (args.empty() || IsHelp(args[0])) {
    return args.empty() ? Usage(err, kCategoryUsage, "") : Help(out, kCategoryUsage);
  }
  const std::string verb = args[0];
  static const std::map<std::string, size_t> kWords = {
      {"add", 2}, {"rename", 3}, {"move", 2}, {"delete", 2}};
  auto words = kWords.find(verb);
  if (words == kWords.end()) {
    return Usage(err, kCategoryUsage, "give add, rename, move or delete");
  }
  const Shape shape{kCategoryUsage, {"--to"},      {"--top", "--with-children"},
                    words->second,  words->second, "wrong number of words",
                    AlwaysChanges};
  Parsed p;
  Session session;
  if (int status = ParseAndOpen(Args(args.begin() + 1, args.end()), shape, p, session, out, err);
      status != kOpened) {
    return status;
  }
  auto form = [&](const std::string& problem) {
    return session.Finish(Usage(err, kCategoryUsage, problem), err);
  };
  if (verb == "move" && p.Has("--to") == p.Has("--top")) return form("give --to PARENT or --top");
  const uint64_t root = payees ? kPayeeRoot : kCategoryRoot;
  const char* kind = payees ? "payee" : "category";
  Document& d = session.document();
  std::string problem;
  uint64_t id = 0, parent = root;
  d.Sync([&] {
    Book& db = d.database();
    if (!ResolveCategory(db, root, p.positional[1], false, id, problem)) return;
    if (verb != "add" && id == 0)
      problem = std::string("no ") + kind + " '" + p.positional[1] + "'";
    if (verb == "add" && id != 0) problem = p.positional[1] + " exists already";
    if (const std::string* to = p.Last("--to"); to != nullptr && problem.empty()) {
      if (!ResolveCategory(db, root, *to, false, parent, problem)) return;
      if (parent == 0) problem = std::string("no ") + kind + " '" + *to + "'";
      if (parent == id || db.Categories().IsInBranch(id, parent)) {
        problem = "a category cannot move under itself";
      }
    }
  });
  if (!problem.empty()) return session.Finish(Refuse(err, problem), err);
  std::wstring name;
  if (verb == "rename" && (!Utf8ToWide(p.positional[2], name) || name.empty())) {
    return form("NAME is a non-empty UTF-8 text");
  }
  d.initUndo(verb == "add" ? 2 : verb == "delete" ? 4 : 3);
  bool done = false;
  d.Sync([&] {
    Book& db = d.database();
    if (verb == "add") {
      done = ResolveCategory(db, root, p.positional[1], true, id, problem) && id != 0;
    } else if (verb == "delete") {
      done = db.Categories().DeleteCategory(id, p.Has("--with-children"));
    } else {
      TCategory c = db.Categories().GetCategory(id);
      if (verb == "rename") c.Name = name;
      if (verb == "move") c.Data.RootID = parent;
      done = db.Categories().UpdateCategory(c) != 0;
    }
  });
  if (!done) {
    return session.Finish(
        Refuse(err, problem.empty() ? std::string("the ") + kind + " is read-only" : problem), err);
  }
  d.post(kUpdateDataNotification);
  if (int status = session.Save(err); status != kExitOK) return session.Finish(status, err);
  out << (verb == "add"      ? "added "
          : verb == "delete" ? "deleted "
          : verb == "move"   ? "moved "
                             : "renamed ")
      << kind << " " << p.positional[1] << "\n";
  return session.Finish(kExitOK, err);
}

}  // namespace

int CategoryCommand(const Args& args, std::ostream& out, std::ostream& err) {
  return Upkeep(args, false, out, err);
}

int PayeeCommand(const Args& args, std::ostream& out, std::ostream& err) {
  return Upkeep(args, true, out, err);
}

}  // namespace vemra::cli
