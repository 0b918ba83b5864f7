// Benchmarks of the database engine on generated books of 10 thousand, 100 thousand and one
// million transactions. Open and save run next to their zlib baselines in the same process, so
// that the ratios in bench/README.md compare like with like.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_books.h"
#include "collections/book.h"
#include "core/database/database.h"
#include "core/records/transaction.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "lists/account_list.h"
#include "lists/suggestions.h"
#include "lists/transaction_list.h"
#include "platform/log.h"
#include "platform/unicode.h"

namespace vemra::bench {
namespace {

constexpr size_t kChunk = 1 << 16;

// Counts the bytes written and drops them.
class NullOutputStream : public IOutputStream {
 public:
  size_t Write(const void*, size_t n) override {
    size_ += n;
    return n;
  }
  int64_t Tell() override { return static_cast<int64_t>(size_); }
  bool Seek(int64_t) override { return false; }

 private:
  uint64_t size_ = 0;
};

// zlib alone inflating the record area of the book at `path` from the file, in the chunks an
// open reads; the output is appended to `keep` when given, else dropped.
void InflateRecordArea(const std::string& path, std::vector<uint8_t>* keep) {
  static std::vector<uint8_t> in(kChunk);
  static std::vector<uint8_t> out(1 << 18);
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return;
  std::fseek(f, 1024, SEEK_SET);
  z_stream zs{};
  inflateInit(&zs);
  int rc = Z_OK;
  while (rc == Z_OK || rc == Z_BUF_ERROR) {
    if (zs.avail_in == 0) {
      zs.avail_in = static_cast<uInt>(std::fread(in.data(), 1, in.size(), f));
      zs.next_in = in.data();
      if (zs.avail_in == 0) break;
    }
    zs.next_out = out.data();
    zs.avail_out = static_cast<uInt>(out.size());
    rc = inflate(&zs, Z_NO_FLUSH);
    if (keep != nullptr) keep->insert(keep->end(), out.data(), zs.next_out);
  }
  inflateEnd(&zs);
  std::fclose(f);
}

// The record area of a book, decompressed: the record stream a save serialises.
const std::vector<uint8_t>& RecordStream(int64_t n) {
  static std::map<int64_t, std::vector<uint8_t>> cache;
  std::vector<uint8_t>& out = cache[n];
  if (out.empty()) InflateRecordArea(BookPath(static_cast<uint64_t>(n)), &out);
  return out;
}

// One open book per size, shared by the benchmarks that only read.
Book& OpenBook(int64_t n) {
  static std::map<int64_t, std::unique_ptr<Book>> books;
  std::unique_ptr<Book>& db = books[n];
  if (!db) {
    db = std::make_unique<Book>();
    db->OpenFile(BookPath(static_cast<uint64_t>(n)));
    db->SetCurrentUser(0);
  }
  return *db;
}

void Sizes(benchmark::internal::Benchmark* b) {
  b->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
}

// Baseline of Open: zlib alone inflating the book's record area from the file, output dropped.
void BM_InflateRecordArea(benchmark::State& state) {
  std::string path = BookPath(static_cast<uint64_t>(state.range(0)));
  for (auto _ : state) InflateRecordArea(path, nullptr);
}
BENCHMARK(BM_InflateRecordArea)->Apply(Sizes);

void BM_Open(benchmark::State& state) {
  std::string path = BookPath(static_cast<uint64_t>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    auto db = std::make_unique<DataBase>();
    state.ResumeTiming();
    if (db->OpenFile(path) != 0) state.SkipWithError("open failed");
    state.PauseTiming();
    db.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(BM_Open)->Apply(Sizes);

// Baseline of Save: zlib alone deflating (level 1) the record stream a save writes.
void BM_DeflateRecordStream(benchmark::State& state) {
  const std::vector<uint8_t>& stream = RecordStream(state.range(0));
  std::vector<uint8_t> out(1 << 18);
  for (auto _ : state) {
    z_stream zs{};
    deflateInit(&zs, 1);
    size_t at = 0;
    int rc = Z_OK;
    while (rc != Z_STREAM_END) {
      if (zs.avail_in == 0 && at < stream.size()) {
        size_t n = std::min(stream.size() - at, size_t{1} << 18);
        zs.next_in = const_cast<uint8_t*>(stream.data() + at);
        zs.avail_in = static_cast<uInt>(n);
        at += n;
      }
      zs.next_out = out.data();
      zs.avail_out = static_cast<uInt>(out.size());
      rc = deflate(&zs, at == stream.size() ? Z_FINISH : Z_NO_FLUSH);
    }
    deflateEnd(&zs);
  }
  state.counters["stream_MB"] = static_cast<double>(stream.size()) / 1e6;
}
BENCHMARK(BM_DeflateRecordStream)->Apply(Sizes);

void BM_Save(benchmark::State& state) {
  Book& db = OpenBook(state.range(0));
  for (auto _ : state) {
    NullOutputStream out;
    if (db.Save(out) != 0) state.SkipWithError("save failed");
  }
}
BENCHMARK(BM_Save)->Apply(Sizes);

// Save to a real file: temporary file, fsync, rename.
void BM_SaveFile(benchmark::State& state) {
  Book& db = OpenBook(state.range(0));
  std::string path = BookPath(static_cast<uint64_t>(state.range(0))) + ".saved";
  for (auto _ : state) {
    if (db.SaveFile(path) != 0) state.SkipWithError("save failed");
  }
  std::filesystem::remove(path);
}
BENCHMARK(BM_SaveFile)->Apply(Sizes);

void BM_MergeFullCopy(benchmark::State& state) {
  std::string path = BookPath(static_cast<uint64_t>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    auto db = std::make_unique<DataBase>();
    db->OpenFile(path);
    db->SetCurrentUser(0);
    state.ResumeTiming();
    if (db->MergeFilePath(path) != 0) state.SkipWithError("merge failed");
    state.PauseTiming();
    db.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(BM_MergeFullCopy)->Apply(Sizes);

// 100 part files of one copy of the book, each with ten edited and one new transaction.
std::vector<std::string> PartFiles(int64_t n) {
  static std::map<int64_t, std::vector<std::string>> cache;
  std::vector<std::string>& parts = cache[n];
  if (!parts.empty()) return parts;
  std::string book = BookPath(static_cast<uint64_t>(n));
  DataBase db;
  db.OpenFile(book);
  db.SetCurrentUser(0);
  std::vector<uint64_t> ids;
  for (const auto& [id, e] : db.GetTable(1)) ids.push_back(id);
  for (int p = 0; p < 100; ++p) {
    for (int k = 0; k < 10; ++k) {
      uint64_t id =
          ids[(static_cast<size_t>(p) * 7919 + static_cast<size_t>(k) * 104729) % ids.size()];
      std::unique_ptr<TBaseEntry> e = db.GetEntry(id, 1);
      static_cast<TTransaction&>(*e).Data.WithdrawAmount += 1;
      db.StoreEntry(std::move(e));
    }
    auto t = std::make_unique<TTransaction>();
    t->Data.WithdrawAccountID =
        static_cast<const TTransaction&>(*db.FindEntry(ids[0], 1)).Data.WithdrawAccountID;
    t->Data.WithdrawAmount = 10;
    db.StoreEntry(std::move(t));
    std::string path = book + ".part" + std::to_string(p);
    db.WritePart(path);
    parts.push_back(path);
  }
  return parts;
}

void BM_Apply100Parts(benchmark::State& state) {
  std::string path = BookPath(static_cast<uint64_t>(state.range(0)));
  std::vector<std::string> parts = PartFiles(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    auto db = std::make_unique<DataBase>();
    db->OpenFile(path);
    db->SetCurrentUser(0);
    state.ResumeTiming();
    for (const std::string& part : parts) {
      if (db->ReadPart(part) != 0) state.SkipWithError("part failed");
    }
    state.PauseTiming();
    db.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(BM_Apply100Parts)->Apply(Sizes);

void QueryPeriod(benchmark::State& state, int days) {
  Book& db = OpenBook(state.range(0));
  TTransactionFilter filter;
  filter.End = TodayADate();
  filter.Begin = days > 0 ? ADate(filter.End.Val - days + 1) : ADate(0);
  std::vector<TTransaction> out;
  for (auto _ : state) {
    out.clear();
    benchmark::DoNotOptimize(db.QueryTransactions(out, filter));
  }
  state.counters["rows"] = static_cast<double>(out.size());
}

void BM_QueryMonth(benchmark::State& state) {
  QueryPeriod(state, 30);
}
BENCHMARK(BM_QueryMonth)->Apply(Sizes);

void BM_QueryAllTime(benchmark::State& state) {
  QueryPeriod(state, 0);
}
BENCHMARK(BM_QueryAllTime)->Apply(Sizes);

// The schedule processing a view runs for a year ahead (ghosts only; nothing is due twice).
void BM_ProcessSchedules(benchmark::State& state) {
  Book& db = OpenBook(state.range(0));
  std::vector<TTransaction> ghosts;
  for (auto _ : state) {
    ghosts.clear();
    db.ProcessSchedules(ADate(TodayADate().Val + 365), ghosts);
  }
  state.counters["ghosts"] = static_cast<double>(ghosts.size());
}
BENCHMARK(BM_ProcessSchedules)->Apply(Sizes);

// --- Collections: what the account list and the transaction list ask for on every update ---

void BM_AccountsTree(benchmark::State& state) {
  Book& db = OpenBook(state.range(0));
  size_t nodes = 0;
  for (auto _ : state) nodes = db.Accounts().GetAccountsTree().size();
  state.counters["nodes"] = static_cast<double>(nodes);
}
BENCHMARK(BM_AccountsTree)->Apply(Sizes);

// The book of `transactions` transactions with the current calendar month as its period.
Book& MonthBook(int64_t transactions) {
  Book& db = OpenBook(transactions);
  const ADate today = TodayADate();
  const int32_t y = YearOf(today), m = MonthOf(today);
  db.Period = TimeInterval(MakeADate(y, m, 1), MakeADate(y, m, DaysInMonth(y, m)));
  return db;
}

// The transaction tree of the current calendar month, all accounts, in the default currency.
void TransactionsTreeMonth(benchmark::State& state, bool by_days, int group_by) {
  Book& db = MonthBook(state.range(0));
  const uint64_t currency = db.Currencies().GetDefaultCurrencyID();
  size_t rows = 0;
  for (auto _ : state) {
    NodeList tree = db.Transactions().GetTransactionsTree(by_days, group_by, currency, {});
    rows = tree.size();
  }
  state.counters["top_nodes"] = static_cast<double>(rows);
}

void BM_TransactionsTreeMonthByDate(benchmark::State& state) {
  TransactionsTreeMonth(state, true, GroupBy::None);
}
BENCHMARK(BM_TransactionsTreeMonthByDate)->Apply(Sizes);

void BM_TransactionsTreeMonthByCategory(benchmark::State& state) {
  TransactionsTreeMonth(state, false, GroupBy::Category);
}
BENCHMARK(BM_TransactionsTreeMonthByCategory)->Apply(Sizes);

// Stores transaction `id` again with `amount` withdrawn: one edit as a view makes it.
void StoreNewAmount(Book& db, uint64_t id, double amount) {
  auto e = db.GetEntry(id, 1);
  static_cast<TTransaction&>(*e).Data.WithdrawAmount = amount;
  db.StoreEntry(std::move(e));
}

// One stored edit (a recent transaction's amount) and the two trees a view then asks again.
void BM_EditThenRefresh(benchmark::State& state) {
  Book& db = MonthBook(state.range(0));
  const uint64_t currency = db.Currencies().GetDefaultCurrencyID();
  const uint64_t id = db.GetTable(1).rbegin()->first;
  double amount = 1;
  for (auto _ : state) {
    StoreNewAmount(db, id, amount);
    amount += 0.01;
    benchmark::DoNotOptimize(db.Accounts().GetAccountsTree());
    benchmark::DoNotOptimize(
        db.Transactions().GetTransactionsTree(true, GroupBy::None, currency, {}));
  }
}
BENCHMARK(BM_EditThenRefresh)->Apply(Sizes);

// The month list as the views get it: the list rows built from the tree, filtered (no text)
// and sorted by date; beside BM_TransactionsTreeMonth*, which build the core tree alone.
void MonthList(benchmark::State& state, bool by_days, int group_by) {
  Book& db = MonthBook(state.range(0));
  const std::vector<lists::SortKey> by_date = {{"date", true}};
  size_t rows = 0;
  for (auto _ : state) {
    std::shared_ptr<lists::Node> root =
        lists::TransactionList::BuildRoot(db, by_days, group_by, 0, {});
    lists::FilterNodes(*root, L"");
    lists::TransactionList::SortTree(*root, by_date, by_days);
    rows = root->FilteredNodes.size();
  }
  state.counters["top_rows"] = static_cast<double>(rows);
}

void BM_MonthListByDate(benchmark::State& state) {
  MonthList(state, true, GroupBy::Split);
}
BENCHMARK(BM_MonthListByDate)->Apply(Sizes);

void BM_MonthListByCategory(benchmark::State& state) {
  MonthList(state, false, GroupBy::Category);
}
BENCHMARK(BM_MonthListByCategory)->Apply(Sizes);

// One stored edit, then the account list and the month list rebuilt as the views rebuild them.
void BM_EditThenLists(benchmark::State& state) {
  Book& db = MonthBook(state.range(0));
  const uint64_t id = db.GetTable(1).rbegin()->first;
  const std::vector<lists::SortKey> by_date = {{"date", true}};
  double amount = 1;
  for (auto _ : state) {
    StoreNewAmount(db, id, amount);
    amount += 0.01;
    benchmark::DoNotOptimize(lists::AccountList::BuildRows(db));
    std::shared_ptr<lists::Node> root =
        lists::TransactionList::BuildRoot(db, true, GroupBy::Split, 0, {});
    lists::FilterNodes(*root, L"");
    lists::TransactionList::SortTree(*root, by_date, true);
    benchmark::DoNotOptimize(root);
  }
}
BENCHMARK(BM_EditThenLists)->Apply(Sizes);

void BM_Descriptions(benchmark::State& state) {
  Book& db = OpenBook(state.range(0));
  size_t count = 0;
  for (auto _ : state) count = db.Transactions().GetDescriptions().size();
  state.counters["descriptions"] = static_cast<double>(count);
}
BENCHMARK(BM_Descriptions)->Apply(Sizes);

// One keystroke in the description field: the loaded candidates ranked for "co" (prefix, word
// and category buckets, folded, sorted), beside a plain prefix scan of the same names.
const std::vector<lists::Suggestion>& Candidates(int64_t transactions) {
  static std::map<int64_t, std::vector<lists::Suggestion>> loaded;
  auto& candidates = loaded[transactions];
  if (candidates.empty()) candidates = lists::DescriptionCandidates(OpenBook(transactions));
  return candidates;
}

void BM_SuggestKeystroke(benchmark::State& state) {
  const std::vector<lists::Suggestion>& candidates = Candidates(state.range(0));
  size_t shown = 0;
  for (auto _ : state) shown = lists::RankSuggestions(candidates, L"co", -1).size();
  state.counters["candidates"] = static_cast<double>(candidates.size());
  state.counters["shown"] = static_cast<double>(shown);
}
BENCHMARK(BM_SuggestKeystroke)->Apply(Sizes);

void BM_SuggestPrefixScan(benchmark::State& state) {
  const std::vector<lists::Suggestion>& candidates = Candidates(state.range(0));
  size_t shown = 0;
  for (auto _ : state) {
    shown = 0;
    for (const lists::Suggestion& s : candidates) shown += s.entryName.rfind(L"Co", 0) == 0;
    benchmark::DoNotOptimize(shown);
  }
  state.counters["shown"] = static_cast<double>(shown);
}
BENCHMARK(BM_SuggestPrefixScan)->Apply(Sizes);

// The same over 100,000 distinct made-up descriptions, for a book typed in for decades.
std::vector<lists::Suggestion> MadeUpCandidates() {
  static const wchar_t* kWords[] = {L"Coffee", L"corner", L"shop", L"Bread", L"bakery",
                                    L"Кофе",   L"market", L"cola", L"train", L"ticket"};
  std::vector<lists::Suggestion> out;
  for (int i = 0; i < 100000; ++i) {
    lists::Suggestion s;
    s.Type = i % 3;
    s.entryName =
        std::wstring(kWords[i % 10]) + L" " + kWords[(i / 10) % 10] + L" " + std::to_wstring(i);
    s.words = {kWords[i % 10], kWords[(i / 10) % 10], std::to_wstring(i)};
    s.categoryName = kWords[(i / 100) % 10];
    s.foldedName = FoldCase(s.entryName);
    for (const auto& w : s.words) s.foldedWords.push_back(FoldCase(w));
    s.foldedCategory = FoldCase(s.categoryName);
    out.push_back(std::move(s));
  }
  lists::SortCandidates(out);
  return out;
}

void BM_SuggestKeystroke100k(benchmark::State& state) {
  static const std::vector<lists::Suggestion> candidates = MadeUpCandidates();
  static const lists::SuggestionIndex index(candidates);
  size_t shown = 0;
  for (auto _ : state) shown = index.Rank(L"co", -1).size();
  state.counters["shown"] = static_cast<double>(shown);
}
BENCHMARK(BM_SuggestKeystroke100k);

void BM_SuggestPrefixScan100k(benchmark::State& state) {
  static const std::vector<lists::Suggestion> candidates = MadeUpCandidates();
  size_t shown = 0;
  for (auto _ : state) {
    shown = 0;
    for (const lists::Suggestion& s : candidates) shown += s.entryName.rfind(L"Co", 0) == 0;
    benchmark::DoNotOptimize(shown);
  }
  state.counters["shown"] = static_cast<double>(shown);
}
BENCHMARK(BM_SuggestPrefixScan100k);

}  // namespace
}  // namespace vemra::bench

int main(int argc, char** argv) {
  vemra::platform::SetLogOutput(nullptr);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
