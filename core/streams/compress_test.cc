#include "core/streams/compress.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"

namespace vemra {
namespace {

std::vector<uint8_t> Bytes(std::initializer_list<int> b) {
  return {b.begin(), b.end()};
}

// An input stream over a byte vector that counts its reads.
class VectorInput : public IInputStream {
 public:
  explicit VectorInput(std::vector<uint8_t> data) : data_(std::move(data)) {}
  size_t Read(void* dst, size_t n) override {
    ++reads;
    size_t count = std::min(n, data_.size() - pos_);
    std::copy_n(data_.begin() + pos_, count, static_cast<uint8_t*>(dst));
    pos_ += count;
    if (count < n) eof_ = !fail_short;
    return count;
  }
  int64_t Tell() override { return static_cast<int64_t>(pos_); }
  bool Seek(int64_t off) override {
    pos_ = static_cast<size_t>(off);
    eof_ = false;
    return true;
  }
  bool Eof() override { return eof_; }
  int reads = 0;
  bool fail_short = false;  // a short read without reaching the end: a failing device

 private:
  std::vector<uint8_t> data_;
  size_t pos_ = 0;
  bool eof_ = false;
};

// An output stream that stops accepting bytes after a limit.
class LimitedOutput : public IOutputStream {
 public:
  explicit LimitedOutput(size_t limit) : limit_(limit) {}
  size_t Write(const void* src, size_t n) override {
    size_t count = std::min(n, limit_ - data.size());
    data.insert(data.end(), static_cast<const uint8_t*>(src),
                static_cast<const uint8_t*>(src) + count);
    return count;
  }
  int64_t Tell() override { return static_cast<int64_t>(data.size()); }
  bool Seek(int64_t) override { return false; }
  std::vector<uint8_t> data;

 private:
  size_t limit_;
};

std::vector<uint8_t> Compress(const std::vector<uint8_t>& plain, int32_t* rc = nullptr) {
  VectorInput in(plain);
  OutputStream out;
  int32_t r = CompressStream(in, out);
  if (rc) *rc = r;
  return out.MemoryData();
}

int32_t Decompress(const std::vector<uint8_t>& packed, std::vector<uint8_t>& plain) {
  VectorInput in(packed);
  OutputStream out;
  int32_t rc = DecompressStream(in, out);
  plain = out.MemoryData();
  return rc;
}

TEST(CompressTest, KnownVectorsAtLevelOne) {
  // Empty input: header 78 01, an empty final fixed block, Adler-32 of nothing.
  EXPECT_EQ(Compress({}), Bytes({0x78, 0x01, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01}));
  // "abc": three literals in a fixed block, Adler-32 0x024D0127.
  EXPECT_EQ(Compress({'a', 'b', 'c'}),
            Bytes({0x78, 0x01, 0x4B, 0x4C, 0x4A, 0x06, 0x00, 0x02, 0x4D, 0x01, 0x27}));
  std::vector<uint8_t> plain = {1};
  EXPECT_EQ(Decompress(Bytes({0x78, 0x01, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01}), plain), 0);
  EXPECT_TRUE(plain.empty());
  EXPECT_EQ(
      Decompress(Bytes({0x78, 0x9C, 0x4B, 0x4C, 0x4A, 0x06, 0x00, 0x02, 0x4D, 0x01, 0x27}), plain),
      0);
  EXPECT_EQ(std::string(plain.begin(), plain.end()), "abc");
}

TEST(CompressTest, RoundTripsAcrossChunkBoundaries) {
  for (size_t size : {size_t{65536}, size_t{3 * 65536 + 17}}) {
    std::vector<uint8_t> plain(size);
    uint32_t x = 12345;
    for (auto& b : plain) b = static_cast<uint8_t>((x = x * 1103515245 + 12345) >> 24);
    VectorInput in(plain);
    OutputStream out;
    ASSERT_EQ(CompressStream(in, out), 0);
    // An exact multiple of the chunk ends with one more, empty read that finishes the stream.
    if (size == 65536) {
      EXPECT_EQ(in.reads, 2);
    }
    std::vector<uint8_t> back;
    ASSERT_EQ(Decompress(out.MemoryData(), back), 0);
    EXPECT_EQ(back, plain);
  }
}

// Our codec and zlib read each other's streams, so files stay readable by older copies and by
// any zlib reader whichever codec the build uses.
TEST(CompressTest, ZlibReadsOurStreamsAndWeReadZlibs) {
  std::vector<uint8_t> plain(3 * 1024 * 1024 + 5);
  uint32_t x = 7;
  for (size_t i = 0; i < plain.size(); ++i) {
    x = x * 1103515245 + 12345;
    // Runs of text-like bytes with random ones between, like a record stream.
    plain[i] = (i / 4096) % 3 == 0 ? static_cast<uint8_t>(x >> 24) : "0123 abc "[i % 9];
  }
  std::vector<uint8_t> ours = Compress(plain);
  ASSERT_GE(ours.size(), 2u);
  EXPECT_EQ(ours[0], 0x78);
  EXPECT_EQ(ours[1], 0x01);
  std::vector<uint8_t> back(plain.size());
  uLongf size = back.size();
  ASSERT_EQ(uncompress(back.data(), &size, ours.data(), ours.size()), Z_OK);
  EXPECT_EQ(size, plain.size());
  EXPECT_EQ(back, plain);

  for (int level : {1, 6, 9}) {
    std::vector<uint8_t> theirs(compressBound(plain.size()));
    uLongf packed = theirs.size();
    ASSERT_EQ(compress2(theirs.data(), &packed, plain.data(), plain.size(), level), Z_OK);
    theirs.resize(packed);
    ASSERT_EQ(Decompress(theirs, back), 0) << level;
    EXPECT_EQ(back, plain) << level;
    // A wrong checksum is damage even though every byte of data came out.
    theirs.back() ^= 1;
    EXPECT_EQ(Decompress(theirs, back), -3) << level;
  }
}

TEST(CompressTest, DamagedInputGivesDataError) {
  std::vector<uint8_t> plain;
  EXPECT_EQ(Decompress({}, plain), -3);
  // Preset dictionary requested (FDICT set, dictionary id 1).
  EXPECT_EQ(Decompress(Bytes({0x78, 0xBB, 0x00, 0x00, 0x00, 0x01}), plain), -3);
  // Bad header check, a method other than deflate, a window above 32 KiB.
  EXPECT_EQ(Decompress(Bytes({0x78, 0x02, 0x03, 0x00}), plain), -3);
  EXPECT_EQ(Decompress(Bytes({0x79, 0x18, 0x03, 0x00}), plain), -3);
  EXPECT_EQ(Decompress(Bytes({0x88, 0x1C, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01}), plain), -3);

  std::vector<uint8_t> big(200000, 'k');
  for (size_t i = 0; i < big.size(); i += 7) big[i] = static_cast<uint8_t>(i);
  std::vector<uint8_t> packed = Compress(big);
  // Cut short: what could be decompressed is written, then the stream reports the cut.
  std::vector<uint8_t> cut(packed.begin(), packed.begin() + packed.size() / 2);
  EXPECT_EQ(Decompress(cut, plain), -3);
  EXPECT_GT(plain.size(), 0u);
  EXPECT_LT(plain.size(), big.size());
  EXPECT_TRUE(std::equal(plain.begin(), plain.end(), big.begin()));
  // Without its checksum the data is complete but unconfirmed.
  cut.assign(packed.begin(), packed.end() - 4);
  EXPECT_EQ(Decompress(cut, plain), -3);
  // A flipped byte in the middle is caught by the structure or by the checksum.
  packed[packed.size() / 2] ^= 0x55;
  EXPECT_EQ(Decompress(packed, plain), -3);
}

TEST(CompressTest, StreamFailuresAreReported) {
  std::vector<uint8_t> plain(100000, 'z');
  VectorInput in(plain);
  LimitedOutput out(5);
  EXPECT_EQ(CompressStream(in, out), -1);

  std::vector<uint8_t> packed = Compress(plain);
  VectorInput in2(packed);
  LimitedOutput out2(1000);
  EXPECT_EQ(DecompressStream(in2, out2), -1);

  VectorInput failing(std::vector<uint8_t>(10, 'x'));
  failing.fail_short = true;
  OutputStream sink;
  EXPECT_EQ(CompressStream(failing, sink), -2);
}

}  // namespace
}  // namespace vemra
