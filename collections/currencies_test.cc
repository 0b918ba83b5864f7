#include "collections/currencies.h"

#include <gtest/gtest.h>

#include "collections/book.h"
#include "core/records/ex_rate.h"
#include "platform/clock.h"

namespace vemra {
namespace {

class CurrenciesTest : public ::testing::Test {
 protected:
  CurrenciesTest() { db.SetCurrentUser(0); }

  uint64_t Add(const wchar_t* name, bool enabled = true) {
    TCurrency c;
    c.Name = name;
    c.Data.Enabled = enabled;
    return currencies.AddCurrency(c);
  }

  platform::ScopedClockPin pin{int64_t{20000} * 86400 + 12 * 3600};
  Book db;
  ICurrencies& currencies = db.Currencies();
};

TEST_F(CurrenciesTest, DisplayOrderIgnoresCaseAndNamesTheDefault) {
  EXPECT_EQ(currencies.GetDefaultCurrencyID(), 0u);
  uint64_t zloty = Add(L"Zloty", false);
  uint64_t upper = Add(L"EURO"), lower = Add(L"euro"), eur = Add(L"Eur"), yen = Add(L"Yen");
  uint64_t dollar = Add(L"dollar", false);
  std::vector<uint64_t> ids;
  for (const TCurrency& c : currencies.GetAllCurrencies()) ids.push_back(c.Header.ID);
  // Enabled first; "EURO" and "euro" are equal and keep their order; a prefix comes first.
  EXPECT_EQ(ids, (std::vector<uint64_t>{eur, upper, lower, yen, dollar, zloty}));
  EXPECT_EQ(currencies.GetEnabledCurrencies().size(), 4u);

  db.UserSettings.DefaultCurrencyID = yen;
  EXPECT_EQ(currencies.GetDefaultCurrencyID(), yen);
  ASSERT_TRUE(currencies.DeleteCurrency(yen));
  EXPECT_EQ(currencies.GetDefaultCurrencyID(), eur);
  for (TCurrency c : currencies.GetEnabledCurrencies()) {
    c.Data.Enabled = 0;
    ASSERT_NE(currencies.UpdateCurrency(c), 0u);
  }
  EXPECT_EQ(currencies.GetCurrencyName(currencies.GetDefaultCurrencyID()), L"dollar");
  EXPECT_EQ(currencies.GetCurrencyName(yen), L"");

  uint64_t account = db.StoreEntry(std::make_unique<TAccount>());
  EXPECT_FALSE(currencies.DeleteCurrency(account));  // not a currency
  db.ReadOnly = true;
  EXPECT_EQ(Add(L"Pound"), 0u);
  EXPECT_FALSE(currencies.DeleteCurrency(eur));
  EXPECT_FALSE(currencies.SetExchangeRate(eur, dollar, 2.0));
}

TEST_F(CurrenciesTest, RatesWorkBothWaysAndKeepOneRecordPerPair) {
  uint64_t a = Add(L"A"), b = Add(L"B"), c = Add(L"C");
  ASSERT_TRUE(currencies.SetExchangeRate(a, b, 2.0));
  EXPECT_EQ(currencies.GetExchangeRate(a, b), 2.0);
  EXPECT_EQ(currencies.GetExchangeRate(b, a), 0.5);
  EXPECT_EQ(currencies.GetExchangeRate(a, c), 1.0);  // no rate known

  for (int i = 0; i < 3; ++i) {  // records of one pair from several copies, either way round
    TExRate r;
    r.Data.FirstCurrencyID = i == 1 ? c : b;
    r.Data.SecondCurrencyID = i == 1 ? b : c;
    r.Data.Rate = 3.0;
    r.Data.Date = ADate(19000 + i);
    db.StoreEntry(r.Clone());
  }
  ASSERT_TRUE(currencies.SetExchangeRate(c, b, 4.0));
  ASSERT_EQ(db.GetTable(5).size(), 2u);  // one record for (a, b), one for (b, c)
  const auto& kept = static_cast<const TExRate&>(*db.GetTable(5).rbegin()->second);
  EXPECT_EQ(kept.Data.FirstCurrencyID, b);  // lower ID first, the rate turned round
  EXPECT_EQ(kept.Data.Rate, 0.25);
  EXPECT_EQ(kept.Data.Date, TodayADate());
  EXPECT_EQ(currencies.GetExchangeRate(c, b), 4.0);

  EXPECT_FALSE(currencies.SetExchangeRate(a, b, 0.0));
  EXPECT_FALSE(currencies.SetExchangeRate(a, a, 2.0));
  EXPECT_EQ(db.GetTable(5).size(), 2u);
  EXPECT_EQ(currencies.GetExchangeRate(a, b), 2.0);
}

}  // namespace
}  // namespace vemra
