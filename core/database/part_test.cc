#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/database/database.h"
#include "core/records/ex_rate.h"
#include "core/records/testing/body_bytes.h"
#include "core/streams/compress.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "platform/clock.h"

namespace vemra {
namespace {

namespace fs = std::filesystem;
using testing::Bytes;
using testing::Hex;

constexpr int64_t kNoon = int64_t{20000} * 86400 + 12 * 3600;

Bytes ReadAll(const fs::path& p) {
  std::ifstream f(p, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(f), {});
}

void WriteAll(const fs::path& p, const Bytes& b) {
  std::ofstream f(p, std::ios::binary);
  f.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
}

using testing::Deflate;
using testing::Inflate;

// (ID, Type) of each 40-byte header in a record stream of rates and markers.
std::vector<std::pair<uint64_t, uint32_t>> Records(const Bytes& stream, size_t from) {
  std::vector<std::pair<uint64_t, uint32_t>> out;
  for (size_t p = from; p + 40 <= stream.size();) {
    uint64_t id = 0;
    uint32_t type = 0;
    uint32_t size = 0;
    for (int i = 7; i >= 0; --i) id = id << 8 | stream[p + static_cast<size_t>(i)];
    for (int i = 3; i >= 0; --i) type = type << 8 | stream[p + 24 + static_cast<size_t>(i)];
    for (int i = 3; i >= 0; --i) size = size << 8 | stream[p + 32 + static_cast<size_t>(i)];
    out.emplace_back(id, type);
    p += 40 + size;
  }
  return out;
}

class PartTest : public ::testing::Test {
 protected:
  PartTest() {
    dir = fs::temp_directory_path() / ("kestrum_part_" + std::to_string(::getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
    for (DataBase* d : {&db, &other}) {
      d->Loaded = true;
      d->SetCurrentUser(0);
      d->Header.DatabaseID = 0x0a0b;
    }
  }
  ~PartTest() override { fs::remove_all(dir); }

  uint64_t AddRate(DataBase& d, double rate, uint64_t id = 0) {
    auto r = std::make_unique<TExRate>();
    r->Header.ID = id;
    r->Data.Rate = rate;
    return d.StoreEntry(std::move(r));
  }
  double RateOf(DataBase& d, uint64_t id) {
    const auto* r = dynamic_cast<const TExRate*>(d.FindEntry(id, 5));
    return r == nullptr ? -1 : r->Data.Rate;
  }

  platform::ScopedClockPin pin{kNoon};
  fs::path dir;
  DataBase db;
  DataBase other;
};

TEST_F(PartTest, WritesEachChangedRecordOnceInItsLatestVersion) {
  std::string path = (dir / "p1").string();
  EXPECT_EQ(db.WritePart(path), 6);
  EXPECT_FALSE(fs::exists(path));

  uint64_t changed = AddRate(db, 1.0);
  AddRate(db, 2.0, changed);
  AddRate(db, 3.0, changed);
  uint64_t dropped = AddRate(db, 4.0);
  db.DeleteEntry(5, dropped);
  // Storing it again removes its marker, so only the record goes out.
  uint64_t back = AddRate(db, 5.0);
  db.DeleteEntry(5, back);
  AddRate(db, 6.0, back);
  ASSERT_EQ(db.WritePart(path), 0);
  EXPECT_TRUE(db.SyncJournal().empty());
  EXPECT_EQ(db.WritePart(path), 6);

  Bytes plain = Inflate(ReadAll(path));
  ASSERT_GE(plain.size(), 19u);
  EXPECT_EQ(Bytes(plain.begin(), plain.begin() + 19),
            Hex("56 44 42 50 41 52 54 | b8 01 00 00 | 0b 0a 00 00 00 00 00 00"));
  using R = std::pair<uint64_t, uint32_t>;
  EXPECT_EQ(Records(plain, 19), (std::vector<R>{{changed, 104}, {dropped, 1}, {back, 104}}));

  ASSERT_EQ(other.ReadPart(path), 0);
  EXPECT_EQ(RateOf(other, changed), 3.0);
  EXPECT_EQ(RateOf(other, dropped), -1);
  EXPECT_EQ(RateOf(other, back), 6.0);  // stored after its deletion: newer than the marker
  EXPECT_TRUE(other.SyncJournal().empty());
  EXPECT_TRUE(other.UndoHistory().empty());

  // A second application changes nothing.
  auto stamps = [](DataBase& d) {
    std::vector<uint64_t> s;
    for (const auto& [id, e] : d.GetTable(5)) s.push_back(e->Header.LastModDate);
    return s;
  };
  auto before = stamps(other);
  size_t markers = other.DeletedHeaders().size();
  ASSERT_EQ(other.ReadPart(path), 0);
  EXPECT_EQ(stamps(other), before);
  EXPECT_EQ(other.DeletedHeaders().size(), markers);
}

TEST_F(PartTest, RefusesForeignDamagedAndUnwritableParts) {
  const Bytes rate =
      Hex("01 00 00 00 00 00 00 00 | 05 00 00 00 00 00 00 00 | 00 00 00 00 00 00 00 00"  // ID 1
          "68 00 00 00 | 00 00 00 00 | 20 00 00 00 | 00 00 00 00"  // 104, 32 B
          "64 00 00 00 00 00 00 00 | c8 00 00 00 00 00 00 00"      // 100, 200
          "00 00 00 00 00 00 f0 3f | 20 4e 00 00 | 00 00 00 00");  // 1.0, date
  auto part = [&](const std::string& head) {
    Bytes plain = Hex(head);
    plain.insert(plain.end(), rate.begin(), rate.end());
    return Deflate(plain);
  };
  const std::string good = "56 44 42 50 41 52 54 | b8 01 00 00 | 0b 0a 00 00 00 00 00 00";
  struct Case {
    const char* name;
    Bytes bytes;
    int code;
  };
  Bytes damaged = part(good);
  damaged.resize(damaged.size() - 3);
  std::vector<Case> cases = {
      {"other database", part("56 44 42 50 41 52 54 | b8 01 00 00 | 0c 0a 00 00 00 00 00 00"), 3},
      {"signature", part("56 44 42 50 41 52 55 | b8 01 00 00 | 0b 0a 00 00 00 00 00 00"), 3},
      {"format 441", part("56 44 42 50 41 52 54 | b9 01 00 00 | 0b 0a 00 00 00 00 00 00"), 3},
      {"short head", Deflate(Hex("56 44 42 50")), 3},
      {"damaged zlib", damaged, -2},
      {"not zlib", Hex("00 01 02 03"), -2},
  };
  for (const Case& c : cases) {
    fs::path p = dir / "bad";
    WriteAll(p, c.bytes);
    EXPECT_EQ(other.ReadPart(p.string()), c.code) << c.name;
    EXPECT_TRUE(other.GetTable(5).empty()) << c.name;
  }
  EXPECT_EQ(other.ReadPart((dir / "missing").string()), -2);

  // Format 439 and a record stream cut inside a record still merge what is whole.
  Bytes older = Hex("56 44 42 50 41 52 54 | b7 01 00 00 | 0b 0a 00 00 00 00 00 00");
  older.insert(older.end(), rate.begin(), rate.end());
  older.insert(older.end(), rate.begin(), rate.begin() + 50);
  WriteAll(dir / "older", Deflate(older));
  EXPECT_EQ(other.ReadPart((dir / "older").string()), 0);
  EXPECT_EQ(RateOf(other, 1), 1.0);

  // A part that cannot be created keeps the journal for the next attempt.
  AddRate(db, 1.0);
  EXPECT_EQ(db.WritePart((dir / "no" / "such" / "folder").string()), -2);
  EXPECT_EQ(db.SyncJournal().size(), 1u);
}

}  // namespace
}  // namespace vemra
