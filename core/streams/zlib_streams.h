// Streams that compress or decompress on the fly, so that a database of hundreds of megabytes
// never has to sit in memory twice (once compressed, once as its record stream).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "core/streams/stream.h"

namespace vemra {

// A byte buffer whose growth leaves new bytes uninitialised: decompression overwrites them
// anyway, and zero-filling a megabyte per stream (or constructing it byte by byte, as an
// instrumented build does) costs more than a small stream's whole work. Movable, not copyable.
class ByteBlock {
 public:
  ByteBlock() = default;
  explicit ByteBlock(size_t size) { resize(size); }
  ByteBlock(ByteBlock&& other) noexcept { *this = std::move(other); }
  ByteBlock& operator=(ByteBlock&& other) noexcept {
    data_ = std::move(other.data_);
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    return *this;
  }

  uint8_t* data() { return data_.get(); }
  const uint8_t* data() const { return data_.get(); }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  // Keeps the memory for the next use.
  void clear() { size_ = 0; }
  void reserve(size_t capacity) {
    if (capacity > capacity_) Grow(capacity);
  }
  // New bytes are left as they are.
  void resize(size_t size) {
    reserve(size);
    size_ = size;
  }
  void append(const uint8_t* src, size_t n) {
    if (size_ + n > capacity_) Grow(std::max(size_ + n, capacity_ * 2));
    std::memcpy(data_.get() + size_, src, n);
    size_ += n;
  }

 private:
  void Grow(size_t capacity) {
    std::unique_ptr<uint8_t[]> fresh(new uint8_t[capacity]);
    if (size_ > 0) std::memcpy(fresh.get(), data_.get(), size_);
    data_ = std::move(fresh);
    capacity_ = capacity;
  }

  std::unique_ptr<uint8_t[]> data_;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

// Reads the data of a zlib stream (RFC 1950) that starts at the current position of `source`.
// A worker thread decompresses ahead in blocks while the reader consumes them, so that reading
// a database costs about the slower of the two instead of their sum. Seeking forward skips;
// seeking backward works only within the last kKeepBehind bytes before the furthest position
// read, which is all a record reader needs to step back after a body reader read past its
// record. The stream itself is used from one thread at a time.
class InflateInputStream : public IInputStream {
 public:
  static constexpr size_t kKeepBehind = 1 << 20;

  // `source` is borrowed and must outlive this stream; the worker reads it until the stream
  // is destroyed or the compressed data ends.
  explicit InflateInputStream(IInputStream& source);
  ~InflateInputStream() override;
  InflateInputStream(const InflateInputStream&) = delete;
  InflateInputStream& operator=(const InflateInputStream&) = delete;

  size_t Read(void* dst, size_t n) override;
  int64_t Tell() override { return static_cast<int64_t>(pos_); }
  // Returns false for an offset before the kept window; an offset past the data is accepted
  // and later reads there return nothing.
  bool Seek(int64_t offset) override;
  bool Eof() override { return eof_; }

  // Decompresses whatever has not been read yet, to check the stream to its end. Returns 0 when
  // the compressed data was complete and undamaged, otherwise a code of DecompressStream.
  int32_t Finish();

 private:
  struct Worker;
  // Takes the next decompressed block into the window; false at the end of the data.
  bool Fill();

  std::unique_ptr<Worker> worker_;
  std::vector<ByteBlock> window_;  // blocks in order; [base_, base_ + total size)
  uint64_t base_ = 0;
  uint64_t end_ = 0;
  uint64_t pos_ = 0;
  bool eof_ = false;
};

// Writes one zlib stream at compression level 1 of everything written to it into `sink`. A
// worker thread compresses full blocks while the writer fills the next one, so that saving
// costs about the slower of the two instead of their sum. The stream itself is used from one
// thread at a time.
class DeflateOutputStream : public IOutputStream {
 public:
  // `sink` is borrowed, must outlive this stream and must not be used by anyone else until
  // Finish returned or the stream was destroyed.
  explicit DeflateOutputStream(IOutputStream& sink);
  ~DeflateOutputStream() override;
  DeflateOutputStream(const DeflateOutputStream&) = delete;
  DeflateOutputStream& operator=(const DeflateOutputStream&) = delete;

  // Returns `n`, or 0 once compressing or the sink failed.
  size_t Write(const void* src, size_t n) override;
  // The count of uncompressed bytes written, or -1 after a failure.
  int64_t Tell() override;
  // Compressed output cannot be repositioned: always false.
  bool Seek(int64_t) override { return false; }
  // Ends the compressed stream and waits for the worker; returns true when every byte reached
  // the sink.
  bool Finish();

 private:
  struct Worker;
  // Hands the filled block to the worker and takes an empty one.
  void Flush(bool last);

  std::unique_ptr<Worker> worker_;
  ByteBlock block_;
  uint64_t written_ = 0;
  bool failed_ = false;
  bool finished_ = false;
};

}  // namespace vemra
