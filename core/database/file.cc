// The database file: a 1024-byte head (signature, format, TDBHeader, database texts) and a
// record area that holds the record stream, zlib-compressed from format 430 on. Reading a
// record stream is a merge by change stamp, shared by open, the merge of another copy and sync
// parts.
#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <vector>

#include "core/database/database.h"
#include "core/records/body_codec.h"
#include "core/records/entry_factory.h"
#include "core/streams/atomic_file.h"
#include "core/streams/compress.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "core/streams/span_stream.h"
#include "core/streams/zlib_streams.h"
#include "platform/log.h"
#include "platform/unicode.h"

namespace vemra {
namespace {

constexpr char kSignature[] = "Vemra DBE";
constexpr size_t kSignatureLength = 9;
constexpr size_t kHeaderImageSize = 192;
constexpr int64_t kHeaderImageOffset = 32;
constexpr int64_t kTextsOffset = 512;
constexpr int64_t kRecordsOffset = 1024;
constexpr uint32_t kFirstCompressedFormat = 430;

// Writes the fields of `h` over its image as read, so that the alignment gaps keep their bytes.
void EncodeHeaderImage(const TDBHeader& h, uint8_t* dst) {
  std::memcpy(dst, h.Image.data(), h.Image.size());
  BodyWriter w(dst);
  auto keep = [&](size_t n) { w.Raw(dst + w.Offset(), n); };
  w.U64(h.DatabaseID);
  w.U64(h.SettingsStamp);
  w.U32(h.Reserved1);
  w.I8(h.Option0);
  w.U8(h.Option1);
  w.I8(h.Option2);
  w.I8(h.Option3);
  h.UserSettings.Write(w);
  w.U8(h.PasswordLength);
  keep(1);
  for (uint16_t unit : h.Password) w.U16(unit);
  keep(6);
  w.U64(h.PasswordStamp);
  w.U8(h.Reserved2);
  keep(7);
}

void DecodeHeaderImage(const uint8_t* src, TDBHeader& h) {
  std::memcpy(h.Image.data(), src, h.Image.size());
  BodyReader r(src);
  h.DatabaseID = r.U64();
  h.SettingsStamp = r.U64();
  h.Reserved1 = r.U32();
  h.Option0 = r.I8();
  h.Option1 = r.U8();
  h.Option2 = r.I8();
  h.Option3 = r.I8();
  h.UserSettings.Read(r);
  h.PasswordLength = r.U8();
  r.Skip(1);
  for (uint16_t& unit : h.Password) unit = r.U16();
  r.Skip(6);
  h.PasswordStamp = r.U64();
  h.Reserved2 = r.U8();
}

bool WriteZeros(IOutputStream& out, int64_t up_to) {
  static const uint8_t kZeros[1024] = {};
  int64_t at = out.Tell();
  if (at < 0 || at > up_to) return false;
  size_t n = static_cast<size_t>(up_to - at);
  return out.Write(kZeros, n) == n;
}

// Reads the five (ID, stamp) pairs of the current format, or the five IDs of older ones.
bool ReadDatabaseTexts(IInputStream& in, uint32_t version,
                       std::array<std::pair<uint64_t, uint64_t>, 5>& texts) {
  uint8_t buf[80];
  bool pairs = version >= kFileFormat;
  if (!in.Seek(kTextsOffset) || !ReadExactly(in, buf, pairs ? 80 : 40)) return false;
  BodyReader r(buf);
  for (auto& [id, stamp] : texts) {
    id = r.U64();
    stamp = pairs ? r.U64() : 0;
  }
  return true;
}

}  // namespace

int DataBase::ReadHeader(IInputStream& in, TDBHeader& header, uint32_t& version) {
  uint8_t head[18] = {};
  if (!in.Seek(0) || !ReadExactly(in, head, sizeof head)) return kResultNotDatabase;
  // Bytes 8..17 taken up to the first zero must be the signature exactly, so byte 17 must be 0.
  if (std::memcmp(head + 8, kSignature, kSignatureLength) != 0 || head[17] != 0) {
    return kResultNotDatabase;
  }
  BodyReader r(head + 4);
  uint32_t v = r.U32();
  if (v > kFileFormat) return kResultTooNew;
  if (v < 280) return kResultTooOld;
  version = v;
  if (v < 400) return kResultVersionMismatch;
  uint8_t image[kHeaderImageSize];
  if (!in.Seek(kHeaderImageOffset) || !ReadExactly(in, image, sizeof image)) {
    return kResultNotDatabase;
  }
  DecodeHeaderImage(image, header);
  return v == kFileFormat ? kResultOK : kResultOlderFormat;
}

void DataBase::WriteHeader(IOutputStream& out) const {
  uint8_t head[kHeaderImageOffset] = {};
  BodyWriter w(head);
  w.U32(static_cast<uint32_t>(kRecordsOffset));
  w.U32(kFileFormat);
  w.Raw(reinterpret_cast<const uint8_t*>(kSignature), kSignatureLength);
  out.Write(head, w.Offset());
  WriteZeros(out, kHeaderImageOffset);
  uint8_t image[kHeaderImageSize];
  EncodeHeaderImage(Header, image);
  out.Write(image, sizeof image);
  WriteZeros(out, kTextsOffset);
  uint8_t texts[80];
  BodyWriter t(texts);
  for (const auto& [id, stamp] : DatabaseTexts) {
    t.U64(id);
    t.U64(stamp);
  }
  out.Write(texts, sizeof texts);
  WriteZeros(out, kRecordsOffset);
}

struct DataBase::MergeLog {
  // The version each (table, ID) had before the merge first changed it; null when it was absent.
  std::map<std::pair<uint32_t, uint64_t>, std::unique_ptr<TBaseEntry>> records;
  // The deletion marker each ID had before the merge first changed it.
  std::map<uint64_t, std::optional<THeader>> markers;

  // Notes the version of (table, id) that the merge displaces (null: the record was absent);
  // only the first displaced version of each record is the one to restore.
  static void Note(MergeLog* log, uint32_t table, uint64_t id, std::unique_ptr<TBaseEntry> before) {
    if (log != nullptr) log->records.try_emplace({table, id}, std::move(before));
  }
};

namespace {

// An output stream into a buffer that keeps its memory between uses. A merge of a copy that
// holds the same records compares every one of them byte by byte, so the bytes must cost no
// allocation.
class ScratchOutput : public IOutputStream {
 public:
  size_t Write(const void* src, size_t n) override {
    const auto* p = static_cast<const uint8_t*>(src);
    bytes.insert(bytes.end(), p, p + n);
    return n;
  }
  int64_t Tell() override { return static_cast<int64_t>(bytes.size()); }
  bool Seek(int64_t) override { return false; }
  std::vector<uint8_t> bytes;
};

// Whether `incoming` should replace `held`, two versions of one record or two deletion markers
// of one ID: the newer change wins. Copies whose clocks lag can give two different versions
// the same stamp; then the one whose stored bytes (header, then body) compare greater wins in
// every copy, so that the copies still end the same. Identical bytes change nothing.
bool Outranks(TBaseEntry& incoming, TBaseEntry& held) {
  if (incoming.Header.LastModDate != held.Header.LastModDate) {
    return incoming.Header.LastModDate > held.Header.LastModDate;
  }
  thread_local ScratchOutput a;
  thread_local ScratchOutput b;
  a.bytes.clear();
  b.bytes.clear();
  WriteRecord(incoming, a);
  WriteRecord(held, b);
  return a.bytes > b.bytes;
}

bool Outranks(const THeader& incoming, const THeader& held) {
  if (incoming.LastModDate != held.LastModDate) return incoming.LastModDate > held.LastModDate;
  uint8_t a[kHeaderSize];
  uint8_t b[kHeaderSize];
  incoming.Encode(a);
  held.Encode(b);
  return std::memcmp(a, b, kHeaderSize) > 0;
}

// Reads and drops `n` bytes; false when fewer came. Used for the bodies of records that are
// skipped, so that a size running past the end of the data is noticed.
bool SkipBytes(IInputStream& in, uint64_t n) {
  uint8_t scratch[4096];
  while (n > 0) {
    size_t chunk = static_cast<size_t>(std::min<uint64_t>(n, sizeof scratch));
    if (in.Read(scratch, chunk) != chunk) return false;
    n -= chunk;
  }
  return true;
}

}  // namespace

TReadReport DataBase::ReadRecords(IInputStream& in, bool reset_last_id) {
  return ReadRecords(in, reset_last_id, nullptr);
}

TReadReport DataBase::ReadRecords(IInputStream& in, bool reset_last_id, MergeLog* log) {
  BeginUndoStep(1);
  if (reset_last_id) LastID = 0;
  TReadReport report;
  report.Complete = false;
  const int64_t start = in.Tell();
  int64_t at = start;
  uint8_t raw[kHeaderSize];
  while (true) {
    size_t got = in.Read(raw, kHeaderSize);
    if (got != kHeaderSize) {
      // A stream ends cleanly only right after a whole record.
      report.Complete = got == 0;
      break;
    }
    THeader h;
    h.Decode(raw);
    LastID = std::max(LastID, h.ID);
    const int64_t next = at + static_cast<int64_t>(kHeaderSize) + h.Size;

    if (h.Type == etDeleted) {
      MergeMarker(h, log);
      at += kHeaderSize;  // a marker has no body, whatever its Size says
      ++report.Records;
      continue;
    }
    std::unique_ptr<TBaseEntry> e = h.Type == 0 ? nullptr : CreateEntry(h.Type);
    if (!e) {
      // Type 0 and codes without a class are skipped by their stored size.
      if (!SkipBytes(in, h.Size)) break;
      at = next;
      ++report.Records;
      continue;
    }
    // A merge decides many records without building them: a held version or deletion that is
    // newer, or a held version with the same stamp and the same bytes, leaves nothing to do, so
    // merging a copy that holds the same records costs a comparison of bytes per record.
    const TBaseEntry* held = nullptr;
    if (!Undecided(h, *e, held)) {
      if (!SkipBytes(in, h.Size)) break;
      at = next;
      ++report.Records;
      continue;
    }
    bool parsed = false;
    if (held != nullptr) {
      thread_local ScratchOutput mine;
      thread_local std::vector<uint8_t> theirs;
      mine.bytes.clear();
      WriteRecord(const_cast<TBaseEntry&>(*held), mine);
      if (mine.bytes.size() == kHeaderSize + h.Size) {
        theirs.assign(raw, raw + kHeaderSize);
        theirs.resize(mine.bytes.size());
        if (!ReadExactly(in, theirs.data() + kHeaderSize, h.Size)) break;
        if (theirs == mine.bytes) {
          at = next;
          ++report.Records;
          continue;
        }
        SpanInputStream body(theirs.data() + kHeaderSize, h.Size);
        if (!e->LoadData(body, h.SecondaryType)) break;
        parsed = true;
      }
    }
    if (!parsed) {
      if (!e->LoadData(in, h.SecondaryType)) break;  // what came before stays
      // The stored size, not what the body reader consumed, says where the next header starts.
      int64_t pos = in.Tell();
      if (pos < next ? !SkipBytes(in, static_cast<uint64_t>(next - pos))
                     : pos > next && !in.Seek(next)) {
        break;
      }
    }
    e->Header.ID = h.ID;
    e->Header.LastModDate = h.LastModDate;
    e->Header.OwnerID = h.OwnerID;
    e->Header.Hidden = h.Hidden;
    e->Header.ReadOnly = h.ReadOnly;
    MergeRecord(std::move(e), log);
    at = next;
    ++report.Records;
  }
  report.Offset = at - start;
  DropUndoStep();
  last_read_ = report;
  return report;
}

bool DataBase::Undecided(const THeader& h, const TBaseEntry& e, const TBaseEntry*& held) {
  held = nullptr;
  const Table& table = tables_[e.GetTableIndex()];
  if (!deleted_headers_.empty()) {
    auto marker = deleted_headers_.find(h.ID);
    if (marker != deleted_headers_.end()) return h.LastModDate >= marker->second.LastModDate;
  }
  // Records come in ID order within a table, so on an open nothing is held yet.
  if (table.empty() || table.rbegin()->first < h.ID) return true;
  auto it = table.find(h.ID);
  if (it == table.end()) return true;
  if (it->second->Header.LastModDate > h.LastModDate) return false;
  if (it->second->Header.LastModDate == h.LastModDate) held = it->second.get();
  return true;
}

void DataBase::MergeMarker(const THeader& h, MergeLog* log) {
  auto held = deleted_headers_.find(h.ID);
  // Of two markers of one ID the newer one stands, so that parts merge alike in any order.
  if (held != deleted_headers_.end() && !Outranks(h, held->second)) return;
  if (log != nullptr) {
    log->markers.try_emplace(
        h.ID, held == deleted_headers_.end() ? std::nullopt : std::optional<THeader>(held->second));
  }
  deleted_headers_[h.ID] = h;
  std::unique_ptr<TBaseEntry> probe = CreateEntry(h.SecondaryType);
  if (!probe) return;
  const uint32_t t = probe->GetTableIndex();
  Table& table = tables_[t];
  auto record = table.find(h.ID);
  if (record == table.end()) return;
  if (record->second->Header.LastModDate >= h.LastModDate) {
    deleted_headers_.erase(h.ID);  // the record is at least as new as its deletion
  } else {
    MergeLog::Note(log, t, h.ID, Take(table, record));
  }
}

void DataBase::MergeRecord(std::unique_ptr<TBaseEntry> e, MergeLog* log) {
  const uint64_t id = e->Header.ID;
  const uint32_t t = e->GetTableIndex();
  Table& table = tables_[t];
  if (!deleted_headers_.empty()) {
    auto marker = deleted_headers_.find(id);
    if (marker != deleted_headers_.end()) {
      if (e->Header.LastModDate < marker->second.LastModDate) return;  // it stands deleted
      if (log != nullptr) log->markers.try_emplace(id, marker->second);
      deleted_headers_.erase(marker);  // the record is newer than its deletion
    }
  }
  // Records come in ID order within a table, so a new one usually goes at the end.
  if (table.empty() || table.rbegin()->first < id) {
    MergeLog::Note(log, t, id, nullptr);
    Insert(std::move(e));
    return;
  }
  auto held = table.find(id);
  if (held == table.end()) {
    MergeLog::Note(log, t, id, nullptr);
    Insert(std::move(e));
  } else if (Outranks(*e, *held->second)) {
    MergeLog::Note(log, t, id, Exchange(held->second, std::move(e)));
  }
}

void DataBase::RollBack(MergeLog& log) {
  for (auto& [key, before] : log.records) {
    Table& table = tables_[key.first];
    if (auto now = table.find(key.second); now != table.end()) Take(table, now);
    if (before) Insert(std::move(before));
  }
  for (auto& [id, before] : log.markers) {
    if (before) {
      deleted_headers_[id] = *before;
    } else {
      deleted_headers_.erase(id);
    }
  }
}

bool WriteRecord(TBaseEntry& e, IOutputStream& out) {
  return e.SaveHeader(out) == kHeaderSize && e.SaveData(out) == e.Header.Size;
}

bool DataBase::WriteRecordStream(IOutputStream& out) {
  for (Table& table : tables_) {
    for (auto& [id, e] : table) {
      if (!WriteRecord(*e, out)) return false;
    }
  }
  for (const auto& [id, marker] : deleted_headers_) {
    if (marker.Save(out) != kHeaderSize) return false;
  }
  return true;
}

bool DataBase::WriteRecords(IOutputStream& out) {
  DeflateOutputStream deflate(out);
  bool ok = WriteRecordStream(deflate);
  return deflate.Finish() && ok;
}

namespace {

// Whether the data at the current position of `in` is a whole, undamaged zlib stream: the record
// area of a file whose format byte says uncompressed although its records are compressed.
bool IsZlibStream(IInputStream& in) {
  uint8_t head[2];
  int64_t at = in.Tell();
  if (!ReadExactly(in, head, 2) || !in.Seek(at)) return false;
  if ((head[0] & 0x0F) != 8 || (head[0] * 256 + head[1]) % 31 != 0) return false;
  InflateInputStream check(in);
  return check.Finish() == 0;
}

}  // namespace

int DataBase::Open(IInputStream& in) {
  Close();
  last_read_ = TReadReport();
  uint32_t version = 0;
  int rc = ReadHeader(in, Header, version);
  if (rc != kResultOK && rc != kResultOlderFormat) {
    if (rc == kResultVersionMismatch) rc = kResultOldFormat;
    Header = TDBHeader();
    platform::LogCode("open failed: ", rc);
    return rc;
  }
  if (!ReadDatabaseTexts(in, version, DatabaseTexts) || !in.Seek(kRecordsOffset)) {
    Header = TDBHeader();
    platform::LogCode("open failed: ", kResultNotDatabase);
    return kResultNotDatabase;
  }
  // Loaded first, so that Close can undo a failed read.
  Loaded = true;
  bool damaged = false;
  if (version < kFirstCompressedFormat) {
    damaged = !ReadRecords(in, true).Complete;
    // A flipped format byte makes a compressed area look uncompressed; read as records it can
    // even end cleanly, with nothing in it.
    if (!damaged && in.Seek(kRecordsOffset) && IsZlibStream(in)) {
      damaged = true;
      last_read_ = TReadReport{0, 0, false};
    }
  } else {
    InflateInputStream records(in);
    damaged = !ReadRecords(records, true).Complete;
    // The whole record area must be an undamaged zlib stream, also after a record that ended
    // the read early.
    damaged = records.Finish() != 0 || damaged;
  }
  // A book whose record area does not read to its end is damaged: opening part of it would let
  // the next save make the loss final.
  if (damaged) {
    Close();
    Header = TDBHeader();
    DatabaseTexts = {};
    platform::LogCode("open failed: ", kResultNotDatabase);
    return kResultNotDatabase;
  }
  if (version < kFirstCompressedFormat) Header.Option0 = 1;
  CurrentUser = TUser();
  CurrentUser.Text3 = GetAdminPassword();
  GetString(DatabaseTexts[4].first, CurrentUser.Text4);
  CurrentUser.Data.Settings = Header.UserSettings;
  UserSettings = Header.UserSettings;
  Period = TimeInterval(Header.UserSettings.PeriodBegin, Header.UserSettings.PeriodEnd);
  Modified = false;
  return kResultOK;
}

int DataBase::OpenFile(const std::string& path) {
  InputStream in;
  if (!in.OpenFile(path)) return kResultCantOpen;
  return Open(in);
}

void DataBase::PrepareHeaderForSave() {
  Header.UserSettings.DefaultAccountID = UserSettings.DefaultAccountID;
  Header.UserSettings.PeriodBegin = Period.BeginDate;
  Header.UserSettings.PeriodEnd = Period.EndDate;
  if (current_user_id_ != 0) {
    std::unique_ptr<TBaseEntry> e = GetEntry(current_user_id_, 3);
    auto* user = dynamic_cast<TUser*>(e.get());
    if (user != nullptr &&
        user->Data.Settings.DefaultCurrencyID != UserSettings.DefaultCurrencyID) {
      user->Data.Settings.DefaultCurrencyID = UserSettings.DefaultCurrencyID;
      StoreEntry(std::move(e));
    }
  } else if (Header.UserSettings.DefaultCurrencyID != UserSettings.DefaultCurrencyID) {
    Header.UserSettings.DefaultCurrencyID = UserSettings.DefaultCurrencyID;
    Header.SettingsStamp = NewerStamp(Header.SettingsStamp);
  }
}

int DataBase::Save(IOutputStream& out) {
  if (!Loaded) return kResultOK;
  PrepareHeaderForSave();
  WriteHeader(out);
  bool head_ok = out.Tell() == kRecordsOffset;
  int rc = head_ok && WriteRecords(out) ? kResultOK : kResultCantOpen;
  platform::LogCode("saved: ", rc);
  return rc;
}

int DataBase::SaveUncompressed(IOutputStream& head, IOutputStream& records) {
  if (!Loaded) return kResultOK;
  PrepareHeaderForSave();
  WriteHeader(head);
  bool ok = head.Tell() == kRecordsOffset && WriteRecordStream(records);
  return ok ? kResultOK : kResultCantOpen;
}

int DataBase::SaveFile(const std::string& path) {
  if (!Loaded) return kResultOK;
  int rc = kResultCantOpen;
  bool replaced = WriteFileAtomically(path, [&](IOutputStream& out) {
    rc = Save(out);
    return rc == kResultOK;
  });
  // A failed sync, close or rename leaves the old file in place: a failed save all the same.
  return replaced ? rc : kResultCantOpen;
}

namespace {

// The change-stamped settings of a header as bytes, for the tie between equal stamps.
std::array<uint8_t, 12> SettingsBytes(const TDBHeader& h) {
  std::array<uint8_t, 12> b{};
  BodyWriter w(b.data());
  w.I8(h.Option0);
  w.U8(h.Option1);
  w.I8(h.Option2);
  w.I8(h.Option3);
  w.U64(h.UserSettings.DefaultCurrencyID);
  return b;
}

std::pair<uint8_t, std::array<uint16_t, 60>> PasswordOf(const TDBHeader& h) {
  return {h.PasswordLength, h.Password};
}

// Whether a stamped value of the other copy replaces ours: a newer stamp, or on equal stamps a
// greater value, so that two copies whose clocks agreed to the tick still end the same.
template <class V>
bool TakeOther(uint64_t other_stamp, const V& other, uint64_t stamp, const V& ours) {
  return other_stamp != stamp ? other_stamp > stamp : ours < other;
}

}  // namespace

int DataBase::MergeFile(IInputStream& in) {
  if (!Loaded) return kResultOK;
  TDBHeader other;
  uint32_t version = 0;
  int rc = ReadHeader(in, other, version);
  if (rc == kResultOlderFormat) rc = kResultOK;
  if (rc != kResultOK) return rc;
  if (other.DatabaseID != Header.DatabaseID) return kResultWrongDatabase;
  std::array<std::pair<uint64_t, uint64_t>, 5> texts{};
  bool have_texts = version == kFileFormat && ReadDatabaseTexts(in, version, texts);
  if (!in.Seek(kRecordsOffset)) return kResultCantOpen;

  // The records are merged while they are decompressed, so a big copy never sits in memory;
  // when the area turns out damaged (or the file changed under us), everything the merge
  // changed is put back.
  MergeLog log;
  if (version >= kFirstCompressedFormat) {
    InflateInputStream records(in);
    ReadRecords(records, false, &log);
    rc = records.Finish() == 0 ? kResultOK : kResultNotDatabase;
  } else {
    ReadRecords(in, false, &log);
  }
  if (rc != kResultOK) {
    RollBack(log);
    return rc;
  }

  // The header's merged values also go into the working state that the header fed at open, so
  // that the next save writes what the merge decided.
  if (TakeOther(other.SettingsStamp, SettingsBytes(other), Header.SettingsStamp,
                SettingsBytes(Header))) {
    Header.SettingsStamp = other.SettingsStamp;
    Header.Option0 = other.Option0;
    Header.Option1 = other.Option1;
    Header.Option2 = other.Option2;
    Header.Option3 = other.Option3;
    Header.UserSettings.DefaultCurrencyID = other.UserSettings.DefaultCurrencyID;
    CurrentUser.Data.Settings.DefaultCurrencyID = other.UserSettings.DefaultCurrencyID;
    // A logged-in user works with the default currency of their own record.
    if (current_user_id_ == 0)
      UserSettings.DefaultCurrencyID = other.UserSettings.DefaultCurrencyID;
  }
  if (TakeOther(other.PasswordStamp, PasswordOf(other), Header.PasswordStamp, PasswordOf(Header))) {
    Header.PasswordStamp = other.PasswordStamp;
    Header.PasswordLength = other.PasswordLength;
    Header.Password = other.Password;
    CurrentUser.Text3 = GetAdminPassword();
  }
  if (have_texts) {
    for (size_t i = 0; i < texts.size(); ++i) {
      if (TakeOther(texts[i].second, texts[i].first, DatabaseTexts[i].second,
                    DatabaseTexts[i].first)) {
        DatabaseTexts[i] = texts[i];
      }
    }
    GetString(DatabaseTexts[4].first, CurrentUser.Text4);
  }
  Refresh();
  return kResultOK;
}

int DataBase::MergeFilePath(const std::string& path) {
  if (!Loaded) return kResultOK;
  InputStream in;
  if (!in.OpenFile(path)) return kResultCantOpen;
  return MergeFile(in);
}

std::wstring DataBase::GetAdminPassword() const {
  if (!Loaded) return {};
  std::u16string units;
  size_t n = std::min<size_t>(Header.PasswordLength, Header.Password.size());
  for (size_t i = 0; i < n; ++i) units.push_back(static_cast<char16_t>(Header.Password[i]));
  return UnitsToWide(units);
}

}  // namespace vemra
