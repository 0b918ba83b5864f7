#include "collections/accounts.h"

#include <vector>

#include "collections/testing/book.h"

namespace vemra {
namespace {

using testing::BookTest;
using testing::kDollar;
using testing::kEuro;
using testing::Marks;

// (node type, record ID, balance) of every node, depth first.
struct Row {
  int32_t type;
  uint64_t id;
  double balance;
  friend bool operator==(const Row&, const Row&) = default;
};
void Flatten(const NodeList& nodes, std::vector<Row>& out) {
  for (const auto& n : nodes) {
    if (n->Type == NodeType::Group) out.push_back({n->Type, n->Group->Header.ID, 0});
    if (n->Type == NodeType::Account) {
      out.push_back({n->Type, n->Account->Header.ID, n->Account->Balance});
    }
    Flatten(n->Children, out);
  }
}

class AccountsTest : public BookTest {
 protected:
  std::vector<Row> Tree() {
    std::vector<Row> rows;
    Flatten(db.Accounts().GetAccountsTree(), rows);
    return rows;
  }
};

TEST_F(AccountsTest, OwnerMarksRestrictOtherUsersOnlyWhileSomeoneIsLoggedIn) {
  uint64_t owner = User(), other = User();
  uint64_t private_group = Group({owner, true, false});
  uint64_t locked_group = Group({owner, false, true});
  uint64_t in_private = Account(kEuro, 0, private_group);
  uint64_t in_locked = Account(kEuro, 0, locked_group);
  uint64_t hidden = Account(kEuro, 0, 0, {owner, true, false});
  uint64_t locked = Account(kEuro, 0, 0, {owner, false, true});
  uint64_t open = Account(kEuro, 0);
  IAccounts& accounts = db.Accounts();
  const std::vector<uint64_t> all{in_private, in_locked, hidden, locked, open, 0, 12345};

  for (uint64_t id : all) EXPECT_FALSE(accounts.IsHidden(id) || accounts.IsReadOnly(id)) << id;
  db.SetCurrentUser(owner);
  for (uint64_t id : all) EXPECT_FALSE(accounts.IsHidden(id) || accounts.IsReadOnly(id)) << id;

  db.SetCurrentUser(other);
  EXPECT_TRUE(accounts.IsHidden(in_private));
  EXPECT_TRUE(accounts.IsReadOnly(in_private));  // a group hidden by its owner is locked too
  EXPECT_FALSE(accounts.IsHidden(in_locked));
  EXPECT_TRUE(accounts.IsReadOnly(in_locked));
  EXPECT_TRUE(accounts.IsHidden(hidden));
  EXPECT_FALSE(accounts.IsReadOnly(hidden));
  EXPECT_TRUE(accounts.IsReadOnly(locked));
  EXPECT_FALSE(accounts.IsHidden(open) || accounts.IsReadOnly(open) || accounts.IsHidden(0));

  // Another user's tree lacks the hidden account and the hidden group with its account.
  EXPECT_EQ(Tree(), (std::vector<Row>{
                        {7, locked, 0}, {7, open, 0}, {8, locked_group, 0}, {7, in_locked, 0}}));
  TAccount changed = accounts.GetAccount(locked);
  changed.Name = L"mine now";
  EXPECT_EQ(accounts.UpdateAccount(changed), 0u);
  EXPECT_FALSE(accounts.DeleteAccount(locked));
  EXPECT_EQ(accounts.AddAccount(accounts.GetAccount(in_locked)), 0u);  // new one in a locked group

  db.SetCurrentUser(0);
  db.ReadOnly = true;
  EXPECT_TRUE(accounts.IsReadOnly(open));
  EXPECT_FALSE(accounts.IsHidden(hidden));
  EXPECT_EQ(accounts.AddAccount(TAccount()), 0u);
}

TEST_F(AccountsTest, TreeListsUngroupedFirstThenGroupsInOrderWithClearedBalancesUpToToday) {
  uint64_t second = Group(), first = Group();
  uint64_t euro = Account(kEuro, 100, first);
  uint64_t dollar = Account(kDollar, 50, first);
  uint64_t loose = Account(kEuro, 10, 999);  // its group does not exist
  uint64_t closed = Account(kEuro, 0, second);
  TAccount invisible = db.Accounts().GetAccount(closed);
  invisible.Data.Visible = 0;
  db.Accounts().UpdateAccount(invisible);
  db.SetSortOrder(second, 2, false);
  db.SetSortOrder(first, 1, false);
  db.SetSortOrder(euro, 5, false);
  db.SetSortOrder(dollar, 4, false);

  ITransactions& transactions = db.Transactions();
  transactions.AddTransaction(Tx(-1, euro, 30, dollar, 33), TSchedule());  // different amounts
  transactions.AddTransaction(Tx(0, 0, 0, euro, 7), TSchedule());
  transactions.AddTransaction(Tx(1, euro, 1000, 0, 0), TSchedule());  // tomorrow
  TTransaction uncleared = Tx(-3, dollar, 1000, 0, 0);
  uncleared.Data.Cleared = 0;
  transactions.AddTransaction(uncleared, TSchedule());

  EXPECT_EQ(Tree(),
            (std::vector<Row>{
                {7, loose, 10}, {8, first, 0}, {7, dollar, 83}, {7, euro, 77}, {8, second, 0}}));
  db.Header.Reserved2 = 1;  // show closed accounts
  EXPECT_EQ(Tree().back(), (Row{7, closed, 0}));
}

TEST_F(AccountsTest, DeletingAnAccountKeepsTransfersOneSidedAndOtherBalances) {
  uint64_t gone = Account(kEuro, 0), kept = Account(kEuro, 100), other = Account(kEuro, 0);
  ITransactions& transactions = db.Transactions();
  uint64_t expense = transactions.AddTransaction(Tx(-2, gone, 5, 0, 0), TSchedule());
  uint64_t income = transactions.AddTransaction(Tx(-2, 0, 0, gone, 9), TSchedule());
  uint64_t out = transactions.AddTransaction(Tx(-1, kept, 20, gone, 20), TSchedule());
  TTransaction in = Tx(-1, gone, 4, kept, 4);
  in.Name = L"refund";
  in.Tags = {77};
  uint64_t in_id = transactions.AddTransaction(in, TSchedule());
  uint64_t unrelated = transactions.AddTransaction(Tx(-1, kept, 1, other, 1), TSchedule());
  uint64_t unrelated_stamp = db.FindEntry(unrelated, 1)->Header.LastModDate;

  ASSERT_TRUE(db.Accounts().DeleteAccount(gone));
  EXPECT_EQ(db.FindEntry(gone, 0), nullptr);
  EXPECT_EQ(db.FindEntry(expense, 1), nullptr);
  EXPECT_EQ(db.FindEntry(income, 1), nullptr);
  TTransaction outgoing = transactions.GetTransaction(out);
  EXPECT_EQ(outgoing.Data.WithdrawAccountID, kept);
  EXPECT_EQ(outgoing.Data.TargetAccountID, 0u);
  TTransaction incoming = transactions.GetTransaction(in_id);
  EXPECT_EQ(incoming.Data.WithdrawAccountID, 0u);
  EXPECT_EQ(std::wstring(incoming.Name), L"refund");  // texts and tags survive the rewrite
  EXPECT_EQ(incoming.Tags, std::vector<uint64_t>{77});
  EXPECT_EQ(db.FindEntry(unrelated, 1)->Header.LastModDate, unrelated_stamp);
  EXPECT_EQ(Tree(), (std::vector<Row>{{7, kept, 83}, {7, other, 1}}));
  TRefusal why;
  EXPECT_FALSE(db.Accounts().DeleteAccount(gone, &why));
  EXPECT_EQ(why.Reason, TRefusal::kAbsent);

  // All or nothing: another user's locked transaction on the account stops the whole delete.
  uint64_t owner = User(), guest = User();
  uint64_t shared = Account(kEuro, 0);
  uint64_t plain = transactions.AddTransaction(Tx(-1, shared, 3, 0, 0), TSchedule());
  TTransaction mine = Tx(-1, kept, 2, shared, 2);
  uint64_t locked = Store(mine, {owner, false, true});
  db.SetCurrentUser(guest);
  EXPECT_FALSE(db.Accounts().DeleteAccount(shared, &why));
  EXPECT_EQ(why.Reason, TRefusal::kDependentReadOnly);
  EXPECT_EQ(why.RecordID, locked);
  EXPECT_NE(db.FindEntry(shared, 0), nullptr);
  EXPECT_NE(db.FindEntry(plain, 1), nullptr);
  EXPECT_EQ(transactions.GetTransaction(locked).Data.TargetAccountID, shared);
  db.SetCurrentUser(owner);
  EXPECT_TRUE(db.Accounts().DeleteAccount(shared, &why));
  EXPECT_EQ(why.Reason, TRefusal::kNone);
}

TEST_F(AccountsTest, DefaultAccountCurrencyAndRate) {
  IAccounts& accounts = db.Accounts();
  EXPECT_EQ(accounts.GetDefaultAccountID(), 0u);
  uint64_t euro = Account(kEuro, 0), dollar = Account(kDollar, 0);
  static_cast<Accounts&>(accounts).PreferredAccountID = dollar;
  EXPECT_EQ(accounts.GetDefaultAccountID(), dollar);
  accounts.DeleteAccount(dollar);
  EXPECT_EQ(accounts.GetDefaultAccountID(), euro);
  dollar = Account(kDollar, 0);

  EXPECT_EQ(accounts.GetCurrencyID(dollar), kDollar);
  EXPECT_EQ(accounts.GetCurrencyID(12345), 0u);
  ASSERT_TRUE(db.SetExRate(kEuro, kDollar, 1.25));
  EXPECT_DOUBLE_EQ(accounts.GetExchangeRate(euro, dollar), 1.25);
  EXPECT_DOUBLE_EQ(accounts.GetExchangeRate(dollar, euro), 0.8);
  EXPECT_DOUBLE_EQ(accounts.GetExchangeRate(euro, euro), 1.0);
}

}  // namespace
}  // namespace vemra
