// Writes the balance-relevant facts of a book as CSV for the SQLite baseline of the one-shot
// balances (bench/sqlite_baseline.sh): export_sides BOOK DIR writes DIR/accounts.csv (id,
// initial balance) and DIR/sides.csv (account, date, cleared, signed amount), one line per side
// of each transaction.
#include <cstdio>
#include <string>

#include "core/database/database.h"
#include "core/records/account.h"
#include "core/records/transaction.h"
#include "platform/log.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: export_sides BOOK DIR\n");
    return 2;
  }
  vemra::platform::SetLogOutput(nullptr);
  vemra::DataBase db;
  if (db.OpenFile(argv[1]) != 0) {
    std::fprintf(stderr, "cannot open %s\n", argv[1]);
    return 1;
  }
  const std::string dir = argv[2];
  std::FILE* accounts = std::fopen((dir + "/accounts.csv").c_str(), "w");
  std::FILE* sides = std::fopen((dir + "/sides.csv").c_str(), "w");
  if (accounts == nullptr || sides == nullptr) return 1;
  for (const auto& [id, e] : db.GetTable(0)) {
    if (e->Header.Type != vemra::etAccount) continue;
    const auto& a = static_cast<const vemra::TAccount&>(*e);
    std::fprintf(accounts, "%llu,%.17g\n", static_cast<unsigned long long>(id),
                 a.Data.InitialBalance);
  }
  for (const auto& [id, e] : db.GetTable(1)) {
    if (e->Header.Type != vemra::etTransaction) continue;
    const auto& t = static_cast<const vemra::TTransaction&>(*e);
    const int cleared = t.Data.Cleared != 0;
    if (t.Data.WithdrawAccountID != 0) {
      std::fprintf(sides, "%llu,%d,%d,%.17g\n",
                   static_cast<unsigned long long>(t.Data.WithdrawAccountID), t.Data.Date.Val,
                   cleared, -t.Data.WithdrawAmount);
    }
    if (t.Data.TargetAccountID != 0) {
      std::fprintf(sides, "%llu,%d,%d,%.17g\n",
                   static_cast<unsigned long long>(t.Data.TargetAccountID), t.Data.Date.Val,
                   cleared, t.Data.TargetAmount);
    }
  }
  std::fclose(accounts);
  return std::fclose(sides) == 0 ? 0 : 1;
}
