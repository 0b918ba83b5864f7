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

wchar_t FoldCase(wchar_t wc) {
  const uint32_t c = static_cast<uint32_t>(wc);
  auto to = [](uint32_t v) { return static_cast<wchar_t>(v); };
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? to(c + 32) : wc;
  // Ranges where the lower-case letter lies at a fixed distance.
  struct Shift {
    uint32_t first, last;
    int32_t by;
  };
  static constexpr Shift kShifts[] = {
      {0x00C0, 0x00D6, 32},   {0x00D8, 0x00DE, 32}, {0x0391, 0x03A1, 32}, {0x03A3, 0x03AB, 32},
      {0x0388, 0x038A, 37},   {0x0400, 0x040F, 80}, {0x0410, 0x042F, 32}, {0x0531, 0x0556, 48},
      {0x10A0, 0x10C5, 7264}, {0x1F08, 0x1F0F, -8}, {0x1F18, 0x1F1D, -8}, {0x1F28, 0x1F2F, -8},
      {0x1F38, 0x1F3F, -8},   {0x1F48, 0x1F4D, -8}, {0x1F68, 0x1F6F, -8}, {0x24B6, 0x24CF, 26},
      {0xFF21, 0xFF3A, 32},
  };
  for (const Shift& s : kShifts) {
    if (c >= s.first && c <= s.last)
      return to(static_cast<uint32_t>(static_cast<int32_t>(c) + s.by));
  }
  switch (c) {
    case 0x00B5:
      return to(0x03BC);  // micro sign -> mu
    case 0x0178:
      return to(0x00FF);  // Y with diaeresis
    case 0x017F:
      return to(0x0073);  // long s
    case 0x0386:
      return to(0x03AC);
    case 0x038C:
      return to(0x03CC);
    case 0x038E:
      return to(0x03CD);
    case 0x038F:
      return to(0x03CE);
    case 0x03C2:
      return to(0x03C3);  // final sigma
    case 0x1E9E:
      return to(0x00DF);  // capital sharp s
    default:
      break;
  }
  // Alternating upper/lower pairs: even code point upper, odd lower.
  struct Pairs {
    uint32_t first, last;
  };
  static constexpr Pairs kEvenUpper[] = {
      {0x0100, 0x012F}, {0x0132, 0x0137}, {0x014A, 0x0177}, {0x0182, 0x0185}, {0x01A0, 0x01A5},
      {0x01DE, 0x01EF}, {0x01F8, 0x021F}, {0x0222, 0x0233}, {0x03D8, 0x03EF}, {0x0460, 0x0481},
      {0x048A, 0x04BF}, {0x04D0, 0x052F}, {0x1E00, 0x1E95}, {0x1EA0, 0x1EFF},
  };
  for (const Pairs& p : kEvenUpper) {
    if (c >= p.first && c <= p.last) return c % 2 == 0 ? to(c + 1) : wc;
  }
  // Odd code point upper, even lower.
  static constexpr Pairs kOddUpper[] = {
      {0x0139, 0x0148}, {0x0179, 0x017E}, {0x01B3, 0x01B6}, {0x01CD, 0x01DC}, {0x04C1, 0x04CE},
  };
  for (const Pairs& p : kOddUpper) {
    if (c >= p.first && c <= p.last) return c % 2 == 1 ? to(c + 1) : wc;
  }
  return wc;
}

std::wstring FoldCase(std::wstring_view text) {
  std::wstring out(text);
  for (wchar_t& c : out) c = FoldCase(c);
  return out;
}

bool ValidUtf8(std::string_view s, size_t& bad) {
  const auto* p = reinterpret_cast<const unsigned char*>(s.data());
  const size_t n = s.size();
  size_t i = 0;
  while (i < n) {
    const unsigned char c = p[i];
    if (c < 0x80) {
      ++i;
      continue;
    }
    size_t len = 0;
    unsigned char lo = 0x80, hi = 0xBF;  // the allowed range of the second byte
    if (c >= 0xC2 && c <= 0xDF) {
      len = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
      len = 3;
      if (c == 0xE0) lo = 0xA0;  // no overlong forms
      if (c == 0xED) hi = 0x9F;  // no surrogates
    } else if (c >= 0xF0 && c <= 0xF4) {
      len = 4;
      if (c == 0xF0) lo = 0x90;
      if (c == 0xF4) hi = 0x8F;  // nothing above U+10FFFF
    } else {
      bad = i;
      return false;
    }
    if (i + len > n || p[i + 1] < lo || p[i + 1] > hi) {
      bad = i;
      return false;
    }
    for (size_t k = 2; k < len; ++k) {
      if ((p[i + k] & 0xC0) != 0x80) {
        bad = i;
        return false;
      }
    }
    i += len;
  }
  return true;
}

}  // namespace vemra
