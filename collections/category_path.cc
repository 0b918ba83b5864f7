#include "collections/category_path.h"

#include <algorithm>
#include <utility>

#include "collections/book.h"
#include "collections/records.h"
#include "platform/unicode.h"

namespace vemra {

bool ResolveCategoryPath(Book& db, uint64_t root, const std::wstring& wide, bool create,
                         uint64_t& id, std::string& problem) {
  id = 0;
  if (wide.empty()) return true;
  const std::string path = WideToUtf8Lossy(wide);
  uint64_t parent = root;
  size_t start = 0;
  while (start <= wide.size()) {
    size_t slash = std::min(wide.find(L'/', start), wide.size());
    std::wstring name = wide.substr(start, slash - start);
    size_t first = name.find_first_not_of(L' ');
    name = first == std::wstring::npos
               ? L""
               : name.substr(first, name.find_last_not_of(L' ') + 1 - first);
    if (name.empty()) {
      problem = "empty name in the path '" + path + "'";
      return false;
    }
    // The first name may also be a category deeper in the tree ("Groceries" for
    // "Food/Groceries") when it names exactly one.
    const bool anywhere = parent == root;
    auto under = [&](const TCategory& c) {
      uint64_t r = c.Data.RootID;
      if (anywhere) return db.Categories().IsInBranch(root, c.Header.ID);
      return r == parent;
    };
    auto is_top = [&](const TCategory& c) {
      uint64_t r = c.Data.RootID;
      return r == root ||
             (root == kCategoryRoot && (r == kCategorySubRootA || r == kCategorySubRootB));
    };
    std::vector<uint64_t> exact, loose;
    uint64_t top_exact = 0, top_loose = 0;
    for (const auto& [cid, e] : db.GetTable(0)) {
      if (e->Header.Type != etCategory) continue;
      const auto& c = static_cast<const TCategory&>(*e);
      if (!under(c) || db.Categories().IsHidden(cid)) continue;
      std::wstring have;
      db.GetString(c.Data.NameID, have);
      const bool same = have == name, similar = FoldCase(have) == FoldCase(name);
      if (same) exact.push_back(cid);
      if (similar) loose.push_back(cid);
      if (same && top_exact == 0 && is_top(c)) top_exact = cid;
      if (similar && top_loose == 0 && is_top(c)) top_loose = cid;
    }
    uint64_t found = 0;
    if (!anywhere) {
      found = !exact.empty() ? exact[0] : !loose.empty() ? loose[0] : 0;
    } else if (top_exact != 0 || top_loose != 0) {
      found = top_exact != 0 ? top_exact : top_loose;
    } else if (exact.size() == 1 || (exact.empty() && loose.size() == 1)) {
      found = exact.empty() ? loose[0] : exact[0];
    } else if (!loose.empty()) {
      problem = "several categories are named '" + WideToUtf8Lossy(name) + "'; give its path";
      return false;
    }
    if (found == 0 && create) {
      found = db.Categories().CreateCategory(name, parent);
      if (found == 0) {
        problem = "cannot create '" + WideToUtf8Lossy(name) + "' here (read-only)";
        return false;
      }
    }
    if (found == 0) return true;  // checked only; created later
    parent = found;
    start = slash + 1;
  }
  id = parent;
  return true;
}

std::string CategoryPathOf(Book& db, uint64_t id) {
  std::wstring path;
  for (int steps = 0; id > kLastFixedRoot && steps < kMaxParentSteps; ++steps) {
    const TBaseEntry* e = db.FindEntry(id, 0);
    if (e == nullptr || e->Header.Type != etCategory) break;
    const auto& c = static_cast<const TCategory&>(*e);
    std::wstring name;
    db.GetString(c.Data.NameID, name);
    path = path.empty() ? name : name + L" / " + path;
    id = c.Data.RootID;
  }
  return WideToUtf8Lossy(path);
}

namespace {

// The edit distance between `a` and `b` (insertions, deletions and substitutions of one
// character each).
size_t Distance(const std::wstring& a, const std::wstring& b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

}  // namespace

std::vector<std::string> ClosestCategoryPaths(Book& db, uint64_t root, const std::wstring& path,
                                              size_t count) {
  // Compared as typed: "/" between names, no spaces around it.
  auto plain = [](std::string text) {
    std::wstring wide = Utf8ToWide(text);
    std::wstring out;
    for (size_t i = 0; i < wide.size(); ++i) {
      if (wide.compare(i, 3, L" / ") == 0) {
        out += L'/';
        i += 2;
      } else {
        out += wide[i];
      }
    }
    return FoldCase(out);
  };
  const std::wstring wanted = FoldCase(path);
  std::vector<std::pair<size_t, std::string>> scored;
  for (const auto& [id, e] : db.GetTable(0)) {
    if (e->Header.Type != etCategory || !db.Categories().IsInBranch(root, id) ||
        db.Categories().IsHidden(id)) {
      continue;
    }
    std::string shown = CategoryPathOf(db, id);
    std::wstring full = plain(shown);
    // The last name alone counts as well: "Groceries" is near "Food/Groceries".
    const size_t slash = full.rfind(L'/');
    size_t d = Distance(wanted, full);
    if (slash != std::wstring::npos) d = std::min(d, Distance(wanted, full.substr(slash + 1)));
    scored.emplace_back(d, std::move(shown));
  }
  std::stable_sort(scored.begin(), scored.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> out;
  for (size_t i = 0; i < scored.size() && i < count; ++i) out.push_back(scored[i].second);
  return out;
}

}  // namespace vemra
