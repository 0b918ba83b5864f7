// The category and payee pickers of the transaction editor: the whole tree under a fixed root
// as a Qt tree model (fetched on the document's queue), shown in a popup with a filter field
// that keeps the branches of every match (a QSortFilterProxyModel, filtering only what shows).
//
// Threads: GUI thread.
#pragma once

#include <QAbstractItemModel>
#include <QDialog>
#include <memory>
#include <vector>

#include "document/document.h"

class QLineEdit;
class QSortFilterProxyModel;
class QTreeView;

namespace kestrum {

class CategoryTreeModel : public QAbstractItemModel {
  Q_OBJECT
 public:
  // The category's ID under this role.
  static constexpr int kIdRole = Qt::UserRole + 1;

  // The tree under fixed root `root_id` of `document` (which must outlive the model).
  CategoryTreeModel(vemra::Document& document, uint64_t root_id, QObject* parent = nullptr);
  ~CategoryTreeModel() override;

  // Fetches the tree again and waits for it.
  void reload();

  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  QModelIndex parent(const QModelIndex& child) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;

 private:
  struct Item;
  const Item* ItemOf(const QModelIndex& index) const;

  vemra::Document& document_;
  const uint64_t root_id_;
  std::unique_ptr<Item> root_;
};

class CategoryPicker : public QDialog {
  Q_OBJECT
 public:
  // A popup over the tree under `root_id`; it deletes itself when it closes.
  CategoryPicker(vemra::Document& document, uint64_t root_id, QWidget* parent);

  QSortFilterProxyModel* proxy() { return proxy_; }
  // Filters the tree as the field does.
  void setFilter(const QString& text);

 Q_SIGNALS:
  // A category was chosen (double click or Return).
  void picked(quint64 id, const QString& name);

 private:
  CategoryTreeModel* model_;
  QSortFilterProxyModel* proxy_;
  QLineEdit* filter_;
  QTreeView* tree_;
};

}  // namespace kestrum
