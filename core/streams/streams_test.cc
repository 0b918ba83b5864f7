#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"

namespace vemra {
namespace {

std::string TempPath(const char* name) {
  const char* dir = std::getenv("TMPDIR");
  return std::string(dir ? dir : "/tmp") + "/kestrum_streams_" + std::to_string(getpid()) + "_" +
         name;
}

TEST(MemoryStreamTest, AttachedInputReadsWhatWasWrittenAndTracksEnd) {
  OutputStream out;
  const char data[] = "0123456789";
  ASSERT_EQ(out.Write(data, 10), 10u);
  InputStream in;
  in.AttachMemory(out);
  EXPECT_TRUE(out.MemoryData().empty());  // the buffer moved, it was not copied
  EXPECT_EQ(in.Tell(), 0);
  char buf[40] = {};
  EXPECT_EQ(in.Read(buf, 4), 4u);
  EXPECT_EQ(std::memcmp(buf, "0123", 4), 0);
  EXPECT_FALSE(in.Eof());
  // Asking for more than remains returns the rest and sets the end state.
  EXPECT_EQ(in.Read(buf, 40), 6u);
  EXPECT_EQ(std::memcmp(buf, "456789", 6), 0);
  EXPECT_TRUE(in.Eof());
  EXPECT_TRUE(in.Seek(2));
  EXPECT_FALSE(in.Eof());
  EXPECT_EQ(in.Tell(), 2);
  // Sitting exactly at the end is not the end state; the next read is.
  EXPECT_TRUE(in.Seek(10));
  EXPECT_FALSE(in.Eof());
  EXPECT_EQ(in.Read(buf, 1), 0u);
  EXPECT_TRUE(in.Eof());
}

TEST(MemoryStreamTest, SeekOverwritesAndAnOutsideSeekFailsTheBuffer) {
  OutputStream out;
  out.Write("abcdef", 6);
  ASSERT_TRUE(out.Seek(2));
  out.Write("XYZW!", 5);  // overwrites 3 bytes, then grows
  EXPECT_EQ(std::string(out.MemoryData().begin(), out.MemoryData().end()), "abXYZW!");
  EXPECT_EQ(out.Tell(), 7);
  EXPECT_TRUE(out.Seek(7));  // exactly at the end is inside
  EXPECT_FALSE(out.Seek(8));
  EXPECT_EQ(out.Tell(), -1);
  EXPECT_EQ(out.Write("q", 1), 0u);
  out.OpenMemory();  // a fresh buffer works again
  EXPECT_EQ(out.Write("q", 1), 1u);
  EXPECT_EQ(out.Tell(), 1);
}

TEST(FileStreamTest, WrittenFileReadsBackWithTheSameEndBehaviour) {
  std::string path = TempPath("roundtrip");
  {
    OutputStream out;
    ASSERT_TRUE(out.OpenFile(path));
    EXPECT_EQ(out.Write("hello world", 11), 11u);
    EXPECT_EQ(out.Tell(), 11);
    ASSERT_TRUE(out.Seek(0));
    out.Write("J", 1);
    EXPECT_TRUE(out.Sync());
    EXPECT_TRUE(out.Close());
  }
  InputStream in;
  ASSERT_TRUE(in.OpenFile(path));
  char buf[40] = {};
  EXPECT_EQ(in.Read(buf, 40), 11u);
  EXPECT_EQ(std::string(buf), "Jello world");
  EXPECT_TRUE(in.Eof());
  EXPECT_TRUE(in.Seek(6));
  EXPECT_FALSE(in.Eof());
  EXPECT_EQ(in.Tell(), 6);
  EXPECT_EQ(in.Read(buf, 5), 5u);
  EXPECT_FALSE(in.Eof());
  std::remove(path.c_str());
}

TEST(FileStreamTest, FailuresAreReportedNotThrown) {
  InputStream in;
  EXPECT_FALSE(in.OpenFile(TempPath("does_not_exist")));
  char c;
  EXPECT_EQ(in.Read(&c, 1), 0u);
  EXPECT_EQ(in.Tell(), -1);

  OutputStream out;
  EXPECT_FALSE(out.OpenFile("/nonexistent-dir/x"));
  EXPECT_EQ(out.Write("kept", 4), 4u);  // still usable in memory
  EXPECT_EQ(out.MemoryData().size(), 4u);

  // A full disk: the data does not fit, and closing says so.
  if (access("/dev/full", W_OK) == 0) {
    OutputStream full;
    ASSERT_TRUE(full.OpenFile("/dev/full"));
    std::string block(1 << 16, 'x');
    full.Write(block.data(), block.size());
    EXPECT_FALSE(full.Close());
  }
}

}  // namespace
}  // namespace vemra
