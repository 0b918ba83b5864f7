#include "core/streams/memory_buffer.h"

#include <cstring>

namespace vemra {

size_t MemoryBuffer::Read(void* dst, size_t n) {
  size_t left = read_pos_ < data_.size() ? data_.size() - read_pos_ : 0;
  size_t count = n < left ? n : left;
  if (count > 0) std::memcpy(dst, data_.data() + read_pos_, count);
  read_pos_ += count;
  if (count < n) eof_ = true;
  return count;
}

size_t MemoryBuffer::Write(const void* src, size_t n) {
  if (failed_) return 0;
  if (n == 0) return 0;
  size_t end = write_pos_ + n;
  if (end > data_.size()) data_.resize(end);
  std::memcpy(data_.data() + write_pos_, src, n);
  write_pos_ = end;
  return n;
}

bool MemoryBuffer::SeekRead(int64_t offset) {
  if (offset < 0) return false;
  read_pos_ = write_pos_ = static_cast<size_t>(offset);
  eof_ = false;
  return true;
}

bool MemoryBuffer::SeekWrite(int64_t offset) {
  if (offset < 0 || static_cast<uint64_t>(offset) > data_.size()) {
    failed_ = true;
    return false;
  }
  write_pos_ = static_cast<size_t>(offset);
  return true;
}

void MemoryBuffer::Rewind() {
  read_pos_ = write_pos_ = 0;
  eof_ = false;
}

}  // namespace vemra
