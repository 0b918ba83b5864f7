// Fuzzes opening a database file and merging it into a book: any bytes give a result code, never
// a crash or a hang; a file that opens saves and opens again with the same records; a merge that
// fails leaves the book exactly as it was. The first input byte picks how
// the rest is used: as a whole file, as the record stream of an uncompressed file behind a valid
// head, as the record stream of a current, compressed file, or as a recipe of records with
// known type codes, few IDs and random bodies, so that random inputs reach the merge rules.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "core/database/database.h"
#include "core/streams/compress.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "core/streams/testing/stream_bytes.h"
#include "platform/log.h"

namespace {

using vemra::testing::Bytes;
using vemra::testing::Deflate;

Bytes ValidHead(uint32_t version) {
  Bytes b(1024, 0);
  b[1] = 4;  // 1024
  b[4] = static_cast<uint8_t>(version);
  b[5] = static_cast<uint8_t>(version >> 8);
  const char sig[] = "Vemra DBE";
  for (size_t i = 0; i < 9; ++i) b[8 + i] = static_cast<uint8_t>(sig[i]);
  return b;
}

// Each recipe step takes 4 bytes (type choice, ID, stamp, body size) and then the body.
Bytes Recipe(const uint8_t* data, size_t size) {
  static const uint32_t kTypes[] = {0,   1,   10,  100, 101, 102, 103, 104, 105, 106,
                                    107, 108, 109, 110, 111, 200, 201, 202, 203, 999};
  Bytes out;
  auto put = [&](uint64_t v, int n) {
    for (int i = 0; i < n; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
  };
  size_t p = 0;
  while (p + 4 <= size) {
    uint32_t type = kTypes[data[p] % (sizeof kTypes / sizeof kTypes[0])];
    uint32_t secondary = data[p] / 20 % 3;
    if (type == 1) secondary = kTypes[data[p + 1] % 20];
    size_t body = data[p + 3];
    put(data[p + 1] % 8 + 1, 8);  // ID
    put(data[p + 2] % 4, 8);      // stamp
    put(0, 8);
    put(type, 4);
    put(secondary, 4);
    put(body, 4);
    put(0, 4);
    p += 4;
    for (size_t i = 0; i < body && p < size; ++i) out.push_back(data[p++]);
  }
  return out;
}

int Open(vemra::DataBase& db, const Bytes& file) {
  return db.Open(*vemra::testing::MemoryInput(file));
}

// A small book whose records share IDs 1..8 with the recipe's, so that merges meet held records
// and markers; its DatabaseID is the 0 of the valid heads above.
const Bytes& SmallBook() {
  static const Bytes book = [] {
    Bytes b = ValidHead(440);
    Bytes records;
    for (uint64_t id = 1; id <= 8; ++id) {
      uint8_t head[40] = {};
      head[0] = static_cast<uint8_t>(id);
      head[8] = 2;                       // stamp
      head[24] = id % 3 == 0 ? 1 : 104;  // a marker of a rate, or a rate
      head[28] = id % 3 == 0 ? 104 : 0;  // the marker's type, or the rate's layout
      head[32] = id % 3 == 0 ? 0 : 32;   // body size
      records.insert(records.end(), head, head + 40);
      if (id % 3 != 0) records.insert(records.end(), 32, static_cast<uint8_t>(id));
    }
    Bytes packed = Deflate(records);
    b.insert(b.end(), packed.begin(), packed.end());
    return b;
  }();
  return book;
}

// (table, ID, stamp) of every record and (ID, stamp) of every marker, to tell a changed book.
std::vector<uint64_t> Fingerprint(vemra::DataBase& db) {
  std::vector<uint64_t> out;
  for (uint32_t t = 0; t < vemra::kTableCount; ++t) {
    for (const auto& [id, e] : db.GetTable(t))
      out.insert(out.end(), {t, id, e->Header.LastModDate});
  }
  for (const auto& [id, m] : db.DeletedHeaders()) out.insert(out.end(), {id, m.LastModDate});
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  vemra::platform::SetLogOutput(nullptr);
  Bytes file;
  switch (data[0] % 4) {
    case 0:
      file.assign(data + 1, data + size);
      break;
    case 1:
      file = ValidHead(400);
      file.insert(file.end(), data + 1, data + size);
      break;
    case 2: {
      file = ValidHead(440);
      Bytes packed = Deflate(Bytes(data + 1, data + size));
      file.insert(file.end(), packed.begin(), packed.end());
      break;
    }
    default: {
      file = ValidHead(400);
      Bytes records = Recipe(data + 1, size - 1);
      file.insert(file.end(), records.begin(), records.end());
    }
  }
  // One database for every run: opening closes what the last run left, and making a database
  // per run (seeding its ID generator) would cost more than reading a small file.
  static vemra::DataBase db;
  static vemra::DataBase again;
  static vemra::DataBase book;
  if (Open(book, SmallBook()) != 0) std::abort();
  std::vector<uint64_t> before = Fingerprint(book);
  int merged = book.MergeFile(*vemra::testing::MemoryInput(file));
  if (merged != 0 && Fingerprint(book) != before) std::abort();
  int rc = Open(db, file);
  if (rc != 0) {
    if (rc > 2 || rc < -6 || db.Loaded) std::abort();
    return 0;
  }
  vemra::OutputStream saved;
  if (db.Save(saved) != 0) std::abort();
  if (Open(again, saved.MemoryData()) != 0) std::abort();
  for (uint32_t t = 0; t < vemra::kTableCount; ++t) {
    if (again.GetTable(t).size() != db.GetTable(t).size()) std::abort();
  }
  if (again.DeletedHeaders().size() != db.DeletedHeaders().size()) std::abort();
  return 0;
}
