// The commands of kestrum-cli, callable in-process: each takes the words that follow its name on
// the command line and the two output streams, and returns the exit status.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "core/database/database.h"
#include "core/streams/stream.h"

namespace vemra::cli {

using Args = std::vector<std::string>;

// Exit statuses of every command.
enum : int {
  kExitOK = 0,
  kExitFailed = 1,  // the operation failed; its message went to the error stream
  kExitUsage = 2,   // bad usage; the command's usage went to the error stream
};

// Runs the command named by args[0] with the words after it. `--help` (or `-h`) anywhere
// prints the command's help to `out` and returns 0; without a command, the overall usage goes
// to `err` with status 2.
int Run(const Args& args, std::ostream& out, std::ostream& err);

// The commands, by name; `args` are the words after the command name.
// File tools (files.cc): they work on the format and never ask for a password.
int TypesCommand(const Args& args, std::ostream& out, std::ostream& err);
int CheckCommand(const Args& args, std::ostream& out, std::ostream& err);
int DumpCommand(const Args& args, std::ostream& out, std::ostream& err);
int ConvertCommand(const Args& args, std::ostream& out, std::ostream& err);
int MergeCommand(const Args& args, std::ostream& out, std::ostream& err);
int PartCommand(const Args& args, std::ostream& out, std::ostream& err);
int GenerateCommand(const Args& args, std::ostream& out, std::ostream& err);
// Book commands: they open the book as a document.
int NewCommand(const Args& args, std::ostream& out, std::ostream& err);           // books.cc
int SummaryCommand(const Args& args, std::ostream& out, std::ostream& err);       // books.cc
int AccountsCommand(const Args& args, std::ostream& out, std::ostream& err);      // accounts.cc
int CurrenciesCommand(const Args& args, std::ostream& out, std::ostream& err);    // accounts.cc
int RateCommand(const Args& args, std::ostream& out, std::ostream& err);          // accounts.cc
int CategoriesCommand(const Args& args, std::ostream& out, std::ostream& err);    // categories.cc
int TransactionsCommand(const Args& args, std::ostream& out, std::ostream& err);  // transactions.cc
int AddCommand(const Args& args, std::ostream& out, std::ostream& err);        // entry_commands.cc
int EditCommand(const Args& args, std::ostream& out, std::ostream& err);       // entry_commands.cc
int DeleteCommand(const Args& args, std::ostream& out, std::ostream& err);     // transactions.cc
int MakeGroupCommand(const Args& args, std::ostream& out, std::ostream& err);  // transactions.cc
int ScheduleCommand(const Args& args, std::ostream& out, std::ostream& err);   // entry_commands.cc
int QuotesCommand(const Args& args, std::ostream& out, std::ostream& err);     // quotes_commands.cc
int SyncCommand(const Args& args, std::ostream& out, std::ostream& err);       // sync_commands.cc
int DropboxCommand(const Args& args, std::ostream& out, std::ostream& err);    // sync_commands.cc
int ImportReceiptCommand(const Args& args, std::ostream& out,
                         std::ostream& err);  // receipt_commands.cc
// Keeping the category and payee trees (categories.cc).
int CategoryCommand(const Args& args, std::ostream& out, std::ostream& err);
int PayeeCommand(const Args& args, std::ostream& out, std::ostream& err);
// The currency editor (currency_commands.cc).
int CurrencyCommand(const Args& args, std::ostream& out, std::ostream& err);
// The account list's moves and deletions (account_list_commands.cc).
int AccountCommand(const Args& args, std::ostream& out, std::ostream& err);
int GroupCommand(const Args& args, std::ostream& out, std::ostream& err);
// What a description, category or payee field offers (suggest.cc).
int SuggestCommand(const Args& args, std::ostream& out, std::ostream& err);
// The interval menu, the period control and the period text (period.cc).
int PeriodCommand(const Args& args, std::ostream& out, std::ostream& err);
int ViewCommand(const Args& args, std::ostream& out, std::ostream& err);
// The cache folder of a book (cache.cc).
int CacheCommand(const Args& args, std::ostream& out, std::ostream& err);
int RestoreCommand(const Args& args, std::ostream& out, std::ostream& err);

// Makes the kestrum-cli process keep every database a command opened until it exits instead of
// destroying it: the OS takes the memory back at once, where a million record destructors take
// a tenth of a second. Call once from main, before any command; tests leave it off.
void KeepBooksUntilExit();

// A database (DataBase or Book) owned by one command: destroyed with the handle, or kept until
// the process exits after KeepBooksUntilExit().
template <class T>
struct BookDeleter {
  void operator()(T* book) const;
};
template <class T>
using BookHandle = std::unique_ptr<T, BookDeleter<T>>;
template <class T>
BookHandle<T> MakeBook() {
  return BookHandle<T>(new T);
}

// Returns the message shown for a result code of the file and sync-part operations.
std::string ResultMessage(int code);

// Loads the database file at `path` into `db` and sets `format` to the file's format version.
// Returns 0 or the failing result code (-3 for formats 280 to 399).
int OpenDatabase(const std::string& path, DataBase& db, uint32_t& format);

// Opens `path` into `db` for a command. Returns kExitOK, or kExitFailed after printing why to
// `err`; for a damaged record area also how far it was read.
int OpenForCommand(const std::string& path, DataBase& db, uint32_t& format, std::ostream& err);

// Warns on `err` when the last merge or part that `db` read (`what`) was applied only up to
// damage in its records.
void WarnIfPartial(std::ostream& err, const std::string& what, const DataBase& db);

// The header values the rest of the book contradicts: a DatabaseID of 0, a default currency
// that is no currency record (while there are currencies), a default account that is no
// account. One line each; empty when none.
std::vector<std::string> HeaderDamage(DataBase& db);

// Writes `db` to `out` as one JSON object: format, header, the five database texts, every record
// (tables 0 to 6, ascending ID) and the deletion markers; one array element per line.
void WriteDatabaseJson(DataBase& db, uint32_t format, std::ostream& out);

// Writes the sync part file read from `compressed` to `out` as one JSON object: format,
// DatabaseID, the records in file order and the deletion markers. A record of a type without a
// class shows its header only; a body that cannot be read ends the list. Returns 0, -2 when the
// data cannot be decompressed, or 3 when it is no sync part or of a later format; nothing is
// written on failure.
int WritePartJson(IInputStream& compressed, std::ostream& out);

}  // namespace vemra::cli
