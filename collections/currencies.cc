#include "collections/currencies.h"

#include <algorithm>
#include <cwctype>
#include <utility>
#include <vector>

#include "collections/book.h"
#include "collections/records.h"

namespace vemra {

namespace {

// Display order of names: character by character after upper-casing each one, so names that
// differ only in letter case are equal (a stable sort keeps their order); a prefix comes first.
bool NameBefore(const std::wstring& a, const std::wstring& b) {
  return std::lexicographical_compare(
      a.begin(), a.end(), b.begin(), b.end(),
      [](wchar_t x, wchar_t y) { return std::towupper(x) < std::towupper(y); });
}

bool IsEnabled(const TCurrency& c) {
  return c.Data.Enabled != 0;
}

// Enabled currencies first, then by name.
bool DisplayBefore(const TCurrency& a, const TCurrency& b) {
  if (IsEnabled(a) != IsEnabled(b)) return IsEnabled(a);
  return NameBefore(a.Name, b.Name);
}

}  // namespace

uint64_t Currencies::AddCurrency(const TCurrency& c) {
  if (db_->ReadOnly) return 0;
  auto copy = std::make_unique<TCurrency>(c);
  copy->Header.ID = 0;
  return db_->StoreEntry(std::move(copy));
}

uint64_t Currencies::UpdateCurrency(const TCurrency& c) {
  if (db_->ReadOnly) return 0;
  return db_->StoreEntry(std::make_unique<TCurrency>(c));
}

TCurrency Currencies::GetCurrency(uint64_t id) {
  return LoadRecord<TCurrency>(*db_, id, etCurrency);
}

bool Currencies::DeleteCurrency(uint64_t id) {
  if (db_->ReadOnly) return false;
  // Table 0 holds other kinds too; only a currency is deleted through this collection.
  return FindRecord<TCurrency>(*db_, id, etCurrency) != nullptr && db_->DeleteEntry(0, id);
}

std::list<TCurrency> Currencies::GetEnabledCurrencies() {
  std::vector<const TBaseEntry*> entries;
  db_->ListEntries(etCurrency, 0, entries);
  std::list<TCurrency> out;
  for (const TBaseEntry* e : entries) {
    // Texts are loaded only for the currencies that stay in the list.
    if (!IsEnabled(static_cast<const TCurrency&>(*e))) continue;
    out.push_back(GetCurrency(e->Header.ID));
  }
  out.sort(DisplayBefore);  // std::list::sort is stable
  return out;
}

std::list<TCurrency> Currencies::GetAllCurrencies() {
  std::vector<const TBaseEntry*> entries;
  db_->ListEntries(etCurrency, 0, entries);
  std::list<TCurrency> out;
  for (const TBaseEntry* e : entries) out.push_back(GetCurrency(e->Header.ID));
  out.sort(DisplayBefore);
  return out;
}

uint64_t Currencies::GetDefaultCurrencyID() {
  const uint64_t preferred = db_->UserSettings.DefaultCurrencyID;
  if (FindRecord<TCurrency>(*db_, preferred, etCurrency) != nullptr) return preferred;
  // The display order puts enabled currencies first, so its head is the first enabled one, or
  // the first of all when none is enabled.
  std::list<TCurrency> all = GetAllCurrencies();
  return all.empty() ? 0 : all.front().Header.ID;
}

std::wstring Currencies::GetCurrencyName(uint64_t id) {
  return GetCurrency(id).Name;
}

double Currencies::GetExchangeRate(uint64_t from, uint64_t to) {
  return db_->GetExRate(from, to);
}

bool Currencies::SetExchangeRate(uint64_t from, uint64_t to, double rate) {
  if (db_->ReadOnly) return false;
  return db_->SetExRate(from, to, rate);
}

}  // namespace vemra
