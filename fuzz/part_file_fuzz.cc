// Fuzzes merging a sync part: any bytes give 0, -2 or 3 and never a crash; a part refused
// with 3 or -2 changes nothing. The first input byte picks whether the rest is the part file
// itself or the content of a part of the right database, compressed.
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  vemra::platform::SetLogOutput(nullptr);
  Bytes part;
  if (data[0] & 1) {
    part.assign(data + 1, data + size);
  } else {
    Bytes plain = {'V', 'D', 'B', 'P', 'A', 'R', 'T', 0xb8, 0x01, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0};
    plain.insert(plain.end(), data + 1, data + size);
    part = Deflate(plain);
  }
  static vemra::DataBase db;  // one for every run; Close empties it
  db.Close();
  db.Loaded = true;
  db.Header.DatabaseID = 7;
  int rc = db.ReadPart(*vemra::testing::MemoryInput(part));
  if (rc != 0 && rc != -2 && rc != 3) std::abort();
  if (rc != 0) {
    for (uint32_t t = 0; t < vemra::kTableCount; ++t) {
      if (!db.GetTable(t).empty()) std::abort();
    }
  }
  return 0;
}
