// `currency add` and `currency edit`: the currency editor, driven from the command line.
#include "cli/book_session.h"
#include "editors/currency_edit_model.h"
#include "platform/unicode.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kCurrencyUsage =
    "usage: kestrum-cli currency add FILE --name S [--code C] [--symbol S]\n"
    "           [--symbol-after | --symbol-before] [--decimals 0-8] [--json]\n"
    "       kestrum-cli currency edit FILE CUR [--name S] [--code C] [--symbol S]\n"
    "           [--symbol-after | --symbol-before] [--decimals 0-8] [--json]\n"
    "\n"
    "Adds a currency, or changes the currency CUR (its code, name or ID), as the currency\n"
    "editor does: a code keeps its first three characters and puts the currency into the\n"
    "exchange-rate update (an empty code takes it out); names are unique whatever their letter\n"
    "case, and so are codes. An edit that changes nothing says so and writes nothing.\n"
    "JSON: {\"ID\", \"Name\", \"Code\", \"Symbol\", \"AlignRight\", \"Decimals\", "
    "\"UpdateExRates\"}.\n";

Json CurrencyJson(const TCurrency& c) {
  Json j;
  j["ID"] = c.Header.ID;
  j["Name"] = TextToUtf8(c.Name);
  j["Code"] = c.GetCode();
  j["Symbol"] = TextToUtf8(c.Symbol);
  j["AlignRight"] = c.Data.AlignRight != 0;
  j["Decimals"] = c.Data.Decimals;
  j["UpdateExRates"] = c.Data.UpdateExRates != 0;
  return j;
}

int Edit(const Args& args, bool adding, std::ostream& out, std::ostream& err) {
  const Shape shape{kCurrencyUsage,
                    {"--name", "--code", "--symbol", "--decimals"},
                    {"--symbol-after", "--symbol-before", "--json"},
                    adding ? 1u : 2u,
                    adding ? 1u : 2u,
                    adding ? "currency add takes FILE" : "currency edit takes FILE and CUR",
                    AlwaysChanges};
  Parsed p;
  Session session;
  if (int status = ParseAndOpen(args, shape, p, session, out, err); status != kOpened) {
    return status;
  }
  auto usage = [&](const std::string& problem) {
    return session.Finish(Usage(err, kCurrencyUsage, problem), err);
  };
  if (adding && !p.Has("--name")) return usage("currency add needs --name");
  if (p.Has("--symbol-after") && p.Has("--symbol-before")) {
    return usage("--symbol-after and --symbol-before exclude each other");
  }
  uint64_t decimals = 0;
  const std::string* decimals_text = p.Last("--decimals");
  if (decimals_text != nullptr && (!ParseCount(*decimals_text, decimals) || decimals > 8)) {
    return usage("--decimals goes from 0 to 8");
  }
  std::wstring name, code, symbol;
  for (auto [option, text] :
       {std::pair{"--name", &name}, std::pair{"--code", &code}, std::pair{"--symbol", &symbol}}) {
    if (const std::string* v = p.Last(option); v != nullptr && !Utf8ToWide(*v, *text)) {
      return usage(std::string(option) + " is not UTF-8 text");
    }
  }
  Document& d = session.document();
  uint64_t id = 0;
  if (!adding) {
    id = FindCurrency(d, p.positional[1]);
    if (id == 0)
      return session.Finish(Refuse(err, "no single currency '" + p.positional[1] + "'"), err);
  }
  editors::CurrencyEditModel model(d, id);
  if (p.Has("--name")) model.setName(name);
  if (p.Has("--code")) model.setCode(code);
  if (p.Has("--symbol")) model.setSymbol(symbol);
  if (p.Has("--symbol-after")) model.setSymbolPosition(1);
  if (p.Has("--symbol-before")) model.setSymbolPosition(0);
  if (decimals_text != nullptr) model.setDecimals(static_cast<int>(decimals));
  uint64_t saved = 0;
  if (int status = SaveEntry(session, !adding, model, saved, out, err); status != kOpened) {
    return status;
  }
  if (p.Has("--json")) {
    WriteJsonLine(out, CurrencyJson(model.currency()));
  } else {
    out << (adding ? "added" : "changed") << " currency " << model.currency().Header.ID << ": "
        << TextToUtf8(model.currency().Name) << " (" << model.currency().GetCode() << ")\n";
  }
  return session.Finish(kExitOK, err);
}

}  // namespace

int CurrencyCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (args.empty() || IsHelp(args[0])) {
    return args.empty() ? Usage(err, kCurrencyUsage, "") : Help(out, kCurrencyUsage);
  }
  const Args rest(args.begin() + 1, args.end());
  if (args[0] == "add") return Edit(rest, true, out, err);
  if (args[0] == "edit") return Edit(rest, false, out, err);
  return Usage(err, kCurrencyUsage, "currency takes add or edit");
}

}  // namespace vemra::cli
