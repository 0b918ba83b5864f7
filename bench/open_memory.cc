// Opens a book and reports the process's peak resident memory against the size of the book's
// uncompressed record stream: kestrum-open-memory [TRANSACTIONS] (default one million).
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "bench/bench_books.h"
#include "core/database/database.h"
#include "core/streams/input_stream.h"
#include "core/streams/zlib_streams.h"
#include "platform/log.h"

int main(int argc, char** argv) {
  vemra::platform::SetLogOutput(nullptr);
  uint64_t n = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1'000'000;
  std::string path = vemra::bench::BookPath(n);
  if (vemra::bench::PeakResidentBytes() > 64u << 20) {
    // Generating the book raised the peak: measure in a fresh process.
    std::string again = std::string(argv[0]) + " " + std::to_string(n);
    return std::system(again.c_str()) == 0 ? 0 : 1;
  }
  uint64_t before = vemra::bench::ResidentBytes();
  {
    vemra::DataBase db;
    if (db.OpenFile(path) != 0) {
      std::fprintf(stderr, "cannot open %s\n", path.c_str());
      return 1;
    }
    uint64_t open_rss = vemra::bench::ResidentBytes();
    uint64_t peak = vemra::bench::PeakResidentBytes();
    // The first refresh of a view builds the transaction index.
    db.SetCurrentUser(0);
    std::map<uint64_t, double> sums{{1, 0.0}};
    db.AddBalanceSums(sums, vemra::TodayADate());
    uint64_t indexed_rss = vemra::bench::ResidentBytes();
    // The record stream size, counted after the peak was taken.
    vemra::InputStream file;
    file.OpenFile(path);
    file.Seek(1024);
    vemra::InflateInputStream records(file);
    static char buf[1 << 16];
    uint64_t stream = 0;
    for (size_t got; (got = records.Read(buf, sizeof buf)) > 0;) stream += got;
    std::printf("book            %s\n", path.c_str());
    std::printf("record stream   %.1f MB\n", static_cast<double>(stream) / 1e6);
    std::printf("RSS before open %.1f MB\n", static_cast<double>(before) / 1e6);
    std::printf("RSS open        %.1f MB\n", static_cast<double>(open_rss) / 1e6);
    std::printf("peak RSS        %.1f MB  (%.2f x the record stream)\n",
                static_cast<double>(peak) / 1e6,
                static_cast<double>(peak) / static_cast<double>(stream));
    std::printf("RSS indexed     %.1f MB  (%.2f x, after the first balance query)\n",
                static_cast<double>(indexed_rss) / 1e6,
                static_cast<double>(indexed_rss) / static_cast<double>(stream));
  }
  return 0;
}
