// Sync part files: the changes journalled since the last part, as one zlib stream of a short
// head ("VDBPART", format, database ID) and a record stream merged like a database file.
#include <cstring>
#include <unordered_set>

#include "core/database/database.h"
#include "core/records/body_codec.h"
#include "core/records/entry_factory.h"
#include "core/streams/atomic_file.h"
#include "core/streams/compress.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "core/streams/zlib_streams.h"

namespace vemra {
namespace {

constexpr char kPartSignature[] = "VDBPART";
constexpr size_t kPartSignatureLength = 7;
constexpr size_t kPartHeadSize = 19;

}  // namespace

int DataBase::TakePart(IOutputStream& out) {
  if (sync_journal_.empty()) return kResultNothingToWrite;
  uint8_t head[kPartHeadSize];
  BodyWriter w(head);
  w.Raw(reinterpret_cast<const uint8_t*>(kPartSignature), kPartSignatureLength);
  w.U32(kFileFormat);
  w.U64(Header.DatabaseID);
  bool ok = out.Write(head, sizeof head) == sizeof head;
  // Each ID goes out at most once per kind, in its current version: a record stored and later
  // deleted yields only its marker, one deleted and stored again both.
  std::unordered_set<uint64_t> deleted;
  std::unordered_set<uint64_t> stored;
  for (const TAutomaticSyncItem& item : sync_journal_) {
    if (item.Action == 1) {
      if (!deleted.insert(item.ID).second) continue;
      auto marker = deleted_headers_.find(item.ID);
      if (marker != deleted_headers_.end()) ok = ok && marker->second.Save(out) == kHeaderSize;
    } else {
      if (!stored.insert(item.ID).second) continue;
      Table& table = tables_[TableOfType(item.Type)];
      auto it = table.find(item.ID);
      if (it != table.end()) ok = ok && WriteRecord(*it->second, out);
    }
  }
  // The changes are handed over now; a failure after this does not journal them again.
  sync_journal_.clear();
  return ok ? kResultOK : kResultCantOpen;
}

int DataBase::WritePart(const std::string& path) {
  if (sync_journal_.empty()) return kResultNothingToWrite;
  bool created = false;
  bool written = WriteFileAtomically(
      path,
      [&](IOutputStream& file) {
        DeflateOutputStream out(file);
        bool ok = TakePart(out) == kResultOK;
        return out.Finish() && ok;
      },
      &created);
  if (!created) return kResultCantOpen;
  return written ? kResultOK : kResultCantOpen;
}

int DataBase::ReadPart(IInputStream& compressed) {
  OutputStream plain;
  if (DecompressStream(compressed, plain) != 0) return kResultCantOpen;
  InputStream in;
  in.AttachMemory(plain);
  uint8_t head[kPartHeadSize] = {};
  if (!ReadExactly(in, head, sizeof head)) return kResultWrongDatabase;
  // The signature is taken up to its first zero byte and must match exactly.
  char signature[kPartSignatureLength + 1] = {};
  std::memcpy(signature, head, kPartSignatureLength);
  BodyReader r(head + kPartSignatureLength);
  uint32_t version = r.U32();
  uint64_t database_id = r.U64();
  if (std::strcmp(signature, kPartSignature) != 0 || database_id != Header.DatabaseID ||
      version > kFileFormat) {
    return kResultWrongDatabase;
  }
  ReadRecords(in, false);
  return kResultOK;
}

int DataBase::ReadPart(const std::string& path) {
  InputStream in;
  if (!in.OpenFile(path)) return kResultCantOpen;
  return ReadPart(in);
}

}  // namespace vemra
