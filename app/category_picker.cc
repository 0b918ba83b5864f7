#include "app/category_picker.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QSortFilterProxyModel>
#include <QTreeView>
#include <QVBoxLayout>

#include "app/texts.h"
#include "collections/node.h"

namespace kestrum {

struct CategoryTreeModel::Item {
  uint64_t id = 0;
  QString name;
  Item* parent = nullptr;
  int row = 0;
  std::vector<std::unique_ptr<Item>> children;
};

CategoryTreeModel::CategoryTreeModel(vemra::Document& document, uint64_t root_id, QObject* parent)
    : QAbstractItemModel(parent),
      document_(document),
      root_id_(root_id),
      root_(std::make_unique<Item>()) {}

CategoryTreeModel::~CategoryTreeModel() = default;

void CategoryTreeModel::reload() {
  auto root = std::make_unique<Item>();
  document_.Sync([&] {
    vemra::Book& book = document_.database();
    if (!book.Loaded) return;
    std::function<void(const vemra::NodeList&, Item&)> add = [&](const vemra::NodeList& nodes,
                                                                 Item& into) {
      for (const auto& node : nodes) {
        if (!node->Category) continue;
        auto item = std::make_unique<Item>();
        item->id = node->Category->Header.ID;
        std::wstring name;
        book.GetString(node->Category->Data.NameID, name);
        item->name = FromWide(name);
        item->parent = &into;
        item->row = static_cast<int>(into.children.size());
        add(node->Children, *item);
        into.children.push_back(std::move(item));
      }
    };
    add(book.Categories().GetCategoriesTree(root_id_), *root);
  });
  beginResetModel();
  root_ = std::move(root);
  endResetModel();
}

const CategoryTreeModel::Item* CategoryTreeModel::ItemOf(const QModelIndex& index) const {
  return index.isValid() ? static_cast<const Item*>(index.internalPointer()) : root_.get();
}

QModelIndex CategoryTreeModel::index(int row, int column, const QModelIndex& parent) const {
  const Item* p = ItemOf(parent);
  if (column != 0 || row < 0 || row >= static_cast<int>(p->children.size())) return {};
  return createIndex(row, 0, p->children[row].get());
}

QModelIndex CategoryTreeModel::parent(const QModelIndex& child) const {
  if (!child.isValid()) return {};
  const Item* p = ItemOf(child)->parent;
  if (p == nullptr || p == root_.get()) return {};
  return createIndex(p->row, 0, const_cast<Item*>(p));
}

int CategoryTreeModel::rowCount(const QModelIndex& parent) const {
  if (parent.isValid() && parent.column() != 0) return 0;
  return static_cast<int>(ItemOf(parent)->children.size());
}

int CategoryTreeModel::columnCount(const QModelIndex&) const {
  return 1;
}

QVariant CategoryTreeModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) return {};
  const Item* item = ItemOf(index);
  if (role == Qt::DisplayRole) return item->name;
  if (role == kIdRole) return QVariant::fromValue<qulonglong>(item->id);
  return {};
}

CategoryPicker::CategoryPicker(vemra::Document& document, uint64_t root_id, QWidget* parent)
    : QDialog(parent, Qt::Popup),
      model_(new CategoryTreeModel(document, root_id, this)),
      proxy_(new QSortFilterProxyModel(this)),
      filter_(new QLineEdit),
      tree_(new QTreeView) {
  setAttribute(Qt::WA_DeleteOnClose);
  model_->reload();
  proxy_->setSourceModel(model_);
  proxy_->setFilterCaseSensitivity(Qt::CaseInsensitive);
  proxy_->setRecursiveFilteringEnabled(true);
  tree_->setModel(proxy_);
  tree_->setHeaderHidden(true);
  tree_->expandAll();
  filter_->setPlaceholderText(Tx(20546));
  filter_->setClearButtonEnabled(true);
  connect(filter_, &QLineEdit::textChanged, this, &CategoryPicker::setFilter);
  auto choose = [this](const QModelIndex& index) {
    if (!index.isValid()) return;
    emit picked(index.data(CategoryTreeModel::kIdRole).toULongLong(), index.data().toString());
    close();
  };
  connect(tree_, &QTreeView::activated, this, choose);
  connect(filter_, &QLineEdit::returnPressed, this, [this, choose] {
    choose(tree_->currentIndex().isValid() ? tree_->currentIndex() : proxy_->index(0, 0));
  });
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(4, 4, 4, 4);
  layout->addWidget(filter_);
  layout->addWidget(tree_);
  resize(280, 360);
  filter_->setFocus();
}

void CategoryPicker::setFilter(const QString& text) {
  proxy_->setFilterFixedString(text);
  tree_->expandAll();
}

}  // namespace kestrum
