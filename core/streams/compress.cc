#include "core/streams/compress.h"

#include <vector>

#include "core/streams/codec.h"

namespace vemra {
namespace {

constexpr size_t kChunk = 65536;

}  // namespace

int32_t CompressStream(IInputStream& in, IOutputStream& out) {
  Deflater deflater;
  std::vector<uint8_t> inbuf(kChunk);
  std::vector<uint8_t> outbuf(kChunk);
  bool end;
  do {
    size_t got = in.Read(inbuf.data(), kChunk);
    end = in.Eof();
    if (got < kChunk && !end) return -2;
    CodecBuffers b{inbuf.data(), got, nullptr, 0};
    int32_t rc;
    do {
      b.next_out = outbuf.data();
      b.avail_out = kChunk;
      rc = deflater.Run(b, end);
      if (rc < 0) return rc;
      size_t have = kChunk - b.avail_out;
      if (have > 0 && out.Write(outbuf.data(), have) != have) return -1;
    } while (b.avail_in > 0 || (end && rc != kCodecEnd));
  } while (!end);
  return 0;
}

int32_t DecompressStream(IInputStream& in, IOutputStream& out) {
  Inflater inflater;
  std::vector<uint8_t> inbuf(kChunk);
  std::vector<uint8_t> outbuf(kChunk);
  size_t got = in.Read(inbuf.data(), kChunk);
  while (got > 0) {
    CodecBuffers b{inbuf.data(), got, nullptr, 0};
    int32_t rc;
    do {
      b.next_out = outbuf.data();
      b.avail_out = kChunk;
      rc = inflater.Run(b);
      size_t have = kChunk - b.avail_out;
      if (have > 0 && out.Write(outbuf.data(), have) != have) return -1;
      if (rc < 0) return rc;
    } while (rc == kCodecMore && (b.avail_in > 0 || b.avail_out == 0));
    if (rc == kCodecEnd) return 0;
    got = in.Read(inbuf.data(), kChunk);
  }
  return kCodecDamaged;  // the input ended before the compressed data did
}

}  // namespace vemra
