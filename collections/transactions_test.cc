#include "collections/transactions.h"

#include <list>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "collections/testing/book.h"
#include "core/records/scheduled_transaction.h"

namespace vemra {
namespace {

using testing::BookTest;
using testing::kEuro;
using testing::kToday;
using testing::Marks;

// The tree as one line: headers as "[type", records as "t<ID>", "s<ID>", "c<ID>", children in
// parentheses.
std::string Shape(const NodeList& nodes) {
  std::string out;
  for (const auto& n : nodes) {
    if (!out.empty()) out += ' ';
    switch (n->Type) {
      case NodeType::Transaction:
        out += "t" + std::to_string(n->Transaction->Header.ID % 1000);
        break;
      case NodeType::Split:
        out += "s" + std::to_string(n->Split->Header.ID % 1000);
        break;
      case NodeType::Category:
        out += "c" + std::to_string(n->Category->Header.ID % 1000);
        break;
      default:
        out += "[" + std::to_string(n->Type);
    }
    if (!n->Children.empty()) out += "(" + Shape(n->Children) + ")";
  }
  return out;
}

class TransactionsTest : public BookTest {
 protected:
  TransactionsTest() {
    db.Period = TimeInterval(ADate(kToday - 10), ADate(kToday + 10));
    account = Account(kEuro, 100);
  }
  // Adds a transaction with ID `id` (kept small so that shapes stay readable).
  uint64_t Add(uint64_t id, TTransaction t, uint64_t category = 0) {
    t.Header.ID = id;
    t.Categories.CategoryID = category;
    return db.StoreEntry(t.Clone());
  }
  std::string Tree(bool by_days, int group_by) {
    return Shape(db.Transactions().GetTransactionsTree(by_days, group_by, kEuro, {}));
  }
  uint64_t account = 0;
};

TEST_F(TransactionsTest, TreeByKindAlwaysHasThreeHeadersAndLinksCategoryChainsOnce) {
  EXPECT_EQ(Tree(false, GroupBy::Category), "[-3 [-2 [-4");
  // Categories with chosen IDs: 10 > 20 > 30 > 40 (a chain four deep), 50 under 30, and 60/61
  // naming each other.
  auto category = [&](uint64_t id, uint64_t parent) {
    TCategory c;
    c.Header.ID = id;
    c.Data.RootID = parent;
    db.StoreEntry(c.Clone());
  };
  category(10, kCategoryRoot);
  category(20, 10);
  category(30, 20);
  category(40, 30);
  category(50, 30);
  category(60, 61);
  category(61, 60);
  Add(101, Tx(-1, account, 1, 0, 0), 40);
  Add(102, Tx(-1, account, 1, 0, 0), 50);
  Add(103, Tx(-1, account, 1, 0, 0));      // no category
  Add(104, Tx(-1, account, 1, 0, 0), 99);  // a category that does not exist
  Add(105, Tx(-1, account, 1, 0, 0), 20);
  Add(106, Tx(-1, account, 1, 0, 0), 60);
  Add(107, Tx(-1, 0, 0, account, 5), 61);
  Add(108, Tx(-1, account, 1, account, 1));
  EXPECT_EQ(Tree(false, GroupBy::Category),
            "[-3(c60(c61(t107))) "
            "[-2(t103 t104 c10(c20(t105 c30(c40(t101) c50(t102)))) c61(c60(t106))) "
            "[-4(t108)");
}

TEST_F(TransactionsTest, TreeByDaysNumbersUntimedTransactionsAndReversesEachDay) {
  Add(201, Tx(-2, account, 1, 0, 0));
  Add(202, Tx(-2, account, 1, 0, 0, 5000));
  Add(203, Tx(-2, account, 1, 0, 0));
  Add(204, Tx(-2, account, 1, 0, 0));
  Add(205, Tx(0, account, 1, 0, 0));
  NodeList tree = db.Transactions().GetTransactionsTree(true, GroupBy::None, kEuro, {});
  EXPECT_EQ(Shape(tree), "[-1(t202 t204 t203 t201) [-1(t205)");
  std::vector<uint32_t> times;
  for (const auto& n : tree.front()->Children) times.push_back(n->Transaction->Data.Time);
  EXPECT_EQ(times, (std::vector<uint32_t>{5000, 3, 2, 1}));
  EXPECT_EQ(tree.front()->Date, ADate(kToday - 2));
  EXPECT_DOUBLE_EQ(tree.back()->Children.front()->Balance, 95);
}

TEST_F(TransactionsTest, SplitGroupingFollowsLooseTransactionsAndShowsFirstPartBalance) {
  TSplit split;
  split.Header.ID = 300;
  split.Data.Date = ADate(kToday - 1);
  std::vector<TTransaction> parts{Tx(0, account, 10, 0, 0), Tx(0, account, 20, 0, 0)};
  parts[0].Header.ID = 301;
  parts[1].Header.ID = 302;
  ASSERT_TRUE(db.StoreSplit(split, parts));
  Add(303, Tx(-1, account, 1, 0, 0, 99999999));
  NodeList tree = db.Transactions().GetTransactionsTree(false, GroupBy::Split, kEuro, {});
  EXPECT_EQ(Shape(tree), "[-3 [-2(t303 s300(t301 t302)) [-4");
  const Node& node = *(*std::next(tree.begin()))->Children.back();
  EXPECT_DOUBLE_EQ(node.Balance, 90);
  EXPECT_EQ(node.Split->Data.Time, parts[0].Data.Time);
}

TEST_F(TransactionsTest, EditsKeepSchedulesAndARecordIsNeverInTwoTables) {
  ITransactions& transactions = db.Transactions();
  TSchedule monthly;
  monthly.ScheduleType = 4;
  monthly.BeginDate = ADate(kToday + 5);
  TTransaction rent = Tx(5, account, 700, 0, 0);
  rent.Name = L"rent";
  uint64_t id = transactions.AddTransaction(rent, monthly);
  ASSERT_NE(id, 0u);
  EXPECT_EQ(db.FindEntry(id, 1), nullptr);
  ASSERT_NE(db.FindEntry(id, 0), nullptr);
  EXPECT_EQ(db.FindEntry(id, 0)->Header.Type, etScheduledTransaction);
  auto schedule_of = [&](uint64_t s) {
    return static_cast<const TScheduledTransaction&>(*db.FindEntry(s, 0)).Schedule;
  };

  // The copy names its schedule, so an editor finds it; an edit without a schedule keeps it.
  TTransaction copy = transactions.GetTransaction(id);
  EXPECT_EQ(copy.Header.ID, id);
  EXPECT_EQ(copy.Header.Type, etTransaction);
  EXPECT_EQ(copy.ScheduleID, id);
  EXPECT_EQ(std::wstring(copy.Name), L"rent");
  copy.Data.WithdrawAmount = 750;
  ASSERT_EQ(transactions.UpdateTransaction(copy, TSchedule()), id);
  const auto& stored = static_cast<const TScheduledTransaction&>(*db.FindEntry(id, 0));
  EXPECT_EQ(stored.Data.WithdrawAmount, 750);
  EXPECT_EQ(stored.Schedule, monthly);
  TSchedule weekly = monthly;
  weekly.ScheduleType = 3;
  ASSERT_EQ(transactions.UpdateTransaction(copy, weekly), id);
  EXPECT_EQ(schedule_of(id).ScheduleType, 3);

  // A plain transaction given a schedule moves, texts and tags with it, under a new ID.
  TTransaction once = Tx(0, account, 1, 0, 0);
  once.Name = L"once";
  once.Tags = {5};
  uint64_t plain = transactions.AddTransaction(once, TSchedule());
  EXPECT_EQ(db.FindEntry(plain, 1)->Header.Type, etTransaction);
  uint64_t moved = transactions.UpdateTransaction(transactions.GetTransaction(plain), monthly);
  ASSERT_NE(moved, 0u);
  EXPECT_NE(moved, plain);
  EXPECT_EQ(db.FindEntry(plain, 1), nullptr);
  EXPECT_EQ(db.DeletedHeaders().count(plain), 1u);
  EXPECT_EQ(schedule_of(moved), monthly);
  TTransaction back = transactions.GetTransaction(moved);
  EXPECT_EQ(std::wstring(back.Name), L"once");
  EXPECT_EQ(back.Tags, std::vector<uint64_t>{5});

  EXPECT_TRUE(transactions.DeleteTransaction(id));
  EXPECT_TRUE(transactions.DeleteTransaction(moved));
  EXPECT_FALSE(transactions.DeleteTransaction(moved));
  EXPECT_EQ(transactions.GetTransaction(moved).Header.ID, 0u);
}

TEST_F(TransactionsTest, OtherUsersMarksHideAndLockTransactions) {
  uint64_t owner = User(), other = User();
  uint64_t hidden_account = Account(kEuro, 0, 0, {owner, true, true});
  uint64_t hidden_category = Category(kCategoryRoot, L"", {owner, true, false});
  uint64_t child_of_hidden = Category(hidden_category);
  ITransactions& transactions = db.Transactions();
  uint64_t transfer = transactions.AddTransaction(Tx(0, hidden_account, 5, account, 5), {});
  uint64_t expense = transactions.AddTransaction(Tx(0, hidden_account, 5, 0, 0), {});
  TTransaction categorized = Tx(0, account, 1, 0, 0);
  categorized.Categories.CategoryID = child_of_hidden;
  uint64_t in_hidden = transactions.AddTransaction(categorized, {});
  TTransaction own = Tx(0, account, 1, 0, 0);
  own.Name = L"private";
  uint64_t marked = Store(own, {owner, true, true});
  uint64_t free = transactions.AddTransaction(Tx(0, account, 1, 0, 0), {});

  db.SetCurrentUser(other);
  // Both sides must be hidden to hide a transfer; an expense is hidden with its only account.
  EXPECT_FALSE(transactions.IsHidden(transfer));
  EXPECT_TRUE(transactions.IsReadOnly(transfer));  // one locked side locks it
  EXPECT_TRUE(transactions.IsHidden(expense));
  EXPECT_TRUE(transactions.IsHidden(in_hidden));
  EXPECT_TRUE(transactions.IsReadOnly(in_hidden));
  EXPECT_TRUE(transactions.IsHidden(marked));
  EXPECT_TRUE(transactions.IsReadOnly(marked));
  EXPECT_FALSE(transactions.IsHidden(free) || transactions.IsReadOnly(free));
  TTransaction edit = transactions.GetTransaction(transfer);
  EXPECT_EQ(transactions.UpdateTransaction(edit, {}), 0u);
  EXPECT_FALSE(transactions.DeleteTransaction(marked));
  std::list<TDescription> descriptions = transactions.GetDescriptions();
  EXPECT_TRUE(descriptions.empty());

  db.SetCurrentUser(owner);
  EXPECT_FALSE(transactions.IsHidden(marked) || transactions.IsReadOnly(transfer));
  EXPECT_EQ(transactions.GetDescriptions().size(), 1u);
}

TEST_F(TransactionsTest, DescriptionsNameTheLatestTransactionPerCategoryKindAndText) {
  uint64_t food = Category(kCategoryRoot, L"Food");
  ITransactions& transactions = db.Transactions();
  auto add = [&](TTransaction t, const wchar_t* name, uint64_t category) {
    t.Name = name;
    t.Categories.CategoryID = category;
    return transactions.AddTransaction(t, {});
  };
  add(Tx(0, account, 1, 0, 0), L"bread", food);
  uint64_t later_bread = add(Tx(-5, account, 1, 0, 0), L"bread", food);
  uint64_t apples = add(Tx(0, account, 1, 0, 0), L"Apples", food);
  uint64_t refund = add(Tx(0, 0, 0, account, 1), L"bread", food);
  uint64_t bare = add(Tx(0, account, 1, 0, 0), L"tip", 0);
  add(Tx(0, account, 1, 0, 0), L"", food);

  std::vector<std::tuple<int32_t, uint64_t, std::wstring, std::wstring>> got;
  for (const TDescription& d : transactions.GetDescriptions()) {
    got.emplace_back(d.Kind, d.TransactionID, d.Description, d.CategoryName);
  }
  EXPECT_EQ(got, (std::vector<std::tuple<int32_t, uint64_t, std::wstring, std::wstring>>{
                     {0, bare, L"tip", L""},
                     {0, apples, L"Apples", L"Food"},
                     {0, later_bread, L"bread", L"Food"},
                     {1, refund, L"bread", L"Food"}}));
}

// The suggestions, kept between calls, equal a fresh count after every kind of change.
TEST_F(TransactionsTest, DescriptionsFollowEditsUndoRedoAndTextChanges) {
  using Listed = std::tuple<uint64_t, int32_t, std::wstring, uint64_t>;
  auto fresh = [&] {
    std::map<std::tuple<uint64_t, int32_t, std::wstring>, uint64_t> latest;
    for (const auto& [id, e] : db.GetTable(1)) {
      const auto& t = static_cast<const TTransaction&>(*e);
      std::wstring text;
      if (e->Header.Type == etTransaction && db.GetString(t.Data.NameID, text) && !text.empty()) {
        latest[{t.Categories.CategoryID, TransactionKind(t), text}] = id;
      }
    }
    std::vector<Listed> out;
    for (const auto& [key, id] : latest) {
      out.emplace_back(std::get<0>(key), std::get<1>(key), std::get<2>(key), id);
    }
    return out;
  };
  auto listed = [&] {
    std::vector<Listed> out;
    for (const TDescription& d : db.Transactions().GetDescriptions()) {
      const auto& t = static_cast<const TTransaction&>(*db.FindEntry(d.TransactionID, 1));
      out.emplace_back(t.Categories.CategoryID, d.Kind, d.Description, d.TransactionID);
    }
    return out;
  };
  const uint64_t food = Category(kCategoryRoot, L"Food");
  const wchar_t* names[] = {L"bread", L"milk", L"", L"tea"};
  ITransactions& transactions = db.Transactions();
  uint32_t x = 1;
  auto pick = [&](uint32_t n) { return (x = x * 1103515245 + 12345) / 65536 % n; };
  std::vector<uint64_t> ids;
  for (int step = 0; step < 400; ++step) {
    const uint32_t op = pick(8);
    if (op <= 2 || ids.empty()) {
      db.BeginUndoStep(2);
      TTransaction t = pick(3) == 0 ? Tx(0, 0, 0, account, 2) : Tx(-1, account, 1, 0, 0);
      t.Name = names[pick(4)];
      t.Categories.CategoryID = pick(2) == 0 ? food : 0;
      ids.push_back(transactions.AddTransaction(t, {}));
    } else if (op <= 4) {
      db.BeginUndoStep(3);
      TTransaction t = transactions.GetTransaction(ids[pick(static_cast<uint32_t>(ids.size()))]);
      if (t.Header.ID == 0) continue;
      t.Name = names[pick(4)];
      t.Categories.CategoryID = pick(2) == 0 ? food : 0;
      transactions.UpdateTransaction(t, {});
    } else if (op == 5) {
      db.BeginUndoStep(4);
      transactions.DeleteTransaction(ids[pick(static_cast<uint32_t>(ids.size()))]);
    } else if (op == 6) {
      pick(2) == 0 ? db.Undo() : db.Redo();
    } else if (const TBaseEntry* e =
                   db.FindEntry(ids[pick(static_cast<uint32_t>(ids.size()))], 1)) {
      // A text changed without its transaction, as a part from another copy can bring.
      db.SetString(static_cast<const TTransaction*>(e)->Data.NameID, names[pick(4)]);
    }
    ASSERT_EQ(listed(), fresh()) << "step " << step;
  }
}

TEST_F(TransactionsTest, SplitsMoveTheirPartsAndStopDeletingAtARefusedPart) {
  TSplit split;
  split.Data.Date = ADate(kToday - 3);
  std::vector<TTransaction> parts{Tx(0, account, 10, 0, 0), Tx(0, account, 20, 0, 0)};
  parts[0].Name = L"bread";
  parts[0].Tags = {7};
  ASSERT_TRUE(db.StoreSplit(split, parts));
  ISplits& splits = db.Splits();
  ITransactions& transactions = db.Transactions();

  // Moving one part moves the split and its other parts.
  TTransaction first = transactions.GetTransaction(parts[0].Header.ID);
  first.Data.Date = ADate(kToday - 1);
  first.Data.Time = 1234;
  ASSERT_NE(transactions.UpdateTransaction(first, {}), 0u);
  EXPECT_EQ(splits.GetSplit(split.Header.ID).Data.Date, ADate(kToday - 1));
  for (const TTransaction& part : splits.GetSplitTransactions(split.Header.ID)) {
    EXPECT_EQ(part.Data.Date, ADate(kToday - 1));
    EXPECT_EQ(part.Data.Time, 1234u);
  }
  EXPECT_EQ(splits.GetSplitTransactions(split.Header.ID).size(), 2u);

  // Updating the split record alone keeps its parts, which follow its date and cleared state.
  TSplit record = splits.GetSplit(split.Header.ID);
  record.Data.Date = ADate(kToday);
  record.Data.FlagB = 0;
  ASSERT_EQ(splits.UpdateSplit(record), split.Header.ID);
  for (const TTransaction& part : splits.GetSplitTransactions(split.Header.ID)) {
    EXPECT_EQ(part.Data.Date, ADate(kToday));
    EXPECT_EQ(part.Data.Cleared, 0);
  }
  // Parts handed back as GetSplitTransactions copies them (no texts, no tags) keep both.
  std::list<TTransaction> copies = splits.GetSplitTransactions(split.Header.ID);
  record.Transactions.assign(copies.begin(), copies.end());
  ASSERT_EQ(splits.UpdateSplit(record), split.Header.ID);
  TTransaction bread = transactions.GetTransaction(parts[0].Header.ID);
  EXPECT_EQ(std::wstring(bread.Name), L"bread");
  EXPECT_EQ(bread.Tags, std::vector<uint64_t>{7});

  // Another user's locked part stops the delete: the first part goes, the split stays.
  uint64_t owner = User(), other = User();
  TTransaction locked = transactions.GetTransaction(parts[1].Header.ID);
  locked.Header.OwnerID = owner;
  locked.Header.ReadOnly = 1;
  db.StoreEntry(locked.Clone());
  db.SetCurrentUser(other);
  EXPECT_FALSE(splits.DeleteSplit(split.Header.ID));
  EXPECT_EQ(db.FindEntry(parts[0].Header.ID, 1), nullptr);
  EXPECT_NE(db.FindEntry(split.Header.ID, 0), nullptr);
  db.SetCurrentUser(owner);
  EXPECT_TRUE(splits.DeleteSplit(split.Header.ID));
  EXPECT_EQ(db.FindEntry(split.Header.ID, 0), nullptr);
  EXPECT_FALSE(splits.DeleteSplit(split.Header.ID));

  // A split whose record is gone still takes its parts with it.
  TSplit orphaned;
  std::vector<TTransaction> left{Tx(0, account, 1, 0, 0), Tx(0, account, 2, 0, 0)};
  ASSERT_TRUE(db.StoreSplit(orphaned, left));
  ASSERT_TRUE(db.DeleteEntry(0, orphaned.Header.ID));
  EXPECT_TRUE(splits.DeleteSplit(orphaned.Header.ID));
  EXPECT_TRUE(splits.GetSplitTransactions(orphaned.Header.ID).empty());
}

// The collections are made with the database, not on first use: the editor's remembered date is
// the day the book was made.
TEST(BookOwnershipTest, CollectionsAreMadeWithTheDatabase) {
  std::optional<Book> book;
  {
    platform::ScopedClockPin made(int64_t{testing::kToday} * 86400);
    book.emplace();
  }
  platform::ScopedClockPin later(int64_t{testing::kToday + 3} * 86400);
  EXPECT_EQ(book->TransactionDefaults().DefaultDate, ADate(testing::kToday));
  EXPECT_EQ(book->TransactionDefaults().DefaultCleared, 1);
  EXPECT_EQ(&book->Transactions(), &book->TransactionDefaults());
}

}  // namespace
}  // namespace vemra
