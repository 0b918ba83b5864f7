// `suggest`: what the description, category and payee fields offer while the user types.
#include <map>

#include "cli/book_session.h"
#include "core/records/category.h"
#include "lists/suggestions.h"
#include "platform/unicode.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kSuggestUsage =
    "usage: kestrum-cli suggest FILE (description|category|payee) TEXT\n"
    "           [--kind expense|income|transfer] [--under PATH] [--limit N] [--json]\n"
    "\n"
    "Prints what the field offers for TEXT, best first, one per line: names that begin with\n"
    "TEXT, then names with a word that does, then (descriptions) those whose category does;\n"
    "letter case does not matter. A description shows its category after a tab; a category or\n"
    "payee shows its path as --category and --payee take it. --kind keeps the descriptions of\n"
    "one kind, --under the categories or payees of one branch, --limit the first N.\n"
    "JSON: {\"suggestions\": [{\"name\", \"match\": \"prefix\"|\"word\"|\"category\", \"kind\",\n"
    "\"transactionID\", \"category\", \"categoryID\"}]}.\n";

// "Food/Groceries" for category `id`, from the names and parents of the branch.
std::string PathOf(Book& db, uint64_t id) {
  std::string path;
  for (int steps = 0; id > kLastFixedRoot && steps < 64; ++steps) {
    const auto* c = dynamic_cast<const TCategory*>(db.FindEntry(id, 0));
    if (c == nullptr) break;
    std::string name = Text(db, c->Data.NameID);
    path = path.empty() ? name : name + "/" + path;
    id = c->Data.RootID;
  }
  return path;
}

}  // namespace

int SuggestCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kSuggestUsage,
                    {"--kind", "--under", "--limit"},
                    {"--json"},
                    3,
                    3,
                    "suggest takes FILE, a field and TEXT"};
  return RunBook(args, shape, out, err, [&](Parsed& p, Book& db, Session&) -> int {
    const std::string& field = p.positional[1];
    if (field != "description" && field != "category" && field != "payee") {
      return Usage(err, kSuggestUsage, "the field is description, category or payee");
    }
    int32_t kind = -1;
    if (const std::string* k = p.Last("--kind")) {
      static const std::map<std::string, int32_t> kKinds = {
          {"expense", 0}, {"income", 1}, {"transfer", 2}};
      auto it = kKinds.find(*k);
      if (it == kKinds.end())
        return Usage(err, kSuggestUsage, "--kind is expense, income or transfer");
      kind = it->second;
    }
    uint64_t limit = UINT64_MAX;
    if (const std::string* l = p.Last("--limit");
        l != nullptr && (!ParseCount(*l, limit) || limit == 0)) {
      return Usage(err, kSuggestUsage, "--limit takes a whole number above 0");
    }
    std::wstring text;
    if (!Utf8ToWide(p.positional[2], text)) return Usage(err, kSuggestUsage, "TEXT is not UTF-8");
    const bool descriptions = field == "description";
    std::vector<lists::Suggestion> candidates;
    if (descriptions) {
      candidates = lists::DescriptionCandidates(db);
    } else {
      uint64_t root = field == "category" ? kCategoryRoot : kPayeeRoot;
      if (const std::string* under = p.Last("--under")) {
        uint64_t found = 0;
        const std::wstring wanted = FoldCase(Utf8ToWide(*under));
        for (const lists::Suggestion& s : lists::CategoryCandidates(db, root)) {
          if (FoldCase(Utf8ToWide(PathOf(db, s.categoryID))) == wanted) found = s.categoryID;
        }
        if (found == 0) return Refuse(err, "no " + field + " '" + *under + "'");
        root = found;
      }
      candidates = lists::CategoryCandidates(db, root);
    }
    static const char* kMatches[] = {"prefix", "word", "category"};
    Json list = Json::array();
    std::string text_out;
    uint64_t shown = 0;
    for (const lists::RankedSuggestion& r : lists::RankSuggestions(candidates, text, kind)) {
      if (shown++ == limit) break;
      const lists::Suggestion& s = *r.suggestion;
      const std::string path = PathOf(db, s.categoryID);
      Json j;
      j["name"] = TextToUtf8(s.entryName);
      j["match"] = kMatches[static_cast<int>(r.match)];
      j["kind"] = descriptions ? Json(KindName(s.Type)) : Json(nullptr);
      j["transactionID"] = descriptions ? Json(s.entryID) : Json(nullptr);
      j["category"] = path;
      j["categoryID"] = s.categoryID;
      list.push_back(std::move(j));
      text_out += descriptions ? TextToUtf8(s.entryName) + "\t" + path : path;
      text_out += "\n";
    }
    if (p.Has("--json")) {
      WriteJsonLine(out, Json{{"suggestions", list}});
    } else {
      out << text_out;
    }
    return kExitOK;
  });
}

}  // namespace vemra::cli
