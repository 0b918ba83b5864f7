// Fuzzes the receipt reader on bytes in memory. Besides not crashing, what it returns must hang
// together: a refused file has a reason and nothing else, a read one no reason; every receipt
// has items, amounts and quantities below the limit, and its items carry its date and time; the
// skipped receipts stay within the listing limit and come in file order.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "import/receipts.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vemra::import;
  ReceiptFile file;
  const int rc = ParseReceipts(std::string_view(reinterpret_cast<const char*>(data), size), file);
  if (rc == kReceiptsNotJson) {
    if (file.Problem.empty() || !file.Receipts.empty() || !file.Skipped.empty()) std::abort();
    return 0;
  }
  if (rc != kReceiptsRead || !file.Problem.empty()) std::abort();
  if (file.Skipped.size() > kMaxListedSkips) std::abort();
  if (file.UnlistedSkips != 0 && file.Skipped.size() != kMaxListedSkips) std::abort();
  for (size_t i = 1; i < file.Skipped.size(); ++i) {
    if (file.Skipped[i].Index <= file.Skipped[i - 1].Index) std::abort();
  }
  size_t items = 0;
  for (const Receipt& r : file.Receipts) {
    const vemra::TSplit& s = r.Split;
    if (s.Transactions.empty() || s.Data.FlagB != 0 || s.Data.AccountID > 1) std::abort();
    if (!(std::fabs(s.Total) < kReceiptAmountLimit)) std::abort();
    for (const vemra::TTransaction& t : s.Transactions) {
      if (!(std::fabs(t.Data.WithdrawAmount) < kReceiptAmountLimit) ||
          !(std::fabs(t.Data.Quantity) < kReceiptAmountLimit) || t.Data.Cleared != 0 ||
          t.Data.Date != s.Data.Date || t.Data.Time != s.Data.Time) {
        std::abort();
      }
      for (wchar_t c : t.Name.str()) {
        if (c < 0x20 || c == 0x7F) std::abort();
      }
    }
    if (r.Dated && (s.Data.Date.Val < 0 || s.Data.Time >= 86400000)) std::abort();
    items += s.Transactions.size();
  }
  if (items > kMaxReceiptItems) std::abort();
  return 0;
}
