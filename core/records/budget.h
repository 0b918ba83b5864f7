// TBudget, an amount planned per period for a set of accounts and categories, and the list of
// its periods computed when its dependents are loaded.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/records/base_entry.h"
#include "core/records/budget_filter.h"
#include "core/records/dates.h"
#include "core/records/tagged_entry.h"

namespace vemra {

// One period of a budget's period lists.
struct TBudgetPeriod {
  ADate Begin;
  ADate End;
  bool Included = false;  // the period overlaps the budget's date range
  double Amount = 0;      // the amount planned for the period, signed
};

// Type 105, table 0. Body: Categories (32 bytes), then the budget data (72 bytes).
class TBudget : public TBaseEntry, public TTaggedEntry {
 public:
  // Values of PeriodType; any other value makes one period from BeginDate to EndDate.
  enum : uint32_t {
    kDay = 1,
    kWeek = 2,
    kMonth = 3,
    kQuarter = 4,
    kYear = 5,
    kTwoWeeksFromEven = 6,     // two weeks starting in an even week of WeekOfYear
    kTwoWeeksFromOdd = 7,      // two weeks starting in an odd week
    kTwoWeeksFromEvenAlt = 8,  // the same rule as 6
  };

  struct TData {
    uint64_t Text1ID = 0;
    uint64_t Text2ID = 0;
    uint64_t Field48 = 0;
    double Amount = 0;  // per period
    uint32_t PeriodType = 0;
    uint8_t BeginFixed = 1;     // BeginDate is kept as stored
    uint8_t BudgetChecked = 1;  // the record passed the check of old fixed flags
    uint16_t Field70 = 0;
    ADate BeginDate = TodayADate();
    uint8_t EndFixed = 0;  // EndDate is kept as stored
    ADate EndDate = ADate(TodayADate().Val + 30);
    uint8_t Field84 = 0;
    uint32_t Field88 = 0;
    // Bytes 92..99. When byte 93 is set and byte 92 is not, period amounts are negated.
    std::array<uint8_t, 8> Field92{0, 1, 0, 1, 0, 1, 0, 0};
    uint32_t Field100 = 0;
  } Data;

  int FirstWeekday = 0;  // 0 Monday .. 6 Sunday; from the database header when loaded
  std::wstring Text1;
  std::wstring Text2;
  std::vector<TBudgetFilter> Filters;
  std::vector<TBudgetPeriod> PastPeriods;    // up to and including today's period
  std::vector<TBudgetPeriod> FuturePeriods;  // from today's period on
  ADate FirstBegin;  // begin of the earliest listed period (BeginDate when fixed)
  ADate LastEnd;     // end of the latest listed period (EndDate when fixed)

  static constexpr uint32_t kVersion = 1;
  static constexpr uint32_t kBodySize = 104;
  static constexpr size_t kOldBodySize = 96;
  // Each period list stops at this many periods, so that far-apart dates cannot make loading
  // run for ages or exhaust memory.
  static constexpr size_t kMaxPeriods = 100000;

  TBudget() : TBaseEntry(etBudget, kVersion, kBodySize) {}
  // Stores the two texts, the tag links and the filters (each with BudgetID = this ID).
  void SaveDependents(TCoreDB& db) override;
  // Deletes the two string records, the tag links and the filter records.
  void DeleteDependents(TCoreDB& db) override;
  // Empties the texts, Tags, Filters and both period lists.
  void ClearStrings() override;
  void ClearStringIDs() override;
  size_t SaveData(IOutputStream& out) override;
  // Version 1: the current body; version 0: the 96-byte old body, converted. Both then pass
  // the budget check.
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 0; }
  // Reads texts, tags and the filters whose target still exists, replaces the begin and end
  // dates that are not fixed, and computes both period lists and FirstBegin/LastEnd.
  void LoadDependents(TCoreDB& db) override;
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TBudget>(*this); }

  // Returns the period of PeriodType that contains `d`, weeks starting on FirstWeekday; for
  // types without a period rule, BeginDate to EndDate.
  TimeInterval PeriodContaining(ADate d) const;

 private:
  void ComputePeriods(ADate today);
};

}  // namespace vemra
