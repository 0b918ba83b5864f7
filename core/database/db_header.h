// TDBHeader: the database-wide settings kept in the head of a database file.
#pragma once

#include <array>
#include <cstdint>

#include "core/records/user.h"

namespace vemra {

struct TDBHeader {
  uint64_t DatabaseID = 0;     // shared by every copy and sync part of one database
  uint64_t SettingsStamp = 0;  // change stamp of Option0..Option3 and DefaultCurrencyID
  uint32_t Reserved1 = 0;
  int8_t Option0 = 0;   // first day of the week, 0 Monday .. 6 Sunday
  uint8_t Option1 = 0;  // cloud synchronisation enabled; carried
  int8_t Option2 = 0;
  int8_t Option3 = 0;
  TDBUserSettings UserSettings;
  uint8_t PasswordLength = 0;  // UTF-16 units of Password in use, 0 = no password
  std::array<uint16_t, 60> Password{};
  uint64_t PasswordStamp = 0;
  uint8_t Reserved2 = 0;  // show closed and hidden accounts
  // The 192-byte image the fields were last read from. Its alignment gaps are written back as
  // they were read, so that a file rewrites byte for byte; a new header's gaps are zero.
  std::array<uint8_t, 192> Image{};
};

}  // namespace vemra
