#include "cli/commands.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>

#include "cli/cli_util.h"
#include "cli/record_json.h"
#include "collections/book.h"
#include "core/records/account.h"
#include "core/records/currency.h"
#include "core/records/entry_factory.h"
#include "core/records/transaction.h"
#include "core/streams/codec.h"
#include "core/streams/compress.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "generator/generator.h"
#include "platform/log.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kUsage =
    "usage: kestrum-cli <command> [arguments]\n"
    "\n"
    "commands over a book (a protected book asks for its password: --password TEXT,\n"
    "KESTRUM_PASSWORD, or a prompt on the terminal):\n"
    "  new FILE [--lang en|ru]          a new database from the built-in template\n"
    "  accounts FILE                    accounts and groups with their balances\n"
    "  transactions FILE [--period P | --from D --to D] [--group-by G] [--account A]...\n"
    "                   [--currency C]  the transactions of a period with running balances\n"
    "  categories FILE [--payees]       the category (or payee) tree\n"
    "  category|payee add|rename|move|delete FILE PATH ...\n"
    "                                   keep the category or payee tree\n"
    "  currencies FILE                  currencies with their rates\n"
    "  rate FILE FROM TO [RATE]         show or set an exchange rate\n"
    "  currency add FILE --name S [--code C] [--symbol S] [--decimals N]\n"
    "  currency edit FILE CUR [...]     add or change a currency\n"
    "  add FILE (--expense | --income | --transfer | --copy ID) --amount X [--account A]\n"
    "           [...]                   add a transaction through the transaction editor\n"
    "  edit FILE ID [...]               change a transaction\n"
    "  schedule add|edit|delete|list|upcoming FILE ...\n"
    "                                   scheduled transactions and their coming dates\n"
    "  account add|edit|close|reopen FILE ...\n"
    "  group add|edit FILE ...          add or change accounts and account groups\n"
    "  delete FILE ID...                delete transactions, splits and categories\n"
    "  make-group FILE ID ID...         make a split of transactions\n"
    "  summary FILE                     accounts, balances and transaction counts\n"
    "  quotes FILE [--host URL] [--currency CUR]\n"
    "                                   today's exchange rates from the quotes service\n"
    "  import-receipt FILE RECEIPT.json [--account A] [--category PATH] [--dry-run]\n"
    "                                   fiscal receipts as splits, one per receipt\n"
    "  sync FILE --folder ROOT [--watch]\n"
    "                                   keep the book in step with its copies in ROOT\n"
    "  sync FILE --enable|--disable|--status\n"
    "                                   the book's cloud sync and its state\n"
    "  sync FILE --dropbox [--api-base URL] [--watch]\n"
    "                                   keep the book in step through its Dropbox\n"
    "  dropbox login|logout|link FILE|unlink FILE\n"
    "                                   this machine's Dropbox login, a book's account\n"
    "  account move FILE ROW (--above ROW | --on GROUP | --end)\n"
    "                                   reorder the account list, regroup an account\n"
    "  account delete FILE ACCOUNT --yes  delete an account and its transactions\n"
    "  group delete FILE GROUP          delete an account group, keeping its accounts\n"
    "  period KIND [BEGIN END] [--at D] [--move N] [--book FILE]\n"
    "                                   a period of the interval menu and its text\n"
    "  view FILE [--period KIND [BEGIN END] | --move N] [--hidden-accounts show|hide]\n"
    "                                   show or set the book's period and view option\n"
    "  suggest FILE (description|category|payee) TEXT [--kind K] [--under PATH] [--limit N]\n"
    "                                   what the field offers while TEXT is typed\n"
    "Reading commands take --json for JSON output. Changes are saved at once, with a sync\n"
    "part file and a backup copy in the book's cache folder.\n"
    "\n"
    "the cache folder of a book:\n"
    "  cache FILE                       backup copy, part files and upload folder\n"
    "  restore FILE [-o OUT] [--force]  rebuild a damaged book from its backup and parts\n"
    "\n"
    "commands over files (they never ask for a password):\n"
    "  check FILE                       format, database ID and record counts of a database\n"
    "  dump FILE                        the whole database as JSON\n"
    "  convert IN OUT                   save a database in the current format\n"
    "  merge FILE OTHER [-o OUT]        merge another copy of the same database\n"
    "  part dump PART                   a sync part as JSON\n"
    "  part apply FILE PART... [-o OUT] merge sync parts into a database\n"
    "  generate OUT --transactions N [--seed S]\n"
    "                                   write a demo book\n"
    "  types                            the record kinds the engine reads and writes\n"
    "\n"
    "kestrum-cli help COMMAND (or COMMAND --help) shows the help of one command;\n"
    "kestrum-cli --version the version and the compression library; --verbose anywhere sends\n"
    "diagnostic lines to standard error (else they go to $XDG_STATE_HOME/kestrum/kestrum.log).\n"
    "Exit status: 0 success, 1 the operation failed, 2 bad usage.\n";

}  // namespace

std::string ResultMessage(int code) {
  switch (code) {
    case kResultTooNew:
      return "Unknown data base version. Update software to latest version to open this file.";
    case kResultTooOld:
      return "Data base version too old. Update impossible.";
    case kResultBackupFailed:
      return "Can't create backup file. Update failed.";
    case kResultOldFormat:
      return "Update failed.";
    case kResultCantOpen:
      return "Can't open file";
    case kResultNotDatabase:
      return "This is not a valid Kestrum data base file.";
    case kResultVersionMismatch:
      return "Version mismatch. Update data base file first.";
    case kResultWrongDatabase:
      return "Data base ID mismatch, sync impossible.";
    case kResultWrongPassword:
      return "Invalid password";
    default:
      return "Unknown error: " + std::to_string(static_cast<int8_t>(code & 0xFF));
  }
}

int OpenDatabase(const std::string& path, DataBase& db, uint32_t& format) {
  InputStream in;
  if (!in.OpenFile(path)) return kResultCantOpen;
  TDBHeader header;
  int code = DataBase::ReadHeader(in, header, format);
  if (code == kResultVersionMismatch) return kResultOldFormat;
  if (code != kResultOK && code != kResultOlderFormat) return code;
  in.Seek(0);
  return db.Open(in);
}

namespace {
bool keep_books = false;
}  // namespace

void KeepBooksUntilExit() {
  keep_books = true;
}

template <class T>
void BookDeleter<T>::operator()(T* book) const {
  if (!keep_books) {
    delete book;
    return;
  }
  // Still referenced, so that a leak checker does not count it.
  static auto* kept = new std::vector<T*>;
  kept->push_back(book);
}
template struct BookDeleter<DataBase>;
template struct BookDeleter<Book>;

int OpenForCommand(const std::string& path, DataBase& db, uint32_t& format, std::ostream& err) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) {
    return Refuse(err, "Can't open file " + path + ": " + std::strerror(errno));
  }
  if (S_ISDIR(st.st_mode)) return Refuse(err, path + " is a directory");
  int code = OpenDatabase(path, db, format);
  if (code == kResultOK) return kExitOK;
  Fail(err, path, code);
  if (code == kResultNotDatabase && !db.LastRead().Complete) {
    err << "kestrum-cli: " << path << ": its records are damaged after " << db.LastRead().Records
        << " whole records (byte " << db.LastRead().Offset
        << " of the record stream); nothing was written to it\n";
  }
  return kExitFailed;
}

void WarnIfPartial(std::ostream& err, const std::string& what, const DataBase& db) {
  if (db.LastRead().Complete) return;
  err << "kestrum-cli: warning: " << what << " was applied only in part: its records are "
      << "damaged after " << db.LastRead().Records << " whole records (byte "
      << db.LastRead().Offset << " of the record stream)\n";
}

std::vector<std::string> HeaderDamage(DataBase& db) {
  std::vector<std::string> found;
  if (db.Header.DatabaseID == 0) found.push_back("the database ID is 0");
  auto names = [&](uint64_t id, uint32_t type) {
    const TBaseEntry* e = db.FindEntry(id, 0);
    return e != nullptr && e->Header.Type == type;
  };
  bool has_currencies = std::any_of(db.GetTable(0).begin(), db.GetTable(0).end(),
                                    [](auto& r) { return r.second->Header.Type == etCurrency; });
  const uint64_t currency = db.UserSettings.DefaultCurrencyID;
  if (has_currencies && !names(currency, etCurrency)) {
    found.push_back("the default currency " + std::to_string(currency) + " is no currency");
  }
  const uint64_t account = db.UserSettings.DefaultAccountID;
  if (account != 0 && !names(account, etAccount)) {
    found.push_back("the default account " + std::to_string(account) + " is no account");
  }
  return found;
}

void WriteDatabaseJson(DataBase& db, uint32_t format, std::ostream& out) {
  out << "{\"format\":" << format << ",\n\"header\":";
  WriteJson(out, DBHeaderToJson(db.Header));
  out << ",\n\"texts\":";
  JsonArrayWriter texts(out);
  for (const auto& [id, stamp] : db.DatabaseTexts) {
    std::wstring text;
    db.GetString(id, text);
    Json j;
    j["ID"] = id;
    j["stamp"] = stamp;
    j["text"] = TextToUtf8(text);
    texts.Add(j);
  }
  texts.Close();
  out << ",\n\"records\":";
  JsonArrayWriter records(out);
  for (uint32_t table = 0; table < kTableCount; ++table) {
    for (const auto& [id, e] : db.GetTable(table)) records.Add(RecordToJson(*e));
  }
  records.Close();
  out << ",\n\"deleted\":";
  JsonArrayWriter deleted(out);
  for (const auto& [id, marker] : db.DeletedHeaders()) deleted.Add(MarkerToJson(marker));
  deleted.Close();
  out << "}\n";
}

int WritePartJson(IInputStream& compressed, std::ostream& out) {
  OutputStream plain;
  if (DecompressStream(compressed, plain) != 0) return kResultCantOpen;
  InputStream in;
  in.AttachMemory(plain);
  char signature[8] = {};
  uint8_t fixed[12];
  if (!ReadExactly(in, signature, 7) || !ReadExactly(in, fixed, sizeof fixed)) {
    return kResultWrongDatabase;
  }
  uint32_t format = 0;
  uint64_t database_id = 0;
  for (int i = 0; i < 4; ++i) format |= uint32_t{fixed[i]} << (8 * i);
  for (int i = 0; i < 8; ++i) database_id |= uint64_t{fixed[4 + i]} << (8 * i);
  if (std::string_view(signature) != "VDBPART" || format > kFileFormat) {
    return kResultWrongDatabase;
  }

  out << "{\"format\":" << format << ",\"DatabaseID\":" << database_id << ",\n\"records\":";
  JsonArrayWriter records(out);
  Json deleted = Json::array();
  THeader h;
  while (h.Load(in)) {
    int64_t body = in.Tell();
    if (h.Type == etDeleted) {
      deleted.push_back(MarkerToJson(h));
      continue;
    }
    std::unique_ptr<TBaseEntry> e = CreateEntry(h.Type);
    if (!e) {
      records.Add(HeaderToJson(h));
    } else {
      if (!e->LoadData(in, h.SecondaryType)) break;
      e->Header.ID = h.ID;
      e->Header.LastModDate = h.LastModDate;
      e->Header.OwnerID = h.OwnerID;
      e->Header.Hidden = h.Hidden;
      e->Header.ReadOnly = h.ReadOnly;
      records.Add(RecordToJson(*e));
    }
    // The stored size, not what the body reader took, says where the next header starts.
    if (!in.Seek(body + h.Size)) break;
  }
  records.Close();
  out << ",\n\"deleted\":";
  JsonArrayWriter markers(out);
  for (const Json& m : deleted) markers.Add(m);
  markers.Close();
  out << "}\n";
  return kResultOK;
}

namespace {

using Command = int (*)(const Args&, std::ostream&, std::ostream&);

const std::map<std::string_view, Command>& Commands() {
  static const std::map<std::string_view, Command> kCommands = {
      {"check", CheckCommand},
      {"dump", DumpCommand},
      {"convert", ConvertCommand},
      {"merge", MergeCommand},
      {"part", PartCommand},
      {"generate", GenerateCommand},
      {"types", TypesCommand},
      {"new", NewCommand},
      {"summary", SummaryCommand},
      {"accounts", AccountsCommand},
      {"currencies", CurrenciesCommand},
      {"rate", RateCommand},
      {"categories", CategoriesCommand},
      {"transactions", TransactionsCommand},
      {"add", AddCommand},
      {"edit", EditCommand},
      {"delete", DeleteCommand},
      {"make-group", MakeGroupCommand},
      {"schedule", ScheduleCommand},
      {"quotes", QuotesCommand},
      {"import-receipt", ImportReceiptCommand},
      {"sync", SyncCommand},
      {"dropbox", DropboxCommand},
      {"cache", CacheCommand},
      {"restore", RestoreCommand},
      {"period", PeriodCommand},
      {"view", ViewCommand},
      {"suggest", SuggestCommand},
      {"account", AccountCommand},
      {"group", GroupCommand},
      {"currency", CurrencyCommand},
      {"category", CategoryCommand},
      {"payee", PayeeCommand},
  };
  return kCommands;
}

}  // namespace

int Run(const Args& given, std::ostream& out, std::ostream& err) {
  // --verbose anywhere sends the diagnostic log lines to standard error.
  Args args;
  for (const std::string& word : given) {
    if (word == "--verbose") {
      platform::SetLogOutput(stderr);
    } else {
      args.push_back(word);
    }
  }
  if (args.empty()) return Usage(err, kUsage, "");
  const std::string& command = args[0];
  if (IsHelp(command)) return Help(out, kUsage);
  if (command == "--version" || command == "-V") {
    out << "kestrum-cli " << KESTRUM_VERSION << "\ncompression: " << CodecName() << "\n";
    return kExitOK;
  }
  if (command == "help") {
    if (args.size() == 1) return Help(out, kUsage);
    auto it = Commands().find(args[1]);
    if (it == Commands().end() || args.size() > 2) {
      return Usage(err, kUsage, "help takes one command name");
    }
    return it->second({"--help"}, out, err);
  }
  auto it = Commands().find(command);
  if (it == Commands().end()) return Usage(err, kUsage, "unknown command '" + command + "'");
  return it->second(Args(args.begin() + 1, args.end()), out, err);
}

}  // namespace vemra::cli
