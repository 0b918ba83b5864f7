#include "platform/unicode.h"

#include <cstdint>

namespace vemra {
namespace {

bool IsScalar(uint32_t c) {
  return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
}

void AppendUtf8(std::string& out, uint32_t c) {
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (c >> 6)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (c >> 12)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (c >> 18)));
    out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

}  // namespace

std::string WideToUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t wc : text) {
    uint32_t c = static_cast<uint32_t>(wc);
    if (!IsScalar(c)) return {};
    AppendUtf8(out, c);
  }
  return out;
}

std::string WideToUtf8Lossy(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t wc : text) {
    uint32_t c = static_cast<uint32_t>(wc);
    AppendUtf8(out, IsScalar(c) ? c : 0xFFFD);
  }
  return out;
}

bool Utf8ToWide(std::string_view text, std::wstring& out) {
  out.clear();
  std::wstring result;
  result.reserve(text.size());
  size_t i = 0;
  while (i < text.size()) {
    uint8_t b = static_cast<uint8_t>(text[i]);
    size_t len;
    uint32_t c;
    uint32_t min;
    if (b < 0x80) {
      len = 1, c = b, min = 0;
    } else if ((b & 0xE0) == 0xC0) {
      len = 2, c = b & 0x1F, min = 0x80;
    } else if ((b & 0xF0) == 0xE0) {
      len = 3, c = b & 0x0F, min = 0x800;
    } else if ((b & 0xF8) == 0xF0) {
      len = 4, c = b & 0x07, min = 0x10000;
    } else {
      return false;
    }
    if (text.size() - i < len) return false;
    for (size_t k = 1; k < len; ++k) {
      uint8_t cont = static_cast<uint8_t>(text[i + k]);
      if ((cont & 0xC0) != 0x80) return false;
      c = (c << 6) | (cont & 0x3F);
    }
    if (c < min || !IsScalar(c)) return false;
    result.push_back(static_cast<wchar_t>(c));
    i += len;
  }
  out.swap(result);
  return true;
}

std::wstring Utf8ToWide(std::string_view text) {
  std::wstring out;
  Utf8ToWide(text, out);
  return out;
}

std::u16string WideToUnits(std::wstring_view text) {
  std::u16string units;
  units.reserve(text.size());
  for (wchar_t wc : text) {
    uint32_t c = static_cast<uint32_t>(wc);
    if (c >= 0x10000 && c <= 0x10FFFF) {
      c -= 0x10000;
      units.push_back(static_cast<char16_t>(0xD800 | (c >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 | (c & 0x3FF)));
    } else {
      units.push_back(static_cast<char16_t>(c & 0xFFFF));
    }
  }
  return units;
}

std::wstring UnitsToWide(std::u16string_view units) {
  std::wstring text;
  text.reserve(units.size());
  for (size_t i = 0; i < units.size(); ++i) {
    uint32_t u = units[i];
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 &&
        units[i + 1] <= 0xDFFF) {
      uint32_t low = units[++i];
      text.push_back(static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00)));
    } else {
      text.push_back(static_cast<wchar_t>(u));
    }
  }
  return text;
}

}  // namespace vemra
