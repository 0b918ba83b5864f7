// Streams that compress or decompress on the fly, so that a database of hundreds of megabytes
// never has to sit in memory twice (once compressed, once as its record stream).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "core/streams/stream.h"

namespace vemra {

// A byte buffer whose resize leaves new bytes uninitialised: decompression overwrites them
// anyway, and zero-filling a megabyte per stream costs more than a small stream's whole work.
template <typename T>
struct UninitializedAllocator {
  using value_type = T;
  UninitializedAllocator() = default;
  template <typename U>
  UninitializedAllocator(const UninitializedAllocator<U>&) {}  // NOLINT: allocator rebinding
  T* allocate(size_t n) { return std::allocator<T>().allocate(n); }
  void deallocate(T* p, size_t n) noexcept { std::allocator<T>().deallocate(p, n); }
  template <typename U>
  void construct(U* p) noexcept {
    ::new (static_cast<void*>(p)) U;
  }
  template <typename U, typename... Args>
  void construct(U* p, Args&&... args) {
    ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
  }
  template <typename U>
  friend bool operator==(const UninitializedAllocator&, const UninitializedAllocator<U>&) {
    return true;
  }
};
using ByteBlock = std::vector<uint8_t, UninitializedAllocator<uint8_t>>;

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
