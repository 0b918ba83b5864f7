// Byte vectors in and out of streams, for tests and fuzz targets.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "core/streams/compress.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"

namespace vemra::testing {

using Bytes = std::vector<uint8_t>;

// An input stream that reads `bytes` from memory.
inline std::unique_ptr<InputStream> MemoryInput(const Bytes& bytes) {
  OutputStream out;
  out.Write(bytes.data(), bytes.size());
  auto in = std::make_unique<InputStream>();
  in->AttachMemory(out);
  return in;
}

// One zlib stream (level 1) of `plain`.
inline Bytes Deflate(const Bytes& plain) {
  OutputStream out;
  CompressStream(*MemoryInput(plain), out);
  return out.MemoryData();
}

// The data of the zlib stream `packed`; `rc` receives DecompressStream's code.
inline Bytes Inflate(const Bytes& packed, int32_t* rc = nullptr) {
  OutputStream out;
  int32_t code = DecompressStream(*MemoryInput(packed), out);
  if (rc != nullptr) *rc = code;
  return out.MemoryData();
}

}  // namespace vemra::testing
