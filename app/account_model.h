// The account sidebar's Qt model: the rows of lists::AccountList as a tree (the overall row, the
// ungrouped accounts, each group with its accounts below it), two columns (name, balance), drag
// and drop of rows under the accounts pasteboard type. Every decision (what a selection shows,
// what a drop does) is the list's; the model only maps Qt indexes to the list's flat row indexes.
//
// Threads: GUI thread only. setRows takes rows built on the document's queue.
#pragma once

#include <QAbstractItemModel>
#include <unordered_map>
#include <vector>

#include "app/amount_format.h"
#include "lists/account_list.h"

namespace kestrum {

class AccountModel : public QAbstractItemModel {
  Q_OBJECT
 public:
  enum Column { kName = 0, kBalance = 1, kColumnCount };
  // A model over `list`, which must outlive it. Empty until setRows.
  AccountModel(vemra::lists::AccountList& list, uint64_t instance_token, QObject* parent = nullptr);

  // Shows `rows` (AccountList::rows()) with amounts from `format`; resets the model.
  void setRows(vemra::lists::Rows rows, AmountFormat format);
  // The flat row index (into AccountList::rows()) of `index`; -1 for an invalid index.
  int flatIndex(const QModelIndex& index) const;
  // The index of flat row `flat` (column 0); invalid when out of range.
  QModelIndex indexOfFlat(int flat) const;
  // The row at `index`; null for an invalid index.
  const vemra::lists::Node* node(const QModelIndex& index) const;
  int flatCount() const { return static_cast<int>(rows_.size()); }

  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  QModelIndex parent(const QModelIndex& child) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QStringList mimeTypes() const override;
  QMimeData* mimeData(const QModelIndexList& indexes) const override;
  Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }
  bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                       const QModelIndex& parent) const override;
  bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                    const QModelIndex& parent) override;

 private:
  // The flat rows a drop carries; false for a payload of another document or type.
  bool Dragged(const QMimeData* data, std::vector<size_t>& rows) const;
  // Where a drop at (row, parent) lands in AccountList terms.
  void DropTarget(int row, const QModelIndex& parent, size_t& target,
                  vemra::lists::AccountList::Drop& how) const;
  const std::vector<vemra::lists::Node*>& Children(const vemra::lists::Node* parent) const;

  vemra::lists::AccountList& list_;
  const uint64_t token_;
  vemra::lists::Rows rows_;
  AmountFormat format_;
  std::vector<vemra::lists::Node*> top_;
  std::unordered_map<const vemra::lists::Node*, std::vector<vemra::lists::Node*>> children_;
  std::unordered_map<const vemra::lists::Node*, int> flat_;      // node -> flat index
  std::unordered_map<const vemra::lists::Node*, int> position_;  // node -> row under its parent
};

}  // namespace kestrum
