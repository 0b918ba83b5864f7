#include "app/main_window.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QDockWidget>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QSplitter>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QTreeView>
#include <QUndoStack>
#include <QUrl>
#include <cstdio>
#include <set>

#include "app/account_dialog.h"
#include "app/account_model.h"
#include "app/app_settings.h"
#include "app/charts_pane.h"
#include "app/currencies_window.h"
#include "app/outline_delegate.h"
#include "app/outline_model.h"
#include "app/password_dialog.h"
#include "app/preferences_dialog.h"
#include "app/texts.h"
#include "app/transaction_dialog.h"
#include "app/undo_bridge.h"
#include "collections/node.h"
#include "document/period_text.h"
#include "import/quotes.h"
#include "lists/period_selection.h"
#include "platform/clock.h"
#include "platform/localization.h"
#include "sync/auto_sync.h"

namespace kestrum {

using vemra::lists::Node;
namespace NodeType = vemra::NodeType;

namespace {

// Runs `work` on the GUI thread of `target` unless the target is gone by then.
template <typename T, typename F>
void OnGui(T* target, F work) {
  QPointer<T> guard(target);
  QMetaObject::invokeMethod(
      target,
      [guard, work = std::move(work)]() mutable {
        if (guard) work();
      },
      Qt::QueuedConnection);
}

void CountRows(const Node& row, int& transactions, double& income, double& expenses) {
  for (const auto& child : row.FilteredNodes) {
    if (child->Type == NodeType::Transaction) {
      ++transactions;
      const auto& t = *child->Transaction;
      const bool transfer = t.Data.WithdrawAccountID != 0 && t.Data.TargetAccountID != 0;
      if (child->Cleared && !transfer) {
        (child->Amount >= 0 ? income : expenses) += child->Amount;
      }
    }
    CountRows(*child, transactions, income, expenses);
  }
}

QString ErrorText(int rc, const QString& reason) {
  QString text = QString::fromStdString(vemra::decodeDBError(rc));
  if (!reason.isEmpty()) text += QStringLiteral("\n") + reason;
  return text;
}

}  // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), document_(std::make_unique<vemra::Document>()) {
  setAttribute(Qt::WA_DeleteOnClose);
  setAcceptDrops(true);
  worker_.setMaxThreadCount(1);
  accounts_ = std::make_unique<vemra::lists::AccountList>(*document_);
  transactions_ = std::make_unique<vemra::lists::TransactionList>(*document_);
  transactions_->setGroupBy(vemra::lists::TransactionList::StoredGroupBy());
  undo_ = new UndoBridge(*document_, this);
  autosave_on_ = LoadPreferences().autosave;
  autosave_.setSingleShot(true);
  autosave_.setInterval(1000);
  connect(&autosave_, &QTimer::timeout, this, [this] { save(); });
  connect(&watcher_, &QFileSystemWatcher::fileChanged, this, [this] { FileChanged(); });
  connect(undo_->stack(), &QUndoStack::indexChanged, this, [this] { UpdateActions(); });
  BuildActions();
  BuildViews();
  BuildToolBar();
  BuildMenus();
  Observe();
  if (!restoreGeometry(WindowGeometry())) resize(1200, 760);
  restoreState(WindowState());
  UpdateTitle();
  UpdateActions();
}

MainWindow::~MainWindow() {
  autosave_.stop();
  worker_.waitForDone();
  update_token_ = {};
  accounts_token_ = {};
  // Waits for the queue: no work on the lists runs after this.
  document_->Close();
  // Whatever refers to the document or the lists goes before them (QObject would delete the
  // children only after the members are gone).
  delete undo_;
  for (QDialog* dialog : findChildren<QDialog*>(Qt::FindDirectChildrenOnly)) delete dialog;
  for (QWidget* window : findChildren<CurrenciesWindow*>(Qt::FindDirectChildrenOnly)) {
    delete window;
  }
  delete findChild<QDockWidget*>(QStringLiteral("charts"));
  delete takeCentralWidget();
  delete account_model_;
  delete outline_model_;
}

// ---- Building the window ----

void MainWindow::BuildActions() {
  undo_action_ = undo_->stack()->createUndoAction(this, Tx(20050));
  undo_action_->setShortcut(QKeySequence::Undo);
  redo_action_ = undo_->stack()->createRedoAction(this, Tx(20051));
  redo_action_->setShortcut(QKeySequence::Redo);
  edit_action_ = new QAction(Tx(20053), this);
  edit_action_->setShortcuts({QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)});
  edit_action_->setShortcutContext(Qt::WidgetShortcut);
  connect(edit_action_, &QAction::triggered, this, [this] { EditRow(CurrentRow()); });
  delete_action_ = new QAction(Tx(20054), this);
  delete_action_->setShortcut(QKeySequence::Delete);
  delete_action_->setShortcutContext(Qt::WidgetShortcut);
  connect(delete_action_, &QAction::triggered, this, [this] { DeleteRows(nullptr); });
  make_group_action_ = new QAction(Tx(20052), this);
  make_group_action_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_G));
  connect(make_group_action_, &QAction::triggered, this, [this] { MakeGroup(); });
}

void MainWindow::BuildViews() {
  account_model_ = new AccountModel(*accounts_, document_->instanceToken(), this);
  sidebar_ = new QTreeView;
  sidebar_->setModel(account_model_);
  sidebar_->setObjectName(QStringLiteral("sidebar"));
  sidebar_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  sidebar_->setDragDropMode(QAbstractItemView::DragDrop);
  sidebar_->setDefaultDropAction(Qt::MoveAction);
  sidebar_->setDropIndicatorShown(true);
  sidebar_->setUniformRowHeights(true);
  sidebar_->setExpandsOnDoubleClick(false);  // a double click edits the row
  sidebar_->header()->setStretchLastSection(false);
  sidebar_->header()->setSectionResizeMode(AccountModel::kName, QHeaderView::Stretch);
  sidebar_->header()->setSectionResizeMode(AccountModel::kBalance, QHeaderView::ResizeToContents);
  sidebar_->setContextMenuPolicy(Qt::CustomContextMenu);
  connect(sidebar_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
          [this] { SidebarSelectionChanged(); });
  connect(sidebar_, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
    const Node* row = account_model_->node(sidebar_->indexAt(at));
    QMenu menu(this);
    menu.addAction(Tx(20135), this, [this] { EditAccount(0, false); });
    menu.addAction(Tx(20136), this, [this] { EditAccount(0, true); });
    if (row != nullptr && row->Type != vemra::lists::kOverallRow) {
      menu.addSeparator();
      menu.addAction(Tx(20053), this, [this, id = row->ID, group = row->Type == NodeType::Group] {
        EditAccount(id, group);
      });
      menu.addAction(Tx(20054), this, [this] { DeleteAccountRow(); });
    }
    menu.exec(sidebar_->viewport()->mapToGlobal(at));
  });
  connect(sidebar_, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) {
    const Node* row = account_model_->node(index);
    if (row != nullptr && row->Type != vemra::lists::kOverallRow) {
      EditAccount(row->ID, row->Type == NodeType::Group);
    }
  });
  auto* sidebar_delete = new QAction(sidebar_);
  sidebar_delete->setShortcut(QKeySequence::Delete);
  sidebar_delete->setShortcutContext(Qt::WidgetShortcut);
  connect(sidebar_delete, &QAction::triggered, this, [this] { DeleteAccountRow(); });
  sidebar_->addAction(sidebar_delete);

  outline_model_ = new OutlineModel(*transactions_, *document_, this);
  outline_ = new QTreeView;
  outline_->setObjectName(QStringLiteral("outline"));
  outline_->setModel(outline_model_);
  outline_->setItemDelegate(new OutlineDelegate(*document_, outline_));
  outline_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  outline_->setSelectionBehavior(QAbstractItemView::SelectRows);
  outline_->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::SelectedClicked);
  outline_->setDragDropMode(QAbstractItemView::DragDrop);
  outline_->setDefaultDropAction(Qt::MoveAction);
  outline_->setUniformRowHeights(true);
  outline_->setAlternatingRowColors(true);
  outline_->setSortingEnabled(false);
  outline_->header()->setSectionsClickable(true);
  outline_->header()->setSortIndicatorShown(true);
  outline_->header()->setSortIndicator(OutlineModel::kDate, Qt::AscendingOrder);
  outline_->header()->setContextMenuPolicy(Qt::CustomContextMenu);
  QHeaderView* columns = outline_->header();
  columns->setStretchLastSection(false);
  columns->setMinimumSectionSize(24);
  columns->resizeSection(OutlineModel::kDate, 160);
  columns->resizeSection(OutlineModel::kStatus, 28);
  columns->setSectionResizeMode(OutlineModel::kName, QHeaderView::Stretch);
  for (int column : {OutlineModel::kCategory, OutlineModel::kPayee, OutlineModel::kAccount}) {
    columns->resizeSection(column, 110);
  }
  for (int column : {OutlineModel::kAmount, OutlineModel::kBalance}) {
    columns->resizeSection(column, 100);
  }
  columns->resizeSection(OutlineModel::kComment, 140);
  outline_->setColumnHidden(OutlineModel::kComment, true);  // shown from the header's menu
  outline_->setContextMenuPolicy(Qt::CustomContextMenu);
  outline_->addAction(edit_action_);
  outline_->addAction(delete_action_);
  auto* toggle = new QAction(outline_);
  toggle->setShortcut(QKeySequence(Qt::Key_Space));
  toggle->setShortcutContext(Qt::WidgetShortcut);
  connect(toggle, &QAction::triggered, this, [this] { ToggleCleared(); });
  outline_->addAction(toggle);
  connect(outline_->header(), &QHeaderView::sortIndicatorChanged, this,
          [this](int column, Qt::SortOrder order) {
            std::string key = OutlineModel::SortKeyOf(column);
            if (key.empty()) return;
            transactions_->setSort({{key, order == Qt::AscendingOrder}});
            outline_model_->changeTree([this] { transactions_->sortData(); });
            outline_->expandToDepth(0);
          });
  connect(outline_->header(), &QWidget::customContextMenuRequested, this,
          [this](const QPoint& at) { HeaderContextMenu(at); });
  connect(outline_, &QWidget::customContextMenuRequested, this,
          [this](const QPoint& at) { OutlineContextMenu(at); });
  connect(outline_, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) {
    const Node* row = outline_model_->node(index);
    if (row == nullptr) return;
    if (row->Type != NodeType::Transaction) {
      outline_->setExpanded(index.siblingAtColumn(0),
                            !outline_->isExpanded(index.siblingAtColumn(0)));
    } else if (!(outline_model_->flags(index) & Qt::ItemIsEditable) ||
               index.column() == OutlineModel::kStatus) {
      EditRow(row);
    }
  });
  connect(outline_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
          [this] { UpdateActions(); });

  auto* splitter = new QSplitter(Qt::Horizontal);
  splitter->setObjectName(QStringLiteral("splitter"));
  splitter->addWidget(sidebar_);
  splitter->addWidget(outline_);
  splitter->setStretchFactor(0, 0);
  splitter->setStretchFactor(1, 1);
  splitter->setSizes({300, 900});
  setCentralWidget(splitter);

  charts_ = new ChartsPane(*document_);
  auto* dock = new QDockWidget(Tx(20060), this);
  dock->setObjectName(QStringLiteral("charts"));
  dock->setWidget(charts_);
  addDockWidget(Qt::BottomDockWidgetArea, dock);
  dock->hide();

  count_label_ = new QLabel;
  save_label_ = new QLabel;
  sync_label_ = new QLabel;
  progress_ = new QProgressBar;
  progress_->setRange(0, 0);
  progress_->setMaximumWidth(140);
  progress_->hide();
  statusBar()->addWidget(count_label_, 1);
  statusBar()->addPermanentWidget(progress_);
  statusBar()->addPermanentWidget(sync_label_);
  statusBar()->addPermanentWidget(save_label_);
}

void MainWindow::BuildToolBar() {
  QToolBar* bar = addToolBar(Tx(20061));
  bar->setObjectName(QStringLiteral("toolbar"));
  bar->setMovable(false);
  auto* add = bar->addAction(Tx(20062), this, [this] { NewTransaction(); });
  add->setShortcuts({QKeySequence(Qt::CTRL | Qt::Key_T), QKeySequence(Qt::Key_Insert)});
  add->setToolTip(Tx(20062) + QStringLiteral(" (Ctrl+T)"));
  addAction(add);
  bar->addSeparator();

  grouping_ = new QActionGroup(this);
  const std::pair<int, int> kGroupings[] = {{2, 20063}, {3, 20064}, {5, 20065}};
  int shortcut = Qt::Key_1;
  for (auto [group_by, key] : kGroupings) {
    QAction* a = bar->addAction(Tx(key));
    a->setCheckable(true);
    a->setData(group_by);
    a->setShortcut(QKeySequence(Qt::CTRL | static_cast<Qt::Key>(shortcut++)));
    a->setChecked(transactions_->groupBy() == group_by);
    grouping_->addAction(a);
    addAction(a);
  }
  connect(grouping_, &QActionGroup::triggered, this,
          [this](QAction* a) { setGroupBy(a->data().toInt()); });
  bar->addSeparator();

  auto* previous = bar->addAction(QStringLiteral("◀"), this, [this] { movePeriod(-1); });
  previous->setShortcut(QKeySequence(Qt::ALT | Qt::Key_Left));
  previous->setToolTip(Tx(20066));
  addAction(previous);
  period_button_ = new QToolButton;
  period_button_->setObjectName(QStringLiteral("period"));
  period_button_->setPopupMode(QToolButton::InstantPopup);
  period_button_->setMinimumWidth(160);
  auto* intervals = new QMenu(period_button_);
  const int kIntervalKeys[] = {20070, 20071, 20072, 20073, 20074, 20075, 20076};
  for (int kind = 0; kind < 7; ++kind) {
    intervals->addAction(Tx(kIntervalKeys[kind]), this, [this, kind] { ChooseInterval(kind); });
  }
  period_button_->setMenu(intervals);
  bar->addWidget(period_button_);
  auto* next = bar->addAction(QStringLiteral("▶"), this, [this] { movePeriod(1); });
  next->setShortcut(QKeySequence(Qt::ALT | Qt::Key_Right));
  next->setToolTip(Tx(20067));
  addAction(next);
  bar->addSeparator();

  hidden_accounts_ = bar->addAction(Tx(20068));
  hidden_accounts_->setCheckable(true);
  connect(hidden_accounts_, &QAction::toggled, this, [this](bool on) {
    if (!ready_ || on == show_hidden_) return;
    show_hidden_ = on;
    vemra::Document* document = document_.get();
    document_->queue().Submit(
        [document, on] { vemra::lists::SetShowHiddenAccounts(*document, on); });
  });

  auto* spacer = new QWidget;
  spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  bar->addWidget(spacer);
  search_ = new QLineEdit;
  search_->setObjectName(QStringLiteral("search"));
  search_->setPlaceholderText(Tx(20069));
  search_->setClearButtonEnabled(true);
  search_->setMaximumWidth(260);
  bar->addWidget(search_);
  connect(search_, &QLineEdit::textChanged, this, [this](const QString& text) {
    transactions_->setFilter(ToWide(text));
    if (!transactions_->root()) return;
    outline_model_->changeTree([this] { transactions_->filterData(); });
    if (text.isEmpty()) {
      outline_->expandToDepth(0);
    } else {
      outline_->expandAll();
    }
    UpdateStatus();
  });
  auto* find = new QAction(this);
  find->setShortcut(QKeySequence::Find);
  connect(find, &QAction::triggered, this, [this] {
    search_->setFocus();
    search_->selectAll();
  });
  addAction(find);
}

void MainWindow::BuildMenus() {
  QMenu* file = menuBar()->addMenu(Tx(20080));
  file->addAction(Tx(20081), QKeySequence::New, this, [] {
    auto* w = new MainWindow;
    w->newDocument();
    w->show();
  });
  file->addAction(Tx(20082), QKeySequence::Open, this, [this] { ChooseOpen(); });
  recent_menu_ = file->addMenu(Tx(20083));
  connect(recent_menu_, &QMenu::aboutToShow, this, [this] { RebuildRecentMenu(); });
  file->addSeparator();
  file->addAction(Tx(20084), QKeySequence::Save, this, [this] {
    if (path_.isEmpty()) {
      ChooseSaveAs();
    } else {
      save();
    }
  });
  file->addAction(Tx(20085), QKeySequence::SaveAs, this, [this] { ChooseSaveAs(); });
  file->addSeparator();
  file->addAction(Tx(20086), QKeySequence::Close, this, [this] { close(); });
  file->addAction(Tx(20087), QKeySequence::Quit, qApp, [] { QApplication::closeAllWindows(); });

  QMenu* edit = menuBar()->addMenu(Tx(20088));
  edit->addAction(undo_action_);
  edit->addAction(redo_action_);
  edit->addSeparator();
  edit->addAction(edit_action_);
  edit->addAction(make_group_action_);
  edit->addAction(delete_action_);
  edit->addSeparator();
  edit->addAction(Tx(20135), this, [this] { EditAccount(0, false); });
  edit->addAction(Tx(20136), this, [this] { EditAccount(0, true); });
  edit->addSeparator();
  edit->addAction(Tx(20089), this, [this] { ShowPreferences(); });

  QMenu* view = menuBar()->addMenu(Tx(20090));
  view->addActions(grouping_->actions());
  view->addSeparator();
  view->addAction(hidden_accounts_);
  view->addAction(findChild<QDockWidget*>(QStringLiteral("charts"))->toggleViewAction());
  view->addAction(Tx(20091), this, [this] { ShowCurrencies(); });

  QMenu* help = menuBar()->addMenu(Tx(20092));
  help->addAction(Tx(20093), this, [this] { ShowShortcuts(); });
  help->addAction(Tx(20094), this, [this] {
    QMessageBox::about(this, Tx(20094), Tx(20095).arg(QStringLiteral(KESTRUM_VERSION)));
  });
}

void MainWindow::Observe() {
  // Notifications arrive on the thread that posts them (usually the document's queue).
  update_token_ = document_->observe(vemra::kUpdateDataNotification, [this](vemra::Document&) {
    OnGui(this, [this] {
      if (!ready_) return;
      Changed();
      ReloadAll();
    });
  });
  accounts_token_ =
      document_->observe(vemra::kUpdateAccountsNotification, [this](vemra::Document&) {
        OnGui(this, [this] {
          if (ready_) ReloadAll();
        });
      });
}

// ---- Files ----

MainWindow* MainWindow::OpenWindow(const QString& path, MainWindow* reuse) {
  const QString wanted = QFileInfo(path).absoluteFilePath();
  for (QWidget* w : QApplication::topLevelWidgets()) {
    auto* window = qobject_cast<MainWindow*>(w);
    if (window != nullptr && !window->closing_ && window->path_ == wanted) {
      window->raise();
      window->activateWindow();
      return window;
    }
  }
  MainWindow* window =
      reuse != nullptr && reuse->untouched_ && reuse->path_.isEmpty() && !reuse->isDirty()
          ? reuse
          : new MainWindow;
  window->openFile(wanted);
  window->show();
  return window;
}

void MainWindow::newDocument() {
  document_->New(vemra::platform::Language());
  path_.clear();
  untouched_ = true;
  ready_ = true;
  UpdateTitle();
  ReloadAll();
  emit opened(true);
}

void MainWindow::openFile(const QString& path) {
  path_ = QFileInfo(path).absoluteFilePath();
  ready_ = false;
  untouched_ = false;
  UpdateTitle();
  SetBusy(true, Tx(20100));
  vemra::Document* document = document_.get();
  const std::string file = path_.toStdString();
  worker_.start([this, document, file] {
    std::string reason;
    int rc = document->readFile(file, &reason);
    OnGui(this, [this, rc, reason] { AfterRead(rc, QString::fromStdString(reason)); });
  });
}

void MainWindow::AfterRead(int rc, const QString& reason) {
  SetBusy(false);
  if (rc != 0) {
    // A file that fails to open is never written: the window closes without saving.
    Tell(QMessageBox::Critical, QFileInfo(path_).fileName(), ErrorText(rc, reason));
    emit opened(false);
    closing_ = true;
    close();
    return;
  }
  vemra::IdentityOf(path_.toStdString(), own_file_);
  AddRecentFile(path_);
  WatchFile();
  if (document_->Restored().restored) {
    Tell(QMessageBox::Warning, QFileInfo(path_).fileName(),
         Tx(20101).arg(document_->Restored().parts_merged));
  }
  const std::wstring password = document_->getAdminPassword();
  if (password.empty()) {
    PasswordAccepted();
    return;
  }
  auto* prompt = new PasswordDialog(password, document_->passwordHint(), this);
  prompt->setAttribute(Qt::WA_DeleteOnClose);
  connect(prompt, &PasswordDialog::passwordEntered, this, [this](bool ok) {
    if (ok) {
      PasswordAccepted();
    } else {
      emit opened(false);
      closing_ = true;
      close();
    }
  });
  prompt->open();
}

void MainWindow::PasswordAccepted() {
  document_->setCurrentUser(0);
  ready_ = true;
  UpdateTitle();
  ReloadAll();
  StartSync();
  emit opened(true);
}

void MainWindow::StartSync() {
  vemra::Document* document = document_.get();
  const std::string path = path_.toStdString();
  QPointer<MainWindow> self(this);
  // Linking may ask the service for the account's address: never on the GUI thread.
  QThreadPool::globalInstance()->start([self, document, path] {
    std::string problem;
    std::unique_ptr<vemra::sync::Transport> transport =
        vemra::sync::InitDropbox(*document, path, "", problem);
    if (!transport) return;
    vemra::sync::RunOptions options;
    options.revision_key = vemra::sync::kDropboxRevisionKey;
    vemra::sync::AutomaticSync::Start(
        *document, std::move(transport), options, [self](const vemra::sync::RunReport& report) {
          if (!self) return;
          QString text = report.ok ? Tx(20102) : Tx(20103);
          if (!report.ok && !report.errors.empty()) {
            text += QStringLiteral(": ") + QString::fromStdString(report.errors.front());
          }
          OnGui(self.data(), [self, text] { self->sync_label_->setText(text); });
        });
  });
}

void MainWindow::save(const QString& path) {
  if (!ready_) return;
  const QString target = path.isEmpty() ? path_ : QFileInfo(path).absoluteFilePath();
  if (target.isEmpty()) return;
  if (saving_) {
    save_again_ = true;
    return;
  }
  autosave_.stop();
  saving_ = true;
  SetBusy(true, Tx(20104));
  const uint64_t count = change_count_;
  vemra::Document* document = document_.get();
  const std::string file = target.toStdString();
  worker_.start([this, document, file, target, count] {
    vemra::SaveResult result = document->saveToFile(file);
    vemra::FileIdentity identity;
    vemra::IdentityOf(file, identity);
    OnGui(this, [this, result, identity, target, count] {
      saving_ = false;
      SetBusy(false);
      if (result.ok()) {
        own_file_ = identity;
        if (target != path_) {
          if (!path_.isEmpty()) watcher_.removePath(path_);
          path_ = target;
          AddRecentFile(path_);
        }
        saved_count_ = count;
        if (!isDirty()) undo_->stack()->setClean();
        WatchFile();
        save_label_->setText(Tx(20105));
      } else {
        save_label_->setText(Tx(20106));
        Tell(QMessageBox::Critical, DisplayName(), QString::fromStdString(result.message));
      }
      UpdateTitle();
      emit saved(result.ok());
      if (save_again_ || (isDirty() && autosave_on_ && result.ok())) {
        save_again_ = false;
        if (isDirty()) autosave_.start();
      }
    });
  });
}

void MainWindow::ChooseOpen() {
  QString path = QFileDialog::getOpenFileName(this, Tx(20082), QString(), Tx(20107));
  if (!path.isEmpty()) OpenWindow(path, this);
}

void MainWindow::ChooseSaveAs() {
  QString path = QFileDialog::getSaveFileName(this, Tx(20085), path_, Tx(20107));
  if (path.isEmpty()) return;
  if (QFileInfo(path).suffix().isEmpty()) path += QStringLiteral(".lgr");
  save(path);
}

void MainWindow::RebuildRecentMenu() {
  recent_menu_->clear();
  for (const QString& path : RecentFiles()) {
    recent_menu_->addAction(path, this, [this, path] { OpenWindow(path, this); });
  }
  recent_menu_->setEnabled(!recent_menu_->isEmpty());
}

void MainWindow::WatchFile() {
  if (path_.isEmpty()) return;
  // An atomic replace drops the watch: add the path again after every change.
  if (!watcher_.files().contains(path_)) watcher_.addPath(path_);
}

void MainWindow::FileChanged() {
  WatchFile();
  vemra::FileIdentity now;
  vemra::IdentityOf(path_.toStdString(), now);
  CheckFileSettled(0, now);
}

void MainWindow::CheckFileSettled(int tries, vemra::FileIdentity last) {
  // Wait until size and modification time stop changing before reading another writer's file.
  QTimer::singleShot(250, this, [this, tries, last] {
    WatchFile();
    vemra::FileIdentity now;
    if (!vemra::IdentityOf(path_.toStdString(), now)) return;
    if ((now != last && tries < 20) || saving_) {
      CheckFileSettled(tries + 1, now);
      return;
    }
    if (now == own_file_) return;  // our own save
    Merge();
  });
}

void MainWindow::Merge() {
  if (!ready_) return;
  SetBusy(true, Tx(20108));
  vemra::Document* document = document_.get();
  const std::string file = path_.toStdString();
  worker_.start([this, document, file] {
    std::string reason;
    int rc = document->readFile(file, &reason);
    vemra::FileIdentity identity;
    vemra::IdentityOf(file, identity);
    OnGui(this, [this, rc, reason, identity] {
      SetBusy(false);
      if (rc != 0) {
        QMessageBox::warning(this, DisplayName(), ErrorText(rc, QString::fromStdString(reason)));
        return;
      }
      own_file_ = identity;
      emit fileMerged();
    });
  });
}

bool MainWindow::SaveBeforeClose() {
  if (!ready_ || !isDirty()) return true;
  if (path_.isEmpty()) {
    auto answer =
        QMessageBox::question(this, DisplayName(), Tx(20109),
                              QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel);
    if (answer == QMessageBox::Cancel) return false;
    if (answer == QMessageBox::Discard) return true;
    QString path = QFileDialog::getSaveFileName(this, Tx(20085), QString(), Tx(20107));
    if (path.isEmpty()) return false;
    if (QFileInfo(path).suffix().isEmpty()) path += QStringLiteral(".lgr");
    path_ = QFileInfo(path).absoluteFilePath();
  }
  worker_.waitForDone();
  vemra::SaveResult result = document_->saveToFile(path_.toStdString());
  if (result.ok()) {
    AddRecentFile(path_);
    return true;
  }
  auto answer = QMessageBox::critical(this, DisplayName(),
                                      QString::fromStdString(result.message) + "\n\n" + Tx(20110),
                                      QMessageBox::Discard | QMessageBox::Cancel);
  return answer == QMessageBox::Discard;
}

void MainWindow::closeEvent(QCloseEvent* event) {
  // Open editors close first, by their own rules: an edited entry is saved, a new one with
  // changes keeps the window open.
  for (TransactionDialog* dialog : findChildren<TransactionDialog*>(Qt::FindDirectChildrenOnly)) {
    if (!closing_ && dialog->isVisible() && !dialog->close()) {
      dialog->raise();
      event->ignore();
      return;
    }
  }
  if (!closing_ && !SaveBeforeClose()) {
    event->ignore();
    return;
  }
  closing_ = true;
  autosave_.stop();
  SaveWindowState(saveGeometry(), saveState());
  event->accept();
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  for (const QUrl& url : event->mimeData()->urls()) {
    if (url.isLocalFile()) {
      event->acceptProposedAction();
      return;
    }
  }
}

void MainWindow::dropEvent(QDropEvent* event) {
  for (const QUrl& url : event->mimeData()->urls()) {
    if (url.isLocalFile()) OpenWindow(url.toLocalFile(), this);
  }
  event->acceptProposedAction();
}

// ---- Reloading ----

void MainWindow::ReloadAll() {
  const uint64_t generation = ++account_generation_;
  SetBusy(true);
  accounts_->loadData([this, generation] {
    // On the queue: everything the views need from the book besides the rows.
    vemra::Book& book = document_->database();
    AmountFormat format = AmountFormat::Snapshot(book);
    vemra::TimeInterval period = book.Period;
    int first_weekday = vemra::lists::FirstWeekday(static_cast<int8_t>(book.Header.Option0));
    bool show_hidden = book.Header.Reserved2 != 0;
    vemra::lists::Rows rows = accounts_->rows();
    OnGui(this, [this, generation, format, period, first_weekday, show_hidden, rows] {
      if (generation != account_generation_) return;
      format_ = format;
      period_ = period;
      first_weekday_ = first_weekday;
      show_hidden_ = show_hidden;
      {
        QSignalBlocker block(hidden_accounts_);
        hidden_accounts_->setChecked(show_hidden);
      }
      period_text_ =
          QString::fromStdString(vemra::FormatInterval(period_, vemra::platform::Language()));
      period_button_->setText(period_text_);
      {
        QSignalBlocker block(sidebar_->selectionModel());
        account_model_->setRows(rows, format);
        sidebar_->expandAll();
        // Keep the selection by what the rows are; the overall row when nothing matches.
        QItemSelection selection;
        for (int i = 0; i < account_model_->flatCount(); ++i) {
          const Node* n = rows[i].get();
          for (auto [type, id] : sidebar_selection_) {
            if (n->Type == type && n->ID == id) {
              QModelIndex index = account_model_->indexOfFlat(i);
              selection.select(index, index.siblingAtColumn(AccountModel::kBalance));
            }
          }
        }
        if (selection.isEmpty() && account_model_->flatCount() > 0) {
          QModelIndex first = account_model_->indexOfFlat(0);
          selection.select(first, first.siblingAtColumn(AccountModel::kBalance));
        }
        sidebar_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
      }
      SidebarSelectionChanged();
    });
  });
}

void MainWindow::SidebarSelectionChanged() {
  std::vector<size_t> flat;
  sidebar_selection_.clear();
  for (const QModelIndex& index : sidebar_->selectionModel()->selectedRows()) {
    int i = account_model_->flatIndex(index);
    if (i < 0) continue;
    flat.push_back(static_cast<size_t>(i));
    const Node* n = account_model_->node(index);
    sidebar_selection_.emplace_back(n->Type, n->ID);
  }
  vemra::lists::AccountList::Selection selection = accounts_->select(flat);
  selected_accounts_ = selection.accounts;
  currency_ = selection.currency;
  nothing_selected_ = selection.nothing;
  ReloadOutline();
  if (charts_ != nullptr) charts_->reload(selected_accounts_, currency_);
  UpdateActions();
}

void MainWindow::ReloadOutline() {
  const uint64_t generation = ++outline_generation_;
  SetBusy(true);
  if (nothing_selected_) {
    // Only empty groups are selected: there is nothing to show.
    outline_model_->setRoot(std::make_shared<Node>(), currency_, format_);
    ShowOutline(generation, format_);
    return;
  }
  transactions_->setAccounts(selected_accounts_);
  transactions_->setCurrency(currency_);
  transactions_->loadData([this, generation] {
    AmountFormat format = AmountFormat::Snapshot(document_->database());
    OnGui(this, [this, generation, format] {
      if (generation != outline_generation_) return;
      // Keep the expanded rows and the selection by their IDs.
      std::set<uint64_t> expanded, selected;
      if (auto old = outline_model_->root()) {
        std::function<void(const QModelIndex&)> walk = [&](const QModelIndex& parent) {
          for (int r = 0; r < outline_model_->rowCount(parent); ++r) {
            QModelIndex i = outline_model_->index(r, 0, parent);
            const Node* n = outline_model_->node(i);
            if (n->ID != 0 && outline_->isExpanded(i)) expanded.insert(n->ID);
            if (outline_->isExpanded(i)) walk(i);
          }
        };
        walk({});
        for (const QModelIndex& i : outline_->selectionModel()->selectedRows()) {
          if (const Node* n = outline_model_->node(i); n != nullptr && n->ID != 0) {
            selected.insert(n->ID);
          }
        }
      }
      const int scroll = outline_->verticalScrollBar() ? outline_->verticalScrollBar()->value() : 0;
      outline_model_->setRoot(transactions_->root(), currency_, format);
      outline_->expandToDepth(0);
      QItemSelection selection;
      std::function<void(const QModelIndex&)> restore = [&](const QModelIndex& parent) {
        for (int r = 0; r < outline_model_->rowCount(parent); ++r) {
          QModelIndex i = outline_model_->index(r, 0, parent);
          const Node* n = outline_model_->node(i);
          if (n->ID != 0 && expanded.count(n->ID)) outline_->setExpanded(i, true);
          if (n->ID != 0 && selected.count(n->ID)) {
            selection.select(i, i.siblingAtColumn(OutlineModel::kColumnCount - 1));
          }
          if (outline_model_->hasChildren(i) && outline_->isExpanded(i)) restore(i);
        }
      };
      if (!expanded.empty() || !selected.empty()) restore({});
      if (!selection.isEmpty()) {
        outline_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
      }
      if (!transactions_->root() || !search_->text().isEmpty()) outline_->expandAll();
      outline_->verticalScrollBar()->setValue(scroll);
      ShowOutline(generation, format);
    });
  });
}

void MainWindow::ShowOutline(uint64_t generation, AmountFormat) {
  if (generation != outline_generation_) return;
  SetBusy(false);
  UpdateStatus();
  UpdateActions();
  emit viewsReloaded();
}

// ---- State shown ----

void MainWindow::Tell(QMessageBox::Icon icon, const QString& title, const QString& text) {
  if (quiet_) {
    std::fprintf(stderr, "%s: %s\n", qPrintable(title), qPrintable(text));
    return;
  }
  QMessageBox box(icon, title, text, QMessageBox::Ok, this);
  box.exec();
}

QString MainWindow::DisplayName() const {
  if (path_.isEmpty()) return Tx(20111);
  QFileInfo info(path_);
  return info.suffix().compare(QStringLiteral("lgr"), Qt::CaseInsensitive) == 0
             ? info.completeBaseName()
             : info.fileName();
}

void MainWindow::UpdateTitle() {
  QString title = DisplayName();
  if (isDirty()) title += QStringLiteral(" •");
  setWindowTitle(title + QStringLiteral(" — Kestrum"));
  if (!saving_)
    save_label_->setText(isDirty() ? Tx(20112) : path_.isEmpty() ? QString() : Tx(20105));
}

void MainWindow::UpdateStatus() {
  int count = 0;
  double income = 0, expenses = 0;
  if (auto root = outline_model_->root()) CountRows(*root, count, income, expenses);
  shown_transactions_ = count;
  count_label_->setText(Tx(20113)
                            .arg(count)
                            .arg(format_.format(income, currency_))
                            .arg(format_.format(-expenses, currency_)));
}

void MainWindow::UpdateActions() {
  const std::vector<const Node*> rows = SelectedRows();
  delete_action_->setEnabled(vemra::lists::TransactionList::canDelete(rows));
  make_group_action_->setEnabled(vemra::lists::TransactionList::canMakeGroup(rows));
  const Node* current = CurrentRow();
  edit_action_->setEnabled(current != nullptr && current->Type == NodeType::Transaction);
}

void MainWindow::SetBusy(bool busy, const QString& what) {
  progress_->setVisible(busy);
  progress_->setToolTip(what);
  if (busy && !what.isEmpty()) save_label_->setText(what);
}

void MainWindow::Changed() {
  ++change_count_;
  untouched_ = false;
  UpdateTitle();
  if (!path_.isEmpty() && autosave_on_) autosave_.start();
}

QString MainWindow::periodText() const {
  return period_text_;
}

// ---- Toolbar commands ----

void MainWindow::setGroupBy(int group_by) {
  vemra::lists::TransactionList::StoreGroupBy(group_by);
  transactions_->setGroupBy(group_by);
  for (QAction* a : grouping_->actions()) a->setChecked(a->data().toInt() == group_by);
  ReloadOutline();
}

void MainWindow::setSearchText(const QString& text) {
  search_->setText(text);
}

void MainWindow::SetPeriod(const vemra::TimeInterval& period) {
  if (!ready_) return;
  period_ = period;
  // Queued, not waited for: the reload that follows runs after it on the same queue, and the
  // GUI never waits behind a save that holds the queue.
  vemra::Document* document = document_.get();
  document_->queue().Submit([document, period] {
    vemra::lists::SetPeriod(*document, period, vemra::platform::Language());
  });
  period_text_ = QString::fromStdString(vemra::FormatInterval(period, vemra::platform::Language()));
  period_button_->setText(period_text_);
  Changed();
  ReloadOutline();
  if (charts_ != nullptr) charts_->reload(selected_accounts_, currency_);
}

void MainWindow::movePeriod(int steps) {
  SetPeriod(vemra::lists::MovePeriod(period_, steps));
}

void MainWindow::ChooseInterval(int kind) {
  if (kind == static_cast<int>(vemra::lists::PeriodKind::Custom)) {
    CustomPeriod();
    return;
  }
  const vemra::ADate today = vemra::TodayADate();
  const auto period_kind = static_cast<vemra::lists::PeriodKind>(kind);
  if (period_kind != vemra::lists::PeriodKind::All) {
    SetPeriod(vemra::lists::PeriodOf(period_kind, today, first_weekday_, today, today));
    return;
  }
  // "All" needs the book's first and last dates: ask the queue, answer on the GUI thread.
  vemra::Document* document = document_.get();
  document_->queue().Submit([this, document, today, period_kind] {
    vemra::ADate first = today, last = today;
    vemra::lists::TransactionSpan(document->database(), today, first, last);
    OnGui(this, [this, today, period_kind, first, last] {
      SetPeriod(vemra::lists::PeriodOf(period_kind, today, first_weekday_, first, last));
    });
  });
}

void MainWindow::CustomPeriod() {
  QDialog dialog(this);
  dialog.setWindowTitle(Tx(20076));
  auto* begin = new QDateEdit(OutlineModel::ToQDate(period_.BeginDate));
  auto* end = new QDateEdit(OutlineModel::ToQDate(period_.EndDate));
  begin->setCalendarPopup(true);
  end->setCalendarPopup(true);
  auto* form = new QFormLayout(&dialog);
  form->addRow(Tx(20114), begin);
  form->addRow(Tx(20115), end);
  auto* buttons = new QDialogButtonBox;
  buttons->addButton(Tx(1), QDialogButtonBox::AcceptRole);
  buttons->addButton(Tx(2), QDialogButtonBox::RejectRole);
  connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  form->addRow(buttons);
  if (dialog.exec() != QDialog::Accepted) return;
  SetPeriod(vemra::TimeInterval(OutlineModel::FromQDate(begin->date()),
                                OutlineModel::FromQDate(end->date())));
}

// ---- Outline commands ----

std::vector<const Node*> MainWindow::SelectedRows() const {
  std::vector<const Node*> rows;
  for (const QModelIndex& index : outline_->selectionModel()->selectedRows()) {
    if (const Node* n = outline_model_->node(index)) rows.push_back(n);
  }
  return rows;
}

const Node* MainWindow::CurrentRow() const {
  return outline_model_->node(outline_->currentIndex());
}

void MainWindow::EditRow(const Node* row) {
  if (!ready_ || row == nullptr || row->Type != NodeType::Transaction) return;
  auto* dialog = new TransactionDialog(*document_, row->ID, {}, false, this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  // Beside the row: below it when there is room, else above.
  QRect rect = outline_->visualRect(outline_model_->indexOf(row));
  QPoint at = outline_->viewport()->mapToGlobal(rect.bottomLeft() + QPoint(40, 4));
  dialog->move(at);
  dialog->show();
}

void MainWindow::NewTransaction() {
  if (!ready_) return;
  vemra::editors::TransactionPresets presets;
  if (selected_accounts_.size() == 1) presets.accountID = selected_accounts_.front();
  auto* dialog = new TransactionDialog(*document_, 0, presets, false, this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->show();
}

void MainWindow::DeleteRows(const Node* clicked) {
  std::vector<const Node*> rows = vemra::lists::TransactionList::MenuRows(SelectedRows(), clicked);
  if (!vemra::lists::TransactionList::canDelete(rows)) return;
  transactions_->deleteRows(rows);
}

void MainWindow::MakeGroup() {
  std::vector<const Node*> rows = SelectedRows();
  if (!vemra::lists::TransactionList::canMakeGroup(rows)) return;
  std::vector<uint64_t> ids;
  for (const Node* n : rows) {
    if (n->Type == NodeType::Transaction) ids.push_back(n->ID);
  }
  transactions_->makeGroup(ids);
}

void MainWindow::ToggleCleared() {
  QModelIndex index = outline_->currentIndex();
  const Node* row = outline_model_->node(index);
  if (row == nullptr || row->Type != NodeType::Transaction) return;
  QModelIndex status = index.siblingAtColumn(OutlineModel::kStatus);
  outline_model_->setData(status, row->Cleared ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
}

void MainWindow::OutlineContextMenu(const QPoint& at) {
  const Node* clicked = outline_model_->node(outline_->indexAt(at));
  std::vector<const Node*> selected = SelectedRows();
  std::vector<const Node*> rows = vemra::lists::TransactionList::MenuRows(selected, clicked);
  QMenu menu(this);
  QAction* group = menu.addAction(Tx(20052), this, [this] { MakeGroup(); });
  group->setEnabled(clicked != nullptr &&
                    std::find(selected.begin(), selected.end(), clicked) != selected.end() &&
                    vemra::lists::TransactionList::canMakeGroup(selected));
  QAction* edit = menu.addAction(Tx(20053), this, [this, clicked] { EditRow(clicked); });
  edit->setEnabled(clicked != nullptr && clicked->Type == NodeType::Transaction);
  QAction* remove = menu.addAction(Tx(20054), this, [this, clicked] { DeleteRows(clicked); });
  remove->setEnabled(vemra::lists::TransactionList::canDelete(rows));
  menu.exec(outline_->viewport()->mapToGlobal(at));
}

void MainWindow::HeaderContextMenu(const QPoint& at) {
  QMenu menu(this);
  for (int column = 0; column < OutlineModel::kColumnCount; ++column) {
    if (column == OutlineModel::kName) continue;
    QAction* a = menu.addAction(
        outline_model_->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString());
    if (column == OutlineModel::kStatus) a->setText(Tx(20116));
    a->setCheckable(true);
    a->setChecked(!outline_->isColumnHidden(column));
    connect(a, &QAction::toggled, this,
            [this, column](bool on) { outline_->setColumnHidden(column, !on); });
  }
  menu.exec(outline_->header()->mapToGlobal(at));
}

void MainWindow::DeleteAccountRow() {
  QModelIndexList rows = sidebar_->selectionModel()->selectedRows();
  if (rows.size() != 1) return;
  int flat = account_model_->flatIndex(rows.front());
  if (flat <= 0) return;
  const std::string question = accounts_->deleteQuestion(static_cast<size_t>(flat));
  if (!question.empty() &&
      QMessageBox::question(this, DisplayName(), QString::fromStdString(question),
                            QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes) {
    return;
  }
  std::string why;
  if (!accounts_->deleteRow(static_cast<size_t>(flat), &why) && !why.empty()) {
    QMessageBox::warning(this, DisplayName(), QString::fromStdString(why));
  }
}

// ---- Other windows ----

void MainWindow::EditAccount(uint64_t id, bool is_group) {
  if (!ready_) return;
  std::vector<std::pair<uint64_t, QString>> groups;
  for (int i = 0; i < account_model_->flatCount(); ++i) {
    const Node* n = account_model_->node(account_model_->indexOfFlat(i));
    if (n->Type == NodeType::Group) groups.emplace_back(n->ID, FromWide(n->Name));
  }
  auto* dialog = new AccountDialog(*document_, id, is_group, groups, this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->show();
}

void MainWindow::ShowShortcuts() {
  QString text = QStringLiteral("<table>");
  const std::pair<const char*, int> kShortcuts[] = {
      {"Ctrl+T, Insert", 20062}, {"Return", 20053}, {"Delete", 20054},      {"Ctrl+G", 20052},
      {"Space", 20117},          {"Ctrl+F", 20069}, {"Alt+Left", 20066},    {"Alt+Right", 20067},
      {"Ctrl+1", 20063},         {"Ctrl+2", 20064}, {"Ctrl+3", 20065},      {"Ctrl+Z", 20050},
      {"Ctrl+Shift+Z", 20051},   {"Ctrl+S", 20084}, {"Ctrl+O", 20082},      {"Ctrl+N", 20081},
      {"Ctrl+W", 20086},         {"Ctrl+Q", 20087}, {"Ctrl+Return", 20118}, {"Escape", 2}};
  for (auto [keys, what] : kShortcuts) {
    text += QStringLiteral("<tr><td><b>%1</b></td><td>&nbsp;&nbsp;%2</td></tr>")
                .arg(QString::fromLatin1(keys), Tx(what).toHtmlEscaped());
  }
  text += QStringLiteral("</table>");
  QMessageBox box(QMessageBox::NoIcon, Tx(20093), text, QMessageBox::Ok, this);
  box.setTextFormat(Qt::RichText);
  box.exec();
}

void MainWindow::ShowPreferences() {
  PreferencesDialog dialog(this);
  dialog.exec();
  autosave_on_ = LoadPreferences().autosave;
}

void MainWindow::UpdateRates() {
  const QString host = LoadPreferences().quotes_host.trimmed();
  if (host.isEmpty()) {
    QMessageBox::information(this, Tx(20548), Tx(20131));
    return;
  }
  SetBusy(true, Tx(20132));
  vemra::Document* document = document_.get();
  QPointer<MainWindow> self(this);
  // The fetch waits on the network: never on the GUI thread, never on the document's queue.
  QThreadPool::globalInstance()->start([self, document, base = host.toStdString()] {
    vemra::import::QuotesOutcome outcome = vemra::import::UpdateExRates(*document, 0, base);
    if (!self) return;
    OnGui(self.data(), [self, outcome] {
      self->SetBusy(false);
      if (!outcome.error.empty()) {
        QMessageBox::warning(self, Tx(20548), QString::fromStdString(outcome.error));
      } else if (!outcome.failed.empty()) {
        QMessageBox::warning(self, Tx(20548),
                             Tx(20133) + QString::fromStdString(outcome.failed_text));
      } else {
        self->save_label_->setText(Tx(20134));
      }
    });
  });
}

void MainWindow::ShowCurrencies() {
  if (!ready_) return;
  auto* window = findChild<CurrenciesWindow*>();
  if (window == nullptr) {
    window = new CurrenciesWindow(*document_, this);
    window->setWindowFlag(Qt::Tool);
    connect(window, &CurrenciesWindow::updateRatesRequested, this, [this] { UpdateRates(); });
  }
  window->show();
  window->raise();
}

}  // namespace kestrum
