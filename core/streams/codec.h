// The zlib-format (RFC 1950) codec under every compressed stream: ISA-L's igzip when the build
// found it, zlib otherwise. Both read and write the same format, so files move freely between
// builds and older copies; igzip inflates about twice and deflates about seven times as fast.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vemra {

// The codec this build uses and its version, as "ISA-L 2.30.0" or "zlib 1.2.13".
const char* CodecName();

// Input and output of one codec step; the step advances the pointers and counts.
struct CodecBuffers {
  const uint8_t* next_in = nullptr;
  size_t avail_in = 0;
  uint8_t* next_out = nullptr;
  size_t avail_out = 0;
};

// Results of Inflater::Run and Deflater::Run.
enum : int32_t {
  kCodecEnd = 0,        // the stream is complete (inflate: checksum verified)
  kCodecMore = 1,       // needs more input or more output space
  kCodecDamaged = -3,   // not a zlib stream, damaged, or asks for a preset dictionary
  kCodecNoMemory = -4,  // setting up the codec failed
};

// Decompresses one zlib stream. Not thread-safe; one stream per object.
class Inflater {
 public:
  Inflater();
  ~Inflater();
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  // Decompresses as much of `b`'s input as fits into its output. Returns kCodecEnd once the
  // stream and its checksum were read (input after it is left unread in `b`), kCodecMore when
  // the input ran out or the output is full, or kCodecDamaged / kCodecNoMemory, after which
  // every call returns the same. Output produced before an error is valid data.
  int32_t Run(CodecBuffers& b);

 private:
  struct State;
  std::unique_ptr<State> s_;
};

// Compresses into one zlib stream at the fastest level (header 78 01). Not thread-safe.
class Deflater {
 public:
  Deflater();
  ~Deflater();
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  // Compresses all of `b`'s input into its output. With `last`, the input is the end of the
  // data and the stream is finished. Returns kCodecMore while output space ran out or, without
  // `last`, when the input was all taken; kCodecEnd once the finished stream was all written;
  // kCodecNoMemory when the codec could not be set up.
  int32_t Run(CodecBuffers& b, bool last);

 private:
  struct State;
  std::unique_ptr<State> s_;
};

}  // namespace vemra
