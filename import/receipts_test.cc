// The receipt reader on hand-written exports (layouts, fields, limits, damaged files) and the
// storing of receipts into a book (one undo step, duplicates, dry runs, refusals).
#include "import/receipts.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "collections/book.h"
#include "collections/category_path.h"
#include "core/records/account.h"
#include "platform/clock.h"

namespace vemra::import {
namespace {

namespace fs = std::filesystem;

std::string TestData(const std::string& name) {
  const char* dir = std::getenv("TESTDATA_DIR");
  return (dir != nullptr ? fs::path(dir) : fs::path(__FILE__).parent_path() / "testdata") / name;
}

ReceiptFile Read(const std::string& name) {
  ReceiptFile file;
  EXPECT_EQ(ReadReceiptFile(TestData(name), file), kReceiptsRead) << name << ": " << file.Problem;
  return file;
}

ReceiptFile Parse(std::string_view json) {
  ReceiptFile file;
  EXPECT_EQ(ParseReceipts(json, file), kReceiptsRead) << json << ": " << file.Problem;
  return file;
}

// The noon of 2026-11-23 stands for "now".
class ReceiptsTest : public ::testing::Test {
 protected:
  platform::ScopedClockPin pin{int64_t{MakeADate(2026, 10, 23).Val} * 86400 + 12 * 3600};
};

TEST_F(ReceiptsTest, LayoutsYieldTheirReceiptsAndSayWhyOthersAreSkipped) {
  ReceiptFile file = Read("layouts.json");
  std::vector<std::pair<size_t, std::wstring>> taken;
  for (const Receipt& r : file.Receipts) taken.emplace_back(r.Index, r.Split.Name.str());
  EXPECT_EQ(taken, (std::vector<std::pair<size_t, std::wstring>>{
                       {0, L"Shop under ticket"},
                       {1, L"Shop under document"},
                       {5, L""},  // "document" wins over "ticket"
                       {6, L"Plain receipt"}}));
  EXPECT_EQ(file.Skipped,
            (std::vector<SkippedReceipt>{{2, "not a JSON object"},
                                         {3, "no receipt under \"document\""},
                                         {4, "no receipt under \"ticket\" / \"document\""},
                                         {7, "no items"},
                                         {8, "not a JSON object"}}));

  // A single receipt, bare or wrapped, is receipt 0.
  for (const char* name :
       {"single.json", "single_document.json", "single_ticket.json", "bom.json"}) {
    ReceiptFile one = Read(name);
    ASSERT_EQ(one.Receipts.size(), 1u) << name;
    EXPECT_EQ(one.Receipts[0].Index, 0u);
  }
  std::list<TSplit> splits(1);
  EXPECT_EQ(ImportReceipts(TestData("layouts.json"), splits), kReceiptsRead);
  EXPECT_EQ(splits.size(), 5u);  // appended
}

TEST_F(ReceiptsTest, FieldsAreReadAsTheExportsWriteThem) {
  const TSplit items = Read("single.json").Receipts.at(0).Split;
  EXPECT_EQ(items.Name, L"ООО \"Ромашка\" Магазин №1");  // control characters become spaces
  EXPECT_EQ(items.Comment, L"Москва, ул. Садовая, 1");
  EXPECT_EQ(items.Data.Date, MakeADate(2019, 2, 5));
  EXPECT_EQ(items.Data.Time, 66060000u);
  EXPECT_EQ(items.Data.AccountID, 1u);  // nothing in cash
  EXPECT_EQ(items.Data.FlagB, 0);
  EXPECT_EQ(items.Total, 123.45);
  EXPECT_EQ(items.FiscalDocumentNumber, 4321);
  // Kopecks in "items"; a fractional sum is ignored; a text is no item; an empty item is one.
  std::vector<std::tuple<std::wstring, double, double>> parts;
  for (const TTransaction& t : items.Transactions) {
    parts.emplace_back(t.Name.str(), t.Data.WithdrawAmount, t.Data.Quantity);
    EXPECT_EQ(std::tuple(t.Data.Date, t.Data.Time, t.Data.Cleared),
              std::tuple(items.Data.Date, items.Data.Time, int8_t{0}));
  }
  EXPECT_EQ(
      parts,
      (std::vector<std::tuple<std::wstring, double, double>>{
          {L"Молоко 3,2%", 99.9, 1}, {L"Хлеб ржаной", 23.55, 3}, {L"Пакет", 0, 1}, {L"", 0, 1}}));

  // "products" take the sum as it is; "date" is read when there is no dateTime.
  const TSplit products = Read("single_document.json").Receipts.at(0).Split;
  EXPECT_EQ(std::tuple(products.Name.str(), products.Comment.str(), products.Data.AccountID),
            std::tuple(std::wstring(L"Kiosk"), std::wstring(L"Station square"), uint64_t{0}));
  EXPECT_EQ(std::tuple(products.Data.Date, products.Data.Time, products.Total),
            std::tuple(MakeADate(2019, 2, 5), 66060000u, 123.45));
  ASSERT_EQ(products.Transactions.size(), 2u);
  EXPECT_EQ(products.Transactions[0].Data.WithdrawAmount, 9990);
  EXPECT_EQ(products.Transactions[0].Data.Quantity, 0.5);
  EXPECT_EQ(products.Transactions[1].Data.WithdrawAmount, 12.5);

  const TSplit seconds = Read("single_ticket.json").Receipts.at(0).Split;
  EXPECT_EQ(std::tuple(seconds.Data.Date, seconds.Data.Time, seconds.Total),
            std::tuple(MakeADate(2019, 2, 5), 66060000u, 99.9));
}

TEST_F(ReceiptsTest, DatesAreReadOrLeftAtNow) {
  const ADate today = MakeADate(2026, 10, 23);
  const uint32_t noon = 12 * 3600 * 1000;
  const struct {
    const char* keys;
    ADate date;
    uint32_t time;
    bool dated;
  } cases[] = {
      {R"("dateTime": "2019-3-5T8:1")", MakeADate(2019, 2, 5), 28860000, true},
      {R"("dateTime": "2019-03-05T18:21:07.5+03:00")", MakeADate(2019, 2, 5), 66067000, true},
      {R"("dateTime": "2024-02-29T23:59:59Z")", MakeADate(2024, 1, 29), 86399000, true},
      {R"("dateTime": "1970-01-01T00:00")", ADate(0), 0, true},
      {R"("dateTime": 1551810060.9)", MakeADate(2019, 2, 5), 66060000, true},
      {R"("dateTime": 253402300799)", MakeADate(9999, 11, 31), 86399000, true},
      {R"("dateTime": true)", ADate(0), 0, true},  // another type: 1970-01-01 00:00
      {R"("dateTime": null, "date": "05.03.19 18:21")", ADate(0), 0, true},
      {R"("date": "05.03.19 18:21")", MakeADate(2019, 2, 5), 66060000, true},
      {R"("date": "5.3.70  7:05:33")", MakeADate(1970, 2, 5), 25500000, true},
      {R"("date": "31.12.70 23:59")", MakeADate(1970, 11, 31), 86340000, true},
      {R"("date": "01.01.68 00:00")", MakeADate(2068, 0, 1), 0, true},
      // Unreadable or out of range: today, now; a bad dateTime does not fall back to "date".
      {R"("dateTime": "2019-02-29T10:00", "date": "05.03.19 18:21")", today, noon, false},
      {R"("dateTime": "2019-03-05 18:21:00")", today, noon, false},
      {R"("dateTime": "2019-03-05T24:00")", today, noon, false},
      {R"("dateTime": "2019-03-05T18:021")", today, noon, false},
      {R"("dateTime": "1969-12-31T23:59")", today, noon, false},
      {R"("dateTime": -1)", today, noon, false},
      {R"("dateTime": 253402300800)", today, noon, false},
      {R"("dateTime": 1e300)", today, noon, false},
      {R"("date": "05.03.2019 18:21")", today, noon, false},
      {R"("date": "31.12.69 23:59")", today, noon, false},  // 1969
      {R"("date": "32.01.19 10:00")", today, noon, false},
      {R"("date": 1551810060)", today, noon, false},
  };
  for (const auto& c : cases) {
    ReceiptFile file = Parse(std::string("{") + c.keys + R"(, "items": [{}]})");
    ASSERT_EQ(file.Receipts.size(), 1u) << c.keys;
    const Receipt& r = file.Receipts[0];
    EXPECT_EQ(std::tuple(r.Split.Data.Date, r.Split.Data.Time, r.Dated),
              std::tuple(c.date, c.time, c.dated))
        << c.keys;
  }
}

TEST_F(ReceiptsTest, NumbersKeepTheirTypesAndLimits) {
  const struct {
    const char* keys;
    double total, amount, quantity;
    int32_t fiscal;
    uint64_t marker;
  } cases[] = {
      {R"("totalSum": 12345, "items": [{"sum": 9990}])", 123.45, 99.9, 1, 0, 1},
      {R"("totalSum": 123.45, "products": [{"sum": 9990}])", 123.45, 9990, 1, 0, 1},
      {R"("items": [{"sum": 9990.0}], "products": [{"sum": 5}])", 0, 0, 1, 0, 1},
      {R"("items": {"sum": 1}, "products": [{"sum": 5}])", 0, 5, 1, 0, 1},
      {R"("items": [{"sum": -250, "quantity": -2}])", 0, -2.5, -2, 0, 1},
      {R"("cashTotalSum": 5000, "items": [{}])", 0, 0, 1, 0, 0},
      {R"("cashTotalSum": 0.0, "items": [{}])", 0, 0, 1, 0, 1},
      {R"("cashTotalSum": "5000", "items": [{}])", 0, 0, 1, 0, 1},
      {R"("fiscalDocumentNumber": 2147483647, "items": [{}])", 0, 0, 1, 2147483647, 1},
      {R"("fiscalDocumentNumber": -2147483648.9, "items": [{}])", 0, 0, 1, -2147483648, 1},
      {R"("fiscalDocumentNumber": 2147483648, "items": [{}])", 0, 0, 1, 0, 1},
      {R"("fiscalDocumentNumber": 77.99, "items": [{}])", 0, 0, 1, 77, 1},
      {R"("fiscalDocumentNumber": "77", "items": [{}])", 0, 0, 1, 0, 1},
  };
  for (const auto& c : cases) {
    ReceiptFile file = Parse(std::string("{") + c.keys + "}");
    ASSERT_EQ(file.Receipts.size(), 1u) << c.keys;
    const TSplit& s = file.Receipts[0].Split;
    EXPECT_EQ(std::tuple(s.Total, s.Transactions.at(0).Data.WithdrawAmount,
                         s.Transactions[0].Data.Quantity, s.FiscalDocumentNumber, s.Data.AccountID),
              std::tuple(c.total, c.amount, c.quantity, c.fiscal, c.marker))
        << c.keys;
  }

  // An amount or quantity of 10^13 or more skips its receipt; the others go on.
  ReceiptFile limits = Read("limits.json");
  std::vector<std::wstring> names;
  for (const Receipt& r : limits.Receipts) names.push_back(r.Split.Name);
  EXPECT_EQ(names, (std::vector<std::wstring>{L"Huge total", L"Too long to count"}));
  EXPECT_EQ(limits.Skipped,
            (std::vector<SkippedReceipt>{
                {0, "item 2: the sum 10000000000000 is not below 10^13 in size"},
                {1, "item 1: the quantity 10000000000000 is not below 10^13 in size"},
                {3, "the total 10000000000000 is not below 10^13 in size"}}));
}

TEST_F(ReceiptsTest, DamagedFilesAreRefusedAsAWhole) {
  const struct {
    std::string bytes;
    const char* problem;
  } cases[] = {
      {"", "not JSON"},
      {"   ", "not JSON"},
      {R"({"items": [{"sum": NaN}]})", "not JSON"},
      {R"({"items": [{"sum": Infinity}]})", "not JSON"},
      {R"({"items": [{"sum": 1e400}]})", "number overflow"},
      {R"({"items": [{"sum": 1}]} {})", "not JSON"},
      {R"({"items": [{"sum": 1},]})", "not JSON"},
      {"{\"user\": \"a\x01\", \"items\": [{}]}", "not JSON"},  // raw control character
      {R"({"user": "\ud800", "items": [{}]})", "not JSON"},    // lone surrogate
      {"{\"user\": \"\xC0\xAF\", \"items\": [{}]}", "not UTF-8 text (byte 10)"},
      {"{\"user\": \"\xED\xA0\x80\"}", "not UTF-8 text"},
      {"\xEF\xBB\xBF\xEF\xBB\xBF{}", "not JSON"},  // one byte order mark only
      {std::string(65, '[') + std::string(65, ']'), "nested deeper than 64 levels"},
  };
  for (const auto& c : cases) {
    ReceiptFile file;
    EXPECT_EQ(ParseReceipts(c.bytes, file), kReceiptsNotJson) << c.bytes;
    EXPECT_NE(file.Problem.find(c.problem), std::string::npos) << file.Problem;
    EXPECT_TRUE(file.Receipts.empty() && file.Skipped.empty());
  }
  // 64 levels are fine, as is a file with no receipt at all.
  EXPECT_TRUE(Parse(std::string(64, '[') + std::string(64, ']')).Receipts.empty());
  EXPECT_EQ(Parse("\"text\"").Skipped, (std::vector<SkippedReceipt>{{0, "not a JSON object"}}));

  const fs::path dir = fs::temp_directory_path() / ("kestrum-receipts-" + std::to_string(getpid()));
  fs::create_directories(dir);
  ReceiptFile file;
  EXPECT_EQ(ReadReceiptFile((dir / "missing.json").string(), file), kReceiptsCantOpen);
  EXPECT_EQ(file.Problem, "No such file or directory");
  EXPECT_EQ(ReadReceiptFile(dir.string(), file), kReceiptsCantOpen);
  EXPECT_EQ(file.Problem, "Is a directory");
  const std::string big = (dir / "big.json").string();
  std::ofstream(big) << "[]";
  fs::resize_file(big, kMaxReceiptFileSize + 1);
  EXPECT_EQ(ReadReceiptFile(big, file), kReceiptsNotJson);
  EXPECT_EQ(file.Problem, "larger than 64 MiB");
  std::list<TSplit> none;
  EXPECT_EQ(ImportReceipts(big, none), kReceiptsNotJson);
  EXPECT_TRUE(none.empty());
  fs::remove_all(dir);
}

TEST_F(ReceiptsTest, ListsAndItemsStayWithinTheirLimits) {
  std::string many = "[";
  for (size_t i = 0; i < kMaxListedSkips + 5; ++i) many += "0,";
  many += R"({"items": [{}]}])";
  ReceiptFile file = Parse(many);
  EXPECT_EQ(file.Receipts.size(), 1u);
  EXPECT_EQ(file.Receipts[0].Index, kMaxListedSkips + 5);
  EXPECT_EQ(file.Skipped.size(), kMaxListedSkips);
  EXPECT_EQ(file.UnlistedSkips, 5u);

  std::string items = R"([{"items": [)";
  for (size_t i = 0; i < kMaxReceiptItems; ++i) items += "{},";
  items += R"({}]}, {"products": [{}], "items": 0}])";
  file = Parse(items);
  ASSERT_EQ(file.Receipts.size(), 1u);
  EXPECT_EQ(file.Receipts[0].Index, 1u);  // "items" that is no array leaves "products"
  EXPECT_EQ(file.Skipped,
            (std::vector<SkippedReceipt>{{0, "more than 1000000 items in the file"}}));
}

// ---- Storing ----

class StackRegistrar : public UndoRegistrar {
 public:
  void stepOpened(const std::string& name) override { steps.push_back(name); }
  void dropRedo() override {}
  void clear() override { steps.clear(); }
  std::vector<std::string> steps;
};

// A new book with an account "Card"; the update notifications are counted.
class StoreReceiptsTest : public ReceiptsTest {
 protected:
  StoreReceiptsTest() {
    document.setUndoRegistrar(&registrar);
    document.New("en");
    document.Sync([&] {
      TAccount a;
      a.Name = L"Card";
      card = document.database().Accounts().AddAccount(a);
    });
  }
  ReceiptImport Store(const ReceiptFile& file, const std::wstring& category = L"",
                      bool allow_duplicates = false, bool dry_run = false) {
    ReceiptStoreOptions options;
    options.AccountID = card;
    options.CategoryPath = category;
    options.AllowDuplicates = allow_duplicates;
    options.DryRun = dry_run;
    ReceiptImport result;
    std::string problem;
    EXPECT_TRUE(StoreReceipts(document, file, options, result, problem)) << problem;
    return result;
  }
  size_t Count(uint32_t table, uint32_t type) {
    size_t n = 0;
    document.Sync([&] {
      for (const auto& [id, e] : document.database().GetTable(table)) n += e->Header.Type == type;
    });
    return n;
  }

  Document document;
  StackRegistrar registrar;
  ObserverToken updates =
      document.observe(kUpdateDataNotification, [this](Document&) { ++posted; });
  int posted = 0;
  uint64_t card = 0;
};

TEST_F(StoreReceiptsTest, ReceiptsBecomeUnclearedSplitsInOneUndoStep) {
  const size_t splits = Count(0, etSplit), parts = Count(1, etTransaction);
  const size_t categories = Count(0, etCategory);
  ReceiptImport result = Store(Read("layouts.json"), L"Food/Receipts");
  ASSERT_EQ(result.Imported.size(), 4u);
  EXPECT_EQ(result.Skipped.size(), 5u);
  EXPECT_EQ(registrar.steps, std::vector<std::string>{"import"});
  EXPECT_EQ(posted, 1);
  EXPECT_EQ(Count(0, etSplit), splits + 4);
  EXPECT_EQ(Count(1, etTransaction), parts + 4);
  document.Sync([&] {
    Book& book = document.database();
    uint64_t category = 0;
    std::string problem;
    ASSERT_TRUE(
        ResolveCategoryPath(book, kCategoryRoot, L"Food/Receipts", false, category, problem));
    ASSERT_NE(category, 0u);
    const ImportedReceipt& first = result.Imported[0];
    EXPECT_TRUE(first.Electronic);  // no cash sum
    const TSplit stored = book.Splits().GetSplit(first.Split.Header.ID);
    EXPECT_EQ(std::tuple(stored.Name.str(), stored.Data.AccountID, stored.Data.FlagB,
                         stored.Data.Date, stored.Data.Time),
              std::tuple(std::wstring(L"Shop under ticket"), card, uint8_t{0},
                         MakeADate(2019, 2, 5), 66060000u));
    const std::list<TTransaction> items = book.Splits().GetSplitTransactions(stored.Header.ID);
    ASSERT_EQ(items.size(), 1u);
    const TTransaction t = book.Transactions().GetTransaction(items.front().Header.ID);
    EXPECT_EQ(t.Header.ID, first.Split.Transactions.at(0).Header.ID);
    EXPECT_EQ(
        std::tuple(t.Name.str(), t.Data.WithdrawAccountID, t.Data.WithdrawAmount, t.Data.Quantity,
                   t.Data.Cleared, t.Categories.CategoryID, t.Data.Date),
        std::tuple(std::wstring(L"Tea"), card, 50.0, 2.0, int8_t{0}, category, stored.Data.Date));
  });
  // One undo takes the whole file back, the category included.
  document.doUndo("import");
  EXPECT_EQ(Count(0, etSplit), splits);
  EXPECT_EQ(Count(1, etTransaction), parts);
  EXPECT_EQ(Count(0, etCategory), categories);
}

TEST_F(StoreReceiptsTest, DatedDuplicatesAreSkippedUnlessAllowed) {
  // The same dated receipt twice in one file, and an undated one twice.
  ReceiptFile file = Parse(R"([
    {"user": "A", "dateTime": "2019-03-05T18:21", "items": [{"sum": 100}, {"sum": 250}]},
    {"user": "A", "dateTime": "2019-03-05T18:21", "items": [{"sum": 100}, {"sum": 250}]},
    {"user": "A", "dateTime": "2019-03-05T18:21", "items": [{"sum": 100}, {"sum": 251}]},
    {"user": "B", "items": [{"sum": 100}]},
    {"user": "B", "items": [{"sum": 100}]}])");
  ReceiptImport first = Store(file);
  EXPECT_EQ(first.Imported.size(), 4u);
  EXPECT_EQ(first.Skipped, (std::vector<SkippedReceipt>{{1, "already imported"}}));
  // Again: every dated receipt is in the book now; the undated ones are taken again.
  ReceiptImport again = Store(file);
  EXPECT_EQ(again.Imported.size(), 2u);
  EXPECT_EQ(again.Skipped.size(), 3u);
  EXPECT_EQ(Store(file, L"", true).Imported.size(), 5u);
  EXPECT_EQ(registrar.steps.size(), 3u);
}

TEST_F(StoreReceiptsTest, DryRunsAndRefusalsChangeNothing) {
  const size_t splits = Count(0, etSplit), categories = Count(0, etCategory);
  ReceiptImport dry = Store(Read("layouts.json"), L"New/Branch", false, true);
  ASSERT_EQ(dry.Imported.size(), 4u);
  EXPECT_EQ(dry.Imported[0].Split.Header.ID, 0u);
  EXPECT_EQ(dry.Imported[0].Split.Data.AccountID, card);
  EXPECT_TRUE(dry.Imported[0].Electronic);
  // Nothing imported: no undo step, no notification.
  EXPECT_TRUE(Store(Parse("[]")).Imported.empty());

  const struct {
    uint64_t account;
    std::wstring category;
    bool read_only;
    const char* problem;
  } refusals[] = {
      {999999, L"", false, "no account 999999"},
      {card, L"Food//Tea", false, "empty name in the path 'Food//Tea'"},
      {card, L"", true, "the book is read-only"},
  };
  for (const auto& r : refusals) {
    document.Sync([&] { document.database().ReadOnly = r.read_only; });
    ReceiptStoreOptions options;
    options.AccountID = r.account;
    options.CategoryPath = r.category;
    ReceiptImport result;
    std::string problem;
    EXPECT_FALSE(StoreReceipts(document, Read("single.json"), options, result, problem));
    EXPECT_EQ(problem, r.problem);
  }
  EXPECT_EQ(Count(0, etSplit), splits);
  EXPECT_EQ(Count(0, etCategory), categories);
  EXPECT_TRUE(registrar.steps.empty());
  EXPECT_EQ(posted, 0);
}

}  // namespace
}  // namespace vemra::import
