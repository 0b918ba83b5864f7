#include "app/currency_list_model.h"

#include <QFont>
#include <QGuiApplication>

#include "app/texts.h"
#include "app/view_colors.h"
#include "core/records/currency.h"

namespace kestrum {

CurrencyListModel::CurrencyListModel(vemra::Document& document, QObject* parent)
    : QAbstractTableModel(parent), document_(document) {}

void CurrencyListModel::reload(uint64_t base) {
  std::vector<Row> rows;
  QString base_code;
  document_.Sync([&] {
    vemra::Book& book = document_.database();
    if (!book.Loaded) return;
    const uint64_t default_id = book.Currencies().GetDefaultCurrencyID();
    if (base == 0) base = default_id;
    for (const vemra::TCurrency& c : book.Currencies().GetAllCurrencies()) {
      Row row;
      row.id = c.Header.ID;
      row.name = FromWide(c.Name);
      row.code = QString::fromStdString(c.GetCode());
      row.symbol = FromWide(c.Symbol);
      row.decimals = c.Data.Decimals;
      row.enabled = c.Data.Enabled != 0;
      row.isDefault = c.Header.ID == default_id;
      if (!book.FindExRate(c.Header.ID, base, row.rate)) row.rate = 0;
      if (c.Header.ID == base) {
        row.rate = 1;
        base_code = row.code.isEmpty() ? row.name : row.code;
      }
      rows.push_back(std::move(row));
    }
  });
  beginResetModel();
  rows_ = std::move(rows);
  base_ = base;
  base_code_ = base_code;
  endResetModel();
}

int CurrencyListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int CurrencyListModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kColumnCount;
}

QVariant CurrencyListModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= static_cast<int>(rows_.size())) return {};
  const Row& row = rows_[index.row()];
  switch (role) {
    case Qt::DisplayRole:
      switch (index.column()) {
        case kName:
          return row.isDefault ? row.name + QStringLiteral(" (") + Tx(20545) + QLatin1Char(')')
                               : row.name;
        case kCode:
          return row.code;
        case kSymbol:
          return row.symbol;
        case kDecimals:
          return row.decimals;
        case kRate:
          return row.rate > 0 ? QString::number(row.rate, 'g', 8) : QStringLiteral("—");
        default:
          return {};
      }
    case kIdRole:
      return QVariant::fromValue<qulonglong>(row.id);
    case Qt::FontRole:
      if (row.isDefault) {
        QFont f = QGuiApplication::font();
        f.setBold(true);
        return f;
      }
      return {};
    case Qt::ForegroundRole:
      return row.enabled ? QVariant() : QVariant(SecondaryText(QGuiApplication::palette()));
    case Qt::TextAlignmentRole:
      return index.column() >= kDecimals ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    case Qt::ToolTipRole:
      if (index.column() == kRate && row.rate > 0) {
        return Tx(20555).arg(row.code.isEmpty() ? row.name : row.code, base_code_);
      }
      return {};
    default:
      return {};
  }
}

QVariant CurrencyListModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  static const int kKeys[kColumnCount] = {20541, 20542, 20543, 20544, 20551};
  return section >= 0 && section < kColumnCount ? Tx(kKeys[section]) : QVariant();
}

}  // namespace kestrum
