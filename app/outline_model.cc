#include "app/outline_model.h"

#include <QFont>
#include <QGuiApplication>
#include <QLocale>

#include "app/mime_payloads.h"
#include "app/texts.h"
#include "app/view_colors.h"
#include "collections/interfaces.h"
#include "editors/transaction_edit_model.h"
#include "lists/pasteboard.h"
#include "lists/suggestions.h"
#include "platform/localization.h"
#include "platform/unicode.h"

namespace kestrum {

using vemra::lists::Node;
namespace NodeType = vemra::NodeType;

namespace {

bool IsRecordRow(const Node& n) {
  return n.Type == NodeType::Transaction || n.Type == NodeType::Split ||
         n.Type == NodeType::Category;
}

bool IsGhost(const Node& n) {
  return n.Transaction != nullptr && n.Transaction->IsGhost;
}

QLocale ViewLocale() {
  return vemra::platform::Language() == "ru" ? QLocale(QLocale::Russian)
                                             : QLocale(QLocale::English, QLocale::UnitedStates);
}

}  // namespace

std::string OutlineModel::SortKeyOf(int column) {
  switch (column) {
    case kDate:
      return "date";
    case kName:
      return "name";
    case kCategory:
      return "category";
    case kPayee:
      return "payee";
    case kAmount:
      return "amount";
    case kBalance:
      return "balance";
    case kComment:
      return "comment";
    default:
      return {};
  }
}

OutlineModel::OutlineModel(vemra::lists::TransactionList& list, vemra::Document& document,
                           QObject* parent)
    : QAbstractItemModel(parent), list_(list), document_(document) {}

QDate OutlineModel::ToQDate(vemra::ADate date) {
  return QDate(vemra::YearOf(date), vemra::MonthOf(date) + 1, vemra::DayOf(date));
}

vemra::ADate OutlineModel::FromQDate(const QDate& date) {
  return vemra::MakeADate(date.year(), date.month() - 1, date.day());
}

void OutlineModel::IndexRows(const Node& row) {
  for (size_t i = 0; i < row.FilteredNodes.size(); ++i) {
    position_[row.FilteredNodes[i].get()] = static_cast<int>(i);
    IndexRows(*row.FilteredNodes[i]);
  }
}

void OutlineModel::setRoot(std::shared_ptr<Node> root, uint64_t currency, AmountFormat format) {
  beginResetModel();
  root_ = std::move(root);
  currency_ = currency;
  format_ = std::move(format);
  position_.clear();
  if (root_) IndexRows(*root_);
  endResetModel();
}

const Node* OutlineModel::node(const QModelIndex& index) const {
  return index.isValid() ? static_cast<const Node*>(index.internalPointer()) : nullptr;
}

QModelIndex OutlineModel::indexOf(const Node* row) const {
  if (row == nullptr || row == root_.get()) return {};
  auto it = position_.find(row);
  return it == position_.end() ? QModelIndex() : createIndex(it->second, 0, const_cast<Node*>(row));
}

QModelIndex OutlineModel::index(int row, int column, const QModelIndex& parent) const {
  if (!root_ || column < 0 || column >= kColumnCount) return {};
  if (parent.isValid() && parent.column() != 0) return {};
  const Node* p = parent.isValid() ? node(parent) : root_.get();
  if (row < 0 || row >= static_cast<int>(p->FilteredNodes.size())) return {};
  return createIndex(row, column, p->FilteredNodes[row].get());
}

QModelIndex OutlineModel::parent(const QModelIndex& child) const {
  const Node* n = node(child);
  if (n == nullptr || n->Parent == nullptr || n->Parent == root_.get()) return {};
  return indexOf(n->Parent);
}

int OutlineModel::rowCount(const QModelIndex& parent) const {
  if (!root_ || (parent.isValid() && parent.column() != 0)) return 0;
  const Node* p = parent.isValid() ? node(parent) : root_.get();
  return static_cast<int>(p->FilteredNodes.size());
}

bool OutlineModel::hasChildren(const QModelIndex& parent) const {
  return rowCount(parent) > 0;
}

int OutlineModel::columnCount(const QModelIndex&) const {
  return kColumnCount;
}

QString OutlineModel::Title(const Node& row) const {
  switch (row.Type) {
    case NodeType::DateHeader:
      return ViewLocale().toString(ToQDate(row.Date), QStringLiteral("ddd, d MMM yyyy"));
    case NodeType::ExpenseHeader:
      return Tx(20010);
    case NodeType::IncomeHeader:
      return Tx(20011);
    case NodeType::TransferHeader:
      return Tx(20012);
    default:
      return FromWide(row.Name);
  }
}

QString OutlineModel::AccountText(const Node& row) const {
  if (row.Type != NodeType::Transaction) return {};
  QString from = FromWide(row.WithdrawAccountName), to = FromWide(row.TargetAccountName);
  if (!from.isEmpty() && !to.isEmpty()) return from + QStringLiteral(" → ") + to;
  return from.isEmpty() ? to : from;
}

QVariant OutlineModel::data(const QModelIndex& index, int role) const {
  const Node* n = node(index);
  if (n == nullptr) return {};
  const bool transaction = n->Type == NodeType::Transaction;
  const bool group = !n->FilteredNodes.empty() || n->Type < 0;
  const int column = index.column();
  switch (role) {
    case Qt::DisplayRole:
      switch (column) {
        case kDate:
          if (n->Type == NodeType::DateHeader) return Title(*n);
          if (transaction || n->Type == NodeType::Split) {
            return ViewLocale().toString(ToQDate(n->Date), QLocale::ShortFormat);
          }
          return {};
        case kName:
          return n->Type == NodeType::DateHeader ? QString() : Title(*n);
        case kCategory:
          return transaction ? FromWide(n->CategoryName) : QVariant();
        case kPayee:
          return transaction ? FromWide(n->PayeeName) : QVariant();
        case kAccount:
          return AccountText(*n);
        case kAmount:
          if (!transaction && !group) return {};
          return format_.format(n->Amount, currency_);
        case kBalance:
          if (!transaction && n->Type != NodeType::Split) return {};
          return format_.format(n->Balance, currency_);
        case kComment:
          return FromWide(n->Comment);
        default:
          return {};
      }
    case Qt::EditRole:
      switch (column) {
        case kDate:
          return ToQDate(n->Date);
        case kName:
          return FromWide(n->Name);
        case kComment:
          return FromWide(n->Comment);
        case kCategory:
          return FromWide(n->CategoryName);
        case kPayee:
          return FromWide(n->PayeeName);
        case kAmount: {
          if (!transaction) return {};
          double amount =
              n->Transaction->Data.WithdrawAccountID != 0 ? n->WithdrawAmount : n->TargetAmount;
          return format_.format(amount, 0, false)
              .remove(QString::fromStdString(vemra::platform::Separators().grouping));
        }
        default:
          return data(index, Qt::DisplayRole);
      }
    case Qt::CheckStateRole:
      if (column == kStatus && transaction) return n->Cleared ? Qt::Checked : Qt::Unchecked;
      return {};
    case Qt::ToolTipRole:
      if (column == kStatus && transaction) return n->Cleared ? Tx(20013) : Tx(20014);
      return {};
    case Qt::TextAlignmentRole:
      if (column == kAmount || column == kBalance)
        return QVariant(Qt::AlignRight | Qt::AlignVCenter);
      return {};
    case Qt::FontRole: {
      if (n->Type >= 0 && !IsGhost(*n)) return {};
      QFont f = QGuiApplication::font();
      if (n->Type < 0) f.setBold(true);
      if (IsGhost(*n)) f.setItalic(true);
      return f;
    }
    case Qt::ForegroundRole: {
      const QPalette palette = QGuiApplication::palette();
      if (transaction && (!n->Cleared || IsGhost(*n))) return SecondaryText(palette);
      if ((column == kAmount && n->Amount < 0) || (column == kBalance && n->Balance < 0)) {
        return NegativeText(palette);
      }
      return {};
    }
    default:
      return {};
  }
}

Qt::ItemFlags OutlineModel::flags(const QModelIndex& index) const {
  const Node* n = node(index);
  if (n == nullptr) return {};
  Qt::ItemFlags f = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
  if (IsRecordRow(*n)) f |= Qt::ItemIsDragEnabled;
  if (vemra::lists::TransactionList::validateDrop(*n)) f |= Qt::ItemIsDropEnabled;
  if (IsGhost(*n)) return f;
  const int column = index.column();
  switch (n->Type) {
    case NodeType::Transaction:
      if (column == kStatus) f |= Qt::ItemIsUserCheckable;
      if (column == kDate || column == kName || column == kCategory || column == kPayee ||
          column == kAmount || column == kComment) {
        f |= Qt::ItemIsEditable;
      }
      break;
    case NodeType::Split:
      if (column == kDate || column == kName || column == kComment) f |= Qt::ItemIsEditable;
      break;
    case NodeType::Category:
      if (column == kName || column == kComment) f |= Qt::ItemIsEditable;
      break;
    default:
      break;
  }
  return f;
}

uint64_t OutlineModel::FindCategory(const QString& name, uint64_t root_id) {
  const std::wstring wanted = vemra::FoldCase(ToWide(name.trimmed()));
  uint64_t found = 0;
  document_.Sync([&] {
    for (const vemra::lists::Suggestion& s :
         vemra::lists::CategoryCandidates(document_.database(), root_id)) {
      if (s.foldedName == wanted) {
        found = s.entryID;
        return;
      }
    }
  });
  return found;
}

void OutlineModel::changeTree(const std::function<void()>& change) {
  beginResetModel();
  change();
  position_.clear();
  if (root_) IndexRows(*root_);
  endResetModel();
}

bool OutlineModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  const Node* n = node(index);
  if (n == nullptr || !(flags(index) & (Qt::ItemIsEditable | Qt::ItemIsUserCheckable))) {
    return false;
  }
  Node row = *n;  // the list writes back a copy; the tree stays as loaded until it reloads
  switch (index.column()) {
    case kStatus: {
      if (role != Qt::CheckStateRole) return false;
      bool cleared = value.toInt() == Qt::Checked;
      if (cleared == row.Cleared) return false;
      row.Cleared = cleared;
      return list_.editNode(row);
    }
    case kDate: {
      QDate date = value.toDate();
      if (!date.isValid()) return false;
      row.Date = FromQDate(date);
      break;
    }
    case kName:
      row.Name = ToWide(value.toString().trimmed());
      break;
    case kComment:
      row.Comment = ToWide(value.toString());
      break;
    case kCategory:
    case kPayee: {
      const bool payee = index.column() == kPayee;
      const QString text = value.toString().trimmed();
      const uint64_t id =
          text.isEmpty() ? 0 : FindCategory(text, payee ? vemra::kPayeeRoot : vemra::kCategoryRoot);
      (payee ? row.PayeeID : row.CategoryID) = id;
      (payee ? row.PayeeName : row.CategoryName) = ToWide(text);
      break;
    }
    case kAmount: {
      // The amount is typed in the account's currency and coupled as the editor couples it.
      vemra::editors::TransactionEditModel editor(document_, row.ID);
      const std::string text = value.toString().toStdString();
      const std::string decimal = vemra::platform::Separators().decimal;
      if (editor.transactionType() == vemra::editors::TransactionEditModel::kIncome) {
        editor.targetAmountTyped(text, decimal);
      } else {
        editor.withdrawAmountTyped(text, decimal);
      }
      if (!editor.hasChanges()) return false;
      return editor.save() != 0;
    }
    default:
      return false;
  }
  return list_.editNode(row);
}

QVariant OutlineModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal) return {};
  if (role == Qt::DisplayRole) {
    static const int kKeys[kColumnCount] = {20021, 20020, 20022, 20023, 20024,
                                            20025, 20026, 20027, 20028};
    return section >= 0 && section < kColumnCount ? Tx(kKeys[section]) : QVariant();
  }
  if (role == Qt::TextAlignmentRole && (section == kAmount || section == kBalance)) {
    return QVariant(Qt::AlignRight | Qt::AlignVCenter);
  }
  return {};
}

QStringList OutlineModel::mimeTypes() const {
  return {QString::fromLatin1(vemra::lists::kTransactionsPasteboardType)};
}

QMimeData* OutlineModel::mimeData(const QModelIndexList& indexes) const {
  std::vector<uint64_t> ids;
  for (const QModelIndex& index : indexes) {
    const Node* n = node(index);
    if (n != nullptr && IsRecordRow(*n) && n->ID != 0) ids.push_back(n->ID);
  }
  return MakePayloads(vemra::lists::kTransactionsPasteboardType, ids, document_.instanceToken());
}

bool OutlineModel::Dragged(const QMimeData* data, std::vector<uint64_t>& ids) const {
  return ReadPayloads(data, vemra::lists::kTransactionsPasteboardType, document_.instanceToken(),
                      ids);
}

bool OutlineModel::canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                                   const QModelIndex& parent) const {
  std::vector<uint64_t> ids;
  const Node* target = node(parent);
  // Only drops onto a row count; a drop between rows is a drop on the row they lie under.
  (void)row;
  return action == Qt::MoveAction && target != nullptr && Dragged(data, ids) &&
         vemra::lists::TransactionList::validateDrop(*target);
}

bool OutlineModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                const QModelIndex& parent) {
  if (!canDropMimeData(data, action, row, column, parent)) return false;
  std::vector<uint64_t> ids;
  Dragged(data, ids);
  // The list reloads on the notification the drop posts; the view must not remove rows.
  list_.acceptDrop(ids, *node(parent));
  return false;
}

}  // namespace kestrum
