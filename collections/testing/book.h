// A small in-memory book for the collection tests: a loaded database with the clock pinned to
// kToday noon, and helpers that store records with chosen owners and marks.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "collections/book.h"
#include "collections/interfaces.h"
#include "core/records/user.h"
#include "platform/clock.h"

namespace vemra::testing {

constexpr int32_t kToday = 20000;  // 2024-10-04
constexpr uint64_t kEuro = 100000;
constexpr uint64_t kDollar = 100001;

// Owner marks of a stored record.
struct Marks {
  uint64_t owner = 0;
  bool hidden = false;
  bool read_only = false;
};

class BookTest : public ::testing::Test {
 protected:
  BookTest() {
    db.Loaded = true;
    db.SetCurrentUser(0);
  }

  // Stores `record` as it is (its ID 0 gets a new one) with `marks`; returns its ID.
  template <class T>
  uint64_t Store(T record, Marks marks = {}) {
    record.Header.OwnerID = marks.owner;
    record.Header.Hidden = marks.hidden;
    record.Header.ReadOnly = marks.read_only;
    return db.StoreEntry(record.Clone());
  }
  uint64_t User() { return Store(TUser()); }
  uint64_t Group(Marks marks = {}) { return Store(TAccGroup(), marks); }
  uint64_t Account(uint64_t currency, double initial, uint64_t group = 0, Marks marks = {}) {
    TAccount a;
    a.Data.CurrencyID = currency;
    a.Data.InitialBalance = initial;
    a.Data.GroupID = group;
    return Store(a, marks);
  }
  uint64_t Category(uint64_t parent, const std::wstring& name = L"", Marks marks = {}) {
    TCategory c;
    c.Data.RootID = parent;
    c.Name = name;
    return Store(c, marks);
  }
  // A transaction on day kToday + `day` from `from` (amount `out`) to `to` (amount `in`).
  static TTransaction Tx(int32_t day, uint64_t from, double out, uint64_t to, double in,
                         uint32_t time = 0) {
    TTransaction t;
    t.Data.Date = ADate(kToday + day);
    t.Data.Time = time;
    t.Data.WithdrawAccountID = from;
    t.Data.WithdrawAmount = out;
    t.Data.TargetAccountID = to;
    t.Data.TargetAmount = in;
    return t;
  }

  platform::ScopedClockPin pin{int64_t{kToday} * 86400 + 12 * 3600};
  Book db;
};

}  // namespace vemra::testing
