// The category and payee trees.
#include <functional>

#include "cli/book_session.h"

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
