// The one visibility rule, as every view and every change sees it: for each user, what the
// transaction list shows is what the balances count, what the suggestions offer and what may be
// changed, and an account's balance is the running balance at the end of its list.
#include <functional>
#include <map>
#include <set>
#include <vector>

#include "collections/testing/book.h"
#include "core/records/split.h"

namespace vemra {
namespace {

using testing::BookTest;
using testing::kEuro;

class VisibilityTest : public BookTest {};

TEST_F(VisibilityTest, ListsBalancesSuggestionsAndChangesAgreeForEveryUser) {
  const uint64_t owner = User(), guest = User();
  const uint64_t shared = Account(kEuro, 100);
  const uint64_t mine = Account(kEuro, 10, 0, {owner, true, false});
  const uint64_t in_my_group = Account(kEuro, 1, Group({owner, true, false}));
  const uint64_t my_category = Category(kCategoryRoot, L"Secret", {owner, true, false});
  TSplit my_split;
  my_split.Data.Date = ADate(testing::kToday);
  const uint64_t split = Store(my_split, {owner, true, false});

  struct Case {
    const wchar_t* name;
    TTransaction t;
    testing::Marks marks = {};
    bool guest_sees;
  };
  auto tx = [](uint64_t from, uint64_t to) { return Tx(-1, from, 5, to, 5, 1000); };
  auto in_category = [&] {
    TTransaction t = tx(shared, 0);
    t.Categories.CategoryID = my_category;
    return t;
  };
  auto in_split = [&] {
    TTransaction t = tx(shared, 0);
    t.Data.SplitID = split;
    return t;
  };
  std::vector<Case> cases = {
      {L"Plain", tx(shared, 0), {}, true},
      {L"Private", tx(shared, 0), {owner, true, false}, false},
      {L"From a hidden account", tx(mine, 0), {}, false},
      {L"Into a hidden group", tx(0, in_my_group), {}, false},
      {L"Transfer to a hidden account", tx(shared, mine), {}, true},
      {L"Between hidden accounts", tx(mine, in_my_group), {}, false},
      {L"Hidden category", in_category(), {}, false},
      {L"Part of a hidden split", in_split(), {}, false},
  };
  std::map<uint64_t, const Case*> by_id;
  for (Case& c : cases) {
    c.t.Name = c.name;
    by_id[Store(c.t, c.marks)] = &c;
  }

  for (uint64_t user : {uint64_t{0}, owner, guest}) {
    SCOPED_TRACE(user);
    db.SetCurrentUser(user);
    ITransactions& transactions = db.Transactions();
    auto visible = [&](const Case& c) { return user != guest || c.guest_sees; };

    // The list of every account shows exactly the visible transactions.
    TTransactionFilter all;
    all.Begin = ADate(0);
    all.End = ADate(testing::kToday);
    std::vector<TTransaction> rows;
    db.QueryTransactions(rows, all);
    std::set<uint64_t> listed;
    for (const TTransaction& t : rows) listed.insert(t.Header.ID);
    for (const auto& [id, c] : by_id) {
      EXPECT_EQ(listed.count(id) == 1, visible(*c)) << c->name;
      EXPECT_EQ(transactions.IsHidden(id), !visible(*c)) << c->name;
      // What the user may not see they may not change either.
      if (!visible(*c)) {
        EXPECT_TRUE(transactions.IsReadOnly(id)) << c->name;
      }
    }
    // Suggestions offer only the texts of visible transactions.
    std::set<std::wstring> offered;
    for (const TDescription& d : transactions.GetDescriptions()) offered.insert(d.Description);
    for (const auto& [id, c] : by_id) EXPECT_EQ(offered.count(c->name) == 1, visible(*c));

    // Each account's balance is the running balance at the end of its own list.
    std::function<void(const NodeList&)> check = [&](const NodeList& nodes) {
      for (const auto& n : nodes) {
        check(n->Children);
        if (n->Type != NodeType::Account) continue;
        TTransactionFilter one = all;
        one.Accounts = {n->Account->Header.ID};
        one.CurrencyID = kEuro;
        std::vector<TTransaction> list;
        db.QueryTransactions(list, one);
        double end = list.empty() ? n->Account->Data.InitialBalance : list.back().Balance;
        EXPECT_DOUBLE_EQ(n->Account->Balance, end) << n->Account->Header.ID;
      }
    };
    check(db.Accounts().GetAccountsTree());
  }

  // A guest cannot delete or edit what they cannot see.
  db.SetCurrentUser(guest);
  for (const auto& [id, c] : by_id) {
    if (c->guest_sees) continue;
    EXPECT_FALSE(db.Transactions().DeleteTransaction(id)) << c->name;
    TTransaction t = db.Transactions().GetTransaction(id);
    EXPECT_EQ(db.Transactions().UpdateTransaction(t, TSchedule()), 0u) << c->name;
  }
}

}  // namespace
}  // namespace vemra
