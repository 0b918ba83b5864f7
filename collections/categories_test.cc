#include "collections/categories.h"

#include <gtest/gtest.h>

#include "collections/book.h"
#include "core/records/budget.h"
#include "core/records/loan.h"
#include "core/records/scheduled_event.h"
#include "core/records/scheduled_transaction.h"
#include "platform/clock.h"

namespace vemra {
namespace {

using Ids = std::vector<uint64_t>;

class CategoriesTest : public ::testing::Test {
 protected:
  CategoriesTest() { db.SetCurrentUser(0); }

  uint64_t Cat(uint64_t parent, uint64_t owner = 0, bool hidden = false, bool locked = false) {
    TCategory c;
    c.Data.RootID = parent;
    c.Header.OwnerID = owner;
    c.Header.Hidden = hidden;
    c.Header.ReadOnly = locked;
    return db.StoreEntry(c.Clone());
  }
  template <class T>
  uint64_t Refer(const TCategories& c) {
    T r;
    r.Categories = c;
    return db.StoreEntry(r.Clone());
  }
  TCategories RefsOf(uint64_t id, uint32_t table) {
    return dynamic_cast<const TTaggedEntry&>(*db.FindEntry(id, table)).Categories;
  }
  template <class List>
  static Ids IdsOf(const List& list) {
    Ids ids;
    for (const auto& e : list) {
      if constexpr (requires { e->Category; }) {
        ids.push_back(e->Category->Header.ID);  // tree nodes
      } else if constexpr (requires { e->Header; }) {
        ids.push_back(e->Header.ID);  // descendant lists
      } else {
        ids.push_back(e.Header.ID);  // child lists
      }
    }
    return ids;
  }

  platform::ScopedClockPin pin{int64_t{20000} * 86400 + 12 * 3600};
  Book db;
  Categories& cats = static_cast<Categories&>(db.Categories());
};

TEST_F(CategoriesTest, TreesListingsAndWalksFollowTheFixedRoots) {
  uint64_t a = Cat(4), b = Cat(2), c = Cat(3), a1 = Cat(a), a2 = Cat(a);
  Cat(999'999);  // its parent is neither a category nor a root: left out everywhere
  db.SetSortOrder(a, 2, false);
  db.SetSortOrder(b, 1, false);
  NodeList tree = cats.GetCategoriesTree(4);
  EXPECT_EQ(IdsOf(tree), (Ids{a, b, c}));
  EXPECT_EQ(IdsOf(tree.front()->Children), (Ids{a1, a2}));  // by ID, not by Order
  EXPECT_EQ(IdsOf(cats.GetCategoriesTree(2)), (Ids{b}));
  EXPECT_EQ(IdsOf(cats.GetChildren(4, true)), (Ids{c, b, a}));  // by Order
  EXPECT_EQ(IdsOf(cats.GetChildren(2, false)), (Ids{a, b}));
  EXPECT_EQ(IdsOf(cats.GetDescendants(4)), (Ids{a, b, c, a1, a2}));

  EXPECT_EQ(cats.GetTopCategoryID(a1, 4), a);
  EXPECT_EQ(cats.GetTopCategoryID(a1, a), a1);
  EXPECT_EQ(cats.GetTopCategoryID(b, 4), b);  // the chain ends at sub-root 2
  EXPECT_TRUE(cats.IsInBranch(4, b));
  EXPECT_FALSE(cats.IsInBranch(2, a1));

  size_t records = db.GetTable(0).size();
  EXPECT_EQ(cats.CreateCategory(L"", a), 0u);
  EXPECT_EQ(db.GetTable(0).size(), records);
  TCategory fuel = cats.GetCategory(cats.CreateCategory(L"Fuel", a1));
  EXPECT_EQ(fuel.Name, L"Fuel");
  EXPECT_EQ(fuel.Data.RootID, a1);
}

TEST_F(CategoriesTest, MarksProtectWholeSubtreesFromOtherUsersAndCyclesEndTheWalks) {
  uint64_t owner = db.StoreEntry(std::make_unique<TUser>());
  uint64_t other = db.StoreEntry(std::make_unique<TUser>());
  uint64_t top = Cat(4), hidden = Cat(top, owner, true), under_hidden = Cat(hidden);
  uint64_t locked = Cat(4, owner, false, true), under_locked = Cat(locked);
  uint64_t x = Cat(4), y = Cat(x);
  TCategory cx = cats.GetCategory(x);
  cx.Data.RootID = y;  // x and y now name each other
  ASSERT_EQ(cats.UpdateCategory(cx), x);

  db.SetCurrentUser(other);
  EXPECT_TRUE(cats.IsHidden(TCategories{.PayeeID = under_hidden}));
  EXPECT_TRUE(cats.IsReadOnly(TCategories{.ProjectID = under_hidden}));
  EXPECT_FALSE(cats.IsReadOnly(TCategories{.CategoryID = under_locked}));  // hidden marks only
  EXPECT_TRUE(cats.IsReadOnly(under_locked));
  EXPECT_EQ(cats.CreateCategory(L"No", under_locked), 0u);
  EXPECT_FALSE(cats.DeleteCategory(locked, false));
  EXPECT_TRUE(cats.HasChildren(top));  // hidden children count
  uint64_t mine = cats.CreateCategory(L"Mine", top);
  NodeList tree = cats.GetCategoriesTree(4);  // x and y hang under each other: left out
  EXPECT_EQ(IdsOf(tree), (Ids{top, locked}));
  EXPECT_EQ(IdsOf(tree.front()->Children), (Ids{mine}));
  EXPECT_EQ(IdsOf(cats.GetDescendants(top)), (Ids{mine}));
  EXPECT_FALSE(cats.IsHidden(x));
  EXPECT_EQ(cats.GetTopCategoryID(x, 4), 0u);
  EXPECT_FALSE(cats.IsInBranch(4, x));

  // The hidden child is not listed, so it stays under the deleted category.
  EXPECT_TRUE(cats.DeleteCategory(top, false));
  EXPECT_EQ(cats.GetCategory(hidden).Data.RootID, top);
  EXPECT_EQ(cats.GetCategory(mine).Data.RootID, 4u);

  db.SetCurrentUser(owner);
  EXPECT_FALSE(cats.IsHidden(under_hidden) || cats.IsReadOnly(under_locked));
  db.SetCurrentUser(0);
  db.ReadOnly = true;
  EXPECT_TRUE(cats.IsReadOnly(TCategories{}));
  db.ReadOnly = false;
  EXPECT_TRUE(cats.DeleteCategory(x, true));
  EXPECT_TRUE(db.FindEntry(x, 0) == nullptr && db.FindEntry(y, 0) == nullptr);
}

TEST_F(CategoriesTest, DeletesMoveChildrenAndReferencesOneLevelUp) {
  uint64_t top = Cat(4), sub = Cat(top), leaf = Cat(sub);
  uint64_t at_top = Refer<TTransaction>({.CategoryID = top});
  uint64_t twice = Refer<TTransaction>({.CategoryID = leaf, .PayeeID = leaf});
  ASSERT_TRUE(cats.DeleteCategory(leaf, false));
  EXPECT_EQ(RefsOf(twice, 1), (TCategories{.CategoryID = sub, .PayeeID = leaf}));  // first only
  ASSERT_TRUE(cats.DeleteCategory(top, false));
  EXPECT_EQ(cats.GetCategory(sub).Data.RootID, 4u);
  EXPECT_EQ(RefsOf(at_top, 1).CategoryID, 0u);  // a fixed root is never written

  uint64_t parent = Cat(4), doomed = Cat(parent), child = Cat(doomed), grandchild = Cat(child);
  TTransaction lunch;
  lunch.Name = L"Lunch";
  lunch.Tags = {sub};
  lunch.Categories.CategoryID = grandchild;
  uint64_t spent = db.StoreEntry(lunch.Clone());
  uint64_t plan = Refer<TScheduledTransaction>({.FamilyID = child});
  uint64_t loan = Refer<TLoan>({.PayeeID = doomed});
  uint64_t budget = Refer<TBudget>({.ProjectID = grandchild});
  uint64_t event = Refer<TEvent>({.CategoryID = child});
  uint64_t recurring = Refer<TScheduledEvent>({.FamilyID = grandchild});

  ASSERT_TRUE(cats.DeleteCategory(doomed, true));
  for (uint64_t gone : {doomed, child, grandchild}) EXPECT_EQ(db.FindEntry(gone, 0), nullptr);
  EXPECT_EQ(RefsOf(spent, 1), (TCategories{.CategoryID = parent}));
  EXPECT_EQ(RefsOf(plan, 0), (TCategories{.FamilyID = parent}));
  EXPECT_EQ(RefsOf(loan, 0), (TCategories{.PayeeID = parent}));
  EXPECT_EQ(RefsOf(budget, 0), (TCategories{.ProjectID = parent}));
  EXPECT_EQ(RefsOf(event, 2), (TCategories{.CategoryID = parent}));
  EXPECT_EQ(RefsOf(recurring, 0), (TCategories{.FamilyID = parent}));
  auto stored = db.GetEntry(spent, 1);  // stored again with its texts and tags
  EXPECT_EQ(static_cast<TTransaction&>(*stored).Name.str(), L"Lunch");
  EXPECT_EQ(static_cast<TTransaction&>(*stored).Tags, Ids{sub});
}

}  // namespace
}  // namespace vemra
