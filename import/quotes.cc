#include "import/quotes.h"

#include <charconv>
#include <cmath>
#include <set>
#include <utility>

#include "collections/book.h"
#include "platform/http.h"
#include "platform/unicode.h"

namespace vemra::import {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// The count of digits at `text[i]` on.
size_t Digits(std::string_view text, size_t i) {
  size_t n = 0;
  while (i + n < text.size() && IsDigit(text[i + n])) ++n;
  return n;
}

}  // namespace

std::vector<QuotePair> QuotePairs(DataBase& db, uint64_t currency) {
  std::vector<const TCurrency*> candidates;
  for (const auto& [id, e] : db.GetTable(0)) {
    if (e->Header.Type != etCurrency) continue;
    const auto& c = static_cast<const TCurrency&>(*e);
    if (c.Data.Enabled != 0) candidates.push_back(&c);
  }
  std::vector<QuotePair> pairs;
  std::set<std::pair<uint64_t, uint64_t>> seen;
  for (const TCurrency* i : candidates) {
    for (const TCurrency* j : candidates) {
      const std::string a = i->GetCode(), b = j->GetCode();
      if (i->Data.UpdateExRates == 0 || j->Data.UpdateExRates == 0 || a.empty() || b.empty() ||
          a == b) {
        continue;
      }
      const uint64_t ia = i->Header.ID, jb = j->Header.ID;
      if (currency != 0 && currency != ia && currency != jb) continue;
      if (!seen.insert(std::minmax(ia, jb)).second) continue;
      // Each pair is asked in the direction whose price is at least 1.
      if (db.GetExRate(ia, jb) > 1) {
        pairs.push_back({ia, jb, a + b});
      } else {
        pairs.push_back({jb, ia, b + a});
      }
    }
  }
  return pairs;
}

std::string QuotesUrl(std::string_view base, const std::vector<QuotePair>& pairs) {
  while (!base.empty() && base.back() == '/') base.remove_suffix(1);
  std::string url(base);
  url += "/downloads/quotes.php?currencies=";
  for (size_t k = 0; k < pairs.size(); ++k) {
    if (k != 0) url += ',';
    url += platform::PercentEncode(pairs[k].name);
  }
  return url;
}

double ReadRate(std::string_view field) {
  size_t i = 0;
  while (i < field.size() && (field[i] == ' ' || field[i] == '\t')) ++i;
  const size_t start = i;
  if (i < field.size() && (field[i] == '+' || field[i] == '-')) ++i;
  const size_t whole = Digits(field, i);
  i += whole;
  size_t fraction = 0;
  if (i < field.size() && field[i] == '.') {
    fraction = Digits(field, i + 1);
    // "5." reads as 5; "." alone is no number.
    if (fraction != 0) i += 1 + fraction;
  }
  if (whole == 0 && fraction == 0) return 0;
  if (i < field.size() && (field[i] == 'e' || field[i] == 'E')) {
    size_t k = i + 1;
    if (k < field.size() && (field[k] == '+' || field[k] == '-')) ++k;
    const size_t exponent = Digits(field, k);
    if (exponent != 0) i = k + exponent;
  }
  // from_chars takes no "+".
  std::string_view number = field.substr(start, i - start);
  if (number[0] == '+') number.remove_prefix(1);
  double v = 0;
  auto [end, ec] =
      std::from_chars(number.data(), number.data() + number.size(), v, std::chars_format::general);
  if (ec == std::errc::result_out_of_range) {
    // Too small to represent is 0; too large is not finite.
    return 0;
  }
  if (ec != std::errc() || !std::isfinite(v)) return 0;
  return v;
}

std::vector<double> ParseQuotesReply(std::string_view body, std::vector<std::string_view>* lines) {
  std::vector<double> rates;
  size_t start = 0;
  while (start < body.size()) {
    size_t end = body.find('\n', start);
    if (end == std::string_view::npos) end = body.size();
    std::string_view line = body.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    start = end + 1;
    const size_t comma = line.find(',');
    if (comma == std::string_view::npos) continue;
    std::string_view second = line.substr(comma + 1);
    second = second.substr(0, second.find(','));
    rates.push_back(ReadRate(second));
    if (lines != nullptr) lines->push_back(line);
  }
  return rates;
}

bool QuotesOutcome::changed() const {
  for (bool s : stored) {
    if (s) return true;
  }
  return false;
}

QuotesOutcome UpdateExRates(Document& document, uint64_t currency, const std::string& base) {
  QuotesOutcome outcome;
  document.Sync([&] { outcome.pairs = QuotePairs(document.database(), currency); });
  if (outcome.pairs.empty()) return outcome;
  outcome.url = QuotesUrl(base, outcome.pairs);

  platform::HttpOptions options;
  options.connect_timeout_seconds = 10;
  options.total_timeout_seconds = 30;
  options.max_redirects = 3;
  options.max_body = kMaxQuotesReply;
  const platform::HttpResponse reply = platform::HttpGet(outcome.url, options);
  std::string_view body = reply.body;
  if (reply.too_large) {
    outcome.error = "The quotes reply is larger than 1 MiB";
  } else if (!reply.ok()) {
    outcome.error = reply.error;
  } else if (reply.status != 200) {
    outcome.error = "HTTP " + std::to_string(reply.status);
  } else {
    if (body.substr(0, 3) == "\xEF\xBB\xBF") body.remove_prefix(3);
    size_t bad = 0;
    if (!ValidUtf8(body, bad)) outcome.error = "The quotes reply is not UTF-8 text";
  }
  if (!outcome.error.empty()) return outcome;

  std::vector<std::string_view> lines;
  const std::vector<double> rates = ParseQuotesReply(body, &lines);
  document.Sync([&] {
    Book& db = document.database();
    // Rates are today's market, not a user's edit: the step that collects them is dropped, so
    // that undo never takes them back (the journal still carries them to other copies).
    db.BeginUndoStep(3);
    std::set<uint64_t> updated, failed;
    for (size_t k = 0; k < outcome.pairs.size(); ++k) {
      const QuotePair& pair = outcome.pairs[k];
      const bool answered = k < rates.size();
      outcome.replies.push_back(answered ? std::optional<double>(rates[k]) : std::nullopt);
      outcome.reply_lines.emplace_back(answered ? lines[k] : std::string_view());
      const bool usable = answered && rates[k] > 0;
      // A rate the book refuses still counts as an update of its currencies.
      outcome.stored.push_back(usable && db.SetExRate(pair.from, pair.to, rates[k]));
      (usable ? updated : failed).insert({pair.from, pair.to});
    }
    db.DropUndoStep();
    for (uint64_t id : updated) failed.erase(id);
    for (uint64_t id : failed) {
      outcome.failed.push_back(id);
      const TCurrency c = db.Currencies().GetCurrency(id);
      outcome.failed_text += "\n" + WideToUtf8Lossy(c.Name) + " (" + c.GetCode() + ")";
    }
  });
  if (outcome.changed()) {
    document.post(kUpdateDataNotification);
    document.writeAutosyncData();
  }
  return outcome;
}

}  // namespace vemra::import
