#include "editors/transaction_edit_model.h"

#include <gtest/gtest.h>

#include <cmath>

#include "collections/book.h"
#include "core/records/currency.h"
#include "editors/schedule_edit_model.h"

namespace vemra::editors {
namespace {

class TransactionEditModelTest : public ::testing::Test {
 protected:
  TransactionEditModelTest() {
    TTransaction::ResetEditOrder();
    document.New("en");
    document.Sync([&] {
      Book& book = document.database();
      usd = book.Currencies().GetDefaultCurrencyID();
      TCurrency euro;
      euro.Name = L"Euro";
      euro.SetCode(L"EUR");
      euro.Data.Decimals = 2;
      eur = book.Currencies().AddCurrency(euro);
      book.Currencies().SetExchangeRate(usd, eur, 0.9);
      main_account = book.UserSettings.DefaultAccountID;
      savings = AddAccount(book, L"Savings", usd);
      euros = AddAccount(book, L"Euros", eur);
    });
  }
  ~TransactionEditModelTest() override { TTransaction::ResetEditOrder(); }

  static uint64_t AddAccount(Book& book, const wchar_t* name, uint64_t currency) {
    TAccount a;
    a.Name = name;
    a.Data.CurrencyID = currency;
    a.Data.Visible = 1;
    return book.Accounts().AddAccount(a);
  }
  TTransaction Stored(uint64_t id) {
    TTransaction t;
    document.Sync([&] { t = document.database().Transactions().GetTransaction(id); });
    return t;
  }
  // A new transfer from the main account to `to`, as a user opens and fills it.
  TransactionEditModel Transfer(uint64_t to) {
    TransactionEditModel m(document, 0);
    m.setTransactionType(TransactionEditModel::kTransfer);
    EXPECT_TRUE(m.selectTargetAccount(to));
    return m;
  }

  Document document;
  uint64_t usd = 0, eur = 0, main_account = 0, savings = 0, euros = 0;
};

TEST(DoubleFromStringTest, TrimsThenKeepsDigitsSignAndTheSeparator) {
  const struct {
    const char* text;
    const char* separator;
    double value;
  } cases[] = {
      {"1 234,50 €", ",", 1234.5},
      {",5", ",", 5},
      {"abc", ",", 0},
      {"$1,234.56", ".", 1234.56},
      {"-12.5", ".", -12.5},
      {"1.2.3", ".", 0},
      {"--5", ".", 0},
      {"12\u00A0345,6", ",", 12345.6},
      {"", ".", 0},
      {"1e5", ".", 15},  // letters inside are dropped, as group separators are
  };
  for (const auto& c : cases) {
    EXPECT_EQ(TransactionEditModel::DoubleFromString(c.text, c.separator), c.value) << c.text;
  }
}

TEST_F(TransactionEditModelTest, AmountCouplingFollowsTheEditOrder) {
  TransactionEditModel m(document, 0);
  EXPECT_EQ(m.transactionType(), TransactionEditModel::kExpense);
  EXPECT_EQ(m.withdrawAccount().Header.ID, main_account);
  EXPECT_FALSE(m.isShown("quantity"));
  m.showAmountDetails(true);
  EXPECT_TRUE(m.isShown("quantity") && m.isShown("price") && !m.isShown("targetAmount"));
  ASSERT_TRUE(m.withdrawAmountTyped("100", "."));
  TTransaction::ResetEditOrder();  // [0]
  // Quantity 4 on 100 x 1: the amount, edited longest ago, becomes 100 x 4.
  ASSERT_TRUE(m.quantityTyped("4", "."));
  EXPECT_EQ(m.transaction().Data.WithdrawAmount, 400);
  EXPECT_EQ(m.priceText(), "100.00");
  // [0, 2] -> price typed: [0, 2, 1]; the amount is again the oldest: 4 x 25.
  ASSERT_TRUE(m.priceTyped("25", "."));
  EXPECT_EQ(m.transaction().Data.WithdrawAmount, 100);
  EXPECT_EQ(m.transaction().Data.Quantity, 4);
  // The value a field already holds changes nothing.
  TransactionEditModel same(document, 0);
  EXPECT_FALSE(same.withdrawAmountTyped("0", "."));
  EXPECT_FALSE(same.quantityTyped("1", "."));
  EXPECT_FALSE(same.hasChanges());
  // Price 0 while the oldest field is not the amount: the quantity becomes 1.
  ASSERT_TRUE(m.quantityTyped("8", "."));
  ASSERT_TRUE(m.withdrawAmountTyped("80", "."));
  ASSERT_TRUE(m.priceTyped("0", "."));
  EXPECT_EQ(m.transaction().Data.Quantity, 1);
}

TEST_F(TransactionEditModelTest, TransfersBetweenCurrenciesCoupleThroughTheRate) {
  // USD -> EUR at 0.9: typing only the received amount gives 100.00 / 90.00.
  TransactionEditModel a = Transfer(euros);
  EXPECT_TRUE(a.isShown("exRate") && a.isShown("targetAmount") && !a.isShown("details"));
  ASSERT_TRUE(a.targetAmountTyped("90", "."));
  EXPECT_EQ(a.withdrawAmountText(), "100.00");
  EXPECT_EQ(a.targetAmountText(), "90.00");
  const uint64_t id = a.save();
  ASSERT_NE(id, 0u);
  EXPECT_EQ(Stored(id).Data.WithdrawAmount, 100);
  EXPECT_EQ(Stored(id).Data.TargetAmount, 90);

  // Both amounts typed: both are kept.
  TTransaction::ResetEditOrder();
  TransactionEditModel b = Transfer(euros);
  b.withdrawAmountTyped("100", ".");
  b.targetAmountTyped("92", ".");
  EXPECT_EQ(b.transaction().Data.TargetAmount, 92);
  EXPECT_EQ(b.exRateText(), "0.92");

  // Only the amount taken: the received amount stays 0 and saving is refused.
  TTransaction::ResetEditOrder();
  TransactionEditModel c = Transfer(euros);
  c.withdrawAmountTyped("100", ".");
  std::vector<std::string> problems;
  EXPECT_EQ(c.save(&problems), 0u);
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_NE(problems[0].find("both amounts"), std::string::npos);

  // Between accounts of one currency there is one amount: it sets both.
  TransactionEditModel d = Transfer(savings);
  EXPECT_FALSE(d.isShown("exRate") || d.isShown("targetAmount"));
  d.withdrawAmountTyped("12.5", ".");
  EXPECT_EQ(d.transaction().Data.TargetAmount, 12.5);
  d.swapAccounts();
  EXPECT_EQ(d.withdrawAccount().Header.ID, savings);
  EXPECT_EQ(d.targetAccount().Header.ID, main_account);
}

TEST_F(TransactionEditModelTest, SavingClearsTheUnusedSideAndRoundsToMinorUnits) {
  TransactionEditModel m(document, 0);
  m.selectTargetAccount(savings);
  m.setTransactionType(TransactionEditModel::kIncome);
  ASSERT_TRUE(m.targetAmountTyped("10.125", "."));
  m.setCategoryText(L"Windfalls/Birthday");
  m.setPayeeText(L"Grandma");
  m.setName(L"Present");
  m.setDate(MakeADate(2026, 2, 14));
  const uint64_t id = m.save();
  ASSERT_NE(id, 0u);
  const TTransaction t = Stored(id);
  EXPECT_EQ(t.Data.WithdrawAccountID, 0u);
  EXPECT_EQ(t.Data.WithdrawAmount, 0);
  EXPECT_EQ(t.Data.TargetAmount, 10.13);  // half away from zero
  EXPECT_EQ(std::wstring(t.Name), L"Present");
  // The typed category became a path under the category root, the payee one under its own.
  TCategory birthday, gifts, grandma;
  document.Sync([&] {
    Book& book = document.database();
    birthday = book.Categories().GetCategory(t.Categories.CategoryID);
    gifts = book.Categories().GetCategory(birthday.Data.RootID);
    grandma = book.Categories().GetCategory(t.Categories.PayeeID);
    // The next new transaction starts on the saved date.
    EXPECT_EQ(book.TransactionDefaults().DefaultDate, MakeADate(2026, 2, 14));
  });
  EXPECT_EQ(std::wstring(birthday.Name), L"Birthday");
  EXPECT_EQ(std::wstring(gifts.Name), L"Windfalls");
  EXPECT_EQ(gifts.Data.RootID, kCategoryRoot);
  EXPECT_EQ(grandma.Data.RootID, kPayeeRoot);
  EXPECT_EQ(TransactionEditModel(document, 0).date(), MakeADate(2026, 2, 14));

  // -0.004 rounds to 0 and is stored without a sign.
  TransactionEditModel edit(document, id);
  EXPECT_FALSE(edit.hasChanges());
  edit.targetAmountTyped("-0.004", ".");
  ASSERT_EQ(edit.save(), id);
  EXPECT_FALSE(std::signbit(Stored(id).Data.TargetAmount));
}

TEST_F(TransactionEditModelTest, RefusalsNameTheRuleAndWriteNothing) {
  const struct {
    const char* what;
    std::function<void(TransactionEditModel&)> fill;
    const char* message;
  } cases[] = {
      {"income without account",
       [](TransactionEditModel& m) {
         m.setTransactionType(TransactionEditModel::kIncome);
         m.targetAmountTyped("5", ".");
       },
       "an income needs"},
      {"transfer to itself",
       [&](TransactionEditModel& m) {
         m.setTransactionType(TransactionEditModel::kTransfer);
         m.selectTargetAccount(main_account);
         m.withdrawAmountTyped("5", ".");
       },
       "two different accounts"},
      {"amount too large",
       [](TransactionEditModel& m) { m.withdrawAmountTyped("10000000000000", "."); },
       "below 10^13"},
      {"weekly without weekday",
       [](TransactionEditModel& m) {
         m.withdrawAmountTyped("5", ".");
         m.setScheduleItem(2);
         TSchedule s = m.schedule();
         s.WeekDays.fill(0);
         m.scheduleUpdated(s);
       },
       "needs a weekday"},
      {"finish before start",
       [](TransactionEditModel& m) {
         m.withdrawAmountTyped("5", ".");
         m.setScheduleItem(1);
         TSchedule s = m.schedule();
         s.End = 1;
         s.EndDate = ADate(s.BeginDate.Val - 1);
         m.scheduleUpdated(s);
       },
       "finishes before"},
      {"no date before the finish",
       [](TransactionEditModel& m) {
         m.withdrawAmountTyped("5", ".");
         m.setDate(MakeADate(2026, 0, 2));
         m.setScheduleItem(3);  // monthly on the 2nd
         TSchedule s = m.schedule();
         s.End = 1;
         s.EndDate = MakeADate(2026, 0, 2);
         s.Day = 1;
         m.scheduleUpdated(s);
       },
       "no date within 400 days"},
  };
  auto records = [&] {
    size_t n = 0;
    document.Sync([&] {
      n = document.database().GetTable(0).size() + document.database().GetTable(1).size();
    });
    return n;
  };
  const size_t before = records();
  for (const auto& c : cases) {
    TransactionEditModel m(document, 0);
    c.fill(m);
    std::vector<std::string> problems;
    EXPECT_EQ(m.save(&problems), 0u) << c.what;
    ASSERT_FALSE(problems.empty()) << c.what;
    EXPECT_NE(problems[0].find(c.message), std::string::npos) << c.what << ": " << problems[0];
    // A refused new entry with changes keeps the popover open.
    EXPECT_FALSE(m.popoverShouldClose()) << c.what;
  }
  EXPECT_EQ(records(), before);
}

TEST_F(TransactionEditModelTest, SchedulesFollowTheDateAndStayScheduled) {
  // Monthly for a new transaction dated the 31st: Day 31, all months; start = the date.
  TransactionEditModel m(document, 0);
  m.setDate(MakeADate(2027, 0, 31));
  m.withdrawAmountTyped("30", ".");
  EXPECT_FALSE(m.isShown("schedule"));
  ASSERT_TRUE(m.setScheduleItem(3));
  EXPECT_EQ(m.schedule().Day, 31);
  EXPECT_EQ(m.schedule().BeginDate, MakeADate(2027, 0, 31));
  EXPECT_TRUE(m.isShown("schedule") && m.isTemplate());
  EXPECT_EQ(m.title(), "Template");
  m.setDate(MakeADate(2027, 1, 28));  // the start follows the date
  EXPECT_EQ(m.schedule().BeginDate, MakeADate(2027, 1, 28));
  TSchedule weekly = m.schedule();
  weekly.ScheduleType = 3;
  weekly.BeginDate = MakeADate(2027, 2, 2);
  m.scheduleUpdated(weekly);  // the date follows the start
  EXPECT_EQ(m.date(), MakeADate(2027, 2, 2));
  const uint64_t id = m.save();
  ASSERT_NE(id, 0u);

  // Reopened: a template dated at its start; the ghost ID opens the same schedule.
  TransactionEditModel again(document, id);
  EXPECT_TRUE(again.isTemplate());
  EXPECT_EQ(again.date(), MakeADate(2027, 2, 2));
  EXPECT_EQ(again.scheduleItem(), 2);
  EXPECT_FALSE(again.hasChanges());
  // "Not set" keeps the record as a stopped schedule.
  ASSERT_TRUE(again.setScheduleItem(0));
  ASSERT_EQ(again.save(), id);
  document.Sync([&] {
    Book& book = document.database();
    EXPECT_EQ(book.Transactions().GetSchedule(id).ScheduleType, 0);
    EXPECT_EQ(book.FindEntry(id, 0)->Header.Type, etScheduledTransaction);
  });
  // Still a scheduled record: its menu works; a plain transaction's does not.
  EXPECT_TRUE(TransactionEditModel(document, id).isScheduleMenuEnabled());
  TransactionEditModel plain(document, 0);
  plain.withdrawAmountTyped("1", ".");
  const uint64_t plain_id = plain.save();
  TransactionEditModel existing(document, plain_id);
  EXPECT_FALSE(existing.setScheduleItem(1));
  EXPECT_FALSE(existing.hasChanges());

  // A weekly schedule picks the date's weekday only.
  TransactionEditModel w(document, 0);
  w.setDate(MakeADate(2026, 10, 25));  // a Wednesday
  w.setScheduleItem(2);
  EXPECT_EQ(w.schedule().WeekDays, (std::array<uint8_t, 7>{0, 0, 1, 0, 0, 0, 0}));
}

TEST_F(TransactionEditModelTest, CopiesAndPopoverClosing) {
  TransactionEditModel m(document, 0);
  m.withdrawAmountTyped("7", ".");
  m.setName(L"Coffee");
  m.setScheduleItem(1);
  const uint64_t id = m.save();
  ASSERT_NE(id, 0u);

  // A copy is new, unscheduled and dated as a new transaction; its texts are its own.
  TransactionPresets presets;
  presets.date = MakeADate(2026, 5, 1);
  presets.status = 0;
  TransactionEditModel copy(document, id, true, presets);
  EXPECT_TRUE(copy.isNew());
  EXPECT_FALSE(copy.isTemplate());
  EXPECT_EQ(copy.date(), MakeADate(2026, 5, 1));
  EXPECT_FALSE(copy.cleared());
  EXPECT_EQ(copy.name(), L"Coffee");
  copy.setName(L"Tea");
  const uint64_t copy_id = copy.save();
  ASSERT_NE(copy_id, 0u);
  ASSERT_NE(copy_id, id);
  EXPECT_EQ(std::wstring(Stored(id).Name), L"Coffee");
  EXPECT_EQ(std::wstring(Stored(copy_id).Name), L"Tea");

  // An existing transaction saves its changes when the popover closes, unless cancelled.
  TransactionEditModel edit(document, copy_id);
  EXPECT_TRUE(edit.popoverShouldClose());
  edit.setComment(L"green");
  EXPECT_TRUE(edit.hasChanges());
  edit.cancelOperation();
  EXPECT_TRUE(edit.popoverWillClose());
  EXPECT_EQ(std::wstring(Stored(copy_id).Comment), L"");
  TransactionEditModel edit2(document, copy_id);
  edit2.setComment(L"green");
  EXPECT_TRUE(edit2.popoverWillClose());
  EXPECT_EQ(std::wstring(Stored(copy_id).Comment), L"green");
  EXPECT_FALSE(edit2.hasChanges());
}

}  // namespace
}  // namespace vemra::editors
