// Categories: the ICategories collection of one database (the category and payee trees).
#pragma once

#include <vector>

#include "collections/interfaces.h"
#include "core/records/header.h"

namespace vemra {

class Book;

class Categories : public ICategories {
 public:
  // `db`, the book that owns this collection, outlives it.
  explicit Categories(Book* db) : db_(db) {}
  ~Categories() override { db_ = nullptr; }
  Categories(const Categories&) = delete;
  Categories& operator=(const Categories&) = delete;

  uint64_t AddCategory(const TCategory& c) override;
  uint64_t UpdateCategory(const TCategory& c) override;
  TCategory GetCategory(uint64_t id) override;
  bool DeleteCategory(uint64_t id, bool delete_children) override;
  uint64_t CreateCategory(const std::wstring& name, uint64_t parent) override;
  uint64_t GetTopCategoryID(uint64_t id, uint64_t stop) override;
  bool IsInBranch(uint64_t root, uint64_t id) override;
  bool HasChildren(uint64_t id) override;
  std::list<std::shared_ptr<TCategory>> GetDescendants(uint64_t id) override;
  NodeList GetCategoriesTree(uint64_t root) override;
  bool IsReadOnly(uint64_t id) override;
  bool IsReadOnly(const TCategories& c) override;
  bool IsReadOnly(const TCategory& c) override;
  bool IsHidden(uint64_t id) override;
  bool IsHidden(const TCategories& c) override;
  bool IsHidden(const TCategory& c) override;

  // The visible categories directly under `parent` (a category or a fixed root; under root 4
  // also those under 2 and 3, under 2 or 3 also those under 4), as the editors list them: with
  // `with_strings`, copies with texts and sort order, stably sorted by Order; otherwise copies
  // without texts in ID order.
  std::vector<TCategory> GetChildren(uint64_t parent, bool with_strings);

 private:
  // One category that a delete removes, and the ID that references to it take instead.
  struct Removal {
    uint64_t ID = 0;
    uint64_t Replacement = 0;
  };

  // The container's category record `id` (no texts), or null for a fixed root, an absent
  // record or a record of another type.
  const TCategory* Find(uint64_t id);
  // Whether `c` or a category above it carries `flag` set by an owner other than the current
  // user (who must not be 0). A missing parent or a cycle ends the walk with false.
  bool MarkedUpChain(const TCategory& c, uint8_t THeader::*flag);
  // The categories that deleting `top` with its children removes, deepest first, with the IDs
  // their references move to. `top` (whose parent is `parent`) comes last.
  std::vector<Removal> PlanRemovals(uint64_t top, uint64_t parent);
  // Applies the removals, in order, to the category references of every transaction, scheduled
  // transaction, loan, budget, event and scheduled event, storing each changed record once.
  void RewireReferences(const std::vector<Removal>& plan);

  Book* db_;
};

}  // namespace vemra
