// Amount texts for the views without a round trip to the document's queue per cell: a snapshot
// of every currency's decimals and symbol, taken on the queue whenever the lists reload, turns
// amounts into text on the GUI thread the same way Document::format does.
#pragma once

#include <QString>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "collections/book.h"

namespace kestrum {

class AmountFormat {
 public:
  // The currencies of `book`. Use on the document's queue.
  static AmountFormat Snapshot(vemra::Book& book);

  // `amount` in currency `currency` as Document::format gives it (the current language's
  // separators, the currency's decimals, its symbol with `symbol`), except that a minus goes
  // before a leading symbol ("-$3.87"). A currency not in the snapshot gives 2 decimals and no
  // symbol. Thread-safe on a const snapshot.
  QString format(double amount, uint64_t currency, bool symbol = true) const;
  // The number of decimals of `currency` (2 when unknown).
  int decimals(uint64_t currency) const;

 private:
  struct Currency {
    int decimals = 2;
    std::string symbol;  // UTF-8
    bool align_right = false;
  };
  std::unordered_map<uint64_t, Currency> currencies_;
};

}  // namespace kestrum
