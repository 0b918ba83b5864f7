// Field-by-field little-endian encoding of record bodies. Records never copy structs to or from
// bytes: each field is put at its offset, padding is written as zero and skipped on reading.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/records/dates.h"

namespace vemra {

// Writes fields one after another into a caller-owned buffer large enough for the body.
class BodyWriter {
 public:
  explicit BodyWriter(uint8_t* buf) : p_(buf) {}
  void U8(uint8_t v) { p_[off_++] = v; }
  void I8(int8_t v) { U8(static_cast<uint8_t>(v)); }
  void Bool(bool v) { U8(v ? 1 : 0); }
  void U16(uint16_t v) { Le(v, 2); }
  void U32(uint32_t v) { Le(v, 4); }
  void I32(int32_t v) { Le(static_cast<uint32_t>(v), 4); }
  void U64(uint64_t v) { Le(v, 8); }
  void Date(ADate d) { I32(d.Val); }
  void F64(double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, 8);
    U64(bits);
  }
  void Raw(const uint8_t* src, size_t n) {
    std::memcpy(p_ + off_, src, n);
    off_ += n;
  }
  void Zeros(size_t n) {
    std::memset(p_ + off_, 0, n);
    off_ += n;
  }
  size_t Offset() const { return off_; }

 private:
  void Le(uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) p_[off_++] = static_cast<uint8_t>(v >> (8 * i));
  }
  uint8_t* p_;
  size_t off_ = 0;
};

// Reads fields one after another from a buffer that holds the whole body.
class BodyReader {
 public:
  explicit BodyReader(const uint8_t* buf) : p_(buf) {}
  uint8_t U8() { return p_[off_++]; }
  int8_t I8() { return static_cast<int8_t>(U8()); }
  bool Bool() { return U8() != 0; }
  uint16_t U16() { return static_cast<uint16_t>(Le(2)); }
  uint32_t U32() { return static_cast<uint32_t>(Le(4)); }
  int32_t I32() { return static_cast<int32_t>(U32()); }
  uint64_t U64() { return Le(8); }
  ADate Date() { return ADate(I32()); }
  double F64() {
    uint64_t bits = U64();
    double v;
    std::memcpy(&v, &bits, 8);
    return v;
  }
  void Raw(uint8_t* dst, size_t n) {
    std::memcpy(dst, p_ + off_, n);
    off_ += n;
  }
  void Skip(size_t n) { off_ += n; }
  void SeekTo(size_t off) { off_ = off; }
  size_t Offset() const { return off_; }

 private:
  uint64_t Le(int bytes) {
    uint64_t v = 0;
    for (int i = 0; i < bytes; ++i) v |= uint64_t{p_[off_++]} << (8 * i);
    return v;
  }
  const uint8_t* p_;
  size_t off_ = 0;
};

}  // namespace vemra
