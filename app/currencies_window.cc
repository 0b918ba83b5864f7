#include "app/currencies_window.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QTableView>
#include <QVBoxLayout>

#include "app/currency_dialog.h"
#include "app/currency_list_model.h"
#include "app/texts.h"

namespace kestrum {

CurrenciesWindow::CurrenciesWindow(vemra::Document& document, QWidget* parent)
    : QWidget(parent, Qt::Window),
      document_(document),
      model_(new CurrencyListModel(document, this)),
      proxy_(new QSortFilterProxyModel(this)),
      table_(new QTableView),
      base_(new QComboBox),
      filter_(new QLineEdit) {
  setWindowTitle(Tx(20540));
  resize(560, 420);
  proxy_->setSourceModel(model_);
  proxy_->setFilterCaseSensitivity(Qt::CaseInsensitive);
  proxy_->setFilterKeyColumn(-1);
  table_->setModel(proxy_);
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setSelectionMode(QAbstractItemView::SingleSelection);
  table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  table_->verticalHeader()->hide();
  table_->horizontalHeader()->setSectionResizeMode(CurrencyListModel::kName, QHeaderView::Stretch);
  connect(table_, &QTableView::doubleClicked, this, &CurrenciesWindow::EditRow);
  filter_->setPlaceholderText(Tx(20546));
  filter_->setClearButtonEnabled(true);
  connect(filter_, &QLineEdit::textChanged, proxy_, &QSortFilterProxyModel::setFilterFixedString);
  connect(base_, &QComboBox::activated, this,
          [this](int i) { model_->reload(base_->itemData(i).toULongLong()); });

  auto* add = new QPushButton(Tx(20547));
  connect(add, &QPushButton::clicked, this, [this] { EditRow({}); });
  auto* update = new QPushButton(Tx(20548));
  connect(update, &QPushButton::clicked, this, &CurrenciesWindow::updateRatesRequested);
  auto* top = new QHBoxLayout;
  top->addWidget(filter_, 1);
  top->addWidget(base_);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(add);
  buttons->addStretch();
  buttons->addWidget(update);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(top);
  layout->addWidget(table_, 1);
  layout->addLayout(buttons);

  // The update notification comes on the document's queue: reload on the GUI thread. The
  // call is posted to the application object, not to the window, which the GUI thread may be
  // destroying meanwhile; the guard is read only there.
  QPointer<CurrenciesWindow> self(this);
  token_ = document_.observe(vemra::kUpdateDataNotification, [self](vemra::Document&) {
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [self] {
          if (self) self->reload();
        },
        Qt::QueuedConnection);
  });
  reload();
}

void CurrenciesWindow::reload() {
  model_->reload(model_->base());
  base_->clear();
  for (const CurrencyListModel::Row& row : model_->rows()) {
    base_->addItem(Tx(20549).arg(row.code.isEmpty() ? row.name : row.code),
                   QVariant::fromValue<qulonglong>(row.id));
  }
  base_->setCurrentIndex(base_->findData(QVariant::fromValue<qulonglong>(model_->base())));
}

void CurrenciesWindow::EditRow(const QModelIndex& index) {
  const uint64_t id =
      index.isValid() ? proxy_->data(index, CurrencyListModel::kIdRole).toULongLong() : 0;
  auto* dialog = new CurrencyDialog(document_, id, this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->show();
}

}  // namespace kestrum
