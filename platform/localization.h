// The user-visible texts, looked up by their decimal keys in a per-language table with the
// English text as the fallback, and the user's preferred language.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vemra::platform {

// The user's preferred language as the environment gives it: the first entry of LANGUAGE, else
// LC_ALL, LC_MESSAGES or LANG, the first of them that is set and not empty, as written
// ("ru_RU.UTF-8", "uk", "en_GB"). "C", "POSIX" and an empty result give "en".
std::string PreferredLanguage();

// The language of the tables for `language` ("ru_RU.UTF-8" -> "ru"): "ru" for Russian and
// Ukrainian (whose users get the Russian template too), "en" for anything else.
std::string_view TableLanguage(std::string_view language);

// Sets the language Text() looks up (see TableLanguage). Thread-safe.
void SetLanguage(std::string_view language);
// The language Text() looks up: "en" or "ru". Thread-safe.
std::string_view Language();

// The text of `key` in the current language (UTF-8), the English text when the language has
// none, and an empty text for a key without any.
std::string Text(int key);
// The same in `language` (see TableLanguage).
std::string Text(int key, std::string_view language);

// One text of a table added by a layer above the engine (the desktop app keeps its own key
// range). The strings must live as long as the process (literals).
struct TextEntry {
  int key;
  const char* en;
  const char* ru;
};
// Adds `count` entries at `entries` for Text() to find; a key the built-in table has already is
// ignored, a key added before is replaced. Thread-safe.
void AddTexts(const TextEntry* entries, size_t count);

// Digit grouping and decimal separators of amounts in the current language: "," and "." in
// English, U+00A0 (no-break space) and "," in Russian.
struct NumberSeparators {
  std::string grouping;
  std::string decimal;
};
NumberSeparators Separators();

}  // namespace vemra::platform
