// `quotes`: the exchange rates of a book brought up to date from the quotes service.
#include "cli/book_session.h"
#include "import/quotes.h"
#include "platform/settings.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kQuotesUsage =
    "usage: kestrum-cli quotes FILE [--host URL] [--currency CUR] [--json]\n"
    "\n"
    "Asks the quotes service for today's rate of every pair of currencies that take part in\n"
    "rate updates (or of the pairs holding CUR: code, name or ID) and stores the rates got.\n"
    "URL is the service's base address (http:// or https://, host, port, path); without\n"
    "--host, the one set in the preferences (com.vemra.finance.mac.quotes_host).\n"
    "Prints one line per pair (its name, the rate, \"stored\" or \"no rate\"), then the\n"
    "currencies that could not be updated. Exit 0 when every currency was updated or there was\n"
    "nothing to ask, 1 when the service failed or a currency got no rate.\n"
    "JSON: {\"url\", \"pairs\": [{\"pair\", \"from\", \"to\", \"reply\", \"rate\", \"stored\"}],\n"
    "\"failed\": [{\"ID\", \"Name\", \"Code\"}], \"error\"}.\n";

bool IsServiceUrl(const std::string& url) {
  for (const char* scheme : {"http://", "https://"}) {
    const std::string s = scheme;
    if (url.size() > s.size() && url.compare(0, s.size(), s) == 0) return true;
  }
  return false;
}

}  // namespace

int QuotesCommand(const Args& args, std::ostream& out, std::ostream& err) {
  const Shape shape{kQuotesUsage, {"--host", "--currency"}, {"--json"}, 1, 1, "give one FILE",
                    AlwaysChanges};
  Parsed p;
  Session session;
  if (int status = ParseAndOpen(args, shape, p, session, out, err); status != kOpened) {
    return status;
  }
  std::string host;
  if (const std::string* h = p.Last("--host")) {
    host = *h;
  } else {
    const nlohmann::json settings = platform::Settings().Read();
    if (auto it = settings.find(import::kQuotesHostKey); it != settings.end() && it->is_string()) {
      host = it->get<std::string>();
    }
  }
  if (host.empty()) {
    return session.Finish(
        Refuse(err, "No quotes service is set: give --host URL, or set it in the preferences"),
        err);
  }
  if (!IsServiceUrl(host)) {
    return session.Finish(
        Usage(err, kQuotesUsage, "the quotes service '" + host + "' is no http:// or https:// URL"),
        err);
  }
  Document& d = session.document();
  uint64_t currency = 0;
  if (const std::string* c = p.Last("--currency")) {
    currency = FindCurrency(d, *c);
    if (currency == 0) return session.Finish(Refuse(err, "no single currency '" + *c + "'"), err);
  }

  const import::QuotesOutcome outcome = import::UpdateExRates(d, currency, host);
  if (outcome.changed()) {
    if (int status = session.Save(err); status != kExitOK) return session.Finish(status, err);
  }
  Json failed = Json::array();
  d.Sync([&] {
    Book& db = d.database();
    for (uint64_t id : outcome.failed) {
      const TCurrency c = db.Currencies().GetCurrency(id);
      failed.push_back({{"ID", id}, {"Name", TextToUtf8(c.Name)}, {"Code", c.GetCode()}});
    }
  });
  if (p.Has("--json")) {
    Json pairs = Json::array();
    for (size_t k = 0; k < outcome.pairs.size(); ++k) {
      const import::QuotePair& pair = outcome.pairs[k];
      const bool answered = k < outcome.replies.size() && outcome.replies[k].has_value();
      pairs.push_back({{"pair", pair.name},
                       {"from", pair.from},
                       {"to", pair.to},
                       {"reply", answered ? Json(outcome.reply_lines[k]) : Json()},
                       {"rate", answered ? Json(*outcome.replies[k]) : Json()},
                       {"stored", k < outcome.stored.size() && outcome.stored[k]}});
    }
    Json j;
    j["url"] = outcome.url.empty() ? Json() : Json(outcome.url);
    j["pairs"] = pairs;
    j["failed"] = failed;
    j["error"] = outcome.error.empty() ? Json() : Json(outcome.error);
    WriteJsonLine(out, j);
  } else {
    if (outcome.pairs.empty()) {
      out << "no currency pair takes part in rate updates: a currency with a code takes part\n"
             "once saved in the currency editor ('kestrum-cli currency edit FILE CUR')\n";
    }
    for (size_t k = 0; k < outcome.pairs.size() && outcome.error.empty(); ++k) {
      const bool stored = k < outcome.stored.size() && outcome.stored[k];
      out << outcome.pairs[k].name << " ";
      if (k < outcome.replies.size() && outcome.replies[k] && *outcome.replies[k] > 0) {
        std::string rate = FormatAmount(*outcome.replies[k], 6);
        rate.erase(rate.find_last_not_of('0') + 1);
        if (rate.back() == '.') rate.pop_back();
        out << rate << (stored ? " stored" : " refused");
      } else {
        out << "no rate";
      }
      out << "\n";
    }
    if (!outcome.failed.empty()) out << "Can't update currencies:" << outcome.failed_text << "\n";
  }
  if (!outcome.error.empty()) {
    return session.Finish(Refuse(err, "Update failed: " + outcome.error), err);
  }
  return session.Finish(outcome.failed.empty() ? kExitOK : kExitFailed, err);
}

}  // namespace vemra::cli
