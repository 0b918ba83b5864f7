#include "cli/commands.h"

#include <gtest/gtest.h>

#include <sstream>

#include "cli/record_json.h"
#include "cli/testing/test_files.h"
#include "core/records/transaction.h"
#include "core/streams/compress.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "core/streams/testing/stream_bytes.h"
#include "generator/generator.h"
#include "platform/clock.h"

namespace vemra::cli {
namespace {

using testing::ReadBytes;
using testing::WriteBytes;

using testing::Cli;
using testing::Outcome;

// Appends the bytes written as hex pairs; spaces are ignored.
void Hex(std::vector<uint8_t>& out, std::string_view hex) {
  std::string digits;
  for (char c : hex) {
    if (c != ' ') digits.push_back(c);
  }
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    out.push_back(static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  }
}

void Zeros(std::vector<uint8_t>& out, size_t n) {
  out.insert(out.end(), n, 0);
}

// The 32 bytes in front of the settings block of a database file of `format`.
std::vector<uint8_t> FileStart(const char* format_hex) {
  std::vector<uint8_t> b;
  Hex(b, "00 04 00 00");                 // offset of the record area, 1024
  Hex(b, format_hex);                    // format version
  Hex(b, "56 65 6d 72 61 20 44 42 45");  // "Vemra DBE"
  Zeros(b, 15);                          // up to offset 32
  return b;
}

class CommandsTest : public ::testing::Test {
 protected:
  testing::ScratchDir dir;
};

TEST_F(CommandsTest, BadUsageExitsWithTwoAndHelpWithZero) {
  // One command line per string, words split at spaces.
  for (std::string_view line :
       {"", "frobnicate", "check", "dump a b", "convert a", "merge a b -o", "merge a b --force",
        "part", "part print x", "part apply a", "generate out", "generate out --transactions 12x",
        "generate out --transactions=5 --seed -1", "types extra"}) {
    Args args;
    for (size_t at = 0; at < line.size();) {
      size_t end = std::min(line.find(' ', at), line.size());
      args.emplace_back(line.substr(at, end - at));
      at = end + 1;
    }
    Outcome o = Cli(args);
    EXPECT_EQ(o.status, kExitUsage) << line;
    EXPECT_NE(o.err.find("usage: kestrum-cli"), std::string::npos);
    EXPECT_TRUE(o.out.empty());
  }
  for (const char* command :
       {"check", "dump", "convert", "merge", "part", "generate", "summary", "types"}) {
    Outcome o = Cli({command, "--help"});
    EXPECT_EQ(o.status, kExitOK) << command;
    EXPECT_EQ(o.out.rfind(std::string("usage: kestrum-cli ") + command, 0), 0u) << o.out;
  }
  EXPECT_EQ(Cli({"--help"}).status, kExitOK);
  Outcome version = Cli({"--version"});
  EXPECT_EQ(version.status, kExitOK);
  EXPECT_NE(version.out.find("compression: "), std::string::npos) << version.out;
  EXPECT_EQ(Cli({"types"}).out.find("FAILED"), std::string::npos);
  Outcome help = Cli({"help", "restore"});
  EXPECT_EQ(help.status, kExitOK);
  EXPECT_EQ(help.out.rfind("usage: kestrum-cli restore FILE", 0), 0u) << help.out;
  EXPECT_EQ(Cli({"help", "nosuch"}).status, kExitUsage);
  EXPECT_EQ(Cli({"help"}).out, Cli({"--help"}).out);
}

TEST_F(CommandsTest, FailuresExitWithOneAndTheResultMessage) {
  std::string missing = dir.Path("missing.kestrum");
  std::string junk = dir.Path("junk.kestrum");
  WriteBytes(junk, std::vector<uint8_t>(2000, 'x'));
  auto with_format = [&](const char* hex) {
    std::vector<uint8_t> b = FileStart(hex);
    Zeros(b, 1024 - b.size());
    std::string path = dir.Path(std::string("format-") + hex);
    WriteBytes(path, b);
    return path;
  };
  std::vector<std::pair<Args, std::string>> cases = {
      {{"check", missing}, "Can't open file"},
      {{"dump", junk}, "This is not a valid Kestrum data base file."},
      {{"check", with_format("b9 01 00 00")},  // 441
       "Unknown data base version. Update software to latest version to open this file."},
      {{"convert", with_format("2c 01 00 00"), dir.Path("out.kestrum")}, "Update failed."},  // 300
      {{"summary", with_format("17 01 00 00")},                                              // 279
       "Data base version too old. Update impossible."},
      {{"part", "dump", junk}, "junk.kestrum is not a valid part file"},  // not a zlib stream
      {{"check", dir.Path("")}, " is a directory"},
      {{"dump", missing}, "Can't open file " + missing + ": No such file or directory"},
  };
  for (const auto& [args, message] : cases) {
    Outcome o = Cli(args);
    EXPECT_EQ(o.status, kExitFailed) << message;
    EXPECT_NE(o.err.find(message), std::string::npos) << o.err;
  }
  EXPECT_FALSE(std::filesystem::exists(dir.Path("out.kestrum")));

  // Two different books: merging one into the other, or applying its part, is refused.
  std::string a = dir.Path("a.kestrum"), b = dir.Path("b.kestrum"), part = dir.Path("b.part");
  for (const auto& [path, id] : {std::pair{a, uint64_t{1}}, std::pair{b, uint64_t{2}}}) {
    DataBase db;
    db.Loaded = true;
    db.Header.DatabaseID = id;
    db.SetString(0, L"x");  // journalled, so that a part can be written
    ASSERT_EQ(db.SaveFile(path), 0);
    if (id == 2) {
      ASSERT_EQ(db.WritePart(part), 0);
    }
  }
  std::vector<uint8_t> before = ReadBytes(a);
  for (const Args& args : {Args{"merge", a, b}, Args{"part", "apply", a, part}}) {
    Outcome o = Cli(args);
    EXPECT_EQ(o.status, kExitFailed);
    EXPECT_NE(o.err.find("Data base ID mismatch, sync impossible."), std::string::npos);
  }
  EXPECT_EQ(ReadBytes(a), before);

  EXPECT_EQ(ResultMessage(4), "Invalid password");
  EXPECT_EQ(ResultMessage(6), "Unknown error: 6");
  EXPECT_EQ(ResultMessage(200), "Unknown error: -56");  // the low 8 bits, signed
}

TEST_F(CommandsTest, OlderFormatConvertsToTheSameDumpInTheCurrentFormat) {
  std::vector<uint8_t> b = FileStart("90 01 00 00");  // format 400: records not compressed
  Hex(b, "4d 00 00 00 00 00 00 00");                  // DatabaseID 77
  Hex(b, "00 00 00 00 00 00 00 00");                  // SettingsStamp
  Hex(b, "00 00 00 00");                              // Reserved1
  Hex(b, "02 00 00 00");              // Option0 2 (loading below 430 makes it 1), Option1-3
  Hex(b, "c8 00 00 00 00 00 00 00");  // DefaultCurrencyID 200
  Hex(b, "00 00 00 00 00 00 00 00");  // DefaultAccountID
  Hex(b, "20 4e 00 00");              // PeriodBegin 20000
  Hex(b, "3e 4e 00 00");              // PeriodEnd 20030
  Zeros(b, 144);                      // no password; rest of the settings block
  Zeros(b, 288);                      // up to 512
  Zeros(b, 40);                       // five database text IDs, all empty
  Zeros(b, 472);                      // up to 1024
  // An account in its older layout.
  Hex(b, "65 00 00 00 00 00 00 00");  // ID 101
  Hex(b, "e8 03 00 00 00 00 00 00");  // LastModDate 1000
  Hex(b, "00 00 00 00 00 00 00 00");  // OwnerID
  Hex(b, "65 00 00 00");              // Type 101, account
  Hex(b, "00 00 00 00");              // SecondaryType 0, the older layout
  Hex(b, "38 00 00 00");              // Size 56
  Hex(b, "00 00 00 00");              // Hidden, ReadOnly, padding
  Zeros(b, 16);                       // NameID, CommentID
  Hex(b, "c8 00 00 00 00 00 00 00");  // CurrencyID 200
  Zeros(b, 8);                        // GroupID
  Hex(b, "05 00 00 00");              // ImageIndex 5 (606 after the upgrade)
  Hex(b, "07 00 00 00");              // Reserved1 7 (cleared by the upgrade)
  Hex(b, "00 00 00 00 00 10 59 40");  // InitialBalance 100.25
  Hex(b, "00 00 00 00");              // LastReconciliationDate
  Hex(b, "01 00 00 00");              // Visible, Reserved2-4
  // A deletion marker.
  Hex(b, "2c 01 00 00 00 00 00 00");  // ID 300
  Hex(b, "b8 0b 00 00 00 00 00 00");  // LastModDate 3000
  Hex(b, "00 00 00 00 00 00 00 00");  // OwnerID
  Hex(b, "01 00 00 00");              // Type 1, deletion marker
  Hex(b, "c8 00 00 00");              // SecondaryType 200, a transaction
  Hex(b, "00 00 00 00 00 00 00 00");  // Size 0, Hidden, ReadOnly, padding
  std::string old_file = dir.Path("old.kestrum"), new_file = dir.Path("new.kestrum");
  WriteBytes(old_file, b);

  Outcome old_dump = Cli({"dump", old_file});
  ASSERT_EQ(old_dump.status, kExitOK) << old_dump.err;
  Json j = Json::parse(old_dump.out);
  EXPECT_EQ(j["format"], 400);
  EXPECT_EQ(j["header"]["Option0"], 1);
  ASSERT_EQ(j["records"].size(), 1u);
  EXPECT_EQ(j["records"][0]["SecondaryType"], 1);
  EXPECT_EQ(j["records"][0]["ImageIndex"], 606);
  EXPECT_EQ(j["records"][0]["Reserved1"], 0);
  EXPECT_EQ(j["records"][0]["InitialBalance"], 100.25);
  EXPECT_EQ(j["deleted"][0]["SecondaryType"], 200);
  EXPECT_EQ(Cli({"check", old_file}).out.rfind("format: 400\nDatabaseID: 77\n", 0), 0u);

  ASSERT_EQ(Cli({"convert", old_file, new_file}).status, kExitOK);
  std::string expected = old_dump.out;
  expected.replace(0, std::string_view(R"({"format":400)").size(), R"({"format":440)");
  EXPECT_EQ(Cli({"dump", new_file}).out, expected);
}

TEST_F(CommandsTest, GeneratedBookConvertsToTheSameDump) {
  std::string a = dir.Path("a.kestrum"), b = dir.Path("b.kestrum");
  ASSERT_EQ(Cli({"generate", a, "--transactions", "400", "--seed=4"}).status, kExitOK);
  ASSERT_EQ(Cli({"convert", a, b}).status, kExitOK);
  Outcome dump_a = Cli({"dump", a});
  EXPECT_EQ(dump_a.status, kExitOK);
  EXPECT_EQ(dump_a.out, Cli({"dump", b}).out);
  EXPECT_EQ(ReadBytes(a), ReadBytes(b));

  Outcome check = Cli({"check", b});
  EXPECT_NE(check.out.find("etTransaction                   400"), std::string::npos) << check.out;
  Outcome summary = Cli({"summary", b});
  EXPECT_NE(summary.out.find("transactions: 400 from "), std::string::npos) << summary.out;
  EXPECT_NE(summary.out.find("(closed)"), std::string::npos);
}

TEST_F(CommandsTest, PartDumpListsRecordsUntilAnUnreadableBody) {
  std::vector<uint8_t> p;
  Hex(p, "56 44 42 50 41 52 54");     // "VDBPART"
  Hex(p, "b8 01 00 00");              // format 440
  Hex(p, "4d 00 00 00 00 00 00 00");  // DatabaseID 77
  // An exchange rate.
  Hex(p, "90 01 00 00 00 00 00 00");  // ID 400
  Hex(p, "e8 03 00 00 00 00 00 00");  // LastModDate 1000
  Hex(p, "00 00 00 00 00 00 00 00");  // OwnerID
  Hex(p, "68 00 00 00");              // Type 104, exchange rate
  Hex(p, "00 00 00 00");              // SecondaryType 0
  Hex(p, "20 00 00 00");              // Size 32
  Hex(p, "00 01 00 00");              // Hidden 0, ReadOnly 1, padding
  Hex(p, "c8 00 00 00 00 00 00 00");  // first currency 200
  Hex(p, "c9 00 00 00 00 00 00 00");  // second currency 201
  Hex(p, "00 00 00 00 00 00 f8 3f");  // rate 1.5
  Hex(p, "1f 4e 00 00");              // date 19999
  Hex(p, "00 00 00 00");              // last word
  // A record of a type without a class, with a 4-byte body.
  Hex(p, "2c 01 00 00 00 00 00 00");  // ID 300
  Hex(p, "05 00 00 00 00 00 00 00");  // LastModDate 5
  Hex(p, "00 00 00 00 00 00 00 00");  // OwnerID
  Hex(p, "96 00 00 00");              // Type 150
  Hex(p, "00 00 00 00");              // SecondaryType
  Hex(p, "04 00 00 00");              // Size 4
  Hex(p, "00 00 00 00");              // Hidden, ReadOnly, padding
  Hex(p, "de ad be ef");              // body
  // A deletion marker.
  Hex(p, "bc 02 00 00 00 00 00 00");  // ID 700
  Hex(p, "70 17 00 00 00 00 00 00");  // LastModDate 6000
  Hex(p, "00 00 00 00 00 00 00 00");  // OwnerID
  Hex(p, "01 00 00 00");              // Type 1, deletion marker
  Hex(p, "67 00 00 00");              // SecondaryType 103, a category
  Hex(p, "00 00 00 00 00 00 00 00");  // Size 0, Hidden, ReadOnly, padding
  // A tag link in a layout version that does not exist: its body ends the list.
  Hex(p, "20 03 00 00 00 00 00 00");  // ID 800
  Hex(p, "01 00 00 00 00 00 00 00");  // LastModDate 1
  Hex(p, "00 00 00 00 00 00 00 00");  // OwnerID
  Hex(p, "6d 00 00 00");              // Type 109, tag link
  Hex(p, "07 00 00 00");              // SecondaryType 7
  Hex(p, "10 00 00 00");              // Size 16
  Hex(p, "00 00 00 00");              // Hidden, ReadOnly, padding
  Zeros(p, 16);                       // body
  Hex(p, "21 03 00 00 00 00 00 00");  // ID 801: not reached
  Zeros(p, 32);                       // rest of a header

  auto write_part = [&](const std::vector<uint8_t>& plain, const std::string& path) {
    OutputStream raw;
    raw.Write(plain.data(), plain.size());
    InputStream in;
    in.AttachMemory(raw);
    OutputStream file;
    ASSERT_TRUE(file.OpenFile(path));
    ASSERT_EQ(CompressStream(in, file), 0);
  };
  std::string path = dir.Path("77.1");
  write_part(p, path);
  Outcome o = Cli({"part", "dump", path});
  EXPECT_EQ(o.status, kExitOK) << o.err;
  EXPECT_EQ(o.out, R"({"format":440,"DatabaseID":77,
"records":[
{"ID":400,"LastModDate":1000,"OwnerID":0,"Type":104,"SecondaryType":0,"Size":32,"Hidden":0,"ReadOnly":1,"table":5,"@0":200,"@8":201,"@16":1.5,"@24":19999,"@28":0},
{"ID":300,"LastModDate":5,"OwnerID":0,"Type":150,"SecondaryType":0,"Size":4,"Hidden":0,"ReadOnly":0}],
"deleted":[
{"ID":700,"LastModDate":6000,"OwnerID":0,"SecondaryType":103}]}
)");

  // A wrong signature or a later format is no part to show.
  for (auto [offset, byte, message] :
       {std::tuple{size_t{6}, uint8_t{'X'}, "is not a valid part file"},
        std::tuple{size_t{7}, uint8_t{0xb9}, "is a part file of a newer format (441)"}}) {
    std::vector<uint8_t> bad = p;
    bad[offset] = byte;
    write_part(bad, path);
    Outcome refused = Cli({"part", "dump", path});
    EXPECT_EQ(refused.status, kExitFailed);
    EXPECT_TRUE(refused.out.empty());
    EXPECT_NE(refused.err.find(message), std::string::npos) << refused.err;
  }
}

TEST_F(CommandsTest, MergeAndPartApplyBringOverTheChangesOfTheOtherCopy) {
  std::string base = dir.Path("base.kestrum"), other = dir.Path("other.kestrum"),
              part = dir.Path("changes.part"), merged = dir.Path("merged.kestrum"),
              applied = dir.Path("applied.kestrum");
  ADate today = TodayADate();
  {
    DataBase db;
    GenerateBook(db, 300, 3, today);
    ASSERT_EQ(db.SaveFile(base), 0);
  }
  std::vector<uint8_t> before = ReadBytes(base);
  {
    // An hour after the book was made: every change is newer than what it replaces.
    platform::ScopedClockPin pin(int64_t{today.Val} * 86400 + 13 * 3600);
    DataBase db;
    uint32_t format = 0;
    ASSERT_EQ(OpenDatabase(base, db, format), 0);
    uint64_t gone = db.GetTable(1).begin()->first;
    uint64_t edited = std::next(db.GetTable(1).begin())->first;
    ASSERT_TRUE(db.DeleteEntry(1, gone));
    auto copy = db.GetEntry(edited, 1);
    static_cast<TTransaction&>(*copy).Name = L"Edited";
    ASSERT_EQ(db.StoreEntry(std::move(copy)), edited);
    auto fresh = std::make_unique<TTransaction>();
    fresh->Name = L"New";
    ASSERT_NE(db.StoreEntry(std::move(fresh)), 0u);
    ASSERT_EQ(db.WritePart(part), 0);
    ASSERT_EQ(db.SaveFile(other), 0);
  }
  std::string expected = Cli({"dump", other}).out;
  ASSERT_NE(expected, Cli({"dump", base}).out);

  EXPECT_EQ(Cli({"merge", base, other, "-o", merged}).status, kExitOK);
  EXPECT_EQ(Cli({"dump", merged}).out, expected);
  EXPECT_EQ(Cli({"part", "apply", base, part, part, "-o", applied}).status, kExitOK);
  EXPECT_EQ(Cli({"dump", applied}).out, expected);
  EXPECT_EQ(ReadBytes(base), before);  // -o leaves the input alone
  EXPECT_EQ(Cli({"merge", base, other}).status, kExitOK);
  EXPECT_EQ(Cli({"dump", base}).out, expected);
}

TEST_F(CommandsTest, DamagedBooksAreReportedAndNeverWritten) {
  std::string book = dir.Path("book.kestrum"), part = dir.Path("book.part");
  {
    DataBase db;
    GenerateBook(db, 50, 1);
    ASSERT_EQ(db.SaveFile(book), 0);
    auto fresh = std::make_unique<TTransaction>();
    fresh->Name = L"From another copy";
    ASSERT_NE(db.StoreEntry(std::move(fresh)), 0u);
    ASSERT_EQ(db.WritePart(part), 0);
  }
  const std::vector<uint8_t> good = ReadBytes(book);
  auto variant = [&](const std::string& name, size_t at, std::vector<uint8_t> bytes) {
    std::vector<uint8_t> b = good;
    std::copy(bytes.begin(), bytes.end(), b.begin() + static_cast<std::ptrdiff_t>(at));
    WriteBytes(dir.Path(name), b);
    return dir.Path(name);
  };
  // One flipped bit of the format makes the compressed records look uncompressed.
  std::string flipped = variant("flipped.kestrum", 4, {static_cast<uint8_t>(good[4] ^ 0x20)});
  for (const Args& args :
       {Args{"check", flipped}, Args{"accounts", flipped}, Args{"part", "apply", flipped, part}}) {
    Outcome o = Cli(args);
    EXPECT_EQ(o.status, kExitFailed) << args[0];
    EXPECT_NE(o.err.find("This is not a valid Kestrum data base file."), std::string::npos);
    EXPECT_NE(o.err.find("damaged after 0 whole records"), std::string::npos) << o.err;
  }
  EXPECT_EQ(ReadBytes(flipped)[4], good[4] ^ 0x20);
  EXPECT_EQ(ReadBytes(flipped).size(), good.size());

  // Header values the records contradict are damage for check and a warning elsewhere.
  std::string no_id = variant("no-id.kestrum", 32, std::vector<uint8_t>(8, 0));
  std::string no_currency = variant("no-currency.kestrum", 56, {0xee, 0xee, 0xee});
  Outcome checked = Cli({"check", no_id});
  EXPECT_EQ(checked.status, kExitFailed);
  EXPECT_NE(checked.out.find("damage: the database ID is 0"), std::string::npos);
  checked = Cli({"check", no_currency});
  EXPECT_EQ(checked.status, kExitFailed);
  EXPECT_NE(checked.out.find("damage: the default currency"), std::string::npos);
  Outcome listed = Cli({"accounts", no_currency});
  EXPECT_EQ(listed.status, kExitOK);
  EXPECT_NE(listed.err.find("warning: " + no_currency + ": the default currency"),
            std::string::npos);
  EXPECT_NE(listed.err.find("amounts are shown in "), std::string::npos) << listed.err;
  EXPECT_EQ(Cli({"check", book}).status, kExitOK);

  // A part whose records end early inside an undamaged stream is applied up to the damage,
  // and the command says so.
  std::vector<uint8_t> plain = vemra::testing::Inflate(ReadBytes(part));
  plain.resize(plain.size() - 5);
  std::string cut = dir.Path("cut.part");
  WriteBytes(cut, vemra::testing::Deflate(plain));
  Outcome applied = Cli({"part", "apply", book, cut, "-o", dir.Path("applied.kestrum")});
  EXPECT_EQ(applied.status, kExitOK);
  EXPECT_NE(applied.err.find("warning: " + cut + " was applied only in part"), std::string::npos)
      << applied.err;
}

}  // namespace
}  // namespace vemra::cli
