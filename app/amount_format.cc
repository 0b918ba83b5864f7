#include "app/amount_format.h"

#include <algorithm>

#include "core/records/currency.h"
#include "document/document.h"
#include "platform/localization.h"
#include "platform/unicode.h"

namespace kestrum {

AmountFormat AmountFormat::Snapshot(vemra::Book& book) {
  AmountFormat f;
  if (!book.Loaded) return f;
  for (const vemra::TCurrency& c : book.Currencies().GetAllCurrencies()) {
    Currency& out = f.currencies_[c.Header.ID];
    out.decimals = std::min<int>(c.Data.Decimals, 9);
    out.align_right = c.Data.AlignRight != 0;
    std::wstring symbol;
    book.GetString(c.Data.SymbolID, symbol);
    out.symbol = vemra::WideToUtf8Lossy(symbol);
  }
  return f;
}

int AmountFormat::decimals(uint64_t currency) const {
  auto it = currencies_.find(currency);
  return it == currencies_.end() ? 2 : it->second.decimals;
}

QString AmountFormat::format(double amount, uint64_t currency, bool symbol) const {
  auto it = currencies_.find(currency);
  const vemra::platform::NumberSeparators sep = vemra::platform::Separators();
  int decimals = it == currencies_.end() ? 2 : it->second.decimals;
  std::string text = vemra::FormatNumber(amount, decimals, sep.grouping, sep.decimal);
  if (symbol && it != currencies_.end() && !it->second.symbol.empty()) {
    if (it->second.align_right) {
      text += it->second.symbol;
    } else if (!text.empty() && text[0] == '-') {
      text = "-" + it->second.symbol + text.substr(1);  // "-$3.87" rather than "$-3.87"
    } else {
      text = it->second.symbol + text;
    }
  }
  return QString::fromStdString(text);
}

}  // namespace kestrum
