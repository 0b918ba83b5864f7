// The transaction outline's Qt model: the rows of lists::TransactionList (headers, split,
// category and payee group rows, transactions), read straight from the list's Node tree
// (children are each row's FilteredNodes), editable cells written back through the list, drag
// and drop under the transactions pasteboard type. Filtering, sorting and totals happen in the
// list, so what the model shows always adds up.
//
// Threads: GUI thread only. setRoot takes a tree the list built on the document's queue.
#pragma once

#include <QAbstractItemModel>
#include <QDate>
#include <functional>
#include <memory>
#include <unordered_map>

#include "app/amount_format.h"
#include "lists/transaction_list.h"

namespace kestrum {

class OutlineModel : public QAbstractItemModel {
  Q_OBJECT
 public:
  enum Column {
    kDate = 0,
    kStatus,
    kName,
    kCategory,
    kPayee,
    kAccount,
    kAmount,
    kBalance,
    kComment,
    kColumnCount
  };
  // The key a column sorts by in the list ("date", "name", …); empty for columns that do not
  // sort.
  static std::string SortKeyOf(int column);

  // A model over `list`, which must outlive it; empty until setRoot.
  OutlineModel(vemra::lists::TransactionList& list, vemra::Document& document,
               QObject* parent = nullptr);

  // Shows the tree under `root` (the list's root) in `currency` with amounts from `format`;
  // resets the model.
  void setRoot(std::shared_ptr<vemra::lists::Node> root, uint64_t currency, AmountFormat format);
  std::shared_ptr<vemra::lists::Node> root() const { return root_; }
  // The row at `index`; null for an invalid index.
  const vemra::lists::Node* node(const QModelIndex& index) const;
  // The index of `row` (column 0); invalid for null or the root.
  QModelIndex indexOf(const vemra::lists::Node* row) const;
  // Runs `change` (a refilter or resort of the list's current tree, in place) inside a model
  // reset.
  void changeTree(const std::function<void()>& change);

  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  QModelIndex parent(const QModelIndex& child) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  bool hasChildren(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QStringList mimeTypes() const override;
  QMimeData* mimeData(const QModelIndexList& indexes) const override;
  Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }
  bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                       const QModelIndex& parent) const override;
  bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                    const QModelIndex& parent) override;

  static QDate ToQDate(vemra::ADate date);
  static vemra::ADate FromQDate(const QDate& date);

 private:
  // The record IDs a drop carries; false for a payload of another document or type.
  bool Dragged(const QMimeData* data, std::vector<uint64_t>& ids) const;
  // Resolves a typed category or payee name under fixed root `root_id` to an existing entry.
  uint64_t FindCategory(const QString& name, uint64_t root_id);
  QString Title(const vemra::lists::Node& row) const;
  QString AccountText(const vemra::lists::Node& row) const;
  void IndexRows(const vemra::lists::Node& row);

  vemra::lists::TransactionList& list_;
  vemra::Document& document_;
  std::shared_ptr<vemra::lists::Node> root_;
  uint64_t currency_ = 0;
  AmountFormat format_;
  std::unordered_map<const vemra::lists::Node*, int> position_;  // row under its parent
};

}  // namespace kestrum
