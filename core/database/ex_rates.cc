// The exchange-rate index of DataBase: the TExRate records grouped by currency pair, each pair's
// rates in the direction lower ID -> higher ID, oldest first, so the last one is the rate in force.
#include <algorithm>
#include <cmath>
#include <tuple>

#include "core/database/database.h"
#include "core/records/ex_rate.h"

namespace vemra {

namespace {

// The price of one unit of the lower-ID currency in the higher-ID one, from a record that may
// hold the pair either way round. An inverse of a non-positive rate is unusable and counts as 1.
double RateForKey(const TExRate& r) {
  if (r.Data.FirstCurrencyID <= r.Data.SecondCurrencyID) return r.Data.Rate;
  return r.Data.Rate > 0 ? 1.0 / r.Data.Rate : 1.0;
}

bool RateBefore(const TExRateValue& a, const TExRateValue& b) {
  return std::tie(a.Date, a.ID) < std::tie(b.Date, b.ID);
}

}  // namespace

void DataBase::IndexRate(const TBaseEntry& e, bool add) {
  if (e.Header.Type != etExRate) return;
  const auto& r = static_cast<const TExRate&>(e);
  TExRateHeader key{std::min(r.Data.FirstCurrencyID, r.Data.SecondCurrencyID),
                    std::max(r.Data.FirstCurrencyID, r.Data.SecondCurrencyID)};
  const TExRateValue value{r.Header.ID, r.Data.Date, RateForKey(r)};
  if (add) {
    std::vector<TExRateValue>& rates = ex_rates_[key];
    rates.insert(std::upper_bound(rates.begin(), rates.end(), value, RateBefore), value);
    return;
  }
  auto it = ex_rates_.find(key);
  if (it == ex_rates_.end()) return;
  std::erase_if(it->second, [&](const TExRateValue& v) { return v.ID == value.ID; });
  if (it->second.empty()) ex_rates_.erase(it);
}

void DataBase::RebuildExRates() {
  ex_rates_.clear();
  for (const auto& [id, e] : tables_[5]) IndexRate(*e, true);
}

bool DataBase::FindDirectExRate(uint64_t from, uint64_t to, double& rate) const {
  auto it = ex_rates_.find({std::min(from, to), std::max(from, to)});
  if (it == ex_rates_.end() || it->second.empty()) return false;
  const double v = it->second.back().Rate;
  if (!(v > 0) || !std::isfinite(v)) return false;
  rate = from < to ? v : 1.0 / v;
  return true;
}

bool DataBase::FindExRate(uint64_t from, uint64_t to, double& rate) const {
  if (from == to) {
    rate = 1.0;
    return true;
  }
  if (FindDirectExRate(from, to, rate)) return true;
  // No rate of its own: across the default currency, both legs at the rate in force.
  const uint64_t home = UserSettings.DefaultCurrencyID;
  double into = 0, out_of = 0;
  if (home != 0 && home != from && home != to && FindDirectExRate(from, home, into) &&
      FindDirectExRate(home, to, out_of)) {
    rate = into * out_of;
    return true;
  }
  return false;
}

double DataBase::GetExRate(uint64_t from, uint64_t to) const {
  double rate = 1.0;
  return FindExRate(from, to, rate) ? rate : 1.0;
}

bool DataBase::SetExRate(uint64_t from, uint64_t to, double rate) {
  if (from == to || !(rate > 0)) return false;
  uint64_t lo = std::min(from, to);
  uint64_t hi = std::max(from, to);
  double stored = from < to ? rate : 1.0 / rate;

  // Copies from several devices may each have made a record for the pair; the first one is
  // kept and rewritten, the others go, so the pair ends with exactly one record.
  std::vector<uint64_t> ids;
  for (const auto& [id, e] : tables_[5]) {
    if (e->Header.Type != etExRate) continue;
    const auto& r = static_cast<const TExRate&>(*e);
    if (std::minmax(r.Data.FirstCurrencyID, r.Data.SecondCurrencyID) == std::minmax(lo, hi)) {
      ids.push_back(id);
    }
  }
  auto record = std::make_unique<TExRate>();
  if (!ids.empty()) *record = static_cast<const TExRate&>(*FindEntry(ids[0], 5));
  record->Data.FirstCurrencyID = lo;
  record->Data.SecondCurrencyID = hi;
  record->Data.Rate = stored;
  record->Data.Date = TodayADate();
  StoreEntry(std::move(record));
  for (size_t i = 1; i < ids.size(); ++i) DeleteEntry(5, ids[i]);
  return true;
}

}  // namespace vemra
