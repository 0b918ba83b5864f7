#include "app/mime_payloads.h"

#include <algorithm>

#include "lists/pasteboard.h"

namespace kestrum {

QMimeData* MakePayloads(const char* type, const std::vector<uint64_t>& values, uint64_t token) {
  QByteArray bytes;
  std::vector<uint64_t> seen;
  for (uint64_t value : values) {
    if (std::find(seen.begin(), seen.end(), value) != seen.end()) continue;
    seen.push_back(value);
    const std::vector<uint8_t> payload = vemra::lists::PasteboardPayload(value, token);
    bytes.append(reinterpret_cast<const char*>(payload.data()), payload.size());
  }
  if (bytes.isEmpty()) return nullptr;
  auto* data = new QMimeData;
  data->setData(QString::fromLatin1(type), bytes);
  return data;
}

bool ReadPayloads(const QMimeData* data, const char* type, uint64_t token,
                  std::vector<uint64_t>& values) {
  if (data == nullptr) return false;
  const QByteArray bytes = data->data(QString::fromLatin1(type));
  constexpr qsizetype kSize = 16;
  if (bytes.isEmpty() || bytes.size() % kSize != 0) return false;
  std::vector<uint64_t> read;
  for (qsizetype at = 0; at < bytes.size(); at += kSize) {
    const std::vector<uint8_t> payload(bytes.begin() + at, bytes.begin() + at + kSize);
    uint64_t value = 0;
    if (!vemra::lists::ReadPasteboardPayload(payload, token, value)) return false;
    read.push_back(value);
  }
  values.insert(values.end(), read.begin(), read.end());
  return true;
}

}  // namespace kestrum
