// The currencies of a book as a table model for the currencies window: name, code, symbol and
// decimals in display order (enabled ones first, then by name), the default currency marked,
// and each currency's exchange rate into the one chosen as the base.
//
// Threads: GUI thread; the rows are fetched on the document's queue.
#pragma once

#include <QAbstractTableModel>
#include <cstdint>
#include <vector>

#include "document/document.h"

namespace kestrum {

class CurrencyListModel : public QAbstractTableModel {
  Q_OBJECT
 public:
  enum Column { kName = 0, kCode, kSymbol, kDecimals, kRate, kColumnCount };
  // The currency's ID under this role.
  static constexpr int kIdRole = Qt::UserRole + 1;

  struct Row {
    uint64_t id = 0;
    QString name, code, symbol;
    int decimals = 2;
    bool enabled = true;
    bool isDefault = false;
    double rate = 0;  // one of this currency in the base currency; 0 when there is no rate
  };

  // A model over `document`, which must outlive it; empty until reload.
  explicit CurrencyListModel(vemra::Document& document, QObject* parent = nullptr);

  // Fetches the currencies and their rates into `base` (0: the default currency) and waits.
  void reload(uint64_t base = 0);
  uint64_t base() const { return base_; }
  const std::vector<Row>& rows() const { return rows_; }

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  vemra::Document& document_;
  std::vector<Row> rows_;
  uint64_t base_ = 0;
  QString base_code_;
};

}  // namespace kestrum
