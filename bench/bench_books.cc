#include "bench/bench_books.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "core/database/database.h"
#include "generator/generator.h"
#include "platform/log.h"

namespace vemra::bench {
namespace {

uint64_t StatusField(const char* name) {
  std::ifstream status("/proc/self/status");
  std::string key;
  while (status >> key) {
    if (key == name) {
      uint64_t kib = 0;
      status >> kib;
      return kib * 1024;
    }
    status.ignore(1 << 12, '\n');
  }
  return 0;
}

}  // namespace

std::string BookPath(uint64_t transactions) {
  const char* env = std::getenv("KESTRUM_BENCH_DIR");
  std::filesystem::path dir = env != nullptr ? env : "/tmp/kestrum-bench";
  std::filesystem::create_directories(dir);
  std::filesystem::path path = dir / ("book-" + std::to_string(transactions) + ".kestrum");
  if (!std::filesystem::exists(path)) {
    platform::SetLogOutput(nullptr);
    std::fprintf(stderr, "generating %s ...\n", path.c_str());
    DataBase db;
    GenerateBook(db, transactions, 1);
    if (db.SaveFile(path.string()) != 0) {
      std::fprintf(stderr, "cannot write %s\n", path.c_str());
      std::exit(1);
    }
  }
  return path.string();
}

uint64_t PeakResidentBytes() {
  return StatusField("VmHWM:");
}

uint64_t ResidentBytes() {
  return StatusField("VmRSS:");
}

}  // namespace vemra::bench
