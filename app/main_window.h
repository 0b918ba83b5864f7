// One document window: the account sidebar, the transaction outline, the toolbar (grouping,
// period control, closed/hidden accounts, search), the status bar and the charts pane over
// one vemra::Document that the window owns. It reads and saves the file off the GUI thread,
// asks for a protected book's password before any data shows, autosaves a second after the
// last change, merges changes other programs make to the file, and wires undo to a
// QUndoStack.
//
// Threads: GUI thread. Work on the book runs on the document's queue or on the window's worker
// thread; results come back through queued calls.
#pragma once

#include <QFileSystemWatcher>
#include <QMainWindow>
#include <QMessageBox>
#include <QPointer>
#include <QThreadPool>
#include <QTimer>
#include <atomic>
#include <memory>

#include "app/amount_format.h"
#include "document/document.h"
#include "lists/account_list.h"
#include "lists/transaction_list.h"

class QActionGroup;
class QLabel;
class QLineEdit;
class QProgressBar;
class QToolButton;
class QTreeView;

namespace kestrum {

class AccountModel;
class ChartsPane;
class OutlineModel;
class UndoBridge;

class MainWindow : public QMainWindow {
  Q_OBJECT
 public:
  // An empty window with a fresh, unloaded document; openFile or newDocument comes next.
  explicit MainWindow(QWidget* parent = nullptr);
  ~MainWindow() override;

  // Reads the book at `path` off the GUI thread (the window paints at once). On success asks
  // for the password when the book has one, then shows the data; a failure shows the message
  // and closes the window without writing anything. Emits opened() either way.
  void openFile(const QString& path);
  // Makes a new untitled book from the template of the app's language.
  void newDocument();

  // Opens `path` in a new window (or in this one when it holds an untouched new book).
  static MainWindow* OpenWindow(const QString& path, MainWindow* reuse = nullptr);

  vemra::Document& document() { return *document_; }
  AccountModel* accountModel() { return account_model_; }
  OutlineModel* outlineModel() { return outline_model_; }
  QTreeView* outlineView() { return outline_; }
  QTreeView* sidebarView() { return sidebar_; }
  UndoBridge* undo() { return undo_; }
  // Whether the data shows (read, password given) and whether it has unsaved changes.
  bool ready() const { return ready_; }
  bool isDirty() const { return change_count_ != saved_count_; }
  // The number of transaction rows the outline shows.
  int shownTransactions() const { return shown_transactions_; }
  // Saves now (to `path`, or the document's own path); the result comes with saved().
  void save(const QString& path = {});
  // With `quiet`, what would show in a message box about opening or saving goes to standard
  // error instead (the smoke run has nobody to press OK).
  void setQuiet(bool quiet) { quiet_ = quiet; }
  // Groups the outline by 2 (date), 3 (category) or 5 (payee).
  void setGroupBy(int group_by);
  // Sets the search text as the search field does.
  void setSearchText(const QString& text);
  // Moves the period by `steps` single steps as the period control's arrows do.
  void movePeriod(int steps);
  // The period control's label.
  QString periodText() const;

 signals:
  // The read of openFile ended: true when the data shows.
  void opened(bool ok);
  // Both lists have been rebuilt and shown.
  void viewsReloaded();
  // A save ended.
  void saved(bool ok);
  // A change another program made to the file was merged.
  void fileMerged();

 protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void BuildActions();
  void BuildViews();
  void BuildToolBar();
  void BuildMenus();
  void Observe();
  void AfterRead(int rc, const QString& reason);
  void PasswordAccepted();
  void StartSync();
  // Rebuilds both lists (and the charts) from the book; the old rows stay until the new are in.
  void ReloadAll();
  void ReloadOutline();
  void ShowOutline(uint64_t generation, AmountFormat format);
  void SidebarSelectionChanged();
  void Changed();  // the book changed: title, autosave
  void UpdateTitle();
  void UpdateStatus();
  void UpdateActions();
  void SetBusy(bool busy, const QString& what = {});
  void SetPeriod(const vemra::TimeInterval& period);
  void ChooseInterval(int kind);
  void CustomPeriod();
  void WatchFile();
  void FileChanged();
  void CheckFileSettled(int tries, vemra::FileIdentity last);
  void Merge();
  bool SaveBeforeClose();
  std::vector<const vemra::lists::Node*> SelectedRows() const;
  const vemra::lists::Node* CurrentRow() const;
  void EditRow(const vemra::lists::Node* row);
  void NewTransaction();
  void DeleteRows(const vemra::lists::Node* clicked);
  void MakeGroup();
  void ToggleCleared();
  void DeleteAccountRow();
  // Opens the account editor on account `id` (group `id` with `is_group`; 0: a new one).
  void EditAccount(uint64_t id, bool is_group);
  void OutlineContextMenu(const QPoint& at);
  void HeaderContextMenu(const QPoint& at);
  void ShowShortcuts();
  void ShowPreferences();
  void ShowCurrencies();
  // Updates the exchange rates from the service set in the preferences.
  void UpdateRates();
  void ChooseOpen();
  void ChooseSaveAs();
  void RebuildRecentMenu();
  QString DisplayName() const;
  // A message box, or a line on standard error when quiet.
  void Tell(QMessageBox::Icon icon, const QString& title, const QString& text);

  std::unique_ptr<vemra::Document> document_;
  std::unique_ptr<vemra::lists::AccountList> accounts_;
  std::unique_ptr<vemra::lists::TransactionList> transactions_;
  vemra::ObserverToken update_token_, accounts_token_;
  UndoBridge* undo_ = nullptr;
  AccountModel* account_model_ = nullptr;
  OutlineModel* outline_model_ = nullptr;
  QTreeView* sidebar_ = nullptr;
  QTreeView* outline_ = nullptr;
  ChartsPane* charts_ = nullptr;
  QLineEdit* search_ = nullptr;
  QToolButton* period_button_ = nullptr;
  QActionGroup* grouping_ = nullptr;
  QAction* hidden_accounts_ = nullptr;
  QAction* undo_action_ = nullptr;
  QAction* redo_action_ = nullptr;
  QAction* delete_action_ = nullptr;
  QAction* make_group_action_ = nullptr;
  QAction* edit_action_ = nullptr;
  QMenu* recent_menu_ = nullptr;
  QLabel* count_label_ = nullptr;
  QLabel* save_label_ = nullptr;
  QLabel* sync_label_ = nullptr;
  QProgressBar* progress_ = nullptr;

  QString path_;
  bool ready_ = false;     // the data shows: read and, when protected, the password given
  bool untouched_ = true;  // a new book nobody has changed (Open may reuse the window)
  bool closing_ = false;
  bool quiet_ = false;
  bool saving_ = false;
  bool save_again_ = false;
  uint64_t change_count_ = 0, saved_count_ = 0;
  uint64_t account_generation_ = 0, outline_generation_ = 0;
  int shown_transactions_ = 0;
  // What the sidebar selection shows.
  std::vector<uint64_t> selected_accounts_;
  uint64_t currency_ = 0;
  bool nothing_selected_ = false;
  std::vector<std::pair<int32_t, uint64_t>> sidebar_selection_;  // (type, ID) of selected rows
  // The book's view state as of the last reload.
  vemra::TimeInterval period_;
  int first_weekday_ = 0;
  bool show_hidden_ = false;
  AmountFormat format_;
  QString period_text_;

  // The autosave preference, read at start and after the preferences change (not from the
  // settings file on every change of the book).
  bool autosave_on_ = true;
  QTimer autosave_;
  QFileSystemWatcher watcher_;
  vemra::FileIdentity own_file_;  // the file as our last save or read left it
  QThreadPool worker_;            // reads, saves and merges, one at a time
};

}  // namespace kestrum
