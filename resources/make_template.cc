// make_template: builds the template databases from their readable description, at build time.
//
//   make_template OUT_DIR GENERATED_SOURCE CURRENCIES_JSON LANGUAGE_JSON...
//
// CURRENCIES_JSON lists the currencies every template holds; each LANGUAGE_JSON describes one
// template (its language, default currency, starter account, category tree and payees). For
// each it writes OUT_DIR/template_<language>.lgr, a database file saved by DataBase::SaveFile,
// and then GENERATED_SOURCE, a C++ source that embeds those files and the currency list (see
// template_data.h). The clock is pinned and the ID noise seeded while a template is made, so
// that every build writes the same bytes. A missing or malformed description makes it print
// what is wrong and where, write nothing, and exit with 1.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "core/database/database.h"
#include "core/records/account.h"
#include "core/records/category.h"
#include "core/records/currency.h"
#include "core/records/dates.h"
#include "platform/clock.h"
#include "platform/log.h"
#include "platform/unicode.h"

namespace vemra {
namespace {

using Json = nlohmann::json;

constexpr uint64_t kFirstCurrencyID = 100000;
constexpr uint64_t kCategoryRoot = 4;
constexpr uint64_t kPayeeRoot = 7;
constexpr int kMaxDecimals = 8;
constexpr int kMaxCategoryDepth = 8;
// The moment every template is made at: 2020-01-01 00:00, before any database made from one.
constexpr int64_t kBuildMoment = int64_t{18262} * 86400;
constexpr uint32_t kIDSeed = 440;
// The languages whose currency names the built-in list carries.
constexpr const char* kBuiltinLanguages[] = {"en", "ru"};

struct Currency {
  std::string Code;
  std::string Symbol;
  int Decimals = 2;
  bool SymbolAfter = false;
  Json Names;  // language -> name
};

struct Category {
  std::string Name;
  std::vector<Category> Children;
};

struct Template {
  std::string Language;
  std::string DefaultCurrency;
  std::string AccountName;
  std::string AccountCurrency;
  std::vector<Category> Categories;
  std::vector<std::string> Payees;
};

// Where a value sits in a description file, for the messages: "en.json: categories[2].name".
std::string At(const std::string& where, const std::string& key) {
  return where.back() == ':' ? where + " " + key : where + "." + key;
}
std::string At(const std::string& where, size_t index) {
  return where + "[" + std::to_string(index) + "]";
}

// Collects the first parse error with its position; the DOM parser without exceptions only
// says that there was one.
class ErrorSax : public nlohmann::json_sax<Json> {
 public:
  std::string message;
  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t&) override { return true; }
  bool string(string_t&) override { return true; }
  bool binary(binary_t&) override { return true; }
  bool start_object(std::size_t) override { return true; }
  bool key(string_t&) override { return true; }
  bool end_object() override { return true; }
  bool start_array(std::size_t) override { return true; }
  bool end_array() override { return true; }
  bool parse_error(std::size_t, const std::string&, const Json::exception& e) override {
    message = e.what();
    return false;
  }
};

bool ReadJson(const std::string& path, Json& out, std::string& error) {
  std::ifstream file(path, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file.is_open() || file.bad()) {
    error = path + ": cannot be read";
    return false;
  }
  out = Json::parse(text, nullptr, false);
  if (out.is_discarded()) {
    ErrorSax sax;
    Json::sax_parse(text, &sax);
    error = path + ": not valid JSON: " + sax.message;
    return false;
  }
  if (!out.is_object()) {
    error = path + ": expected an object";
    return false;
  }
  return true;
}

// True when `value` is an object with no keys but `allowed`.
bool CheckObject(const Json& value, std::initializer_list<const char*> allowed,
                 const std::string& where, std::string& error) {
  if (!value.is_object()) {
    error = where + " expected an object";
    return false;
  }
  for (const auto& [key, unused] : value.items()) {
    bool known = false;
    for (const char* name : allowed) known = known || key == name;
    if (!known) {
      error = At(where, key) + " is not a known key";
      return false;
    }
  }
  return true;
}

// Reads the non-empty text `object[key]` without control characters.
bool GetText(const Json& object, const char* key, const std::string& where, std::string& out,
             std::string& error) {
  auto it = object.find(key);
  if (it == object.end() || !it->is_string() || it->get_ref<const std::string&>().empty()) {
    error = At(where, key) + " must be a non-empty text";
    return false;
  }
  out = it->get<std::string>();
  for (unsigned char c : out) {
    if (c < 0x20 || c == 0x7f) {
      error = At(where, key) + " holds a control character";
      return false;
    }
  }
  return true;
}

bool GetArray(const Json& object, const char* key, const std::string& where, const Json*& out,
              std::string& error) {
  auto it = object.find(key);
  if (it == object.end() || !it->is_array()) {
    error = At(where, key) + " must be an array";
    return false;
  }
  out = &*it;
  return true;
}

bool ReadCurrencies(const std::string& path, std::vector<Currency>& out, std::string& error) {
  Json doc;
  if (!ReadJson(path, doc, error)) return false;
  const std::string where = path + ":";
  const Json* list = nullptr;
  if (!CheckObject(doc, {"comment", "currencies"}, where, error) ||
      !GetArray(doc, "currencies", where, list, error)) {
    return false;
  }
  if (list->empty()) {
    error = At(where, "currencies") + " is empty";
    return false;
  }
  std::set<std::string> codes;
  for (size_t i = 0; i < list->size(); ++i) {
    const Json& entry = (*list)[i];
    const std::string at = At(At(where, "currencies"), i);
    Currency c;
    if (!CheckObject(entry, {"code", "symbol", "decimals", "symbol_after", "names"}, at, error) ||
        !GetText(entry, "code", at, c.Code, error) ||
        !GetText(entry, "symbol", at, c.Symbol, error)) {
      return false;
    }
    bool letters = c.Code.size() == 3;
    for (char ch : c.Code) letters = letters && ch >= 'A' && ch <= 'Z';
    if (!letters) {
      error = At(at, "code") + " must be three capital letters";
      return false;
    }
    if (!codes.insert(c.Code).second) {
      error = At(at, "code") + " repeats " + c.Code;
      return false;
    }
    auto decimals = entry.find("decimals");
    if (decimals == entry.end() || !decimals->is_number_integer() || decimals->get<int64_t>() < 0 ||
        decimals->get<int64_t>() > kMaxDecimals) {
      error =
          At(at, "decimals") + " must be a whole number from 0 to " + std::to_string(kMaxDecimals);
      return false;
    }
    c.Decimals = static_cast<int>(decimals->get<int64_t>());
    auto after = entry.find("symbol_after");
    if (after == entry.end() || !after->is_boolean()) {
      error = At(at, "symbol_after") + " must be true or false";
      return false;
    }
    c.SymbolAfter = after->get<bool>();
    auto names = entry.find("names");
    if (names == entry.end() || !names->is_object()) {
      error = At(at, "names") + " must be an object of names by language";
      return false;
    }
    for (const auto& [lang, unused] : names->items()) {
      std::string name;
      if (!GetText(*names, lang.c_str(), At(at, "names"), name, error)) return false;
    }
    for (const char* lang : kBuiltinLanguages) {
      if (!names->contains(lang)) {
        error = At(At(at, "names"), lang) + " is missing";
        return false;
      }
    }
    c.Names = *names;
    out.push_back(std::move(c));
  }
  return true;
}

bool ReadCategory(const Json& node, const std::string& where, int depth, Category& out,
                  std::string& error) {
  if (node.is_string()) {
    Json wrapped = {{"name", node}};
    return GetText(wrapped, "name", where, out.Name, error);
  }
  if (!node.is_object()) {
    error = where + " must be a name or an object with a name and children";
    return false;
  }
  if (!CheckObject(node, {"name", "children"}, where, error) ||
      !GetText(node, "name", where, out.Name, error)) {
    return false;
  }
  if (!node.contains("children")) return true;
  const Json* children = nullptr;
  if (!GetArray(node, "children", where, children, error)) return false;
  if (!children->empty() && depth + 1 >= kMaxCategoryDepth) {
    error = At(where, "children") + " nests deeper than " + std::to_string(kMaxCategoryDepth) +
            " levels";
    return false;
  }
  for (size_t i = 0; i < children->size(); ++i) {
    Category child;
    if (!ReadCategory((*children)[i], At(At(where, "children"), i), depth + 1, child, error)) {
      return false;
    }
    out.Children.push_back(std::move(child));
  }
  return true;
}

bool ReadTemplate(const std::string& path, const std::vector<Currency>& currencies, Template& out,
                  std::string& error) {
  Json doc;
  if (!ReadJson(path, doc, error)) return false;
  const std::string where = path + ":";
  if (!CheckObject(doc,
                   {"comment", "language", "default_currency", "account", "categories", "payees"},
                   where, error) ||
      !GetText(doc, "language", where, out.Language, error) ||
      !GetText(doc, "default_currency", where, out.DefaultCurrency, error)) {
    return false;
  }
  bool lower = out.Language.size() == 2;
  for (char ch : out.Language) lower = lower && ch >= 'a' && ch <= 'z';
  if (!lower) {
    error = At(where, "language") + " must be two small letters";
    return false;
  }
  for (const Currency& c : currencies) {
    if (!c.Names.contains(out.Language)) {
      error = At(where, "language") + ": currency " + c.Code + " has no name in " + out.Language;
      return false;
    }
  }
  auto known = [&](const std::string& code) {
    for (const Currency& c : currencies) {
      if (c.Code == code) return true;
    }
    return false;
  };
  if (!known(out.DefaultCurrency)) {
    error =
        At(where, "default_currency") + " names no currency of the list: " + out.DefaultCurrency;
    return false;
  }
  auto account = doc.find("account");
  const std::string account_at = At(where, "account");
  if (account == doc.end()) {
    error = account_at + " is missing";
    return false;
  }
  if (!CheckObject(*account, {"name", "currency"}, account_at, error) ||
      !GetText(*account, "name", account_at, out.AccountName, error) ||
      !GetText(*account, "currency", account_at, out.AccountCurrency, error)) {
    return false;
  }
  if (!known(out.AccountCurrency)) {
    error = At(account_at, "currency") + " names no currency of the list: " + out.AccountCurrency;
    return false;
  }
  const Json* categories = nullptr;
  const Json* payees = nullptr;
  if (!GetArray(doc, "categories", where, categories, error) ||
      !GetArray(doc, "payees", where, payees, error)) {
    return false;
  }
  for (size_t i = 0; i < categories->size(); ++i) {
    Category c;
    if (!ReadCategory((*categories)[i], At(At(where, "categories"), i), 0, c, error)) {
      return false;
    }
    out.Categories.push_back(std::move(c));
  }
  for (size_t i = 0; i < payees->size(); ++i) {
    Json wrapped = {{"name", (*payees)[i]}};
    std::string name;
    if (!GetText(wrapped, "name", At(At(where, "payees"), i), name, error)) return false;
    out.Payees.push_back(std::move(name));
  }
  return true;
}

uint64_t CurrencyID(const std::vector<Currency>& currencies, const std::string& code) {
  for (size_t i = 0; i < currencies.size(); ++i) {
    if (currencies[i].Code == code) return kFirstCurrencyID + i;
  }
  return 0;
}

// Stores `c` and its subtree under `parent`, in description order, so that ascending IDs keep
// that order in the trees; returns false when the database refused a record.
bool StoreCategory(DataBase& db, const Category& c, uint64_t parent) {
  auto record = std::make_unique<TCategory>();
  record->Name = Utf8ToWide(c.Name);
  record->Data.RootID = parent;
  uint64_t id = db.StoreEntry(std::move(record));
  if (id == 0) return false;
  for (const Category& child : c.Children) {
    if (!StoreCategory(db, child, id)) return false;
  }
  return true;
}

bool MakeTemplate(const std::vector<Currency>& currencies, const Template& t,
                  const std::string& path, std::string& error) {
  platform::ScopedClockPin pin(kBuildMoment);
  DataBase db;
  db.Loaded = true;
  db.SetCurrentUser(0);
  db.SeedIDs(kIDSeed);
  db.Header.DatabaseID = db.NewID();
  bool stored = true;
  for (size_t i = 0; i < currencies.size(); ++i) {
    const Currency& c = currencies[i];
    auto record = std::make_unique<TCurrency>();
    record->Header.ID = kFirstCurrencyID + i;
    record->SetCode(Utf8ToWide(c.Code));
    record->Symbol = Utf8ToWide(c.Symbol);
    record->Name = Utf8ToWide(c.Names[t.Language].get<std::string>());
    record->Data.Decimals = static_cast<uint8_t>(c.Decimals);
    record->Data.AlignRight = c.SymbolAfter ? 1 : 0;
    stored = stored && db.StoreEntry(std::move(record)) != 0;
  }
  auto account = std::make_unique<TAccount>();
  account->Name = Utf8ToWide(t.AccountName);
  account->Data.CurrencyID = CurrencyID(currencies, t.AccountCurrency);
  uint64_t account_id = db.StoreEntry(std::move(account));
  stored = stored && account_id != 0;
  for (const Category& c : t.Categories) stored = stored && StoreCategory(db, c, kCategoryRoot);
  for (const std::string& payee : t.Payees) {
    stored = stored && StoreCategory(db, Category{payee, {}}, kPayeeRoot);
  }
  if (!stored) {
    error = path + ": the database refused a record";
    return false;
  }
  db.SetDatabaseText(0, L"Custom field #1");
  db.SetDatabaseText(1, L"Custom field #3");
  db.SetDatabaseText(2, L"Custom field #2");
  db.UserSettings.DefaultCurrencyID = CurrencyID(currencies, t.DefaultCurrency);
  db.UserSettings.DefaultAccountID = account_id;
  const ADate today = TodayADate();
  db.Period = TimeInterval(MakeADate(YearOf(today), MonthOf(today), 1),
                           MakeADate(YearOf(today), MonthOf(today) + 1, 0));
  int rc = db.SaveFile(path);
  if (rc != kResultOK) {
    error = path + ": cannot be written (result " + std::to_string(rc) + ")";
    return false;
  }
  return true;
}

// A C++ narrow string literal of `text` that keeps every byte: printable ASCII as it is, the
// rest as three-digit octal escapes, which unlike hex escapes never run into the next character.
std::string Literal(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c >= 0x20 && c < 0x7f && c != '"' && c != '\\' && c != '?') {
      out += static_cast<char>(c);
    } else {
      char escape[5];
      std::snprintf(escape, sizeof escape, "\\%03o", c);
      out += escape;
    }
  }
  return out + "\"";
}

bool WriteSource(const std::string& path, const std::vector<Currency>& currencies,
                 const std::vector<std::string>& languages, const std::vector<std::string>& files,
                 std::string& error) {
  std::ostringstream src;
  src << "// Made by make_template from resources/templates/ at build time; not to be edited.\n"
      << "#include \"resources/template_data.h\"\n\n"
      << "namespace vemra::template_data {\nnamespace {\n";
  for (size_t i = 0; i < files.size(); ++i) {
    std::ifstream file(files[i], std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file.is_open() || file.bad() || bytes.empty()) {
      error = files[i] + ": cannot be read back";
      return false;
    }
    src << "\nconst unsigned char kTemplate" << i << "[] = {";
    for (size_t j = 0; j < bytes.size(); ++j) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "0x%02x,", static_cast<unsigned char>(bytes[j]));
      src << (j % 16 == 0 ? "\n    " : " ") << hex;
    }
    src << "\n};\n";
  }
  src << "\n}  // namespace\n\nconst TEmbeddedTemplate kTemplates[] = {\n";
  for (size_t i = 0; i < languages.size(); ++i) {
    src << "    {" << Literal(languages[i]) << ", kTemplate" << i << ", sizeof kTemplate" << i
        << "},\n";
  }
  src << "};\nconst size_t kTemplateCount = " << languages.size() << ";\n\n"
      << "const TBuiltinCurrency kCurrencies[] = {\n";
  for (const Currency& c : currencies) {
    src << "    {" << Literal(c.Code) << ", " << Literal(c.Symbol) << ", " << c.Decimals << ", "
        << (c.SymbolAfter ? "true" : "false") << ", " << Literal(c.Names["en"].get<std::string>())
        << ", " << Literal(c.Names["ru"].get<std::string>()) << "},\n";
  }
  src << "};\nconst size_t kCurrencyCount = " << currencies.size() << ";\n\n"
      << "}  // namespace vemra::template_data\n";
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << src.str();
  out.close();
  if (!out) {
    error = path + ": cannot be written";
    return false;
  }
  return true;
}

int Run(int argc, char** argv) {
  if (argc < 5) {
    std::fprintf(stderr,
                 "usage: make_template OUT_DIR GENERATED_SOURCE CURRENCIES_JSON "
                 "LANGUAGE_JSON...\n");
    return 1;
  }
  // SaveFile's log lines would only clutter the build output.
  platform::SetLogOutput(nullptr);
  const std::string out_dir = argv[1];
  const std::string source = argv[2];
  std::string error;
  std::vector<Currency> currencies;
  std::vector<Template> templates;
  bool ok = ReadCurrencies(argv[3], currencies, error);
  std::set<std::string> languages;
  for (int i = 4; ok && i < argc; ++i) {
    Template t;
    ok = ReadTemplate(argv[i], currencies, t, error);
    if (ok && !languages.insert(t.Language).second) {
      error = std::string(argv[i]) + ": language " + t.Language + " is described twice";
      ok = false;
    }
    templates.push_back(std::move(t));
  }
  std::vector<std::string> names;
  std::vector<std::string> files;
  for (size_t i = 0; ok && i < templates.size(); ++i) {
    names.push_back(templates[i].Language);
    files.push_back(out_dir + "/template_" + templates[i].Language + ".lgr");
    ok = MakeTemplate(currencies, templates[i], files.back(), error);
  }
  ok = ok && WriteSource(source, currencies, names, files, error);
  if (!ok) {
    // Leaves no output that a later build could take for a good one.
    for (const std::string& file : files) std::remove(file.c_str());
    std::remove(source.c_str());
    std::fprintf(stderr, "make_template: error: %s\n", error.c_str());
    return 1;
  }
  return 0;
}

}  // namespace
}  // namespace vemra

int main(int argc, char** argv) {
  // The description is read without exceptions; this only keeps an out-of-memory failure
  // from ending the build without a word.
  try {
    return vemra::Run(argc, argv);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "make_template: error: %s\n", e.what());
    return 1;
  }
}
