#include "core/records/base_entry.h"

#include <vector>

#include "platform/unicode.h"

namespace vemra {

void TCoreDB::DeleteChildren(uint64_t parent_id, uint32_t type) {
  std::vector<const TBaseEntry*> links;
  CollectChildren(parent_id, type, links);
  // Collect the IDs first: each deletion changes the table the pointers point into.
  std::vector<uint64_t> ids;
  ids.reserve(links.size());
  for (const TBaseEntry* link : links) ids.push_back(link->Header.ID);
  for (uint64_t id : ids) DeleteEntry(4, id);
}

TBaseEntry::TBaseEntry(uint32_t type, uint32_t secondary_type, uint32_t size) {
  Header.Type = type;
  Header.SecondaryType = secondary_type;
  Header.Size = size;
}

size_t TBaseEntry::SaveHeader(IOutputStream& out) {
  return Header.Save(out);
}

TStringEntry::TStringEntry() : TBaseEntry(etString, 0, 0) {}

std::wstring TStringEntry::Text() const {
  return UnitsToWide(Units);
}

void TStringEntry::SetText(const std::wstring& text) {
  Units = WideToUnits(text);
}

size_t TStringEntry::SaveHeader(IOutputStream& out) {
  size_t units = Units.size();
  Header.SecondaryType = static_cast<uint32_t>(units);
  Header.Size = static_cast<uint32_t>(2 * units);
  return TBaseEntry::SaveHeader(out);
}

size_t TStringEntry::SaveData(IOutputStream& out) {
  const std::u16string& units = Units;
  std::vector<uint8_t> bytes(2 * units.size());
  for (size_t i = 0; i < units.size(); ++i) {
    bytes[2 * i] = static_cast<uint8_t>(units[i]);
    bytes[2 * i + 1] = static_cast<uint8_t>(units[i] >> 8);
  }
  return bytes.empty() ? 0 : out.Write(bytes.data(), bytes.size());
}

bool TStringEntry::LoadData(IInputStream& in, uint32_t count) {
  // Read in bounded chunks: a damaged count must not make us allocate more than the stream
  // actually holds.
  constexpr size_t kChunkUnits = 32768;
  std::u16string units;
  if (count <= kChunkUnits) units.reserve(count);
  uint8_t buf[2 * kChunkUnits];
  size_t left = count;
  while (left > 0) {
    size_t n = left < kChunkUnits ? left : kChunkUnits;
    if (!ReadExactly(in, buf, 2 * n)) return false;
    for (size_t i = 0; i < n; ++i) {
      units.push_back(static_cast<char16_t>(buf[2 * i] | (buf[2 * i + 1] << 8)));
    }
    left -= n;
  }
  Units = std::move(units);
  Header.SecondaryType = count;
  Header.Size = 2 * count;
  return true;
}

}  // namespace vemra
