// The transaction dialog's closing rules and keyboard reach, and the suggestion model under
// Qt's model tester.
#include <QAbstractItemModelTester>
#include <QAbstractItemView>
#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QCompleter>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSortFilterProxyModel>
#include <QTest>

#include "app/account_dialog.h"
#include "app/category_picker.h"
#include "app/schedule_editor.h"
#include "app/suggestion_model.h"
#include "app/testing/app_test_main.h"
#include "app/texts.h"
#include "app/transaction_dialog.h"
#include "collections/interfaces.h"
#include "generator/generator.h"
#include "lists/account_list.h"
#include "platform/localization.h"

namespace kestrum {

class DialogsTest : public QObject {
  Q_OBJECT

 private:
  std::unique_ptr<vemra::Document> document_;

  // The number of transactions in the book and the name of transaction `id`.
  size_t Count() {
    std::vector<const vemra::TBaseEntry*> entries;
    document_->Sync([&] { document_->database().ListEntries(vemra::etTransaction, 1, entries); });
    return entries.size();
  }
  std::wstring NameOf(uint64_t id) {
    std::wstring name;
    document_->Sync(
        [&] { name = document_->database().Transactions().GetTransaction(id).Name.str(); });
    return name;
  }
  double AmountOf(uint64_t id) {
    double amount = 0;
    document_->Sync([&] {
      amount = document_->database().Transactions().GetTransaction(id).Data.WithdrawAmount;
    });
    return amount;
  }
  uint64_t AnyExpense() {
    uint64_t id = 0;
    document_->Sync([&] {
      std::vector<const vemra::TBaseEntry*> entries;
      document_->database().ListEntries(vemra::etTransaction, 1, entries);
      for (const vemra::TBaseEntry* e : entries) {
        const auto& t = static_cast<const vemra::TTransaction&>(*e);
        if (t.Data.WithdrawAccountID != 0 && t.Data.TargetAccountID == 0) {
          id = t.Header.ID;
          break;
        }
      }
    });
    return id;
  }

 private Q_SLOTS:
  void init() {
    document_ = std::make_unique<vemra::Document>();
    document_->Sync([&] { vemra::GenerateBook(document_->database(), 300, 5); });
    document_->setCurrentUser(0);
  }
  void cleanup() {
    // Closed dialogs are deleted later; they must go before their document.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    document_.reset();
  }

  // A new expense typed from the keyboard, its description picked from the suggestions (which
  // brings that description's category), is stored by Ctrl+Return; closing a new one with
  // changes any other way keeps it open; Escape then drops it.
  void newTransaction() {
    const size_t before = Count();
    auto* dialog = new TransactionDialog(*document_, 0, {}, false);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(dialog));
    QApplication::setActiveWindow(dialog);
    QSignalSpy saved(dialog, &TransactionDialog::saved);
    dialog->model().selectWithdrawAccount(dialog->model().accounts().front().Header.ID);

    auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("description"));
    auto* suggestions = name->findChild<SuggestionModel*>();
    auto* completer = name->findChild<QCompleter*>();
    name->setFocus();
    QTest::keyClicks(name, QStringLiteral("c"));
    QTRY_VERIFY_WITH_TIMEOUT(completer->popup()->isVisible(), 7000);
    const vemra::lists::Suggestion chosen = *suggestions->suggestion(0);
    QVERIFY(chosen.categoryID != 0);
    QTest::keyClick(completer->popup(), Qt::Key_Down);
    QTest::keyClick(completer->popup(), Qt::Key_Return);
    QCOMPARE(name->text(), FromWide(chosen.entryName));
    QCOMPARE(dialog->model().category().ID, chosen.categoryID);
    QVERIFY(!dialog->close());  // new, with changes: stays open
    QVERIFY(dialog->isVisible());

    auto* amount = dialog->findChild<QLineEdit*>(QStringLiteral("withdrawAmount"));
    amount->setFocus(Qt::TabFocusReason);  // as Tab reaches it: the text selected
    QTest::keyClicks(amount, QStringLiteral("12.50"));
    QTest::keyClick(amount, Qt::Key_Return, Qt::ControlModifier);
    QCOMPARE(saved.count(), 1);
    QCOMPARE(Count(), before + 1);
    const uint64_t id = saved.front().front().toULongLong();
    QCOMPARE(NameOf(id), chosen.entryName);
    QCOMPARE(AmountOf(id), 12.5);

    auto* other = new TransactionDialog(*document_, 0, {}, false);
    other->setAttribute(Qt::WA_DeleteOnClose);
    other->show();
    other->model().setName(L"Never stored");
    QTest::keyClick(other, Qt::Key_Escape);
    QCOMPARE(Count(), before + 1);
  }

  // An existing transaction: Escape leaves it as it was; closing it otherwise saves it.
  void existingTransaction() {
    const uint64_t id = AnyExpense();
    QVERIFY(id != 0);
    const std::wstring name = NameOf(id);
    {
      auto* dialog = new TransactionDialog(*document_, id, {}, false);
      dialog->setAttribute(Qt::WA_DeleteOnClose);
      dialog->show();
      dialog->model().setName(L"Changed then cancelled");
      QTest::keyClick(dialog, Qt::Key_Escape);
      QCOMPARE(NameOf(id), name);
    }
    // The amount is typed and the window closed while the field still has the focus: the
    // typed text counts as much as a name set before.
    auto* dialog = new TransactionDialog(*document_, id, {}, false);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->show();
    QApplication::setActiveWindow(dialog);
    dialog->model().setName(L"Changed then closed");
    QLineEdit* amount = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    QVERIFY(amount != nullptr);
    QTest::keyClicks(amount, QStringLiteral("77.25"));
    QVERIFY(dialog->close());
    QCOMPARE(NameOf(id), std::wstring(L"Changed then closed"));
    QCOMPARE(AmountOf(id), 77.25);
  }

  // In Russian (decimal comma) a transfer between currencies is tabbed through from the first
  // field to the last without typing anything: closing it then changes nothing, though its
  // rate is shown with more decimals than it is stored with.
  void tabbingThroughChangesNothing() {
    vemra::platform::SetLanguage("ru");
    struct Restore {
      ~Restore() { vemra::platform::SetLanguage("en"); }
    } restore;
    uint64_t id = 0;
    std::vector<uint64_t> transfers;
    document_->Sync([&] {
      std::vector<const vemra::TBaseEntry*> entries;
      document_->database().ListEntries(vemra::etTransaction, 1, entries);
      for (const vemra::TBaseEntry* e : entries) {
        const auto& t = static_cast<const vemra::TTransaction&>(*e);
        if (t.Data.WithdrawAccountID != 0 && t.Data.TargetAccountID != 0) {
          transfers.push_back(t.Header.ID);
        }
      }
    });
    for (uint64_t t : transfers) {
      if (vemra::editors::TransactionEditModel(*document_, t).isShown("exRate")) id = t;
    }
    QVERIFY(id != 0);
    auto amounts = [&] {
      vemra::TTransaction t;
      document_->Sync([&] { t = document_->database().Transactions().GetTransaction(id); });
      return std::pair{t.Data.WithdrawAmount, t.Data.TargetAmount};
    };
    const auto before = amounts();
    auto* dialog = new TransactionDialog(*document_, id, {}, false);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->show();
    QApplication::setActiveWindow(dialog);
    auto* rate = dialog->findChild<QLineEdit*>(QStringLiteral("exRate"));
    QVERIFY(rate->isVisible());
    QVERIFY(!rate->text().contains(QLatin1Char('.')));  // shown as it is typed: "0,92"
    dialog->findChild<QButtonGroup*>()->buttons().front()->setFocus();
    for (int i = 0; i < 40; ++i) QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QVERIFY(!dialog->model().hasChanges());
    QVERIFY(dialog->close());
    QCOMPARE(amounts(), before);
  }

  // Tab from the first field reaches the type segments and the cleared box.
  void tabReachesEveryControl() {
    TransactionDialog dialog(*document_, 0, {}, false);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QApplication::setActiveWindow(&dialog);
    QWidget* first = dialog.findChild<QButtonGroup*>()->buttons().front();
    first->setFocus();
    bool type = false, cleared = false;
    for (int i = 0; i < 60; ++i) {
      QWidget* w = QApplication::focusWidget();
      if (w == nullptr) break;
      if (qobject_cast<QPushButton*>(w) &&
          dialog.findChild<QButtonGroup*>()->buttons().contains(static_cast<QAbstractButton*>(w))) {
        type = true;
      }
      if (auto* box = qobject_cast<QCheckBox*>(w); box != nullptr && box->text() == Tx(20517)) {
        cleared = true;
      }
      QTest::keyClick(w, Qt::Key_Tab);
    }
    QVERIFY(type);
    QVERIFY(cleared);
  }

  // A new account with an opening balance is stored and shows in the account list; a second
  // of the same name (letter case aside) is refused with the reason shown.
  void accountDialog() {
    AccountDialog dialog(*document_, 0, false, {});
    dialog.model().setName(L"Piggy bank");
    dialog.model().setOpeningBalance("12.5");
    QVERIFY(dialog.save());
    vemra::lists::AccountList list(*document_);
    list.loadDataAndWait();
    bool found = false;
    for (const auto& row : list.rows()) {
      if (row->Name == L"Piggy bank") found = qAbs(row->Balance - 12.5) < 1e-9;
    }
    QVERIFY(found);
    AccountDialog again(*document_, 0, false, {});
    again.model().setName(L"PIGGY BANK");
    QVERIFY(!again.save());
    QVERIFY(!again.findChild<QLabel*>(QStringLiteral("problems"))->text().isEmpty());
  }

  // Choosing "Weekly" shows the schedule editor with the date's weekday; ticking another
  // weekday reaches the transaction's schedule.
  void scheduleEditor() {
    TransactionDialog dialog(*document_, 0, {}, false);
    dialog.show();
    QVERIFY(dialog.model().setScheduleItem(2));
    auto* editor = dialog.findChild<ScheduleEditor*>();
    QVERIFY(editor != nullptr && editor->isVisible());
    QCOMPARE(int(editor->schedule().ScheduleType), 3);
    const int today = vemra::WeekdayOf(dialog.model().date());
    QCOMPARE(int(dialog.model().schedule().WeekDays[today]), 1);
    const int other = (today + 3) % 7;
    auto* box = editor->findChild<QCheckBox*>(QStringLiteral("weekday%1").arg(other));
    box->setChecked(true);
    QCOMPARE(int(dialog.model().schedule().WeekDays[other]), 1);
    QVERIFY(dialog.model().isTemplate());
  }

  // The category tree and the picker's filter under the model tester: a filter keeps each
  // match with the branch above it; choosing a row names it.
  void categoryPicker() {
    CategoryTreeModel model(*document_, vemra::kCategoryRoot);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.reload();
    QVERIFY(model.rowCount() > 3);
    auto* picker = new CategoryPicker(*document_, vemra::kCategoryRoot, nullptr);
    QAbstractItemModelTester proxy(picker->proxy(),
                                   QAbstractItemModelTester::FailureReportingMode::QtTest);
    picker->setFilter(QStringLiteral("groc"));
    QSortFilterProxyModel* shown = picker->proxy();
    QVERIFY(shown->rowCount() >= 1);
    std::function<bool(const QModelIndex&)> has_match = [&](const QModelIndex& parent) {
      for (int r = 0; r < shown->rowCount(parent); ++r) {
        const QModelIndex i = shown->index(r, 0, parent);
        if (i.data().toString().contains(QStringLiteral("groc"), Qt::CaseInsensitive) ||
            (shown->rowCount(i) > 0 && has_match(i))) {
          continue;
        }
        return false;  // a row that neither matches nor leads to a match
      }
      return true;
    };
    QVERIFY(has_match({}));
    delete picker;
  }

  // The suggestion model through rankings of several texts.
  void suggestionModel() {
    SuggestionModel model(vemra::lists::SuggestionSource::Descriptions(*document_, -1));
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy ranked(&model, &SuggestionModel::ranked);
    model.setText(QStringLiteral("C"));
    QVERIFY(ranked.count() > 0 || ranked.wait(5000));
    QVERIFY(model.rowCount() > 0);
    for (int r = 0; r < model.rowCount(); ++r) {
      // A description matches by its words, or by the category it was filed under.
      const QModelIndex i = model.index(r, 0);
      QVERIFY(
          i.data().toString().contains(QStringLiteral("c"), Qt::CaseInsensitive) ||
          i.data(Qt::ToolTipRole).toString().startsWith(QStringLiteral("c"), Qt::CaseInsensitive));
    }
    model.setText(QStringLiteral("zzzz-nothing"));
    QCOMPARE(model.rowCount(), 0);
    model.setText(QString());
    QCOMPARE(model.rowCount(), 0);
  }
};

KESTRUM_APP_TEST(DialogsTest);

}  // namespace kestrum

#include "dialogs_test.moc"
