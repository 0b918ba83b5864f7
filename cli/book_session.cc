#include "cli/book_session.h"

#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cwctype>
#include <iostream>

#include "collections/category_path.h"
#include "core/records/account.h"
#include "core/records/category.h"
#include "core/records/currency.h"
#include "platform/unicode.h"

namespace vemra::cli {
namespace {

// Reads a line from the terminal without echoing it; false when there is no terminal.
bool PromptPassword(const std::string& file, std::string& typed) {
  if (!::isatty(STDIN_FILENO)) return false;
  std::cerr << "Password for " << file << ": " << std::flush;
  termios old_mode{};
  bool restore = ::tcgetattr(STDIN_FILENO, &old_mode) == 0;
  if (restore) {
    termios quiet = old_mode;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    ::tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
  }
  bool got = static_cast<bool>(std::getline(std::cin, typed));
  if (restore) ::tcsetattr(STDIN_FILENO, TCSANOW, &old_mode);
  std::cerr << "\n";
  return got;
}

}  // namespace

std::string LocalMinute(std::time_t t) {
  std::tm local{};
  localtime_r(&t, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local);
  return text;
}

Session::Session() = default;
Session::~Session() = default;

int Session::Open(const std::string& path, const std::string* password, bool lock,
                  std::ostream& err) {
  document_ = std::make_unique<Document>();
  Document& d = *document_;
  std::string reason;
  struct stat st {};
  // A change to a read-only book is refused before any work, so that no part file records
  // it; a read-only folder is reported when the book is saved, a missing book when it is read.
  if (lock && ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
    if ((st.st_mode & S_IWUSR) == 0) return Refuse(err, path + " is read-only");
    if (!d.holdLock(path, &reason)) return Refuse(err, path + ": " + reason);
  }
  int code = d.readFile(path, &reason);
  if (code == kResultCantOpen && reason == "Is a directory") {
    return Refuse(err, path + " is a directory");
  }
  if (code == kResultCantOpen && !reason.empty()) {
    return Refuse(err, "Can't open file " + path + ": " + reason);
  }
  if (code != kResultOK) {
    Fail(err, path, code);
    TReadReport read;
    d.Sync([&] { read = d.database().LastRead(); });
    if (code == kResultNotDatabase && !read.Complete) {
      err << "kestrum-cli: " << path << ": its records are damaged after " << read.Records
          << " whole records (byte " << read.Offset
          << " of the record stream); nothing was written to it\n";
    }
    return kExitFailed;
  }
  if (const RestoreReport& r = d.Restored(); r.restored) {
    err << "kestrum-cli: warning: " << path << " could not be read; opened its backup copy of "
        << LocalMinute(r.backup_modified) << " (" << r.parts_merged << " part files merged)\n";
  }
  const std::wstring expected = d.getAdminPassword();
  if (!expected.empty()) {
    std::string typed;
    bool given = password != nullptr;
    if (given) {
      typed = *password;
    } else if (const char* env = std::getenv("KESTRUM_PASSWORD"); env != nullptr) {
      typed = env;
      given = true;
    } else {
      given = PromptPassword(path, typed);
    }
    std::wstring wide;
    if (!given || !Utf8ToWide(typed, wide) || wide != expected) {
      Refuse(err, path + ": " + decodeDBError(kResultWrongPassword));
      if (std::wstring hint = d.passwordHint(); !hint.empty()) {
        err << "Hint: " << TextToUtf8(hint) << "\n";
      }
      return kExitFailed;
    }
  }
  d.setCurrentUser(0);
  d.Sync([&] {
    Book& db = d.database();
    // Damage in the header is shown, never silently replaced by a fallback.
    for (const std::string& problem : HeaderDamage(db)) {
      err << "kestrum-cli: warning: " << path << ": " << problem << "\n";
    }
    const uint64_t shown = db.Currencies().GetDefaultCurrencyID();
    if (shown != 0 && shown != db.UserSettings.DefaultCurrencyID) {
      err << "kestrum-cli: warning: " << path << ": amounts are shown in "
          << db.Currencies().GetCurrency(shown).GetCode() << " instead\n";
    }
  });
  return kExitOK;
}

int Session::Save(std::ostream& err) {
  SaveResult r = document_->saveToFile();
  if (!r.ok()) return Refuse(err, r.message);
  // The part files and the backup copy in the cache follow each saved change, as in the app.
  document_->writeAutosyncData();
  saved_ = true;
  return kExitOK;
}

int Session::Finish(int status, std::ostream& err) {
  if (document_ == nullptr || !saved_) return status;
  std::string problem = document_->flushJournal();
  if (!problem.empty()) {
    err << "kestrum-cli: warning: the book was saved, but its sync journal was not written: "
        << problem << "\n";
  }
  return status;
}

int ParseAndOpen(const Args& args, const Shape& shape, Parsed& p, Session& session,
                 std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, shape.usage);
  std::vector<std::string_view> valued = shape.valued;
  valued.push_back("--password");
  std::string problem;
  if (!Parse(args, valued, shape.flags, p, problem)) return Usage(err, shape.usage, problem);
  if (p.positional.size() < shape.min_words || p.positional.size() > shape.max_words) {
    return Usage(err, shape.usage, shape.wrong_count);
  }
  const bool changes = shape.changes != nullptr && shape.changes(p);
  int status = session.Open(p.positional[0], p.Last("--password"), changes, err);
  return status == kExitOK ? kOpened : status;
}

int SaveEntry(Session& session, bool editing, bool has_changes,
              const std::function<uint64_t(std::vector<std::string>*)>& save, uint64_t& saved,
              std::ostream& out, std::ostream& err) {
  if (editing && !has_changes) {
    out << "nothing changed\n";
    return session.Finish(kExitOK, err);
  }
  std::vector<std::string> problems;
  saved = save(&problems);
  if (saved == 0) {
    for (const std::string& reason : problems) Refuse(err, reason);
    return session.Finish(kExitFailed, err);
  }
  if (int status = session.Save(err); status != kExitOK) return session.Finish(status, err);
  return kOpened;
}

int RunBook(const Args& args, const Shape& shape, std::ostream& out, std::ostream& err,
            const BookBody& body) {
  Parsed p;
  Session session;
  if (int status = ParseAndOpen(args, shape, p, session, out, err); status != kOpened) {
    return status;
  }
  int status = kExitOK;
  Document& d = session.document();
  d.Sync([&] { status = body(p, d.database(), session); });
  return session.Finish(status, err);
}

std::string Text(Book& db, uint64_t id) {
  std::wstring text;
  db.GetString(id, text);
  return TextToUtf8(text);
}

// The count of characters (code points) of UTF-8 text.
size_t Characters(const std::string& s) {
  size_t chars = 0;
  for (unsigned char c : s) chars += (c & 0xC0) != 0x80;
  return chars;
}

// `s` (UTF-8) padded on the right to `width` characters; longer text stays whole.
std::string Pad(const std::string& s, size_t width) {
  size_t chars = Characters(s);
  return chars >= width ? s : s + std::string(width - chars, ' ');
}

// `s` padded on the left to `width` characters.
std::string PadLeft(const std::string& s, size_t width) {
  size_t chars = Characters(s);
  return chars >= width ? s : std::string(width - chars, ' ') + s;
}

// `s` cut with "…" or padded to exactly `width` characters.
std::string Fit(const std::string& s, size_t width) {
  if (width == 0 || Characters(s) <= width) return Pad(s, width);
  std::string cut;
  size_t chars = 0;
  for (unsigned char c : s) {
    if ((c & 0xC0) != 0x80 && ++chars == width) break;
    cut += static_cast<char>(c);
  }
  return cut + "\u2026";
}

// `s` with every character in upper case, for comparing names without letter case.
std::wstring Folded(std::wstring s) {
  return FoldCase(s);
}

double Money::Round(double v) const {
  double scale = std::pow(10.0, decimals);
  double r = std::round(v * scale) / scale;
  return r == 0 ? 0.0 : r;  // no "-0"
}

std::string Money::Format(double v) const {
  if (!std::isfinite(v)) return "NaN";
  std::string number = FormatNumber(v, decimals, ",", ".");
  std::string sign = number[0] == '-' ? "-" : "";
  std::string digits = number.substr(sign.size());
  if (symbol.empty()) return sign + digits + (code.empty() ? "" : " " + code);
  return symbol_after ? sign + digits + " " + symbol : sign + symbol + digits;
}

Money MoneyOf(Book& db, uint64_t currency_id) {
  Money m;
  TCurrency c = db.Currencies().GetCurrency(currency_id);
  if (c.Header.ID == 0) return m;
  m.code = c.GetCode();
  m.symbol = TextToUtf8(c.Symbol);
  m.decimals = std::min<int>(c.Data.Decimals, 9);
  m.symbol_after = c.Data.AlignRight != 0;
  return m;
}

// The currency with letter code `code` (compared without case); 0 when none.
uint64_t CurrencyByCode(Book& db, const std::string& code) {
  auto upper = [](std::string s) {
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
  };
  for (const TCurrency& c : db.Currencies().GetAllCurrencies()) {
    if (upper(c.GetCode()) == upper(code)) return c.Header.ID;
  }
  return 0;
}

// Finds the account named or numbered `key`: an exact ID, else the one account with that name
// (compared exactly, then without case). Sets `problem` and returns 0 when none or several.
uint64_t FindAccount(Book& db, const std::string& key, std::string& problem) {
  uint64_t id = 0;
  if (ParseCount(key, id) && db.Accounts().GetAccount(id).Header.ID == id && id != 0) return id;
  std::wstring wanted;
  if (!Utf8ToWide(key, wanted)) wanted.clear();
  std::vector<uint64_t> exact, loose;
  for (const auto& [aid, e] : db.GetTable(0)) {
    if (e->Header.Type != etAccount || db.Accounts().IsHidden(aid)) continue;
    std::wstring name;
    db.GetString(static_cast<const TAccount&>(*e).Data.NameID, name);
    if (name == wanted) exact.push_back(aid);
    if (Folded(name) == Folded(wanted)) loose.push_back(aid);
  }
  const std::vector<uint64_t>& found = exact.empty() ? loose : exact;
  if (found.size() == 1) return found[0];
  problem = found.empty() ? "no account '" + key + "' (kestrum-cli accounts FILE lists them)"
                          : "several accounts are named '" + key + "'; give its ID";
  return 0;
}

// "Food / Groceries" for a category; empty for none.
std::string CategoryPath(Book& db, uint64_t id) {
  return CategoryPathOf(db, id);
}

std::string AccountName(Book& db, uint64_t id) {
  if (id == 0) return "";
  const TBaseEntry* e = db.FindEntry(id, 0);
  if (e == nullptr || e->Header.Type != etAccount) return "#" + std::to_string(id);
  return Text(db, static_cast<const TAccount&>(*e).Data.NameID);
}

std::string Describe(Book& db, const TTransaction& t) {
  int32_t kind = TransactionKind(t);
  uint64_t account = kind == 1 ? t.Data.TargetAccountID : t.Data.WithdrawAccountID;
  double amount = kind == 1 ? t.Data.TargetAmount : t.Data.WithdrawAmount;
  std::string line = std::string(KindName(kind)) + " " + std::to_string(t.Header.ID) + ": " +
                     FormatDate(t.Data.Date) + " " + AccountName(db, account) + " " +
                     MoneyOf(db, db.Accounts().GetCurrencyID(account)).Format(amount);
  if (kind == 2) {
    line += " -> " + AccountName(db, t.Data.TargetAccountID) + " " +
            MoneyOf(db, db.Accounts().GetCurrencyID(t.Data.TargetAccountID))
                .Format(t.Data.TargetAmount);
  }
  std::string category = CategoryPath(db, t.Categories.CategoryID);
  if (!category.empty()) line += ", " + category;
  std::string payee = CategoryPath(db, t.Categories.PayeeID);
  if (!payee.empty()) line += ", " + payee;
  if (!t.Name.empty()) line += " \"" + TextToUtf8(std::wstring(t.Name)) + "\"";
  if (t.Data.Cleared == 0) line += " (uncleared)";
  return line;
}

const char* KindName(int32_t kind) {
  return kind == 0 ? "expense" : kind == 1 ? "income" : "transfer";
}
uint64_t FindCurrency(Document& d, const std::string& key) {
  uint64_t id = 0, found = 0;
  const bool numeric = ParseCount(key, id);
  const std::wstring wanted = FoldCase(Utf8ToWide(key));
  size_t matches = 0;
  d.Sync([&] {
    for (const TCurrency& c : d.database().Currencies().GetAllCurrencies()) {
      if ((numeric && c.Header.ID == id) || FoldCase(Utf8ToWide(c.GetCode())) == wanted ||
          FoldCase(c.Name) == wanted) {
        found = c.Header.ID;
        ++matches;
      }
    }
  });
  return matches == 1 ? found : 0;
}

bool ResolveCategory(Book& db, uint64_t root, const std::string& path, bool create, uint64_t& id,
                     std::string& problem) {
  id = 0;
  std::wstring wide;
  if (!Utf8ToWide(path, wide)) {
    problem = "'" + path + "' is not UTF-8 text";
    return false;
  }
  return ResolveCategoryPath(db, root, wide, create, id, problem);
}

}  // namespace vemra::cli
