#include "editors/currency_edit_model.h"

#include "platform/unicode.h"

namespace vemra::editors {
namespace {

std::wstring CodeText(const TCurrency& c) {
  std::wstring text;
  for (uint8_t b : c.Data.Code) {
    if (b == 0) break;
    text.push_back(static_cast<wchar_t>(b));
  }
  return text;
}

}  // namespace

CurrencyEditModel::CurrencyEditModel(Document& document, uint64_t currency_id)
    : document_(document), currency_id_(currency_id) {
  if (currency_id != 0) {
    document_.Sync([&] { currency_ = document_.database().Currencies().GetCurrency(currency_id); });
    if (currency_.Header.ID == 0) currency_id_ = 0;
  }
  name_ = currency_.Name;
  symbol_ = currency_.Symbol;
  code_ = CodeText(currency_);
  symbol_position_ = currency_.Data.AlignRight != 0 ? 1 : 0;
  decimals_ = currency_.Data.Decimals;
}

void CurrencyEditModel::Changed() {
  if (on_change_) on_change_();
}

void CurrencyEditModel::setName(const std::wstring& name) {
  name_ = name;
  Changed();
}

void CurrencyEditModel::setCode(const std::wstring& code) {
  code_ = code.substr(0, 3);
  Changed();
}

void CurrencyEditModel::setSymbol(const std::wstring& symbol) {
  symbol_ = symbol;
  Changed();
}

void CurrencyEditModel::setSymbolPosition(int item) {
  symbol_position_ = item == 1 ? 1 : 0;
  Changed();
}

void CurrencyEditModel::setDecimals(int decimals) {
  decimals_ = decimals;
  Changed();
}

bool CurrencyEditModel::hasChanges() const {
  return symbol_position_ != (currency_.Data.AlignRight != 0 ? 1 : 0) ||
         decimals_ != currency_.Data.Decimals || name_ != currency_.Name ||
         symbol_ != currency_.Symbol || code_ != CodeText(currency_) ||
         // Saving also brings the rate-update flag in line with the code: a currency that
         // never went through the editor changes when saved as it stands.
         (currency_id_ != 0 && (currency_.Data.UpdateExRates != 0) != !code_.empty());
}

std::vector<std::string> CurrencyEditModel::validate() const {
  std::vector<std::string> problems;
  if (name_.empty()) problems.push_back("a currency needs a name");
  if (decimals_ < 0 || decimals_ > 8) problems.push_back("decimal places go from 0 to 8");
  TCurrency probe;
  probe.SetCode(code_);
  const std::string code = probe.GetCode();
  document_.Sync([&] {
    for (const TCurrency& other : document_.database().Currencies().GetAllCurrencies()) {
      if (other.Header.ID == currency_id_) continue;
      if (!name_.empty() && FoldCase(other.Name) == FoldCase(name_)) {
        problems.push_back("there is a currency named \"" + WideToUtf8Lossy(other.Name) +
                           "\" already");
      }
      if (!code.empty() && other.GetCode() == code) {
        problems.push_back("the code " + code + " is taken by " + WideToUtf8Lossy(other.Name));
      }
    }
  });
  return problems;
}

uint64_t CurrencyEditModel::save(std::vector<std::string>* problems) {
  std::vector<std::string> refused = validate();
  if (!refused.empty()) {
    if (problems != nullptr) *problems = refused;
    return 0;
  }
  TCurrency working = currency_;
  working.Name = name_;
  working.SetCode(code_);
  working.Symbol = symbol_;
  working.Data.AlignRight = symbol_position_ == 1 ? 1 : 0;
  working.Data.Decimals = static_cast<uint8_t>(decimals_);
  // Only a currency with a code can be quoted.
  working.Data.UpdateExRates = code_.empty() ? 0 : 1;
  document_.initUndo(isNew() ? 2 : 3);
  uint64_t id = 0;
  document_.Sync([&] {
    ICurrencies& currencies = document_.database().Currencies();
    id = isNew() ? currencies.AddCurrency(working) : currencies.UpdateCurrency(working);
    if (id != 0) currency_ = currencies.GetCurrency(id);
  });
  if (id == 0) {
    if (problems != nullptr) *problems = {"the currency is read-only"};
    return 0;
  }
  currency_id_ = id;
  document_.post(kUpdateDataNotification);
  document_.writeAutosyncData();
  return id;
}

}  // namespace vemra::editors
