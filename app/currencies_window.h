// The currencies window of a document: the book's currencies in display order with the default
// one marked, a filter, each currency's exchange rate into a chosen base currency, a double
// click to edit one and a button for a new one. It reloads whenever the book changes.
//
// Threads: GUI thread.
#pragma once

#include <QWidget>

#include "document/document.h"

class QComboBox;
class QLineEdit;
class QPushButton;
class QSortFilterProxyModel;
class QTableView;

namespace kestrum {

class CurrencyListModel;

class CurrenciesWindow : public QWidget {
  Q_OBJECT
 public:
  // A window over `document`, which must outlive it.
  explicit CurrenciesWindow(vemra::Document& document, QWidget* parent = nullptr);

  CurrencyListModel* model() { return model_; }
  QSortFilterProxyModel* proxy() { return proxy_; }

 Q_SIGNALS:
  // "Update rates" was pressed.
  void updateRatesRequested();

 public Q_SLOTS:
  void reload();

 private:
  void EditRow(const QModelIndex& index);

  vemra::Document& document_;
  vemra::ObserverToken token_;
  CurrencyListModel* model_;
  QSortFilterProxyModel* proxy_;
  QTableView* table_;
  QComboBox* base_;
  QLineEdit* filter_;
};

}  // namespace kestrum
