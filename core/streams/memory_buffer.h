// A growable byte buffer with independent read and write positions, the in-memory backing of
// InputStream and OutputStream. Not thread-safe; owned by one stream at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vemra {

class MemoryBuffer {
 public:
  // Copies up to `n` bytes from the read position; returns the count. Asking for more than
  // remains sets the end-of-data state.
  size_t Read(void* dst, size_t n);
  // Writes `n` bytes at the write position, overwriting and then growing the data; returns `n`,
  // or 0 when the buffer has failed.
  size_t Write(const void* src, size_t n);
  // Moves both positions to `offset` and clears the end-of-data state; false for a negative
  // offset.
  bool SeekRead(int64_t offset);
  // Moves the write position; an offset outside the data (negative or past its end) puts the
  // buffer into the failed state and returns false.
  bool SeekWrite(int64_t offset);

  int64_t ReadPosition() const { return static_cast<int64_t>(read_pos_); }
  int64_t WritePosition() const { return failed_ ? -1 : static_cast<int64_t>(write_pos_); }
  bool AtEnd() const { return eof_; }
  bool Failed() const { return failed_; }
  const std::vector<uint8_t>& Data() const { return data_; }
  // Puts both positions at 0 and clears the end-of-data state.
  void Rewind();

 private:
  std::vector<uint8_t> data_;
  size_t read_pos_ = 0;
  size_t write_pos_ = 0;
  bool eof_ = false;
  bool failed_ = false;
};

}  // namespace vemra
