#include "editors/account_edit_model.h"

#include <gtest/gtest.h>

namespace vemra::editors {
namespace {

class AccountEditModelTest : public ::testing::Test {
 protected:
  AccountEditModelTest() {
    document.New("en");
    document.Sync([&] {
      home = document.database().Currencies().GetDefaultCurrencyID();
      main_account = document.database().UserSettings.DefaultAccountID;
    });
  }
  Document document;
  uint64_t home = 0, main_account = 0;
};

TEST_F(AccountEditModelTest, NewAccountsStartPlainAndStoreTheOpeningInMinorUnits) {
  AccountEditModel model(document, 0, false);
  EXPECT_TRUE(model.isNew());
  EXPECT_TRUE(model.isShown("kind"));
  EXPECT_TRUE(model.isShown("opening"));
  EXPECT_FALSE(model.hasChanges());
  model.setName(L"Cash");
  model.setOpeningBalance("-0,125");
  EXPECT_TRUE(model.hasChanges());
  const uint64_t id = model.save();
  ASSERT_NE(id, 0u);
  EXPECT_EQ(model.account().Data.InitialBalance, -0.13);  // half away from zero, cents
  EXPECT_EQ(model.account().Data.CurrencyID, home);
  EXPECT_EQ(model.account().Data.Visible, 1);
  EXPECT_EQ(model.account().Data.GroupID, 0u);
  EXPECT_EQ(model.openingBalance(), "-0.13");

  // An existing account keeps its kind; choosing its currency again still counts as a change.
  AccountEditModel edit(document, id, false);
  EXPECT_FALSE(edit.setGroup(true));
  EXPECT_FALSE(edit.isShown("kind"));
  EXPECT_FALSE(edit.hasChanges());
  edit.setCurrency(home);
  EXPECT_TRUE(edit.hasChanges());
  edit.setHidden(true);
  ASSERT_EQ(edit.save(), id);
  EXPECT_EQ(edit.account().Data.Visible, 0);
}

TEST_F(AccountEditModelTest, RefusalsWriteNothing) {
  struct Case {
    std::wstring name;
    std::string opening;
  };
  const Case kCases[] = {
      {L"", "0"},          {L"MAIN", "0"}, {L"Spare", "abc"}, {L"Spare", "10000000000000"},
      {L"Spare", "1.2.3"},
  };
  for (const Case& c : kCases) {
    AccountEditModel model(document, 0, false);
    model.setName(c.name);
    model.setOpeningBalance(c.opening);
    std::vector<std::string> problems;
    EXPECT_EQ(model.save(&problems), 0u) << c.opening;
    EXPECT_FALSE(problems.empty());
  }
  size_t accounts = 0;
  document.Sync([&] {
    for (const auto& [id, e] : document.database().GetTable(0))
      accounts += e->Header.Type == etAccount;
  });
  EXPECT_EQ(accounts, 1u);
}

TEST_F(AccountEditModelTest, GroupsHideAccountControlsAndKeepWhatOnlyTheyCarry) {
  AccountEditModel model(document, 0, false);
  ASSERT_TRUE(model.setGroup(true));
  EXPECT_FALSE(model.isShown("hidden"));
  EXPECT_FALSE(model.isShown("opening"));
  model.setName(L"Banks");
  const uint64_t id = model.save();
  ASSERT_NE(id, 0u);
  document.Sync([&] {
    auto g = document.database().GetEntry(id, 0);
    static_cast<TAccGroup&>(*g).Data.Field0 = 77;
    document.database().StoreEntry(std::move(g));
  });
  AccountEditModel edit(document, id, true);
  edit.setName(L"Bank accounts");
  edit.setIcon(5);
  ASSERT_EQ(edit.save(), id);
  EXPECT_EQ(edit.group().Data.Field0, 77u);
  EXPECT_EQ(edit.group().Data.ImageIndex, 5u);
  EXPECT_EQ(edit.group().Name, L"Bank accounts");
  // An account joins it through the editor.
  AccountEditModel account(document, main_account, false);
  account.setAccountGroup(id);
  ASSERT_EQ(account.save(), main_account);
  EXPECT_EQ(account.account().Data.GroupID, id);
}

}  // namespace
}  // namespace vemra::editors
