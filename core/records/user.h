// TUser, the record of one user of a database, and TDBUserSettings, the block of a user's own
// settings that the user record and the database file header both carry.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/records/base_entry.h"
#include "core/records/body_codec.h"
#include "core/records/dates.h"

namespace vemra {

// A user's own settings (24 bytes when stored).
struct TDBUserSettings {
  uint64_t DefaultCurrencyID = 0;
  uint64_t DefaultAccountID = 0;
  ADate PeriodBegin;
  ADate PeriodEnd;

  static constexpr size_t kSize = 24;
  // Writes the 24 stored bytes.
  void Write(BodyWriter& w) const;
  // Reads the 24 stored bytes.
  void Read(BodyReader& r);
  friend bool operator==(const TDBUserSettings&, const TDBUserSettings&) = default;
};

// Type 110, table 3: one user. Logging in and the use of the settings belong to the database;
// the record only stores and loads them.
class TUser : public TBaseEntry {
 public:
  struct TData {
    uint64_t Text1ID = 0;
    uint64_t Text2ID = 0;
    uint64_t Text3ID = 0;  // the user's password
    uint64_t Text4ID = 0;  // the user text of the database header
    int8_t Field32 = 0;
    uint32_t Field36 = 0;
    TDBUserSettings Settings;
  } Data;

  std::wstring Text1;
  std::wstring Text2;
  std::wstring Text3;
  std::wstring Text4;

  static constexpr uint32_t kVersion = 0;
  static constexpr uint32_t kBodySize = 64;

  // The settings period begins and ends today.
  TUser();
  void SaveDependents(TCoreDB& db) override;
  void DeleteDependents(TCoreDB& db) override;
  void ClearStrings() override;
  void ClearStringIDs() override;
  size_t SaveData(IOutputStream& out) override;
  bool LoadData(IInputStream& in, uint32_t version) override;
  uint32_t GetTableIndex() const override { return 3; }
  void LoadDependents(TCoreDB& db) override;
  std::unique_ptr<TBaseEntry> Clone() const override { return std::make_unique<TUser>(*this); }
};

}  // namespace vemra
