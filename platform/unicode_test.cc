#include "platform/unicode.h"

#include <gtest/gtest.h>

namespace vemra {
namespace {

TEST(UnicodeTest, Utf8RoundTripAcrossAllEncodedLengths) {
  // "A", "ж", "€", U+1F600, hand-encoded.
  const std::string utf8 = "A\xD0\xB6\xE2\x82\xAC\xF0\x9F\x98\x80";
  const std::wstring wide = {L'A', wchar_t(0x436), wchar_t(0x20AC), wchar_t(0x1F600)};
  EXPECT_EQ(Utf8ToWide(utf8), wide);
  EXPECT_EQ(WideToUtf8(wide), utf8);
}

TEST(UnicodeTest, MalformedInputGivesEmptyText) {
  std::wstring out = L"kept?";
  for (std::string bad :
       {"\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80", "ok\xFF"}) {
    EXPECT_FALSE(Utf8ToWide(bad, out)) << bad;
    EXPECT_TRUE(out.empty());
  }
  EXPECT_EQ(WideToUtf8(std::wstring(1, wchar_t(0xD800))), "");
  EXPECT_EQ(WideToUtf8(std::wstring(1, wchar_t(0x110000))), "");
}

TEST(UnicodeTest, UnitsUseSurrogatePairsAboveBmpAndJoinOnlyValidPairs) {
  const std::wstring text = {L'a', wchar_t(0x1F600), wchar_t(0xFFFF)};
  const std::u16string units = {u'a', char16_t(0xD83D), char16_t(0xDE00), char16_t(0xFFFF)};
  EXPECT_EQ(WideToUnits(text), units);
  EXPECT_EQ(UnitsToWide(units), text);
  // A lone or reversed surrogate is widened unit by unit.
  const std::u16string odd = {char16_t(0xDE00), char16_t(0xD83D), u'x', char16_t(0xD83D)};
  EXPECT_EQ(UnitsToWide(odd),
            (std::wstring{wchar_t(0xDE00), wchar_t(0xD83D), L'x', wchar_t(0xD83D)}));
}

TEST(UnicodeTest, FoldsCaseTheSameInEveryLocale) {
  const std::pair<const wchar_t*, const wchar_t*> kPairs[] = {
      {L"КОФЕ", L"кофе"},   {L"Ёлка", L"ёлка"},     {L"ÄÖÜ ẞ", L"äöü ß"},
      {L"ΣΟΦΊΑ", L"σοφία"}, {L"ŁÓDŹ", L"łódź"},     {L"ҐЄЇ", L"ґєї"},
      {L"Ǎ Ŀ Ÿ", L"ǎ ŀ ÿ"}, {L"ＡＢＣ", L"ａｂｃ"}, {L"123-_ ß", L"123-_ ß"},
  };
  for (const auto& [upper, lower] : kPairs) {
    EXPECT_EQ(FoldCase(upper), FoldCase(lower)) << WideToUtf8(upper);
    EXPECT_EQ(FoldCase(upper), lower) << WideToUtf8(upper);
  }
}

}  // namespace
}  // namespace vemra
