#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "core/database/database.h"
#include "core/records/account.h"
#include "core/records/ex_rate.h"
#include "core/records/testing/body_bytes.h"
#include "core/streams/atomic_file.h"
#include "core/streams/compress.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "platform/clock.h"

namespace vemra {
namespace {

using testing::Bytes;
using testing::Hex;

constexpr int64_t kNoon = int64_t{20000} * 86400 + 12 * 3600;

// Little-endian writers for composing files by hand, independent of the code under test.
void Put(Bytes& b, uint64_t v, int n) {
  for (int i = 0; i < n; ++i) b.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

Bytes Head(uint64_t id, uint64_t stamp, uint32_t type, uint32_t secondary, uint32_t size) {
  Bytes b;
  Put(b, id, 8);
  Put(b, stamp, 8);
  Put(b, 0, 8);  // owner
  Put(b, type, 4);
  Put(b, secondary, 4);
  Put(b, size, 4);
  Put(b, 0, 4);  // hidden, read-only, two alignment bytes
  return b;
}

// A TExRate record (type 104, layout 0, 32-byte body).
Bytes Rate(uint64_t id, uint64_t stamp, double rate, uint32_t size = 32) {
  Bytes b = Head(id, stamp, 104, 0, size);
  Put(b, 100, 8);  // first currency
  Put(b, 200, 8);  // second currency
  uint64_t bits;
  std::memcpy(&bits, &rate, 8);
  Put(b, bits, 8);
  Put(b, 20000, 4);  // date
  Put(b, 0, 4);
  return b;
}

Bytes Marker(uint64_t id, uint64_t stamp, uint32_t type) {
  return Head(id, stamp, 1, type, 0);
}

// The 1024-byte head of a file of `version` whose header holds only `database_id`.
Bytes FileHead(uint32_t version, uint64_t database_id = 0x1122) {
  Bytes b = Hex("00 04 00 00");
  Put(b, version, 4);
  Bytes sig = Hex("56 65 6d 72 61 20 44 42 45");  // "Vemra DBE"
  b.insert(b.end(), sig.begin(), sig.end());
  b.resize(32);
  Put(b, database_id, 8);
  b.resize(1024);
  return b;
}

Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

Bytes Zlib(const Bytes& plain) {
  return testing::Deflate(plain);
}

int OpenBytes(DataBase& db, const Bytes& bytes) {
  return db.Open(*testing::MemoryInput(bytes));
}

Bytes SaveBytes(DataBase& db) {
  OutputStream out;
  EXPECT_EQ(db.Save(out), 0);
  return out.MemoryData();
}

double RateOf(DataBase& db, uint64_t id) {
  const auto* r = dynamic_cast<const TExRate*>(db.FindEntry(id, 5));
  return r == nullptr ? std::nan("") : r->Data.Rate;
}

class FileTest : public ::testing::Test {
 protected:
  platform::ScopedClockPin pin{kNoon};
  DataBase db;
};

TEST_F(FileTest, FormatVersionsAndSignature) {
  const Bytes empty_zlib = Hex("78 01 03 00 00 00 00 01");
  struct Case {
    uint32_t version;
    int code;
  };
  for (Case c : {Case{279, -5},
                 {280, -3},
                 {399, -3},
                 {400, 0},
                 {429, 0},
                 {430, 0},
                 {439, 0},
                 {440, 0},
                 {441, -6}}) {
    Bytes file = FileHead(c.version);
    // Texts: slot 0 holds ID 7 (and, in the current format, stamp 9).
    file[512] = 7;
    if (c.version == 440) file[520] = 9;
    if (c.version >= 430) file.insert(file.end(), empty_zlib.begin(), empty_zlib.end());
    SCOPED_TRACE(c.version);
    EXPECT_EQ(OpenBytes(db, file), c.code);
    EXPECT_EQ(db.Loaded, c.code == 0);
    if (c.code != 0) continue;
    EXPECT_EQ(db.Header.DatabaseID, 0x1122u);
    EXPECT_EQ(db.DatabaseTexts[0].first, 7u);
    EXPECT_EQ(db.DatabaseTexts[0].second, c.version == 440 ? 9u : 0u);
    EXPECT_EQ(db.Header.Option0, c.version < 430 ? 1 : 0);
  }
  // The compressed formats need a zlib record area.
  EXPECT_EQ(OpenBytes(db, FileHead(430)), -1);

  Bytes long_signature = FileHead(440);
  long_signature[17] = 'X';
  Bytes short_signature = FileHead(440);
  short_signature[16] = 0;  // "Vemra DB" followed by zeros
  EXPECT_EQ(OpenBytes(db, long_signature), -1);
  EXPECT_EQ(OpenBytes(db, short_signature), -1);
  EXPECT_EQ(OpenBytes(db, Hex("00 04 00 00 b8 01")), -1);
  EXPECT_FALSE(db.Loaded);
  EXPECT_EQ(db.OpenFile("/nonexistent/book.kestrum"), -2);
}

TEST_F(FileTest, SavesHeaderTextsAndEmptyRecordAreaByteForByte) {
  db.Loaded = true;
  db.Header.DatabaseID = 0x0102030405060708;
  db.Header.SettingsStamp = 0x11;
  db.Header.Reserved1 = 0x22;
  db.Header.Option0 = 3;
  db.Header.Option1 = 1;
  db.Header.Option2 = -1;
  db.Header.Option3 = 4;
  db.UserSettings.DefaultCurrencyID = 0x33;  // equal in header and working copy: no new stamp
  db.Header.UserSettings.DefaultCurrencyID = 0x33;
  db.UserSettings.DefaultAccountID = 0x44;
  db.Period = TimeInterval(ADate(0x55), ADate(0x66));
  db.Header.PasswordLength = 2;
  db.Header.Password[0] = 'p';
  db.Header.Password[1] = 0x20ac;
  db.Header.PasswordStamp = 0x77;
  db.Header.Reserved2 = 1;
  db.DatabaseTexts[1] = {0x88, 0x99};

  Bytes expected(1024, 0);
  auto at = [&](size_t offset, const std::string& hex) {
    Bytes b = Hex(hex);
    std::copy(b.begin(), b.end(), expected.begin() + static_cast<std::ptrdiff_t>(offset));
  };
  at(0, "00 04 00 00 | b8 01 00 00 | 56 65 6d 72 61 20 44 42 45");  // 1024, 440, signature
  at(32, "08 07 06 05 04 03 02 01");                                // DatabaseID
  at(40, "11 00 00 00 00 00 00 00");                                // SettingsStamp
  at(48, "22 00 00 00 | 03 01 ff 04");                              // Reserved1, Option0..3
  at(56, "33 00 00 00 00 00 00 00");                                // DefaultCurrencyID
  at(64, "44 00 00 00 00 00 00 00");                                // DefaultAccountID
  at(72, "55 00 00 00 | 66 00 00 00");                              // PeriodBegin, PeriodEnd
  at(80, "02 00 | 70 00 ac 20");                                    // length, pad, 'p', '€'
  at(208, "77 00 00 00 00 00 00 00 | 01");                          // PasswordStamp, Reserved2
  at(528, "88 00 00 00 00 00 00 00 | 99 00 00 00 00 00 00 00");     // texts slot 1
  Bytes tail = Hex("78 01 03 00 00 00 00 01");                      // zlib, level 1, of no bytes
  expected.insert(expected.end(), tail.begin(), tail.end());

  EXPECT_EQ(SaveBytes(db), expected);
  EXPECT_EQ(db.GetAdminPassword(), L"p\u20ac");

  // The alignment gaps of the header image come back as they were read, so a valid file
  // rewrites byte for byte.
  for (size_t gap : {81, 202, 203, 204, 205, 206, 207, 217, 218, 219, 220, 221, 222, 223}) {
    expected[gap] = static_cast<uint8_t>(0xa0 + gap % 16);
  }
  DataBase reread;
  ASSERT_EQ(OpenBytes(reread, expected), 0);
  EXPECT_EQ(SaveBytes(reread), expected);
}

TEST_F(FileTest, RecordStreamMergeRules) {
  Bytes stream = Cat({
      Rate(10, 500, 1.5),                            // marker below is older: the record stays
      Marker(10, 400, 104),                          //
      Marker(11, 600, 104),                          // marker first and newer: record 11 is dropped
      Rate(11, 599, 2.0),                            //
      Rate(12, 700, 3.0),     Marker(12, 700, 104),  // equal stamps: the record survives
      Rate(13, 800, 4.0),     Rate(13, 800, 5.0),    // equal stamps: the greater bytes win,
      Rate(24, 800, 5.0),     Rate(24, 800, 4.0),    // whichever came first
      Rate(14, 800, 6.0),     Rate(14, 801, 7.0),    // the newer one wins
      Marker(21, 300, 104),   Marker(21, 700, 104),  // a newer marker replaces the held one,
      Rate(21, 500, 1.0),                            // so this edit stays deleted
      Marker(22, 700, 104),   Marker(22, 300, 104),  // an older marker changes nothing
      Head(15, 1, 0, 0, 3),   Hex("aa bb cc"),       // type 0: skipped by its size
      Head(16, 1, 999, 0, 2), Hex("dd ee"),          // unknown type: skipped by its size
      Rate(17, 900, 8.0, 40), Hex("ff ff ff ff ff ff ff ff"),  // body shorter than Size
      Rate(18, 900, 9.0),                                      // still found
      Marker(19, 900, 999),                                    // marker of an unknown type: kept
  });
  const Bytes cut = Cat({Head(20, 900, 104, 0, 32), Hex("01 02 03")});  // the read ends here
  // A merge keeps what came before damage in an undamaged area, whether compressed or not; an
  // open refuses the book as damaged and says how far it got.
  for (uint32_t format : {400u, 440u}) {
    SCOPED_TRACE(format);
    Bytes area = format == 400 ? Cat({stream, cut}) : Zlib(Cat({stream, cut}));
    Bytes file = Cat({FileHead(format), area});
    DataBase book;
    EXPECT_EQ(OpenBytes(book, file), -1);
    EXPECT_FALSE(book.LastRead().Complete);
    EXPECT_EQ(book.LastRead().Records, 22u);
    EXPECT_EQ(book.LastRead().Offset, static_cast<int64_t>(stream.size()));
    EXPECT_FALSE(book.Loaded);

    ASSERT_EQ(OpenBytes(book, Cat({FileHead(440), Zlib({})})), 0);
    ASSERT_EQ(book.MergeFile(*testing::MemoryInput(file)), 0);
    EXPECT_FALSE(book.LastRead().Complete);
    EXPECT_EQ(RateOf(book, 10), 1.5);
    EXPECT_EQ(book.DeletedHeaders().count(10), 0u);
    EXPECT_EQ(book.FindEntry(11, 5), nullptr);
    EXPECT_EQ(book.DeletedHeaders().at(11).LastModDate, 600u);
    EXPECT_EQ(RateOf(book, 12), 3.0);
    EXPECT_EQ(book.DeletedHeaders().count(12), 0u);
    EXPECT_EQ(RateOf(book, 13), 5.0);
    EXPECT_EQ(RateOf(book, 24), 5.0);
    EXPECT_EQ(RateOf(book, 14), 7.0);
    EXPECT_EQ(book.FindEntry(21, 5), nullptr);
    EXPECT_EQ(book.DeletedHeaders().at(21).LastModDate, 700u);
    EXPECT_EQ(book.DeletedHeaders().at(22).LastModDate, 700u);
    EXPECT_EQ(RateOf(book, 17), 8.0);
    EXPECT_EQ(RateOf(book, 18), 9.0);
    EXPECT_EQ(book.DeletedHeaders().at(19).SecondaryType, 999u);
    EXPECT_EQ(book.FindEntry(20, 5), nullptr);
    EXPECT_EQ(book.GetTable(5).size(), 7u);
    EXPECT_EQ(book.DeletedHeaders().size(), 4u);
    EXPECT_EQ(book.LastID, 24u);
    EXPECT_TRUE(book.UndoHistory().empty());
  }
}

TEST_F(FileTest, SavedFileReadsBackTheSameRecords) {
  db.Loaded = true;
  db.SetCurrentUser(0);
  db.Header.DatabaseID = 42;
  auto account = std::make_unique<TAccount>();
  account->Name = L"Wallet \U0001F45B";
  account->Data.InitialBalance = 12.5;
  uint64_t account_id = db.StoreEntry(std::move(account));
  auto rate = std::make_unique<TExRate>();
  rate->Data.Rate = 0.1;
  uint64_t rate_id = db.StoreEntry(std::move(rate));
  auto gone = std::make_unique<TAccount>();
  gone->Name = L"Old";
  db.DeleteEntry(0, db.StoreEntry(std::move(gone)));
  Bytes saved = SaveBytes(db);

  DataBase copy;
  ASSERT_EQ(OpenBytes(copy, saved), 0);
  for (uint32_t t = 0; t < kTableCount; ++t) {
    ASSERT_EQ(copy.GetTable(t).size(), db.GetTable(t).size()) << t;
    for (const auto& [id, e] : db.GetTable(t)) {
      const TBaseEntry* other = copy.FindEntry(id, t);
      ASSERT_NE(other, nullptr);
      EXPECT_EQ(other->Header, e->Header);
      EXPECT_EQ(testing::SavedBody(const_cast<TBaseEntry&>(*other)), testing::SavedBody(*e));
    }
  }
  EXPECT_EQ(copy.DeletedHeaders(), db.DeletedHeaders());
  EXPECT_EQ(copy.Header.DatabaseID, 42u);
  auto loaded = copy.GetEntry(account_id, 0);
  EXPECT_EQ(static_cast<TAccount&>(*loaded).Name, L"Wallet \U0001F45B");
  EXPECT_EQ(RateOf(copy, rate_id), 0.1);
  EXPECT_GE(copy.LastID, rate_id);
  // Saving the copy again gives the same bytes.
  EXPECT_EQ(SaveBytes(copy), saved);
}

TEST_F(FileTest, DamagedFilesAreRefusedAndSayHowFarTheyRead) {
  Bytes stream;
  std::vector<size_t> record_ends;
  for (uint64_t id = 1; id <= 20; ++id) {
    Bytes r = Rate(id, 100, static_cast<double>(id));
    stream.insert(stream.end(), r.begin(), r.end());
    record_ends.push_back(1024 + stream.size());
  }
  // Uncompressed: a file cut anywhere but at a record's end is refused, and the read got exactly
  // as far as the records that end before the cut; a merge of it keeps just those.
  Bytes plain = Cat({FileHead(400), stream});
  for (size_t cut = 1024; cut <= plain.size(); cut += 5) {
    SCOPED_TRACE(cut);
    Bytes file(plain.begin(), plain.begin() + static_cast<long>(cut));
    size_t whole = static_cast<size_t>(
        std::count_if(record_ends.begin(), record_ends.end(), [&](size_t e) { return e <= cut; }));
    bool at_boundary = cut == 1024 || std::count(record_ends.begin(), record_ends.end(), cut) == 1;
    EXPECT_EQ(OpenBytes(db, file), at_boundary ? 0 : -1);
    EXPECT_EQ(db.LastRead().Records, whole);
    EXPECT_EQ(db.LastRead().Offset, static_cast<int64_t>(whole * 72));
    DataBase merged;
    ASSERT_EQ(OpenBytes(merged, Cat({FileHead(440), Zlib({})})), 0);
    ASSERT_EQ(merged.MergeFile(*testing::MemoryInput(file)), 0);
    EXPECT_EQ(merged.GetTable(5).size(), whole);
  }
  // Compressed: a cut or a flipped bit in the record area refuses the whole file.
  Bytes packed = Cat({FileHead(440), Zlib(stream)});
  for (size_t cut = 1025; cut < packed.size(); cut += 3) {
    EXPECT_EQ(OpenBytes(db, Bytes(packed.begin(), packed.begin() + static_cast<long>(cut))), -1);
    EXPECT_FALSE(db.Loaded);
    EXPECT_TRUE(db.GetTable(5).empty());
  }
  for (size_t i = 1024; i < packed.size(); ++i) {
    Bytes flipped = packed;
    flipped[i] ^= 0x10;
    int rc = OpenBytes(db, flipped);
    EXPECT_TRUE(rc == -1 || rc == 0) << i;
    if (rc == 0) {
      EXPECT_LE(db.GetTable(5).size(), 20u);
    }
  }
  // One flipped bit of the format (440 -> 408) makes the compressed area look uncompressed: the
  // book is refused, not opened empty, whether or not the zlib bytes happen to read as records.
  for (const Bytes& area : {Zlib(stream), Zlib({})}) {
    Bytes file = Cat({FileHead(440), area});
    file[4] ^= 0x20;
    EXPECT_EQ(OpenBytes(db, file), -1);
    EXPECT_FALSE(db.Loaded);
  }
}

TEST_F(FileTest, MergeTakesNewerSettingsPasswordTextsAndRecords) {
  Bytes mine = Cat({FileHead(440, 7), Zlib(Cat({Rate(10, 500, 1.0), Rate(11, 500, 1.0)}))});
  ASSERT_EQ(OpenBytes(db, mine), 0);
  db.Header.SettingsStamp = 50;
  db.Header.PasswordStamp = 50;
  db.Header.PasswordLength = 1;
  db.Header.Password[0] = 'a';
  db.DatabaseTexts[2] = {1000, 50};
  db.DatabaseTexts[3] = {1001, 50};

  Bytes other = FileHead(440, 7);
  other[40] = 60;    // SettingsStamp: newer
  other[52] = 5;     // Option0
  other[56] = 0x99;  // DefaultCurrencyID
  other[80] = 1;     // PasswordLength
  other[82] = 'b';   // Password
  other[208] = 40;   // PasswordStamp: older
  std::memcpy(&other[512 + 2 * 16], Hex("d0 07 00 00 00 00 00 00 3c").data(), 9);  // slot 2 newer
  std::memcpy(&other[512 + 3 * 16], Hex("d1 07 00 00 00 00 00 00 28").data(), 9);  // slot 3 older
  Bytes records = Zlib(Cat({Rate(10, 600, 2.0), Rate(11, 400, 2.0), Rate(12, 1, 3.0)}));
  other.insert(other.end(), records.begin(), records.end());

  ASSERT_EQ(db.MergeFile(*testing::MemoryInput(other)), 0);
  EXPECT_EQ(db.Header.SettingsStamp, 60u);
  EXPECT_EQ(db.Header.Option0, 5);
  EXPECT_EQ(db.Header.UserSettings.DefaultCurrencyID, 0x99u);
  // The working settings follow, so the next save writes what the merge decided.
  EXPECT_EQ(db.UserSettings.DefaultCurrencyID, 0x99u);
  Bytes saved = SaveBytes(db);
  EXPECT_EQ(Bytes(saved.begin() + 40, saved.begin() + 64),
            Hex("3c 00 00 00 00 00 00 00 | 00 00 00 00 05 00 00 00 | 99 00 00 00 00 00 00 00"));
  EXPECT_EQ(db.GetAdminPassword(), L"a");
  EXPECT_EQ(db.DatabaseTexts[2], std::make_pair(uint64_t{2000}, uint64_t{60}));
  EXPECT_EQ(db.DatabaseTexts[3], std::make_pair(uint64_t{1001}, uint64_t{50}));
  EXPECT_EQ(RateOf(db, 10), 2.0);
  EXPECT_EQ(RateOf(db, 11), 1.0);
  EXPECT_EQ(RateOf(db, 12), 3.0);

  // Another database, an old format, or a damaged record area change nothing.
  Bytes foreign = Cat({FileHead(440, 8), Zlib(Rate(13, 1, 1.0))});
  Bytes old = FileHead(300, 7);
  Bytes damaged = Cat({FileHead(440, 7), Zlib(Rate(13, 1, 1.0))});
  damaged.resize(damaged.size() - 2);
  int codes[3];
  int i = 0;
  for (const Bytes& b : {foreign, old, damaged})
    codes[i++] = db.MergeFile(*testing::MemoryInput(b));
  EXPECT_EQ(codes[0], 3);
  EXPECT_EQ(codes[1], 1);
  EXPECT_EQ(codes[2], -1);
  EXPECT_EQ(db.FindEntry(13, 5), nullptr);
  EXPECT_EQ(db.Header.SettingsStamp, 60u);

  // A record area found damaged only after records were merged takes them back: the newer rate
  // 10 and the new rate 13 go, the deleted rate 11 comes back, nothing else changed.
  Bytes late = Cat({FileHead(440, 7), Zlib(Cat({Rate(10, 900, 9.0), Marker(11, 900, 104),
                                                Rate(13, 900, 9.0), Rate(14, 900, 9.0)}))});
  late[60] = 0x7f;  // a newer settings stamp, not to be taken from a damaged copy
  late.resize(late.size() - 1);
  EXPECT_EQ(db.MergeFile(*testing::MemoryInput(late)), -1);
  EXPECT_EQ(RateOf(db, 10), 2.0);
  EXPECT_EQ(RateOf(db, 11), 1.0);
  EXPECT_EQ(db.FindEntry(13, 5), nullptr);
  EXPECT_TRUE(db.DeletedHeaders().empty());
  EXPECT_EQ(db.Header.SettingsStamp, 60u);
  EXPECT_EQ(db.GetExRate(100, 200), 3.0);  // rate 12 is the newest by ID on the same date

  // A file that changes between two reads of its record area is merged from one consistent
  // read, never half from each.
  class ChangingInput : public IInputStream {
   public:
    ChangingInput(const Bytes& first, const Bytes& second)
        : first_(testing::MemoryInput(first)), second_(testing::MemoryInput(second)) {}
    size_t Read(void* dst, size_t n) override { return now().Read(dst, n); }
    int64_t Tell() override { return now().Tell(); }
    bool Eof() override { return now().Eof(); }
    bool Seek(int64_t offset) override {
      // Once the first version was read to its end, the file holds the second one.
      if (!switched_ && first_->Eof()) switched_ = true;
      return now().Seek(offset);
    }

   private:
    IInputStream& now() { return switched_ ? *second_ : *first_; }
    std::unique_ptr<InputStream> first_;
    std::unique_ptr<InputStream> second_;
    bool switched_ = false;
  };
  Bytes next = Cat({FileHead(440, 7), Zlib(Cat({Rate(15, 900, 9.0), Rate(16, 900, 9.0)}))});
  Bytes broken = next;
  broken.resize(broken.size() - 6);
  ChangingInput changing(next, broken);
  EXPECT_EQ(db.MergeFile(changing), 0);
  EXPECT_EQ(RateOf(db, 15), 9.0);
  EXPECT_EQ(RateOf(db, 16), 9.0);
}

// Fails one step of an atomic write, or sends the data to a full disk.
class FaultyOps : public AtomicFileOps {
 public:
  enum Fault { kNone, kOpen, kFullDisk, kSync, kRename } fault = kNone;
  bool Open(OutputStream& out, const std::string& path) override {
    if (fault == kOpen) return false;
    return out.OpenFile(fault == kFullDisk ? "/dev/full" : path);
  }
  bool Sync(OutputStream& out) override { return fault != kSync && out.Sync(); }
  bool Rename(const std::string& from, const std::string& to) override {
    return fault != kRename && AtomicFileOps::Rename(from, to);
  }
};

Bytes ReadAll(const std::filesystem::path& p) {
  std::ifstream f(p, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(f), {});
}

TEST_F(FileTest, SaveFileReplacesTheFileOnlyWhenEverythingWorked) {
  namespace fs = std::filesystem;
  fs::path dir = fs::temp_directory_path() / ("kestrum_save_" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  std::string path = (dir / "book.kestrum").string();

  db.Loaded = true;
  db.SetCurrentUser(0);
  db.Header.DatabaseID = 5;
  ASSERT_EQ(db.SaveFile(path), 0);
  Bytes first = ReadAll(path);
  ASSERT_GT(first.size(), 1024u);

  db.StoreEntry(std::make_unique<TExRate>());
  FaultyOps ops;
  ScopedAtomicFileOps scoped(ops);
  for (auto fault :
       {FaultyOps::kOpen, FaultyOps::kFullDisk, FaultyOps::kSync, FaultyOps::kRename}) {
    ops.fault = fault;
    EXPECT_EQ(db.SaveFile(path), -2) << fault;
    EXPECT_EQ(ReadAll(path), first) << fault;
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1) << fault;
  }
  ops.fault = FaultyOps::kNone;
  ASSERT_EQ(db.SaveFile(path), 0);
  DataBase reread;
  ASSERT_EQ(reread.OpenFile(path), 0);
  EXPECT_EQ(reread.GetTable(5).size(), 1u);
  fs::remove_all(dir);
}

}  // namespace
}  // namespace vemra
