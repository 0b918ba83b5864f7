// Making a new database: from one of the template databases built into the program (generated
// at build time from the description in resources/templates/), or, when no template can be
// opened, from the built-in currency list alone.
//
// A new database is loaded with no user logged in, has a DatabaseID of its own, no
// transactions, schedules, budgets, loans, events, users, tags or sort orders, a default
// currency and a default account that both exist, the current calendar month as its period,
// the default captions of the three custom transaction fields, and neither undo history nor
// journalled changes: nothing of it has been synchronised yet, so there is nothing to send.
#pragma once

#include <string_view>

#include "core/database/database.h"
#include "core/streams/stream.h"

namespace vemra {

// Returns the bytes of the built-in template database file of language `lang` ("en" or "ru"),
// or an empty view for any other language. The bytes live as long as the program.
std::string_view TemplateBytes(std::string_view lang);

// Returns the template language for the user's preferred language `preferred` (such as
// "ru-RU", "uk" or "en-GB"): "ru" when its first two characters are "ru" or "uk", else "en".
std::string_view TemplateLanguage(std::string_view preferred);

// Makes `db` a new database from the template database file in `template_file`: the file is
// opened into `db` (whatever `db` held before is closed), cleared of everything but its
// currencies, exchange rates, accounts, account groups and categories, and given a fresh
// DatabaseID, the current month as period and the default database texts. The default
// currency is the template's when that currency exists, else currency 100000 or the first one;
// the default account is the template's first account, or a new account "Main" in the default
// currency when it has none. Returns 0, or the code of the failed open, in which case `db` is
// closed (not loaded).
int NewDatabaseFromTemplate(DataBase& db, IInputStream& template_file);

// Makes `db` a new database without a template: the built-in currency list with names in
// `lang` ("ru" for Russian, English otherwise) under IDs 100000, 100001, ..., the default
// currency 100000, and the account "Main" in it as the default account. Whatever `db` held
// before is closed.
void NewDatabaseFromBuiltins(DataBase& db, std::string_view lang = "en");

// Makes `db` a new database from the built-in template of `lang` ("en" or "ru"), falling back
// to the built-in currency list when that template cannot be opened.
void NewDatabase(DataBase& db, std::string_view lang);

}  // namespace vemra
