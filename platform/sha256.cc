#include "platform/sha256.h"

#include <cstring>

namespace vemra::platform {
namespace {

constexpr uint32_t kRound[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

constexpr uint32_t Rotate(uint32_t x, int n) {
  return (x >> n) | (x << (32 - n));
}

}  // namespace

Sha256::Sha256()
    : state_{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
             0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19} {}

void Sha256::Block(const uint8_t* block) {
  uint32_t w[64];
  for (int i = 0; i < 16; ++i) {
    w[i] = uint32_t{block[4 * i]} << 24 | uint32_t{block[4 * i + 1]} << 16 |
           uint32_t{block[4 * i + 2]} << 8 | uint32_t{block[4 * i + 3]};
  }
  for (int i = 16; i < 64; ++i) {
    const uint32_t s0 = Rotate(w[i - 15], 7) ^ Rotate(w[i - 15], 18) ^ (w[i - 15] >> 3);
    const uint32_t s1 = Rotate(w[i - 2], 17) ^ Rotate(w[i - 2], 19) ^ (w[i - 2] >> 10);
    w[i] = w[i - 16] + s0 + w[i - 7] + s1;
  }
  uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3], e = state_[4], f = state_[5],
           g = state_[6], h = state_[7];
  for (int i = 0; i < 64; ++i) {
    const uint32_t t1 = h + (Rotate(e, 6) ^ Rotate(e, 11) ^ Rotate(e, 25)) + ((e & f) ^ (~e & g)) +
                        kRound[i] + w[i];
    const uint32_t t2 =
        (Rotate(a, 2) ^ Rotate(a, 13) ^ Rotate(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
    h = g;
    g = f;
    f = e;
    e = d + t1;
    d = c;
    c = b;
    b = a;
    a = t1 + t2;
  }
  const uint32_t add[8] = {a, b, c, d, e, f, g, h};
  for (int i = 0; i < 8; ++i) state_[i] += add[i];
}

void Sha256::Update(const void* data, size_t size) {
  const auto* p = static_cast<const uint8_t*>(data);
  length_ += size;
  while (size > 0) {
    if (buffered_ == 0 && size >= 64) {
      Block(p);
      p += 64;
      size -= 64;
      continue;
    }
    const size_t n = std::min(size, 64 - buffered_);
    std::memcpy(buffer_.data() + buffered_, p, n);
    buffered_ += n;
    p += n;
    size -= n;
    if (buffered_ == 64) {
      Block(buffer_.data());
      buffered_ = 0;
    }
  }
}

std::array<uint8_t, 32> Sha256::Finish() {
  const uint64_t bits = length_ * 8;
  const uint8_t one = 0x80;
  Update(&one, 1);
  const uint8_t zero = 0;
  while (buffered_ != 56) Update(&zero, 1);
  uint8_t length[8];
  for (int i = 0; i < 8; ++i) length[i] = static_cast<uint8_t>(bits >> (56 - 8 * i));
  Update(length, 8);
  std::array<uint8_t, 32> digest;
  for (int i = 0; i < 8; ++i) {
    for (int k = 0; k < 4; ++k) digest[4 * i + k] = static_cast<uint8_t>(state_[i] >> (24 - 8 * k));
  }
  return digest;
}

std::string Sha256::ToHex(const std::array<uint8_t, 32>& digest) {
  static const char kHex[] = "0123456789abcdef";
  std::string out;
  for (uint8_t b : digest) {
    out += kHex[b >> 4];
    out += kHex[b & 15];
  }
  return out;
}

std::string Sha256::Hex(std::string_view data) {
  Sha256 h;
  h.Update(data.data(), data.size());
  return ToHex(h.Finish());
}

}  // namespace vemra::platform
