// The database file: a 1024-byte head (signature, format, TDBHeader, database texts) and a
// record area that holds the record stream, zlib-compressed from format 430 on. Reading a
// record stream is a merge by change stamp, shared by open, the merge of another copy and sync
// parts.
#include <cstring>

#include "core/database/database.h"
#include "core/records/body_codec.h"
#include "core/records/entry_factory.h"
#include "core/streams/atomic_file.h"
#include "core/streams/compress.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
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

void EncodeHeaderImage(const TDBHeader& h, uint8_t* dst) {
  BodyWriter w(dst);
  w.U64(h.DatabaseID);
  w.U64(h.SettingsStamp);
  w.U32(h.Reserved1);
  w.I8(h.Option0);
  w.U8(h.Option1);
  w.I8(h.Option2);
  w.I8(h.Option3);
  h.UserSettings.Write(w);
  w.U8(h.PasswordLength);
  w.Zeros(1);
  for (uint16_t unit : h.Password) w.U16(unit);
  w.Zeros(6);
  w.U64(h.PasswordStamp);
  w.U8(h.Reserved2);
  w.Zeros(7);
}

void DecodeHeaderImage(const uint8_t* src, TDBHeader& h) {
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

void DataBase::ReadRecords(IInputStream& in, bool reset_last_id) {
  BeginUndoStep(1);
  if (reset_last_id) LastID = 0;
  THeader h;
  std::unique_ptr<TBaseEntry> scratch;
  while (!in.Eof()) {
    if (!h.Load(in)) break;
    LastID = std::max(LastID, h.ID);
    int64_t p = in.Tell();
    int64_t next = p + static_cast<int64_t>(h.Size);

    if (h.Type == etDeleted) {
      deleted_headers_.try_emplace(h.ID, h);
      uint32_t type = h.SecondaryType;
      std::unique_ptr<TBaseEntry> probe = CreateEntry(type);
      if (!probe) continue;
      Table& table = tables_[probe->GetTableIndex()];
      auto held = table.find(h.ID);
      if (held == table.end()) continue;
      if (held->second->Header.LastModDate >= h.LastModDate) {
        deleted_headers_.erase(h.ID);  // the record is newer than its deletion
      } else {
        Take(table, held);
      }
      continue;
    }
    if (h.Type == 0) {
      if (!in.Seek(next)) break;
      continue;
    }

    std::unique_ptr<TBaseEntry> e = CreateEntry(h.Type);
    if (!e) {
      if (!in.Seek(next)) break;
      continue;
    }
    if (!e->LoadData(in, h.SecondaryType)) break;  // what came before stays
    e->Header.ID = h.ID;
    e->Header.LastModDate = h.LastModDate;
    e->Header.OwnerID = h.OwnerID;
    e->Header.Hidden = h.Hidden;
    e->Header.ReadOnly = h.ReadOnly;
    Table& table = tables_[e->GetTableIndex()];

    if (!deleted_headers_.empty()) {
      auto marker = deleted_headers_.find(h.ID);
      if (marker != deleted_headers_.end()) {
        if (e->Header.LastModDate < marker->second.LastModDate) {
          if (auto held = table.find(h.ID); held != table.end()) Take(table, held);
          if (!in.Seek(next)) break;
          continue;
        }
        deleted_headers_.erase(marker);
      }
    }
    // Records come in ID order within a table, so a new one usually goes at the end.
    if (table.empty() || table.rbegin()->first < h.ID) {
      Link(*e, true);
      table.emplace_hint(table.end(), h.ID, std::move(e));
    } else if (auto held = table.find(h.ID); held == table.end()) {
      Insert(std::move(e));
    } else if (held->second->Header.LastModDate < e->Header.LastModDate) {
      Exchange(held->second, std::move(e));
    }
    if (in.Tell() != next && !in.Seek(next)) break;
  }
  DropUndoStep();
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

int DataBase::Open(IInputStream& in) {
  Close();
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
  if (version < kFirstCompressedFormat) {
    ReadRecords(in, true);
  } else {
    InflateInputStream records(in);
    ReadRecords(records, true);
    // The whole record area must be an undamaged zlib stream, also after a record that ended
    // the read early.
    if (records.Finish() != 0) {
      Close();
      Header = TDBHeader();
      DatabaseTexts = {};
      platform::LogCode("open failed: ", kResultNotDatabase);
      return kResultNotDatabase;
    }
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

int DataBase::Save(IOutputStream& out) {
  if (!Loaded) return kResultOK;
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
  WriteHeader(out);
  bool head_ok = out.Tell() == kRecordsOffset;
  int rc = head_ok && WriteRecords(out) ? kResultOK : kResultCantOpen;
  platform::LogCode("saved: ", rc);
  return rc;
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

int DataBase::MergeFile(IInputStream& in) {
  if (!Loaded) return kResultOK;
  TDBHeader other;
  uint32_t version = 0;
  int rc = ReadHeader(in, other, version);
  if (rc == kResultOlderFormat) rc = kResultOK;
  if (rc != kResultOK) return rc;
  if (other.DatabaseID != Header.DatabaseID) return kResultWrongDatabase;

  // A damaged record area must change nothing, so it is checked to its end before anything is
  // merged; a second pass then merges while it decompresses, which costs one more inflate but
  // never holds the whole record stream in memory.
  if (version >= kFirstCompressedFormat) {
    if (!in.Seek(kRecordsOffset)) return kResultNotDatabase;
    InflateInputStream check(in);
    if (check.Finish() != 0) return kResultNotDatabase;
  }
  if (other.SettingsStamp > Header.SettingsStamp) {
    Header.SettingsStamp = other.SettingsStamp;
    Header.Option0 = other.Option0;
    Header.Option1 = other.Option1;
    Header.Option2 = other.Option2;
    Header.Option3 = other.Option3;
    Header.UserSettings.DefaultCurrencyID = other.UserSettings.DefaultCurrencyID;
  }
  if (other.PasswordStamp > Header.PasswordStamp) {
    Header.PasswordStamp = other.PasswordStamp;
    Header.PasswordLength = other.PasswordLength;
    Header.Password = other.Password;
  }
  if (version == kFileFormat) {
    std::array<std::pair<uint64_t, uint64_t>, 5> texts{};
    if (ReadDatabaseTexts(in, version, texts)) {
      for (size_t i = 0; i < texts.size(); ++i) {
        if (texts[i].second > DatabaseTexts[i].second) DatabaseTexts[i] = texts[i];
      }
    }
  }
  if (version >= kFirstCompressedFormat) {
    if (in.Seek(kRecordsOffset)) {
      InflateInputStream records(in);
      ReadRecords(records, false);
    }
  } else if (in.Seek(kRecordsOffset)) {
    ReadRecords(in, false);
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
