// What make_template embeds into the templates library: the bytes of every template database
// it wrote and the built-in currency list. The definitions live in the source the tool generates
// at build time; only new_database.cc reads them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vemra::template_data {

// One template database file, as make_template saved it.
struct TEmbeddedTemplate {
  const char* Language;  // "en", "ru"
  const unsigned char* Bytes;
  size_t Size;
};

// One currency of the shared description list; its record ID is 100000 plus its position.
// Texts are UTF-8.
struct TBuiltinCurrency {
  const char* Code;  // three letters
  const char* Symbol;
  uint8_t Decimals;
  bool SymbolAfter;  // the symbol follows the amount
  const char* NameEn;
  const char* NameRu;
};

extern const TEmbeddedTemplate kTemplates[];
extern const size_t kTemplateCount;
extern const TBuiltinCurrency kCurrencies[];
extern const size_t kCurrencyCount;

}  // namespace vemra::template_data
