// Fuzzes the record body readers: the first byte picks a record kind, the next four the layout
// version, the rest is the body. A body that loads must write back exactly its class's size, and
// what it writes must load again as the current version and write the same bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "core/records/entry_factory.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"

namespace {

constexpr uint32_t kTypes[] = {10,  100, 101, 102, 103, 104, 105, 106, 107,
                               108, 109, 110, 111, 200, 201, 202, 203};

std::vector<uint8_t> Save(vemra::TBaseEntry& e) {
  vemra::OutputStream out;
  e.SaveHeader(out);
  e.SaveData(out);
  return out.MemoryData();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 5) return 0;
  uint32_t type = kTypes[data[0] % (sizeof kTypes / sizeof kTypes[0])];
  uint32_t version;
  std::memcpy(&version, data + 1, 4);
  if (type != vemra::etString) version %= 4;  // mostly known versions
  vemra::OutputStream body;
  body.Write(data + 5, size - 5);
  vemra::InputStream in;
  in.AttachMemory(body);
  std::unique_ptr<vemra::TBaseEntry> entry = vemra::CreateEntry(type);
  if (!entry->LoadData(in, version)) return 0;

  std::vector<uint8_t> saved = Save(*entry);
  if (saved.size() != vemra::kHeaderSize + entry->Header.Size) std::abort();
  vemra::OutputStream again;
  again.Write(saved.data() + vemra::kHeaderSize, saved.size() - vemra::kHeaderSize);
  vemra::InputStream in2;
  in2.AttachMemory(again);
  std::unique_ptr<vemra::TBaseEntry> back = vemra::CreateEntry(type);
  if (!back->LoadData(in2, entry->Header.SecondaryType)) std::abort();
  if (Save(*back) != saved) std::abort();
  return 0;
}
