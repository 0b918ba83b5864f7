// The document window as a user meets it: opening a book file (and its password), the lists
// shown, changes another program makes to the file merged while our own saves are not, and a
// save that fails leaving the file on disk as it was.
#include <sys/stat.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QTreeView>
#include <QUndoStack>

#include "app/account_model.h"
#include "app/main_window.h"
#include "app/outline_model.h"
#include "app/password_dialog.h"
#include "app/testing/app_test_main.h"
#include "app/transaction_dialog.h"
#include "app/undo_bridge.h"
#include "collections/node.h"
#include "editors/transaction_edit_model.h"
#include "generator/generator.h"

namespace kestrum {
namespace {

using vemra::lists::Node;

QByteArray Bytes(const QString& path) {
  QFile f(path);
  return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Writes a generated book to `path`, protected by `password` when it is not empty.
void MakeBook(const QString& path, const std::u16string& password = {}) {
  vemra::Document d;
  d.Sync([&] {
    vemra::GenerateBook(d.database(), 400, 3);
    auto& header = d.database().Header;
    header.PasswordLength = static_cast<uint8_t>(password.size());
    for (size_t i = 0; i < password.size(); ++i) header.Password[i] = password[i];
  });
  QVERIFY(d.saveToFile(path.toStdString()).ok());
}

// Dismisses every message box that shows up (the tests read results from signals instead).
class BoxCloser : public QObject {
 public:
  BoxCloser() {
    timer_.callOnTimeout([this] {
      for (QWidget* w : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(w); box != nullptr && box->isVisible()) {
          texts.push_back(box->text());
          box->done(QMessageBox::Cancel);
        }
      }
    });
    timer_.start(50);
  }
  QStringList texts;

 private:
  QTimer timer_;
};

}  // namespace

class WindowTest : public QObject {
  Q_OBJECT

 private:
  QString folder_;

 private Q_SLOTS:
  void init() {
    folder_ = QDir::tempPath() + QStringLiteral("/kestrum-window-test-") +
              QString::number(QCoreApplication::applicationPid());
    QDir().mkpath(folder_);
  }
  void cleanup() { QDir(folder_).removeRecursively(); }

  void opensMergesAndSaves() {
    const QString path = folder_ + QStringLiteral("/Домашний.lgr");
    MakeBook(path);
    auto* window = new MainWindow;
    QSignalSpy opened(window, &MainWindow::opened);
    QSignalSpy reloaded(window, &MainWindow::viewsReloaded);
    window->openFile(path);
    window->show();
    QVERIFY(opened.wait(20000));
    QCOMPARE(opened.front().front().toBool(), true);
    QVERIFY(reloaded.count() > 0 || reloaded.wait(20000));
    QCOMPARE(window->windowTitle(), QStringLiteral("Домашний — Kestrum"));
    QVERIFY(window->accountModel()->flatCount() > 3);

    // Our own save is not read back as someone else's change.
    QSignalSpy saved(window, &MainWindow::saved);
    QSignalSpy merged(window, &MainWindow::fileMerged);
    window->movePeriod(-1);  // a change of the book's period: the window is now unsaved
    QVERIFY(window->isDirty());
    QVERIFY(window->windowTitle().contains(QStringLiteral("•")));
    window->save();
    QVERIFY(saved.wait(20000));
    QCOMPARE(saved.front().front().toBool(), true);
    QVERIFY(!window->isDirty());
    QTest::qWait(1500);
    QCOMPARE(merged.count(), 0);

    // Another program adds a transaction and replaces the file: the window merges it.
    uint64_t id = 0;
    {
      vemra::Document other;
      QCOMPARE(other.readFile(path.toStdString()), 0);
      vemra::editors::TransactionEditModel editor(other, 0);
      editor.setName(L"From the other machine");
      editor.withdrawAmountTyped("12.34", ".");
      id = editor.save();
      QVERIFY(id != 0);
      QVERIFY(other.saveToFile(path.toStdString()).ok());
    }
    QVERIFY(merged.wait(20000));
    bool found = false;
    window->document().Sync([&] {
      found = window->document().database().Transactions().GetTransaction(id).Header.ID == id;
    });
    QVERIFY(found);

    // A save that fails (the file lost its write bit) leaves the file as it was and the window
    // open and unsaved.
    BoxCloser closer;
    const QByteArray before = Bytes(path);
    QCOMPARE(chmod(path.toUtf8().constData(), 0444), 0);
    window->movePeriod(1);
    saved.clear();
    window->save();
    QVERIFY(saved.wait(20000));
    QCOMPARE(saved.front().front().toBool(), false);
    QVERIFY(window->isDirty());
    QCOMPARE(Bytes(path), before);
    QVERIFY(!closer.texts.isEmpty() && closer.texts.front().contains(QStringLiteral("read-only")));
    QCOMPARE(chmod(path.toUtf8().constData(), 0644), 0);
    saved.clear();
    window->save();
    QVERIFY(saved.wait(20000));
    QVERIFY(!window->isDirty());
    delete window;
  }

  // The toolbar's controls as the keyboard reaches them: grouping, the period arrows, the
  // search field (the count in the status bar follows), and undo of an in-place edit.
  void toolbarAndUndo() {
    const QString path = folder_ + QStringLiteral("/toolbar.lgr");
    MakeBook(path);
    auto* window = new MainWindow;
    QSignalSpy reloaded(window, &MainWindow::viewsReloaded);
    window->openFile(path);
    window->show();
    QVERIFY(reloaded.wait(20000));
    const int shown = window->shownTransactions();
    QVERIFY(shown > 0);

    QTest::keyClick(window, Qt::Key_2, Qt::ControlModifier);  // by category
    QVERIFY(reloaded.wait(20000));
    const Node* top = window->outlineModel()->node(window->outlineModel()->index(0, 0));
    QVERIFY(top->Type == vemra::NodeType::ExpenseHeader ||
            top->Type == vemra::NodeType::IncomeHeader ||
            top->Type == vemra::NodeType::TransferHeader);
    QCOMPARE(window->shownTransactions(), shown);
    QTest::keyClick(window, Qt::Key_1, Qt::ControlModifier);
    QVERIFY(reloaded.wait(20000));

    const QString period = window->periodText();
    QTest::keyClick(window, Qt::Key_Left, Qt::AltModifier);
    QVERIFY(reloaded.wait(20000));
    QVERIFY(window->periodText() != period);
    QTest::keyClick(window, Qt::Key_Right, Qt::AltModifier);
    QVERIFY(reloaded.wait(20000));
    QCOMPARE(window->periodText(), period);

    window->setSearchText(QStringLiteral("zzzz no such description"));
    QCOMPARE(window->shownTransactions(), 0);
    window->setSearchText(QString());
    QCOMPARE(window->shownTransactions(), shown);

    // Rename a transaction in place; Edit > Undo names the step and puts the name back.
    OutlineModel* model = window->outlineModel();
    const Node* row = model->node(model->index(0, 0, model->index(0, 0)));
    QVERIFY(row != nullptr && row->Type == vemra::NodeType::Transaction);
    const uint64_t id = row->ID;
    const std::wstring before = row->Name;
    QVERIFY(model->setData(model->indexOf(row).siblingAtColumn(OutlineModel::kName),
                           QStringLiteral("Renamed"), Qt::EditRole));
    QVERIFY(reloaded.wait(20000));
    QCOMPARE(window->undo()->stack()->undoText(), QStringLiteral("edit"));
    window->undo()->stack()->undo();
    QVERIFY(reloaded.wait(20000));
    QCOMPARE(vemra::lists::FindNodeByID(*model->root(), id)->Name, before);
    // Ctrl+T opens a new transaction's editor beside the window.
    QTest::keyClick(window, Qt::Key_T, Qt::ControlModifier);
    QTRY_VERIFY(window->findChild<TransactionDialog*>() != nullptr);
    QVERIFY(window->findChild<TransactionDialog*>()->isVisible());
    delete window;
  }

  // A protected book shows nothing until its password: a wrong one keeps the prompt open,
  // the right one shows the lists. A file that is no book closes its window unwritten.
  void passwordAndBadFiles() {
    const QString path = folder_ + QStringLiteral("/locked.lgr");
    MakeBook(path, u"Секрет1");
    auto* window = new MainWindow;
    QSignalSpy opened(window, &MainWindow::opened);
    window->openFile(path);
    window->show();
    PasswordDialog* prompt = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT((prompt = window->findChild<PasswordDialog*>()) != nullptr, 20000);
    QVERIFY(!window->ready());
    QCOMPARE(window->accountModel()->flatCount(), 0);
    {
      BoxCloser closer;
      prompt->findChild<QLineEdit*>()->setText(QStringLiteral("секрет1"));
      prompt->accept();
      QTRY_VERIFY(!closer.texts.isEmpty());
      QCOMPARE(closer.texts.front(), QStringLiteral("Invalid password!"));
    }
    QVERIFY(prompt->isVisible());
    prompt->findChild<QLineEdit*>()->setText(QStringLiteral("Секрет1"));
    prompt->accept();
    QVERIFY(opened.count() > 0 || opened.wait(20000));
    QCOMPARE(opened.front().front().toBool(), true);
    QTRY_VERIFY_WITH_TIMEOUT(window->accountModel()->flatCount() > 0, 20000);
    delete window;

    const QString junk = folder_ + QStringLiteral("/junk.lgr");
    {
      QFile f(junk);
      QVERIFY(f.open(QIODevice::WriteOnly));
      f.write(QByteArray(300, 'x'));
    }
    const QByteArray before = Bytes(junk);
    BoxCloser closer;
    QPointer<MainWindow> bad(new MainWindow);
    QSignalSpy failed(bad.data(), &MainWindow::opened);
    bad->openFile(junk);
    bad->show();
    QVERIFY(failed.wait(20000));
    QCOMPARE(failed.front().front().toBool(), false);
    QTRY_VERIFY(bad.isNull());  // closed and deleted
    QCOMPARE(Bytes(junk), before);
  }
};

KESTRUM_APP_TEST(WindowTest);

}  // namespace kestrum

#include "window_test.moc"
