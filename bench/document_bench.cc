// The document's costs beside their baselines, in one process and one run:
// - opening a book through Document::readFile beside DataBase::OpenFile (what `kestrum-cli
//   check` does);
// - one edit to its part file renamed into place beside writing, syncing and renaming a file
//   of the same size in the same folder;
// - a backup refresh: the time the queue is held (serialising the records) and the time the
//   writer thread takes (compressing, writing, syncing, renaming).
// Usage: document_bench [TRANSACTIONS] [RUNS]  (defaults 1000000 and 7); medians in ms.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "bench/bench_books.h"
#include "core/streams/atomic_file.h"
#include "core/streams/output_stream.h"
#include "document/document.h"
#include "platform/log.h"

namespace {

using Clock = std::chrono::steady_clock;

double Ms(Clock::duration d) {
  return std::chrono::duration<double, std::milli>(d).count();
}

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

double Time(const std::function<void()>& f) {
  auto start = Clock::now();
  f();
  return Ms(Clock::now() - start);
}

}  // namespace

int main(int argc, char** argv) {
  using namespace vemra;
  const uint64_t transactions = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1000000;
  const int runs = argc > 2 ? std::atoi(argv[2]) : 7;
  platform::SetLogOutput(nullptr);
  const std::string source = bench::BookPath(transactions);
  const std::string work = std::filesystem::temp_directory_path() / "kestrum-document-bench";
  std::filesystem::remove_all(work);
  std::filesystem::create_directories(work);
  ::setenv("XDG_CACHE_HOME", (work + "/cache").c_str(), 1);
  const std::string book = work + "/book.kestrum";
  std::filesystem::copy_file(source, book);

  // Open: alternating, so that both see the same page cache and machine load.
  std::vector<double> through_document, plain_open;
  for (int i = 0; i < runs; ++i) {
    plain_open.push_back(Time([&] {
      DataBase db;
      if (db.OpenFile(book) != kResultOK) std::abort();
    }));
    through_document.push_back(Time([&] {
      Document d;
      if (d.readFile(book) != kResultOK) std::abort();
    }));
  }
  std::printf("open: Document::readFile %.1f ms, DataBase::OpenFile %.1f ms, ratio %.2f\n",
              Median(through_document), Median(plain_open),
              Median(through_document) / Median(plain_open));

  // One edit to its part file in place, beside a plain write of the same size.
  Document d;
  if (d.readFile(book) != kResultOK) std::abort();
  d.setCurrentUser(0);
  uint64_t account = 0;
  d.Sync([&] { account = d.database().UserSettings.DefaultAccountID; });
  d.writeAutosyncData();  // the first journal write makes the backup copy; not measured
  d.flushJournal();
  std::vector<double> edit, baseline;
  for (int i = 0; i < runs; ++i) {
    edit.push_back(Time([&] {
      d.initUndo(2);
      d.Sync([&] {
        TTransaction t;
        t.Data.Date = TodayADate();
        t.Data.Cleared = 1;
        t.Data.WithdrawAccountID = account;
        t.Data.WithdrawAmount = 1 + i;
        d.database().Transactions().AddTransaction(t, TSchedule());
      });
      d.writeAutosyncData();
      d.flushJournal();
    }));
    const std::string newest = d.cacheFiles().front();
    const auto size = std::filesystem::file_size(newest);
    std::vector<uint8_t> bytes(size, 0x5A);
    const std::string plain = d.cacheFolder() + "/plain." + std::to_string(i);
    baseline.push_back(Time([&] {
      WriteNewFile(plain, plain + ".tmp", [&](IOutputStream& out) {
        return out.Write(bytes.data(), bytes.size()) == bytes.size();
      });
    }));
    std::filesystem::remove(plain);
  }
  std::printf("edit to part file: %.2f ms, same-size write+fsync+rename %.2f ms, ratio %.2f\n",
              Median(edit), Median(baseline), Median(edit) / Median(baseline));

  // A backup refresh: the queue serialises while the writer compresses and writes.
  std::vector<double> queue_held, total;
  for (int i = 0; i < runs; ++i) {
    auto start = Clock::now();
    d.refreshBackup();
    d.queue().Drain();
    queue_held.push_back(Ms(Clock::now() - start));
    d.flushJournal();
    total.push_back(Ms(Clock::now() - start));
  }
  std::printf(
      "backup refresh: queue held %.1f ms (serialising the records, the writer compressing "
      "alongside), %.1f ms until the copy is in place\n",
      Median(queue_held), Median(total));
  d.Close();
  std::filesystem::remove_all(work);
  return 0;
}
