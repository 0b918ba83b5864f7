// Moving a whole stream through the codec: the record area of database files and sync part
// files are zlib streams (RFC 1950) made at the fastest compression level.
#pragma once

#include <cstdint>

#include "core/streams/stream.h"

namespace vemra {

// Reads `in` to its end in 64 KiB chunks and writes one complete zlib stream of it to `out`.
// Returns 0 on success; -1 when `out` accepted fewer bytes than given; -2 when `in` returned a
// short chunk without reaching its end (a read error); -4 when the codec could not be set up.
// On failure `out` holds an incomplete stream. Thread-compatible.
int32_t CompressStream(IInputStream& in, IOutputStream& out);

// Reads a zlib stream from `in` and writes the data it holds to `out`, stopping at the end of
// the compressed data (bytes after it are not read further). Returns 0 on success; -1 when `out`
// accepted fewer bytes than given; -3 when `in` is empty, ends before the compressed data does,
// holds damaged data or asks for a preset dictionary; -4 when the codec could not be set up. On
// failure `out` holds what could be decompressed before it.
int32_t DecompressStream(IInputStream& in, IOutputStream& out);

}  // namespace vemra
