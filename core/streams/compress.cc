#include "core/streams/compress.h"

#include <zlib.h>

#include <vector>

namespace vemra {
namespace {

constexpr size_t kChunk = 65536;
// The version string the stream is set up with: zlib accepts any 1.x library for it.
constexpr const char* kZlibVersion = "1.2.11";

}  // namespace

int32_t CompressStream(IInputStream& in, IOutputStream& out) {
  z_stream zs{};
  int rc = deflateInit_(&zs, 1, kZlibVersion, static_cast<int>(sizeof(z_stream)));
  if (rc != Z_OK) return rc;
  std::vector<uint8_t> inbuf(kChunk);
  std::vector<uint8_t> outbuf(kChunk);
  bool end;
  do {
    size_t got = in.Read(inbuf.data(), kChunk);
    end = in.Eof();
    if (got < kChunk && !end) {
      deflateEnd(&zs);
      return Z_STREAM_ERROR;
    }
    zs.next_in = inbuf.data();
    zs.avail_in = static_cast<uInt>(got);
    do {
      zs.next_out = outbuf.data();
      zs.avail_out = kChunk;
      deflate(&zs, end ? Z_FINISH : Z_NO_FLUSH);
      size_t have = kChunk - zs.avail_out;
      if (have > 0 && out.Write(outbuf.data(), have) != have) {
        deflateEnd(&zs);
        return -1;
      }
    } while (zs.avail_out == 0);
  } while (!end);
  deflateEnd(&zs);
  return 0;
}

int32_t DecompressStream(IInputStream& in, IOutputStream& out) {
  z_stream zs{};
  int rc = inflateInit_(&zs, kZlibVersion, static_cast<int>(sizeof(z_stream)));
  if (rc != Z_OK) return rc;
  std::vector<uint8_t> inbuf(kChunk);
  std::vector<uint8_t> outbuf(kChunk);
  int32_t result = Z_DATA_ERROR;
  size_t got = in.Read(inbuf.data(), kChunk);
  while (got > 0) {
    zs.next_in = inbuf.data();
    zs.avail_in = static_cast<uInt>(got);
    do {
      zs.next_out = outbuf.data();
      zs.avail_out = kChunk;
      rc = inflate(&zs, Z_NO_FLUSH);
      if (rc == Z_NEED_DICT) rc = Z_DATA_ERROR;
      if (rc == Z_DATA_ERROR || rc == Z_MEM_ERROR || rc == Z_STREAM_ERROR) {
        inflateEnd(&zs);
        return rc;
      }
      size_t have = kChunk - zs.avail_out;
      if (have > 0 && out.Write(outbuf.data(), have) != have) {
        inflateEnd(&zs);
        return -1;
      }
    } while (zs.avail_out == 0 && rc != Z_STREAM_END);
    if (rc == Z_STREAM_END) {
      result = 0;
      break;
    }
    got = in.Read(inbuf.data(), kChunk);
  }
  inflateEnd(&zs);
  return result;
}

}  // namespace vemra
