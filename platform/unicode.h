// Conversions between the engine's wide strings (one code point per character) and the
// encodings met at its edges: UTF-8 (command line, JSON, Qt) and the 16-bit units of string
// records. All functions are pure and thread-safe.
#pragma once

#include <string>
#include <string_view>

namespace vemra {

// Returns the UTF-8 encoding of `text`, or an empty string when `text` holds a value that is
// not a Unicode scalar value (a surrogate, or above U+10FFFF).
std::string WideToUtf8(std::wstring_view text);
// The same, but a character that is no Unicode scalar value (a lone surrogate, a value above
// U+10FFFF) becomes U+FFFD instead of failing the whole text; for showing damaged data.
std::string WideToUtf8Lossy(std::wstring_view text);

// Returns the code points of the UTF-8 `text`. Returns false and leaves `out` empty when the
// bytes are not well-formed UTF-8 (overlong forms, surrogates and values above U+10FFFF
// included).
bool Utf8ToWide(std::string_view text, std::wstring& out);

// Whether `s` is well-formed UTF-8 (no overlong forms, surrogates or code points past
// U+10FFFF); when not, `bad` is the offset of the first byte that is not.
bool ValidUtf8(std::string_view s, size_t& bad);

// Convenience form of Utf8ToWide: the decoded text, or an empty string when malformed.
std::wstring Utf8ToWide(std::string_view text);

// Returns the 16-bit units that store `text` in a string record: characters up to U+FFFF as
// one unit, characters above U+FFFF as a UTF-16 surrogate pair. Values above U+10FFFF keep
// only their low 16 bits.
std::u16string WideToUnits(std::wstring_view text);

// Returns the characters stored as `units`: a high surrogate followed by a low surrogate
// becomes one code point again; every other unit is widened on its own.
std::wstring UnitsToWide(std::u16string_view units);

// Unicode simple case folding of one code point, the same whatever the process locale: upper
// and title case letters of the Latin, Greek, Cyrillic, Armenian and Georgian alphabets and the
// full-width Latin letters become their lower-case forms; everything else stays.
wchar_t FoldCase(wchar_t c);
// `text` with every character folded, for comparing without regard to case ("КОФЕ" and
// "Кофе" fold alike).
std::wstring FoldCase(std::wstring_view text);

}  // namespace vemra
