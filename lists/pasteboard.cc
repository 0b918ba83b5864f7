#include "lists/pasteboard.h"

namespace vemra::lists {

std::vector<uint8_t> PasteboardPayload(uint64_t value, uint64_t token) {
  std::vector<uint8_t> bytes(16);
  for (int i = 0; i < 8; ++i) {
    bytes[i] = static_cast<uint8_t>(value >> (8 * i));
    bytes[8 + i] = static_cast<uint8_t>(token >> (8 * i));
  }
  return bytes;
}

bool ReadPasteboardPayload(const std::vector<uint8_t>& payload, uint64_t token, uint64_t& value) {
  if (payload.size() != 16) return false;
  uint64_t v = 0, t = 0;
  for (int i = 0; i < 8; ++i) {
    v |= uint64_t{payload[i]} << (8 * i);
    t |= uint64_t{payload[8 + i]} << (8 * i);
  }
  if (t != token) return false;
  value = v;
  return true;
}

}  // namespace vemra::lists
