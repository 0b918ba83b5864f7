// The shared layer of the commands over a book: parsing their words, opening the book as a
// document (backup restore, password, user 0), running the command on the document's queue,
// saving with the sync journal, and the helpers that name accounts, categories and amounts.
// Internal to the cli library.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/cli_util.h"
#include "cli/commands.h"
#include "collections/book.h"
#include "document/document.h"

namespace vemra::cli {

// The words one book command takes.
struct Shape {
  std::string_view usage;
  std::vector<std::string_view> valued;  // options with a value
  std::vector<std::string_view> flags;   // options without
  size_t min_words = 1;                  // positional words, FILE first
  size_t max_words = 1;
  std::string_view wrong_count;  // the usage problem when the count of words is wrong
  // Whether the command changes the book: it then holds the book's lock from open to save.
  bool (*changes)(const Parsed& p) = nullptr;
};

// For Shape::changes of the commands that always change their book.
inline bool AlwaysChanges(const Parsed&) {
  return true;
}

// One book opened by a command.
class Session {
 public:
  Session();
  ~Session();

  // Opens the book at `path` as a document: the backup copy stands in for a damaged file (with
  // a warning), a protected book wants its password (`password`, else KESTRUM_PASSWORD, else
  // a prompt without echo on a terminal), then user 0 is logged in. With `lock` the book's
  // lock is held from before the read to the end of the session. Returns kExitOK, or
  // kExitFailed with the reason on `err`.
  int Open(const std::string& path, const std::string* password, bool lock, std::ostream& err);

  Document& document() { return *document_; }

  // Saves the book (merging what another writer saved meanwhile) and schedules the sync
  // journal. Returns kExitOK, or kExitFailed with the reason on `err`. Runs on the queue or off.
  int Save(std::ostream& err);

  // Waits for the journal; reports on `err` when it could not be written. Returns `status`.
  int Finish(int status, std::ostream& err);

 private:
  std::unique_ptr<Document> document_;
  bool saved_ = false;
};

// The end of an editor command run off the queue: an edit (`editing`) without changes says
// "nothing changed" and writes nothing; otherwise `save` (an editor model's save: the ID, or 0
// with its reasons) runs, a refusal is reported, and the book is saved. Returns kOpened with
// `saved` set when the entry was stored and the book saved (the command then prints it and
// finishes the session); otherwise the exit status, the session finished.
int SaveEntry(Session& session, bool editing, bool has_changes,
              const std::function<uint64_t(std::vector<std::string>*)>& save, uint64_t& saved,
              std::ostream& out, std::ostream& err);
// The same for an editor model (hasChanges and save).
template <class Model>
int SaveEntry(Session& session, bool editing, Model& model, uint64_t& saved, std::ostream& out,
              std::ostream& err) {
  return SaveEntry(
      session, editing, model.hasChanges(),
      [&](std::vector<std::string>* problems) { return model.save(problems); }, saved, out, err);
}

// What a book command does once its book is open; runs on the document's queue.
using BookBody = std::function<int(Parsed& p, Book& db, Session& session)>;

// What ParseAndOpen returns when the book is open and the command goes on.
constexpr int kOpened = -1;

// Shows the help when asked, parses `args` into `p` as `shape` says (plus --password
// anywhere) and opens FILE into `session`. Returns kOpened, or the exit status the command
// ends with (help, usage or failure reported).
int ParseAndOpen(const Args& args, const Shape& shape, Parsed& p, Session& session,
                 std::ostream& out, std::ostream& err);

// ParseAndOpen, then runs `body` on the book's queue. Returns the exit status.
int RunBook(const Args& args, const Shape& shape, std::ostream& out, std::ostream& err,
            const BookBody& body);

// The text of string record `id` (UTF-8).
std::string Text(Book& db, uint64_t id);
// The count of characters (code points) of UTF-8 text.
size_t Characters(const std::string& s);
// `s` (UTF-8) padded on the right to `width` characters; longer text stays whole.
std::string Pad(const std::string& s, size_t width);
// `s` padded on the left to `width` characters.
std::string PadLeft(const std::string& s, size_t width);
// `s` cut with "…" or padded to exactly `width` characters.
std::string Fit(const std::string& s, size_t width);
// `s` case-folded (locale-free), for comparing names without letter case.
std::wstring Folded(std::wstring s);

// How amounts of one currency are written.
struct Money {
  std::string code;
  std::string symbol;
  int decimals = 2;
  bool symbol_after = false;

  // `v` rounded to the currency's decimals, as JSON wants it.
  double Round(double v) const;
  // "$1,234.50", "-$3.00", "1,234.50 ₽".
  std::string Format(double v) const;
};

Money MoneyOf(Book& db, uint64_t currency_id);
// The currency with letter code `code` (compared without case); 0 when none.
uint64_t CurrencyByCode(Book& db, const std::string& code);
// Finds the account named or numbered `key`: an exact ID, else the one account with that name
// (compared exactly, then without case). Sets `problem` and returns 0 when none or several.
uint64_t FindAccount(Book& db, const std::string& key, std::string& problem);
// "Food / Groceries" for a category; empty for none.
std::string CategoryPath(Book& db, uint64_t id);
// The category under `root` named by the path "A/B/C" (segments compared exactly, then without
// case), creating the missing ones when `create`. 0 for an empty path. Returns false with
// `problem` set for an empty segment, an ambiguous name or a refused creation; with `create`
// false a missing segment leaves `id` 0 and returns true.
bool ResolveCategory(Book& db, uint64_t root, const std::string& path, bool create, uint64_t& id,
                     std::string& problem);
// The currency named by its code, name (letter case aside) or ID; 0 when none or several.
// Runs on the document's queue; call it off the queue.
uint64_t FindCurrency(Document& d, const std::string& key);
std::string AccountName(Book& db, uint64_t id);
const char* KindName(int32_t kind);
// One line about a transaction: kind, ID, date, accounts with amounts, category, payee,
// description and "(uncleared)".
std::string Describe(Book& db, const TTransaction& t);
// `t` in local time as "YYYY-MM-DD HH:MM".
std::string LocalMinute(std::time_t t);

}  // namespace vemra::cli
