// Fuzzes DecompressStream: any input gives a result code and never a crash, zlib itself accepts
// exactly the streams it accepts and reads the same bytes from them (whichever codec the build
// uses), and a successful result compresses and decompresses back to the same bytes. An input whose
// first byte is odd is first turned into a valid zlib stream of its remaining bytes, which is then
// damaged (one byte changed, or the tail cut off) at a place the input chooses, so that plain
// random inputs also reach the deflate decoder past the stream header.
#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "core/streams/compress.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"

namespace {

// Runs DecompressStream over `bytes`; returns its code and the output in `plain`.
int32_t Inflate(const std::vector<uint8_t>& bytes, std::vector<uint8_t>& plain) {
  vemra::OutputStream packed;
  packed.Write(bytes.data(), bytes.size());
  vemra::InputStream in;
  in.AttachMemory(packed);
  vemra::OutputStream out;
  int32_t rc = vemra::DecompressStream(in, out);
  plain = out.MemoryData();
  return rc;
}

// zlib's own reading of `bytes`: true with the data when they begin with a complete, undamaged
// zlib stream (bytes after it ignored), as DecompressStream reads them.
bool ZlibInflate(const std::vector<uint8_t>& bytes, std::vector<uint8_t>& plain) {
  z_stream zs{};
  if (inflateInit(&zs) != Z_OK) std::abort();
  plain.clear();
  uint8_t chunk[4096];
  zs.next_in = const_cast<Bytef*>(bytes.data());
  zs.avail_in = static_cast<uInt>(bytes.size());
  int rc;
  do {
    zs.next_out = chunk;
    zs.avail_out = sizeof chunk;
    rc = inflate(&zs, Z_NO_FLUSH);
    plain.insert(plain.end(), chunk, zs.next_out);
  } while (rc == Z_OK);
  inflateEnd(&zs);
  return rc == Z_STREAM_END;
}

std::vector<uint8_t> Deflate(const std::vector<uint8_t>& plain) {
  vemra::OutputStream src;
  src.Write(plain.data(), plain.size());
  vemra::InputStream in;
  in.AttachMemory(src);
  vemra::OutputStream out;
  if (vemra::CompressStream(in, out) != 0) std::abort();
  return out.MemoryData();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<uint8_t> input(data, data + size);
  if (size >= 4 && (data[0] & 1) != 0) {
    std::vector<uint8_t> packed = Deflate(std::vector<uint8_t>(data + 4, data + size));
    size_t at = (size_t{data[1]} * 256 + data[2]) % packed.size();
    if (data[3] & 0x80) {
      packed.resize(at);
    } else {
      packed[at] ^= static_cast<uint8_t>(data[3] | 1);
    }
    input = packed;
  }
  std::vector<uint8_t> plain;
  int32_t rc = Inflate(input, plain);
  std::vector<uint8_t> theirs;
  if (ZlibInflate(input, theirs) != (rc == 0) || (rc == 0 && theirs != plain)) std::abort();
  if (rc != 0) {
    if (rc != -3 && rc != -4) std::abort();
    return 0;
  }
  std::vector<uint8_t> again;
  if (Inflate(Deflate(plain), again) != 0 || again != plain) std::abort();
  return 0;
}
