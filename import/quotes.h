// Exchange rates from a quotes service: one GET of a URL naming every currency pair to update,
// a plain-text reply with one line per pair, and the rates stored as today's rates of the book.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document/document.h"

namespace vemra::import {

// The setting holding the quotes service's base URL (scheme, host, port, optional path).
inline constexpr char kQuotesHostKey[] = "com.vemra.finance.mac.quotes_host";
// Replies above this size are refused.
inline constexpr size_t kMaxQuotesReply = size_t{1} << 20;

// One pair put into the request: the price of one `from` in `to` is asked for as `name`, the
// two letter codes one after the other ("USDRUB").
struct QuotePair {
  uint64_t from = 0;
  uint64_t to = 0;
  std::string name;
};

// The pairs to ask for: every two enabled currencies (in ascending record ID) that both take
// part in rate updates and have different, non-empty codes, each unordered pair once in the
// order met, asked in the direction whose current rate is at least 1 (the first currency's when
// the book knows no rate). With `currency` not 0 only the pairs holding it. Call on the book's
// thread.
std::vector<QuotePair> QuotePairs(DataBase& db, uint64_t currency);

// The request URL: `base` without a trailing "/", then "/downloads/quotes.php?currencies=" and
// the pair names joined by ","; every byte of a name outside A-Z, a-z, 0-9 and "-._~" is
// percent-encoded.
std::string QuotesUrl(std::string_view base, const std::vector<QuotePair>& pairs);

// The rates of a reply, one per usable line in reply order: lines end at LF (a CR before it is
// dropped) and a line is usable when it has at least two comma-separated fields; its rate is
// ReadRate of the second field. `body` is UTF-8 text without a byte-order mark. With `lines`,
// the usable lines (without their line end) are appended to it, views into `body`.
std::vector<double> ParseQuotesReply(std::string_view body,
                                     std::vector<std::string_view>* lines = nullptr);

// The decimal number at the start of `field` after spaces and tabs: the longest prefix of the
// form [+-](digits[.digits] | .digits)[(e|E)[+-]digits], read without the locale. 0 when there
// is none, or when it is not finite.
double ReadRate(std::string_view field);

// What one update did.
struct QuotesOutcome {
  std::string url;               // the request; empty when there was nothing to ask for
  std::vector<QuotePair> pairs;  // in request order
  // Per pair: the rate its reply line gave (none past the last usable line), and whether it
  // was stored.
  std::vector<std::optional<double>> replies;
  std::vector<std::string> reply_lines;  // the usable reply line of each pair; empty when none
  std::vector<bool> stored;
  // The currencies none of whose pairs got a rate, in ascending ID.
  std::vector<uint64_t> failed;
  // Why the fetch failed ("HTTP 503", "The quotes reply is not UTF-8 text", libcurl's words);
  // empty when a reply was used. Nothing changed when it is set.
  std::string error;
  // "\n<Name> (<Code>)" per failed currency, the text after "Can't update currencies:".
  std::string failed_text;

  bool ok() const { return error.empty() && failed.empty(); }
  bool changed() const;
};

// Updates the rates of `document` from the service at `base` (all pairs, or with `currency`
// not 0 those holding it): the pairs are built on the document's queue, the fetch runs on the
// calling thread (connect 10 s, whole request 30 s, at most 3 redirects and never from https
// to http, status 200 only, at most kMaxQuotesReply bytes of UTF-8), and the rates are stored
// on the queue outside the undo history (a rate is not a user's edit to undo). When a rate was
// stored the update notification is posted and the sync journal written. Blocks; call it off
// the document's queue (the app: from a worker thread).
QuotesOutcome UpdateExRates(Document& document, uint64_t currency, const std::string& base);

}  // namespace vemra::import
