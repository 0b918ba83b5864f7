// The currency editor's logic: a working copy of one currency and the state of its controls
// (name, code, symbol, symbol alignment, decimal places), change detection, validation and
// saving through the currencies collection. No drawing; the Qt dialog and kestrum-cli both
// drive it, so they enter currencies identically.
//
// Threads: call it from one thread (the GUI's or the CLI's); it reads and writes the book on
// the document's queue and waits for it. Not for use on the queue itself.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/records/currency.h"
#include "document/document.h"

namespace vemra::editors {

class CurrencyEditModel {
 public:
  // Opens currency `currency_id` of `document` (0: a new currency: two decimals, the symbol
  // before the amount). `document` must outlive the model.
  CurrencyEditModel(Document& document, uint64_t currency_id);

  // The controls. A code longer than three characters is cut to its first three.
  void setName(const std::wstring& name);
  void setCode(const std::wstring& code);
  void setSymbol(const std::wstring& symbol);
  // 0 "Left ($100.00)", 1 "Right (100.00$)".
  void setSymbolPosition(int item);
  // 0..8 decimal places.
  void setDecimals(int decimals);

  const std::wstring& name() const { return name_; }
  const std::wstring& code() const { return code_; }
  const std::wstring& symbol() const { return symbol_; }
  int symbolPosition() const { return symbol_position_; }
  int decimals() const { return decimals_; }
  bool isNew() const { return currency_id_ == 0; }

  // Whether a control differs from the currency as opened, or saving would change its
  // rate-update flag (which follows the code).
  bool hasChanges() const;
  // Why the controls cannot be saved, one message each; empty when they can: a name is
  // required and unique among the currencies (letter case aside), a code unique when given,
  // decimals 0..8.
  std::vector<std::string> validate() const;
  // Saves in one undo step ("add" for a new currency, "edit" otherwise), then the update
  // notification and the journal. The code decides whether the currency takes part in the
  // exchange-rate update. Returns the currency's ID, 0 with the messages in `problems` when
  // validation or the collection refused; nothing is written then.
  uint64_t save(std::vector<std::string>* problems = nullptr);
  // The currency as it stands after the last open or save.
  const TCurrency& currency() const { return currency_; }

  // Called after every control change.
  void setOnChange(std::function<void()> on_change) { on_change_ = std::move(on_change); }

 private:
  void Changed();

  Document& document_;
  uint64_t currency_id_;
  TCurrency currency_;
  std::wstring name_, code_, symbol_;
  int symbol_position_ = 0;
  int decimals_ = 2;
  std::function<void()> on_change_;
};

}  // namespace vemra::editors
