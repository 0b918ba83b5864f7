#include "lists/account_list.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "platform/unicode.h"

namespace vemra::lists {
namespace {

// A new book's template accounts removed; then Cash (USD 100), Card (USD 10) in group Euro
// (EUR) with Savings (EUR 50), and a closed account Old (USD 7), EUR = 2 USD.
class AccountListTest : public ::testing::Test {
 protected:
  AccountListTest() {
    document.New("en");
    document.Sync([&] {
      Book& db = document.database();
      for (const auto& node : db.Accounts().GetAccountsTree()) {
        if (node->Account) db.Accounts().DeleteAccount(node->Account->Header.ID);
        for (const auto& child : node->Children)
          db.Accounts().DeleteAccount(child->Account->Header.ID);
      }
      usd = db.Currencies().GetDefaultCurrencyID();
      for (const TCurrency& c : db.Currencies().GetAllCurrencies()) {
        if (c.GetCode() == "EUR") eur = c.Header.ID;
      }
      db.SetExRate(eur, usd, 2.0);
      auto group = std::make_unique<TAccGroup>();
      group->Data.CurrencyID = eur;
      group->Name = L"Euro";
      euro = db.StoreEntry(std::move(group));
      cash = AddAccount(db, L"Cash", usd, 100, 0);
      card = AddAccount(db, L"Card", usd, 10, euro);
      savings = AddAccount(db, L"Savings", eur, 50, euro);
      old = AddAccount(db, L"Old", usd, 7, 0, false);
    });
    list.loadDataAndWait();
  }

  uint64_t AddAccount(Book& db, const std::wstring& name, uint64_t currency, double opening,
                      uint64_t group, bool visible = true) {
    TAccount a;
    a.Name = name;
    a.Data.CurrencyID = currency;
    a.Data.InitialBalance = opening;
    a.Data.GroupID = group;
    a.Data.Visible = visible ? 1 : 0;
    return db.Accounts().AddAccount(a);
  }

  // "Name balance" for every row, the overall row as "*".
  std::vector<std::string> Shown() {
    list.loadDataAndWait();
    std::vector<std::string> out;
    for (const auto& row : list.rows()) {
      std::string name = row->Type == kOverallRow ? "*" : WideToUtf8Lossy(row->Name);
      out.push_back(name + " " + std::to_string(std::lround(row->Balance * 100)));
    }
    return out;
  }

  size_t IndexOf(uint64_t id) {
    Rows rows = list.rows();
    for (size_t i = 0; i < rows.size(); ++i) {
      if (rows[i]->ID == id && rows[i]->Type != kOverallRow) return i;
    }
    return rows.size();
  }

  Document document;
  AccountList list{document};
  uint64_t usd = 0, eur = 0, euro = 0, cash = 0, card = 0, savings = 0, old = 0;
};

TEST_F(AccountListTest, BalancesConvertIntoTheGroupAndTheDefaultCurrency) {
  // Overall: 100 + 10 + 50 x 2 = 210 USD; the group: 10 / 2 + 50 = 55 EUR.
  EXPECT_EQ(Shown(), (std::vector<std::string>{"* 21000", "Cash 10000", "Euro 5500", "Card 1000",
                                               "Savings 5000"}));
  document.Sync([&] { document.database().Header.Reserved2 = 1; });
  EXPECT_EQ(Shown(), (std::vector<std::string>{"* 21700", "Cash 10000", "Old 700", "Euro 5500",
                                               "Card 1000", "Savings 5000"}));
}

TEST_F(AccountListTest, ABalanceWithoutARateIsMarked) {
  EXPECT_FALSE(list.rows().front()->NoRate);
  document.Sync([&] {
    Book& db = document.database();
    for (const TCurrency& c : db.Currencies().GetAllCurrencies()) {
      if (c.GetCode() == "GBP") AddAccount(db, L"Pounds", c.Header.ID, 5, euro);
    }
  });
  list.loadDataAndWait();
  const Rows rows = list.rows();
  EXPECT_TRUE(rows.front()->NoRate);  // the overall balance holds it unconverted
  for (const auto& row : rows) {
    EXPECT_EQ(row->NoRate,
              row->Name == L"Pounds" || row->Name == L"Euro" || row->Type == kOverallRow)
        << WideToUtf8Lossy(row->Name);
  }
}

TEST_F(AccountListTest, SelectionsChooseAccountsAndCurrency) {
  struct Case {
    std::vector<size_t> rows;
    std::vector<uint64_t> accounts;
    uint64_t currency;
    bool nothing;
    bool can_delete;
  };
  // Rows: 0 overall, 1 Cash, 2 Euro, 3 Card, 4 Savings.
  const Case kCases[] = {
      {{3}, {card}, usd, false, true},
      {{4}, {savings}, eur, false, true},
      {{1, 4}, {cash, savings}, usd, false, false},
      {{2}, {card, savings}, usd, false, true},
      {{0}, {}, usd, false, false},
      {{}, {}, usd, false, false},
  };
  for (const Case& c : kCases) {
    AccountList::Selection s = list.select(c.rows);
    EXPECT_EQ(s.accounts, c.accounts);
    EXPECT_EQ(s.currency, c.currency);
    EXPECT_EQ(s.nothing, c.nothing);
    EXPECT_EQ(s.can_delete, c.can_delete);
  }
  // A group holding one account shows it in the group's currency; an empty group shows nothing.
  ASSERT_TRUE(list.acceptDrop({3}, 5, AccountList::Drop::Above));  // Card past the end: top level
  Shown();
  EXPECT_EQ(list.select({IndexOf(euro)}).accounts, std::vector<uint64_t>{savings});
  EXPECT_EQ(list.select({IndexOf(euro)}).currency, eur);
  ASSERT_TRUE(list.acceptDrop({IndexOf(savings)}, IndexOf(cash), AccountList::Drop::Above));
  Shown();
  EXPECT_TRUE(list.select({IndexOf(euro)}).nothing);
}

TEST_F(AccountListTest, DropsReorderRegroupAndAreRefusedWhereThePartSays) {
  using D = AccountList::Drop;
  // Rows: 0 overall, 1 Cash, 2 Euro, 3 Card, 4 Savings.
  const std::tuple<std::vector<size_t>, size_t, D, bool> kDrops[] = {
      {{1}, 0, D::Above, false},  // above the overall row
      {{1}, 1, D::On, false},     // on itself
      {{2}, 1, D::On, false},     // a group on a row
      {{2}, 3, D::Above, false},  // a group above an account
      {{1}, 3, D::On, false},     // an account on an account
      {{1}, 2, D::On, true},      // an account on a group joins it
      {{1}, 5, D::On, true},      // past the end
      {{3, 4}, 1, D::Above, true},
  };
  for (const auto& [dragged, target, how, ok] : kDrops) {
    EXPECT_EQ(list.validateDrop(dragged, target, how), ok) << target;
  }
  // Cash dropped above the Euro header lands in the group of the row above it: none.
  ASSERT_TRUE(list.acceptDrop({1}, 2, D::Above));
  EXPECT_EQ(Shown()[1], "Cash 10000");
  // Savings and Card dragged above Cash: they leave the group together, in row order.
  ASSERT_TRUE(list.acceptDrop({3, 4}, 1, D::Above));
  EXPECT_EQ(Shown(), (std::vector<std::string>{"* 21000", "Card 1000", "Savings 5000", "Cash 10000",
                                               "Euro 0"}));
  // Cash dropped on the group joins it.
  ASSERT_TRUE(list.acceptDrop({3}, 4, D::On));
  EXPECT_EQ(Shown(), (std::vector<std::string>{"* 21000", "Card 1000", "Savings 5000", "Euro 5000",
                                               "Cash 10000"}));
}

TEST_F(AccountListTest, DeletingAGroupKeepsItsAccountsAndAnAccountAsks) {
  EXPECT_EQ(list.deleteQuestion(1), "Delete account \"Cash\"?");
  EXPECT_EQ(list.deleteQuestion(2), "");
  std::string why;
  EXPECT_FALSE(list.deleteRow(0, &why));
  ASSERT_TRUE(list.deleteRow(2));
  EXPECT_EQ(Shown(),
            (std::vector<std::string>{"* 21000", "Cash 10000", "Card 1000", "Savings 5000"}));
  ASSERT_TRUE(list.deleteRow(IndexOf(savings)));
  EXPECT_EQ(Shown(), (std::vector<std::string>{"* 11000", "Cash 10000", "Card 1000"}));
  document.doUndo("delete");
  EXPECT_EQ(Shown().size(), 4u);
}

}  // namespace
}  // namespace vemra::lists
