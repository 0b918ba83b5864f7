#include "sync/transport.h"

#include <charconv>

namespace vemra::sync {

NameKind ClassifyName(std::string_view name, uint64_t database_id, uint64_t* stamp) {
  if (name == "main") return NameKind::kMain;
  const std::string prefix = std::to_string(database_id) + ".";
  if (name.size() <= prefix.size() || name.compare(0, prefix.size(), prefix) != 0) {
    return NameKind::kOther;
  }
  const std::string_view digits = name.substr(prefix.size());
  if (digits.size() > 20) return NameKind::kOther;
  for (char c : digits) {
    if (c < '0' || c > '9') return NameKind::kOther;
  }
  uint64_t value = 0;
  auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (ec != std::errc() || end != digits.data() + digits.size()) return NameKind::kOther;
  if (stamp != nullptr) *stamp = value;
  return NameKind::kPart;
}

bool IsPlainName(std::string_view name) {
  return !name.empty() && name.size() <= 255 && name != "." && name != ".." &&
         name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

}  // namespace vemra::sync
