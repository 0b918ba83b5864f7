// Categories and payees named by a path of names ("Food/Groceries"), as people type them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vemra {

class Book;

// Finds the category under `root` (kCategoryRoot or kPayeeRoot) named by the path "A/B/C":
// segments are trimmed of spaces and compared exactly, then without letter case; the first
// segment may also name a category deeper in the tree when exactly one visible category bears
// that name. With `create` the missing levels are made (one record per level). An empty path
// gives 0. Returns false with `problem` set for an empty segment, an ambiguous name or a
// refused creation; without `create` a missing segment leaves `id` 0 and returns true.
// Call on the book's thread.
bool ResolveCategoryPath(Book& db, uint64_t root, const std::wstring& path, bool create,
                         uint64_t& id, std::string& problem);

// The paths ("Food / Groceries") of the visible categories under `root` nearest to `path` by
// edit distance without letter case, closest first, at most `count`.
std::vector<std::string> ClosestCategoryPaths(Book& db, uint64_t root, const std::wstring& path,
                                              size_t count);

// "Food / Groceries" for category `id`; empty for none or a fixed root.
std::string CategoryPathOf(Book& db, uint64_t id);

}  // namespace vemra
