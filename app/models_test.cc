// The sidebar and outline models over a generated book: Qt's model tester through loads,
// filtering, sorting and edits; drag payloads; colours on light and dark palettes; undo.
#include <QAbstractItemModelTester>
#include <QApplication>
#include <QMimeData>
#include <QStyle>
#include <QStyleFactory>
#include <QTest>
#include <QUndoStack>

#include "app/account_model.h"
#include "app/outline_model.h"
#include "app/testing/app_test_main.h"
#include "app/texts.h"
#include "app/undo_bridge.h"
#include "app/view_colors.h"
#include "collections/node.h"
#include "generator/generator.h"
#include "lists/period_selection.h"
#include "platform/unicode.h"

namespace kestrum {
namespace {

using vemra::lists::Node;
namespace NodeType = vemra::NodeType;

// The transaction rows under `row`, depth first.
void Transactions(const Node& row, std::vector<const Node*>& out) {
  for (const auto& child : row.FilteredNodes) {
    if (child->Type == NodeType::Transaction) out.push_back(child.get());
    Transactions(*child, out);
  }
}

}  // namespace

class ModelsTest : public QObject {
  Q_OBJECT

 private:
  std::unique_ptr<vemra::Document> document_;
  uint64_t currency_ = 0;

  AmountFormat Format() {
    AmountFormat f;
    document_->Sync([&] { f = AmountFormat::Snapshot(document_->database()); });
    return f;
  }
  void Load(vemra::lists::TransactionList& list, OutlineModel& model) {
    list.loadDataAndWait();
    model.setRoot(list.root(), currency_, Format());
  }

 private Q_SLOTS:
  void init() {
    document_ = std::make_unique<vemra::Document>();
    const vemra::ADate today = vemra::MakeADate(2026, 10, 24);
    document_->Sync([&] { vemra::GenerateBook(document_->database(), 600, 7, today); });
    document_->setCurrentUser(0);
    vemra::lists::SetPeriod(
        *document_, vemra::lists::PeriodOf(vemra::lists::PeriodKind::Year, today, 0, today, today),
        "en");
    document_->Sync([&] { currency_ = document_->database().Currencies().GetDefaultCurrencyID(); });
  }
  void cleanup() { document_.reset(); }

  // The sidebar's tree maps every row to the list's flat index and back; drags carry flat
  // indexes the list validates, and a payload of another document is refused.
  void accountModel() {
    vemra::lists::AccountList list(*document_);
    AccountModel model(list, document_->instanceToken());
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    list.loadDataAndWait();
    model.setRows(list.rows(), Format());
    QVERIFY(model.flatCount() > 3);
    int shown = 0;
    for (int r = 0; r < model.rowCount(); ++r) {
      QModelIndex top = model.index(r, 0);
      shown += 1 + model.rowCount(top);
      QCOMPARE(static_cast<size_t>(model.rowCount(top)), model.node(top)->AllNodes.size());
    }
    QCOMPARE(shown, model.flatCount());
    for (int i = 0; i < model.flatCount(); ++i) QCOMPARE(model.flatIndex(model.indexOfFlat(i)), i);
    QCOMPARE(model.data(model.indexOfFlat(0), Qt::DisplayRole).toString(), Tx(20001));

    // Drag the last account above the first row after the overall one.
    const int last = model.flatCount() - 1;
    std::unique_ptr<QMimeData> drag(model.mimeData({model.indexOfFlat(last)}));
    QVERIFY(drag != nullptr);
    QModelIndex first = model.indexOfFlat(1);
    const bool expected =
        list.validateDrop({static_cast<size_t>(last)}, 1, vemra::lists::AccountList::Drop::Above);
    QCOMPARE(model.canDropMimeData(drag.get(), Qt::MoveAction, first.row(), 0, first.parent()),
             expected);
    QVERIFY(model.mimeData({model.indexOfFlat(0)}) == nullptr);  // the overall row stays put

    vemra::lists::AccountList other_list(*document_);
    AccountModel other(other_list, document_->instanceToken() + 1);
    other.setRows(list.rows(), Format());
    QVERIFY(!other.canDropMimeData(drag.get(), Qt::MoveAction, -1, 0, other.indexOfFlat(1)));

    // A reload with the same rows keeps the tester content.
    list.loadDataAndWait();
    model.setRows(list.rows(), Format());
    QCOMPARE(model.flatCount(), shown);
  }

  // The outline through loads in each grouping, a search that keeps totals in step, sorting,
  // refused drops and edits written back through the list.
  void outlineModel() {
    vemra::lists::TransactionList list(*document_);
    OutlineModel model(list, *document_);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    list.setCurrency(currency_);
    for (int group_by : {3, 5, 2}) {
      list.setGroupBy(group_by);
      Load(list, model);
      QVERIFY(model.rowCount() > 0);
    }
    std::vector<const Node*> rows;
    Transactions(*model.root(), rows);
    QVERIFY(rows.size() > 20);

    // Search: every shown transaction matches, headers follow, the totals cover what shows.
    const std::wstring word = rows.front()->Name.substr(0, 3);
    list.setFilter(word);
    model.changeTree([&] { list.filterData(); });
    std::vector<const Node*> found;
    Transactions(*model.root(), found);
    QVERIFY(!found.empty() && found.size() < rows.size());
    for (const Node* n : found) {
      QVERIFY(vemra::FoldCase(n->Name).find(vemra::FoldCase(word)) != std::wstring::npos);
    }
    list.setFilter(L"");
    model.changeTree([&] { list.filterData(); });

    // Sorting by amount, descending, inside each day.
    list.setSort({{"amount", false}});
    model.changeTree([&] { list.sortData(); });
    for (int r = 0; r < model.rowCount(); ++r) {
      const Node* day = model.node(model.index(r, 0));
      for (size_t i = 1; i < day->FilteredNodes.size(); ++i) {
        QVERIFY(day->FilteredNodes[i - 1]->Amount >= day->FilteredNodes[i]->Amount);
      }
    }

    // A transaction row refuses drops; a day header takes them.
    const Node* transaction = rows.front();
    QModelIndex row = model.indexOf(transaction);
    std::unique_ptr<QMimeData> drag(model.mimeData({row}));
    QVERIFY(drag != nullptr);
    QVERIFY(!model.canDropMimeData(drag.get(), Qt::MoveAction, -1, 0, row));
    QModelIndex day = model.index(0, 0);
    QCOMPARE(model.canDropMimeData(drag.get(), Qt::MoveAction, -1, 0, day),
             model.node(day)->Type == NodeType::DateHeader);

    // Edits: a description, then the cleared flag, each written back and seen after a reload.
    const uint64_t id = transaction->ID;
    QVERIFY(model.setData(row.siblingAtColumn(OutlineModel::kName), QStringLiteral("Renamed here"),
                          Qt::EditRole));
    Load(list, model);
    const Node* renamed = vemra::lists::FindNodeByID(*model.root(), id);
    QVERIFY(renamed != nullptr);
    QCOMPARE(FromWide(renamed->Name), QStringLiteral("Renamed here"));
    const bool cleared = renamed->Cleared;
    const double parent_total = renamed->Parent->Amount;
    QVERIFY(model.setData(model.indexOf(renamed).siblingAtColumn(OutlineModel::kStatus),
                          cleared ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole));
    Load(list, model);
    const Node* toggled = vemra::lists::FindNodeByID(*model.root(), id);
    QCOMPARE(toggled->Cleared, !cleared);
    QVERIFY(qAbs(toggled->Parent->Amount - parent_total - (cleared ? -1 : 1) * toggled->Amount) <
            1e-6);
  }

  // Drops carry out what the lists decide: a transaction dropped on another day takes that
  // day's date; an account dropped on a group joins it.
  void drops() {
    vemra::lists::TransactionList list(*document_);
    OutlineModel outline(list, *document_);
    list.setCurrency(currency_);
    Load(list, outline);
    QVERIFY(outline.rowCount() >= 2);
    const Node* first_day = outline.node(outline.index(0, 0));
    const Node* last_day = outline.node(outline.index(outline.rowCount() - 1, 0));
    const Node* moved = nullptr;
    for (const auto& row : first_day->FilteredNodes) {
      if (row->Type == NodeType::Transaction && !row->Transaction->IsGhost) moved = row.get();
    }
    QVERIFY(moved != nullptr);
    const uint64_t id = moved->ID;
    std::unique_ptr<QMimeData> drag(outline.mimeData({outline.indexOf(moved)}));
    const QModelIndex target = outline.indexOf(last_day);
    QVERIFY(outline.canDropMimeData(drag.get(), Qt::MoveAction, -1, 0, target));
    outline.dropMimeData(drag.get(), Qt::MoveAction, -1, 0, target);
    const vemra::ADate wanted = last_day->Date;
    Load(list, outline);
    QCOMPARE(vemra::lists::FindNodeByID(*outline.root(), id)->Parent->Date.Val, wanted.Val);

    vemra::lists::AccountList accounts(*document_);
    AccountModel sidebar(accounts, document_->instanceToken());
    accounts.loadDataAndWait();
    sidebar.setRows(accounts.rows(), Format());
    int group = -1, loose = -1;
    const vemra::lists::Rows& rows = accounts.rows();
    for (int i = 0; i < sidebar.flatCount() && group < 0; ++i) {
      if (rows[i]->Type == NodeType::Group) group = i;
    }
    QVERIFY(group >= 0);
    for (int i = 0; i < sidebar.flatCount(); ++i) {
      if (rows[i]->Type == NodeType::Account && rows[i]->Parent != rows[group].get()) loose = i;
    }
    QVERIFY(loose >= 0);
    const uint64_t account_id = rows[loose]->ID;
    const uint64_t group_id = rows[group]->ID;
    std::unique_ptr<QMimeData> account_drag(sidebar.mimeData({sidebar.indexOfFlat(loose)}));
    sidebar.dropMimeData(account_drag.get(), Qt::MoveAction, -1, 0, sidebar.indexOfFlat(group));
    accounts.loadDataAndWait();
    bool joined = false;
    for (const auto& row : accounts.rows()) {
      if (row->ID == account_id && row->Type == NodeType::Account) {
        joined = row->Parent != nullptr && row->Parent->ID == group_id;
      }
    }
    QVERIFY(joined);
  }

  // Undo and redo through the QUndoStack restore the outline's rows.
  void undoRoundTrip() {
    UndoBridge undo(*document_);
    vemra::lists::TransactionList list(*document_);
    OutlineModel model(list, *document_);
    list.setCurrency(currency_);
    Load(list, model);
    std::vector<const Node*> rows;
    Transactions(*model.root(), rows);
    const uint64_t id = rows.front()->ID;
    const QString before = FromWide(rows.front()->Name);
    QVERIFY(model.setData(model.indexOf(rows.front()).siblingAtColumn(OutlineModel::kName),
                          QStringLiteral("Changed"), Qt::EditRole));
    QCOMPARE(undo.stack()->count(), 1);
    QVERIFY(undo.stack()->undoText().contains(QStringLiteral("edit")));
    auto name_now = [&] {
      document_->queue().Drain();
      Load(list, model);
      return FromWide(vemra::lists::FindNodeByID(*model.root(), id)->Name);
    };
    undo.stack()->undo();
    QCOMPARE(name_now(), before);
    undo.stack()->redo();
    QCOMPARE(name_now(), QStringLiteral("Changed"));
    undo.stack()->undo();
    QCOMPARE(name_now(), before);
  }

  // Secondary and negative texts keep a contrast of 4.5 to Base on light and dark palettes.
  void readableColours() {
    std::unique_ptr<QStyle> fusion(QStyleFactory::create(QStringLiteral("Fusion")));
    const QPalette light = fusion->standardPalette();
    for (const QPalette& palette : {light, DarkPalette()}) {
      const QColor base = palette.color(QPalette::Base);
      QVERIFY(Contrast(palette.color(QPalette::Text), base) >= 4.5);
      QVERIFY(Contrast(SecondaryText(palette), base) >= 4.5);
      QVERIFY(Contrast(NegativeText(palette), base) >= 4.5);
      QVERIFY(SecondaryText(palette) != palette.color(QPalette::Text));
    }
    QVERIFY(qAbs(Contrast(Qt::black, Qt::white) - 21) < 0.01);
  }
};

KESTRUM_APP_TEST(ModelsTest);

}  // namespace kestrum

#include "models_test.moc"
