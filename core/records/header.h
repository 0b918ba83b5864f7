// The 40-byte header in front of every stored record, and the record type codes.
#pragma once

#include <cstdint>

#include "core/streams/stream.h"

namespace vemra {

// Record type codes (the header's Type).
enum : uint32_t {
  etDeleted = 1,
  etString = 10,
  etCurrency = 100,
  etAccount = 101,
  etAccGroup = 102,
  etCategory = 103,
  etExRate = 104,
  etBudget = 105,
  etBudgetFilter = 106,
  etLoan = 107,
  etEvent = 108,
  etTag = 109,
  etUser = 110,
  etSortOrder = 111,
  etTransaction = 200,
  etScheduledTransaction = 201,
  etSplit = 202,
  etScheduledEvent = 203,
};

constexpr size_t kHeaderSize = 40;

struct THeader {
  uint64_t ID = 0;
  uint64_t LastModDate = 0;  // change stamp (ModStamp) of the last change
  uint64_t OwnerID = 0;      // owning TUser, 0 when the database has no users
  uint32_t Type = 0;
  // Body layout version; the character count of a string record; the deleted record's type
  // code in a deletion marker.
  uint32_t SecondaryType = 0;
  uint32_t Size = 0;  // body bytes following the header
  uint8_t Hidden = 0;
  uint8_t ReadOnly = 0;

  // Writes the 40 stored bytes (padding zero) to `out`; returns the count written.
  size_t Save(IOutputStream& out) const;
  // Reads 40 bytes from `in`; returns false, leaving *this unchanged, when fewer came.
  bool Load(IInputStream& in);
  void Encode(uint8_t* dst) const;
  void Decode(const uint8_t* src);
  friend bool operator==(const THeader&, const THeader&) = default;
};

}  // namespace vemra
