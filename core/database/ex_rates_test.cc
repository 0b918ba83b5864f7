#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "core/database/database.h"
#include "core/records/ex_rate.h"
#include "platform/clock.h"

namespace vemra {
namespace {

TEST(ExRatesTest, APairWithoutARateCrossesTheDefaultCurrency) {
  constexpr uint64_t kHome = 100000, kEur = 100001, kGbp = 100002, kYen = 100003;
  DataBase db;
  db.UserSettings.DefaultCurrencyID = kHome;
  ASSERT_TRUE(db.SetExRate(kEur, kHome, 1.1));
  ASSERT_TRUE(db.SetExRate(kHome, kGbp, 0.8));
  double rate = 0;
  ASSERT_TRUE(db.FindExRate(kEur, kGbp, rate));
  EXPECT_DOUBLE_EQ(rate, 1.1 * 0.8);
  EXPECT_DOUBLE_EQ(db.GetExRate(kGbp, kEur), 1 / 0.8 / 1.1);
  // No leg for the yen: no rate, told apart from a rate of 1.
  EXPECT_FALSE(db.FindExRate(kEur, kYen, rate));
  EXPECT_DOUBLE_EQ(db.GetExRate(kEur, kYen), 1.0);
  // A rate of the pair itself wins over the cross rate.
  ASSERT_TRUE(db.SetExRate(kEur, kGbp, 0.85));
  EXPECT_DOUBLE_EQ(db.GetExRate(kEur, kGbp), 0.85);
}

TEST(ExRatesTest, RatesAreStoredLowerToHigherAndTheNewestWins) {
  constexpr uint64_t kA = 100000, kB = 100001;
  platform::ScopedClockPin pin(int64_t{20000} * 86400);
  DataBase db;
  ASSERT_TRUE(db.SetExRate(kA, kB, 0.9));
  EXPECT_DOUBLE_EQ(db.GetExRate(kB, kA), 1 / 0.9);
  ASSERT_TRUE(db.SetExRate(kB, kA, 2));
  ASSERT_EQ(db.GetTable(5).size(), 1u);
  EXPECT_DOUBLE_EQ(static_cast<const TExRate&>(*db.GetTable(5).begin()->second).Data.Rate, 0.5);
  EXPECT_DOUBLE_EQ(db.GetExRate(kA, kB), 0.5);
  EXPECT_FALSE(db.SetExRate(kA, kA, 3));
  EXPECT_FALSE(db.SetExRate(kA, kB, 0));

  // Records from other copies: a later date wins, then the larger ID; a record held the other
  // way round is inverted, and an unusable inverse counts as 1.
  auto add = [&](uint64_t id, uint64_t first, uint64_t second, double rate) {
    auto e = std::make_unique<TExRate>();
    e->Header.ID = id;
    e->Data = {first, second, rate, ADate(30000), 0};
    db.StoreEntry(std::move(e));
    db.RebuildExRates();
    return db.GetExRate(kA, kB);
  };
  EXPECT_DOUBLE_EQ(add(5, kB, kA, 4.0), 0.25);
  EXPECT_DOUBLE_EQ(add(3, kA, kB, 8.0), 0.25);  // same date, smaller ID
  EXPECT_DOUBLE_EQ(add(7, kB, kA, 0), 1.0);
  add(9, kA, kA, 7.0);
  EXPECT_DOUBLE_EQ(db.GetExRate(kA, kA), 1.0);
  ASSERT_TRUE(db.SetExRate(kA, kB, 1.5));  // the pair's first record stays, alone
  EXPECT_EQ(db.GetTable(5).size(), 2u);
  EXPECT_EQ(db.GetTable(5).begin()->first, 3u);
}

TEST(ExRatesTest, TheRateInForceFollowsUndoRedoDeletionsAndParts) {
  constexpr uint64_t kA = 100000, kB = 100001;
  platform::ScopedClockPin pin(int64_t{20000} * 86400);
  DataBase db;
  db.Loaded = true;
  db.Header.DatabaseID = 9;
  db.SetCurrentUser(0);
  for (double rate : {2.0, 4.0}) {
    db.BeginUndoStep(3);
    ASSERT_TRUE(db.SetExRate(kA, kB, rate));
  }
  db.Undo();
  EXPECT_DOUBLE_EQ(db.GetExRate(kA, kB), 2.0);
  db.Undo();  // the pair's record was added by the first step
  EXPECT_DOUBLE_EQ(db.GetExRate(kA, kB), 1.0);
  db.Redo();
  db.Redo();
  EXPECT_DOUBLE_EQ(db.GetExRate(kA, kB), 4.0);
  ASSERT_TRUE(db.DeleteEntry(5, db.GetTable(5).begin()->first));
  EXPECT_DOUBLE_EQ(db.GetExRate(kA, kB), 1.0);

  // A rate that arrives in a part from another copy is in force at once.
  DataBase other;
  other.Loaded = true;
  other.Header.DatabaseID = 9;
  auto rate = std::make_unique<TExRate>();
  rate->Header.ID = 77;  // not the deleted record's ID, which came from the same pinned clock
  rate->Data = {kA, kB, 8.0, ADate(20001), 0};
  other.StoreEntry(std::move(rate));
  std::string part = ::testing::TempDir() + "kestrum_rates_" + std::to_string(::getpid());
  ASSERT_EQ(other.WritePart(part), 0);
  ASSERT_EQ(db.ReadPart(part), 0);
  EXPECT_DOUBLE_EQ(db.GetExRate(kA, kB), 8.0);
  std::remove(part.c_str());
}

}  // namespace
}  // namespace vemra
