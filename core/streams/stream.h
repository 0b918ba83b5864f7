// The two byte-stream interfaces through which records, database files and sync parts are read
// and written. Streams move raw bytes only: no framing, no byte swapping, no checks.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vemra {

class IInputStream {
 public:
  virtual ~IInputStream() = default;

  // Copies up to `n` bytes into `dst` and returns how many were copied (0..n). A count below `n`
  // means the data ended (Eof() is then true) or the stream failed.
  virtual size_t Read(void* dst, size_t n) = 0;
  // Returns the read position in bytes from the start, or -1 when it is unknown.
  virtual int64_t Tell() = 0;
  // Moves the read position to byte `offset`; returns true on success, which also clears Eof().
  virtual bool Seek(int64_t offset) = 0;
  // Returns true once a Read asked for more bytes than remained.
  virtual bool Eof() = 0;
};

class IOutputStream {
 public:
  virtual ~IOutputStream() = default;

  // Writes the `n` bytes at `src`; returns the count written, `n` on success.
  virtual size_t Write(const void* src, size_t n) = 0;
  // Returns the write position in bytes from the start, or -1 when the stream has failed.
  virtual int64_t Tell() = 0;
  // Moves the write position to byte `offset`; returns true on success.
  virtual bool Seek(int64_t offset) = 0;
};

// Reads exactly `n` bytes; returns false when fewer came.
inline bool ReadExactly(IInputStream& in, void* dst, size_t n) {
  return in.Read(dst, n) == n;
}

}  // namespace vemra
