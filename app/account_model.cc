#include "app/account_model.h"

#include <QFont>
#include <QGuiApplication>
#include <QPalette>

#include "app/mime_payloads.h"
#include "app/texts.h"
#include "app/view_colors.h"
#include "lists/pasteboard.h"

namespace kestrum {

using vemra::lists::Node;

AccountModel::AccountModel(vemra::lists::AccountList& list, uint64_t instance_token,
                           QObject* parent)
    : QAbstractItemModel(parent), list_(list), token_(instance_token) {}

void AccountModel::setRows(vemra::lists::Rows rows, AmountFormat format) {
  beginResetModel();
  rows_ = std::move(rows);
  format_ = std::move(format);
  top_.clear();
  children_.clear();
  flat_.clear();
  position_.clear();
  for (size_t i = 0; i < rows_.size(); ++i) {
    Node* n = rows_[i].get();
    flat_[n] = static_cast<int>(i);
    std::vector<Node*>& siblings = n->Parent == nullptr ? top_ : children_[n->Parent];
    position_[n] = static_cast<int>(siblings.size());
    siblings.push_back(n);
  }
  endResetModel();
}

const std::vector<Node*>& AccountModel::Children(const Node* parent) const {
  static const std::vector<Node*> kNone;
  if (parent == nullptr) return top_;
  auto it = children_.find(parent);
  return it == children_.end() ? kNone : it->second;
}

int AccountModel::flatIndex(const QModelIndex& index) const {
  const Node* n = node(index);
  if (n == nullptr) return -1;
  auto it = flat_.find(n);
  return it == flat_.end() ? -1 : it->second;
}

QModelIndex AccountModel::indexOfFlat(int flat) const {
  if (flat < 0 || flat >= flatCount()) return {};
  Node* n = rows_[flat].get();
  return createIndex(position_.at(n), 0, n);
}

const Node* AccountModel::node(const QModelIndex& index) const {
  return index.isValid() ? static_cast<const Node*>(index.internalPointer()) : nullptr;
}

QModelIndex AccountModel::index(int row, int column, const QModelIndex& parent) const {
  if (column < 0 || column >= kColumnCount || (parent.isValid() && parent.column() != 0)) return {};
  const std::vector<Node*>& siblings = Children(node(parent));
  if (row < 0 || row >= static_cast<int>(siblings.size())) return {};
  return createIndex(row, column, siblings[row]);
}

QModelIndex AccountModel::parent(const QModelIndex& child) const {
  const Node* n = node(child);
  if (n == nullptr || n->Parent == nullptr) return {};
  Node* p = n->Parent;
  return createIndex(position_.at(p), 0, p);
}

int AccountModel::rowCount(const QModelIndex& parent) const {
  if (parent.isValid() && parent.column() != 0) return 0;
  return static_cast<int>(Children(node(parent)).size());
}

int AccountModel::columnCount(const QModelIndex&) const {
  return kColumnCount;
}

QVariant AccountModel::data(const QModelIndex& index, int role) const {
  const Node* n = node(index);
  if (n == nullptr) return {};
  const bool overall = n->Type == vemra::lists::kOverallRow;
  switch (role) {
    case Qt::DisplayRole:
      if (index.column() == kName) return overall ? Tx(20001) : FromWide(n->Name);
      return (n->NoRate ? QStringLiteral("≈ ") : QString()) +
             format_.format(n->Balance, n->CurrencyID);
    case Qt::ToolTipRole:
      if (n->NoRate) return Tx(20002);
      return n->Comment.empty() ? QVariant() : QVariant(FromWide(n->Comment));
    case Qt::TextAlignmentRole:
      return index.column() == kBalance ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    case Qt::FontRole:
      if (overall || n->Type == vemra::NodeType::Group) {
        QFont f = QGuiApplication::font();
        f.setBold(true);
        return f;
      }
      return {};
    case Qt::ForegroundRole: {
      const bool hidden = n->Account != nullptr && n->Account->Data.Visible == 0;
      if (hidden) return SecondaryText(QGuiApplication::palette());
      if (index.column() == kBalance && n->Balance < 0) {
        return NegativeText(QGuiApplication::palette());
      }
      return {};
    }
    default:
      return {};
  }
}

QVariant AccountModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  return section == kName ? Tx(20003) : Tx(20004);
}

Qt::ItemFlags AccountModel::flags(const QModelIndex& index) const {
  const Node* n = node(index);
  if (n == nullptr) return Qt::ItemIsDropEnabled;
  Qt::ItemFlags f = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDropEnabled;
  if (n->Type != vemra::lists::kOverallRow) f |= Qt::ItemIsDragEnabled;
  return f;
}

QStringList AccountModel::mimeTypes() const {
  return {QString::fromLatin1(vemra::lists::kAccountsPasteboardType)};
}

QMimeData* AccountModel::mimeData(const QModelIndexList& indexes) const {
  std::vector<uint64_t> rows;
  for (const QModelIndex& index : indexes) {
    if (int flat = flatIndex(index); flat > 0) rows.push_back(static_cast<uint64_t>(flat));
  }
  return MakePayloads(vemra::lists::kAccountsPasteboardType, rows, token_);
}

bool AccountModel::Dragged(const QMimeData* data, std::vector<size_t>& rows) const {
  std::vector<uint64_t> values;
  if (!ReadPayloads(data, vemra::lists::kAccountsPasteboardType, token_, values)) return false;
  for (uint64_t value : values) {
    if (value >= rows_.size()) return false;
    rows.push_back(static_cast<size_t>(value));
  }
  return true;
}

void AccountModel::DropTarget(int row, const QModelIndex& parent, size_t& target,
                              vemra::lists::AccountList::Drop& how) const {
  using Drop = vemra::lists::AccountList::Drop;
  if (row < 0) {
    // Dropped on a row itself (or on the empty area: past the last row).
    int flat = flatIndex(parent);
    how = flat < 0 ? Drop::Above : Drop::On;
    target = flat < 0 ? rows_.size() : static_cast<size_t>(flat);
    return;
  }
  how = Drop::Above;
  const std::vector<Node*>& siblings = Children(node(parent));
  if (row < static_cast<int>(siblings.size())) {
    target = static_cast<size_t>(flat_.at(siblings[row]));
    return;
  }
  // Past the last child of a group: above the row that follows the group's last account.
  if (siblings.empty()) {
    target = parent.isValid() ? static_cast<size_t>(flatIndex(parent)) + 1 : rows_.size();
  } else {
    target = static_cast<size_t>(flat_.at(siblings.back())) + 1;
    if (!parent.isValid()) target = rows_.size();
  }
}

bool AccountModel::canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                                   const QModelIndex& parent) const {
  std::vector<size_t> dragged;
  if (action != Qt::MoveAction || !Dragged(data, dragged)) return false;
  size_t target = 0;
  vemra::lists::AccountList::Drop how{};
  DropTarget(row, parent, target, how);
  return list_.validateDrop(dragged, target, how);
}

bool AccountModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                                const QModelIndex& parent) {
  std::vector<size_t> dragged;
  if (action != Qt::MoveAction || !Dragged(data, dragged)) return false;
  size_t target = 0;
  vemra::lists::AccountList::Drop how{};
  DropTarget(row, parent, target, how);
  // The list reloads on the update notification the drop posts; the view must not remove the
  // dragged rows itself, so the drop reports itself as not done.
  list_.acceptDrop(dragged, target, how);
  return false;
}

}  // namespace kestrum
