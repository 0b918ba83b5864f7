// Receipt import on a generated export of 10,000 receipts (about 20 MiB, 4 to 11 items each, in
// the "ticket" / "document" / "receipt" layout with every key a real export carries):
// - ReadReceipts: reading and parsing the file into splits;
// - ImportReceipts: what `kestrum-cli import-receipt` does after opening a new book: read, store
//   as one undo step, save the book and write its journal.
// Usage: receipts_bench [Google Benchmark flags]; receipts_bench --write PATH only writes the
// export (for timing the command as a whole process).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "document/document.h"
#include "import/receipts.h"
#include "platform/log.h"

namespace vemra::bench {
namespace {

constexpr int kReceipts = 10000;

// Deterministic pseudo-random numbers, so that every run reads the same file.
struct Random {
  uint64_t state = 20261124;
  uint32_t Next(uint32_t bound) {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<uint32_t>(state >> 33) % bound;
  }
};

constexpr const char* kGoods[] = {"Молоко пастеризованное 3,2% 930 мл",
                                  "Хлеб ржаной нарезной 350 г",
                                  "Сыр полутвёрдый Российский 45% весовой",
                                  "Яблоки Гренни Смит 1 кг",
                                  "Кофе молотый арабика 250 г",
                                  "Пакет-майка ПНД 30х55 см",
                                  "Вода питьевая негазированная 1,5 л",
                                  "Шоколад молочный с орехами 90 г"};

std::string Export(Random& rng) {
  std::string out = "[\n";
  char buffer[1024];
  for (int r = 0; r < kReceipts; ++r) {
    const int items = 4 + static_cast<int>(rng.Next(8));
    std::string list;
    long total = 0;
    for (int i = 0; i < items; ++i) {
      const long price = 1000 + rng.Next(90000);
      const int quantity = 1 + static_cast<int>(rng.Next(3));
      total += price * quantity;
      std::snprintf(buffer, sizeof buffer,
                    "%s{\"name\":\"%s\",\"price\":%ld,\"quantity\":%d,\"sum\":%ld,\"nds\":1,"
                    "\"ndsSum\":%ld,\"paymentType\":4,\"properties\":{\"barcode\":"
                    "\"46%011u\"}}",
                    i == 0 ? "" : ",", kGoods[rng.Next(8)], price, quantity, price * quantity,
                    price * quantity / 6, rng.Next(1000000000));
      list += buffer;
    }
    const bool cash = rng.Next(3) == 0;
    std::snprintf(
        buffer, sizeof buffer,
        "{\"_id\":\"5c7e%020u\",\"createdAt\":\"2019-03-%02dT18:22:10+00:00\",\"ticket\":{"
        "\"document\":{\"receipt\":{\"cashTotalSum\":%ld,\"code\":3,\"creditSum\":0,"
        "\"dateTime\":\"2019-03-%02dT%02u:%02u:00\",\"ecashTotalSum\":%ld,"
        "\"fiscalDocumentFormatVer\":2,\"fiscalDocumentNumber\":%u,\"fiscalDriveNumber\":"
        "\"92890001000%05u\",\"fiscalSign\":%u,\"fnsUrl\":\"www.nalog.ru\",\"kktRegId\":"
        "\"000123456%07u\",\"nds18\":%ld,\"operationType\":1,\"operator\":\"Кассир Иванова А.\","
        "\"prepaidSum\":0,\"provisionSum\":0,\"requestNumber\":%u,\"retailPlaceAddress\":"
        "\"г. Москва, ул. Садовая-Кудринская, д. %u, стр. 1\",\"shiftNumber\":%u,"
        "\"taxationType\":1,\"totalSum\":%ld,\"user\":\"ООО \\\"Торговый дом №%u\\\"\","
        "\"userInn\":\"77%08u\",\"items\":[",
        rng.Next(1000000000), 1 + r % 28, cash ? total : 0, 1 + r % 28, rng.Next(24), rng.Next(60),
        cash ? 0 : total, rng.Next(200000), rng.Next(100000), rng.Next(1000000000),
        rng.Next(10000000), total / 6, rng.Next(1000), 1 + rng.Next(200), rng.Next(400), total,
        rng.Next(50), rng.Next(100000000));
    out += buffer;
    out += list;
    out += "]}}}}";
    out += r + 1 < kReceipts ? ",\n" : "\n";
  }
  out += "]\n";
  return out;
}

std::filesystem::path Work() {
  static const std::filesystem::path work = [] {
    std::filesystem::path dir = std::filesystem::temp_directory_path() / "kestrum-receipts-bench";
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    ::setenv("XDG_CACHE_HOME", (dir / "cache").c_str(), 1);
    Random rng;
    std::ofstream(dir / "receipts.json", std::ios::binary) << Export(rng);
    return dir;
  }();
  return work;
}

void ReadReceipts(benchmark::State& state) {
  const std::string path = Work() / "receipts.json";
  size_t receipts = 0, items = 0;
  for (auto _ : state) {
    import::ReceiptFile file;
    if (import::ReadReceiptFile(path, file) != import::kReceiptsRead) std::abort();
    receipts = file.Receipts.size();
    items = 0;
    for (const import::Receipt& r : file.Receipts) items += r.Split.Transactions.size();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(std::filesystem::file_size(path)));
  state.counters["receipts"] = static_cast<double>(receipts);
  state.counters["items"] = static_cast<double>(items);
}
BENCHMARK(ReadReceipts)->Unit(benchmark::kMillisecond)->UseRealTime();

void ImportReceipts(benchmark::State& state) {
  const std::string path = Work() / "receipts.json";
  const std::string book = Work() / "book.kestrum";
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove(book);
    auto d = std::make_unique<Document>();
    d->New("ru");
    if (!d->saveToFile(book).ok()) std::abort();
    d->flushJournal();
    import::ReceiptStoreOptions options;
    d->Sync([&] { options.AccountID = d->database().Accounts().GetDefaultAccountID(); });
    state.ResumeTiming();

    import::ReceiptFile file;
    if (import::ReadReceiptFile(path, file) != import::kReceiptsRead) std::abort();
    import::ReceiptImport result;
    std::string problem;
    if (!import::StoreReceipts(*d, file, options, result, problem)) std::abort();
    if (result.Imported.size() != static_cast<size_t>(kReceipts)) std::abort();
    if (!d->saveToFile().ok()) std::abort();
    d->writeAutosyncData();
    d->flushJournal();

    state.PauseTiming();
    d.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(ImportReceipts)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace vemra::bench

int main(int argc, char** argv) {
  vemra::platform::SetLogOutput(nullptr);
  if (argc == 3 && std::strcmp(argv[1], "--write") == 0) {
    vemra::bench::Random rng;
    std::ofstream(argv[2], std::ios::binary) << vemra::bench::Export(rng);
    return 0;
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  std::filesystem::remove_all(vemra::bench::Work());
  return 0;
}
