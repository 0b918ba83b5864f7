// Records, deletion markers and database headers as JSON objects, for `kestrum-cli dump` and
// `kestrum-cli part dump`.
//
// Key names: the record header fields by their names, then "table", then the body fields in
// stored order under the names the record layouts give them. Fields that the layouts describe
// only in words or by offset (the class members called Field<N>, TExRate's words, TEvent's
// dates, TBudget's flags and dates, TSplit's two flags, the first word of TAccGroup) are keyed
// "@" + their decimal body offset. Tagged records list CategoryID, FamilyID, PayeeID and
// ProjectID flat, at the front of their body; a schedule is a nested object "Schedule".
//
// Values: integers, day numbers and stored flag bytes are JSON integers (a flag byte is given as
// stored, so a damaged 2 stays 2); byte arrays are arrays of integers; doubles are JSON numbers
// that parse back to the same double, except that JSON has no NaN or infinities: those become
// the strings "NaN", "Infinity" and "-Infinity". Texts are UTF-8; a character that is no Unicode
// scalar value (a lone surrogate from a damaged string record) becomes U+FFFD. A currency Code
// is its three bytes read as Latin-1 with trailing zero bytes dropped.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "core/database/db_header.h"
#include "core/records/base_entry.h"
#include "core/records/header.h"

namespace vemra::cli {

using Json = nlohmann::ordered_json;

// Returns `v` as a JSON number, or as "NaN", "Infinity" or "-Infinity".
Json DoubleToJson(double v);

// Returns `text` as UTF-8, each character that is no Unicode scalar value replaced by U+FFFD.
std::string TextToUtf8(std::wstring_view text);

// Returns the eight header fields of `h` (ID, LastModDate, OwnerID, Type, SecondaryType, Size,
// Hidden, ReadOnly); for a record of a type without a class this is all a dump shows.
Json HeaderToJson(const THeader& h);

// Returns the record as a save writes it: its header (a string record's SecondaryType and Size
// follow its text), "table", then its body fields. A record whose class does not match its
// Type code shows no body fields.
Json RecordToJson(const TBaseEntry& e);

// Returns a deletion marker as ID, LastModDate, OwnerID and SecondaryType (the deleted type).
Json MarkerToJson(const THeader& h);

// Returns the database-wide settings of a file head under their field names (the password
// itself is left out; PasswordLength tells whether there is one).
Json DBHeaderToJson(const TDBHeader& h);

}  // namespace vemra::cli
