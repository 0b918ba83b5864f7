#include "resources/new_database.h"

#include <memory>
#include <vector>

#include "core/records/account.h"
#include "core/records/currency.h"
#include "core/records/dates.h"
#include "core/records/header.h"
#include "core/records/user.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "platform/log.h"
#include "platform/unicode.h"
#include "resources/template_data.h"

namespace vemra {
namespace {

constexpr uint64_t kFirstCurrencyID = 100000;

// Slots 0..2 caption custom fields 1, 3 and 2 in that order; slot 3 (the cloud account) and
// slot 4 (the user text) start empty.
constexpr const wchar_t* kDefaultTexts[5] = {L"Custom field #1", L"Custom field #3",
                                             L"Custom field #2", L"", L""};

bool IsCurrency(DataBase& db, uint64_t id) {
  const TBaseEntry* e = db.FindEntry(id, 0);
  return e != nullptr && e->Header.Type == etCurrency;
}

void StoreBuiltinCurrencies(DataBase& db, std::string_view lang) {
  const bool russian = lang == "ru";
  for (size_t i = 0; i < template_data::kCurrencyCount; ++i) {
    const template_data::TBuiltinCurrency& c = template_data::kCurrencies[i];
    auto currency = std::make_unique<TCurrency>();
    currency->Header.ID = kFirstCurrencyID + i;
    currency->SetCode(Utf8ToWide(c.Code));
    currency->Symbol = Utf8ToWide(c.Symbol);
    currency->Name = Utf8ToWide(russian ? c.NameRu : c.NameEn);
    currency->Data.Decimals = c.Decimals;
    currency->Data.AlignRight = c.SymbolAfter ? 1 : 0;
    db.StoreEntry(std::move(currency));
  }
}

// Gives the loaded database `db` what every new database has, whatever it was made from.
void MakeNew(DataBase& db) {
  // A user left logged in from an earlier document would make ClearDatabase refuse, and
  // listing records needs a chosen user.
  db.SetCurrentUser(0);

  const ADate today = TodayADate();
  const int32_t year = YearOf(today);
  const int32_t month = MonthOf(today);
  db.Period =
      TimeInterval(MakeADate(year, month, 1), MakeADate(year, month, DaysInMonth(year, month)));
  for (uint32_t slot = 0; slot < 5; ++slot) db.SetDatabaseText(slot, kDefaultTexts[slot]);

  std::vector<const TBaseEntry*> currencies;
  db.ListEntries(etCurrency, 0, currencies);
  if (currencies.empty()) {
    // Without a currency no account can be made; a template without any is of no use as it is.
    StoreBuiltinCurrencies(db, "en");
    db.ListEntries(etCurrency, 0, currencies);
  }
  TDBUserSettings& settings = db.UserSettings;
  if (!IsCurrency(db, settings.DefaultCurrencyID) && !currencies.empty()) {
    settings.DefaultCurrencyID =
        IsCurrency(db, kFirstCurrencyID) ? kFirstCurrencyID : currencies.front()->Header.ID;
  }
  std::vector<const TBaseEntry*> accounts;
  db.ListEntries(etAccount, 0, accounts);
  if (accounts.empty()) {
    auto account = std::make_unique<TAccount>();
    account->Name = L"Main";
    account->Data.CurrencyID = settings.DefaultCurrencyID;
    settings.DefaultAccountID = db.StoreEntry(std::move(account));
  } else {
    settings.DefaultAccountID = accounts.front()->Header.ID;
  }

  // Clearing comes last: besides removing what a new database must not hold and giving it a
  // DatabaseID of its own, it drops the undo steps and journal entries made above.
  db.ClearDatabase(false, false, true, true, true, true, true, true);
  db.SetCurrentUser(0);
  // As Open would have left it for a file without password and user text.
  db.CurrentUser = TUser();
  db.CurrentUser.Data.Settings = settings;
}

}  // namespace

std::string_view TemplateBytes(std::string_view lang) {
  for (size_t i = 0; i < template_data::kTemplateCount; ++i) {
    const template_data::TEmbeddedTemplate& t = template_data::kTemplates[i];
    if (lang == t.Language) return {reinterpret_cast<const char*>(t.Bytes), t.Size};
  }
  return {};
}

std::string_view TemplateLanguage(std::string_view preferred) {
  std::string_view prefix = preferred.substr(0, 2);
  return prefix == "ru" || prefix == "uk" ? "ru" : "en";
}

int NewDatabaseFromTemplate(DataBase& db, IInputStream& template_file) {
  int rc = db.Open(template_file);
  if (rc != kResultOK) {
    db.Close();
    return rc;
  }
  MakeNew(db);
  return kResultOK;
}

void NewDatabaseFromBuiltins(DataBase& db, std::string_view lang) {
  // Close empties only a loaded database; marking it loaded first makes sure that no record
  // stored into an unloaded one survives.
  db.Loaded = true;
  db.Close();
  db.DatabaseTexts = {};
  db.UserSettings = TDBUserSettings();
  db.Loaded = true;
  StoreBuiltinCurrencies(db, lang);
  MakeNew(db);
}

void NewDatabase(DataBase& db, std::string_view lang) {
  std::string_view bytes = TemplateBytes(lang);
  OutputStream buffer;
  buffer.Write(bytes.data(), bytes.size());
  InputStream in;
  in.AttachMemory(buffer);
  int rc = NewDatabaseFromTemplate(db, in);
  if (rc == kResultOK) return;
  platform::LogCode("template failed: ", rc);
  NewDatabaseFromBuiltins(db, lang);
}

}  // namespace vemra
