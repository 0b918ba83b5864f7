// SpanInputStream reads bytes that someone else owns (a file read into memory, a download)
// without copying them. The bytes must outlive the stream. One thread at a time.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/streams/stream.h"

namespace vemra {

class SpanInputStream : public IInputStream {
 public:
  SpanInputStream(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  size_t Read(void* dst, size_t n) override {
    size_t k = std::min(n, size_ - pos_);
    if (k > 0) std::memcpy(dst, data_ + pos_, k);
    pos_ += k;
    eof_ = k < n;
    return k;
  }
  int64_t Tell() override { return static_cast<int64_t>(pos_); }
  // Fails for an offset before the start or past the end.
  bool Seek(int64_t offset) override {
    if (offset < 0 || static_cast<size_t>(offset) > size_) return false;
    pos_ = static_cast<size_t>(offset);
    eof_ = false;
    return true;
  }
  bool Eof() override { return eof_; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
  bool eof_ = false;
};

}  // namespace vemra
