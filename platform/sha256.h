// SHA-256 (FIPS 180-4), for content revisions and checksums of transferred files.
//
// Not thread-safe per object; separate objects may be used on separate threads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vemra::platform {

class Sha256 {
 public:
  Sha256();
  // Adds `size` bytes at `data`.
  void Update(const void* data, size_t size);
  // The digest of everything added; the object must not be updated afterwards.
  std::array<uint8_t, 32> Finish();
  // The digest of `data` as 64 lower-case hex digits.
  static std::string Hex(std::string_view data);
  // `digest` as lower-case hex.
  static std::string ToHex(const std::array<uint8_t, 32>& digest);

 private:
  void Block(const uint8_t* block);

  std::array<uint32_t, 8> state_;
  std::array<uint8_t, 64> buffer_{};
  size_t buffered_ = 0;
  uint64_t length_ = 0;  // bytes added
};

}  // namespace vemra::platform
