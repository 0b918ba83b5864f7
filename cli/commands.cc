#include "cli/commands.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <map>
#include <memory>
#include <string_view>

#include "cli/cli_util.h"
#include "cli/generator.h"
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

namespace vemra::cli {
namespace {

constexpr std::string_view kUsage =
    "usage: kestrum-cli <command> [arguments]\n"
    "\n"
    "commands over a book:\n"
    "  new FILE [--lang en|ru]          a new database from the built-in template\n"
    "  accounts FILE                    accounts and groups with their balances\n"
    "  transactions FILE [--period P | --from D --to D] [--group-by G] [--account A]...\n"
    "                   [--currency C]  the transactions of a period with running balances\n"
    "  categories FILE [--payees]       the category (or payee) tree\n"
    "  currencies FILE                  currencies with their rates\n"
    "  rate FILE FROM TO [RATE]         show or set an exchange rate\n"
    "  add FILE (--expense | --income | --transfer) --amount X --account A [...]\n"
    "                                   add a transaction\n"
    "  edit FILE ID [...]               change a transaction\n"
    "  delete FILE ID                   delete a transaction\n"
    "Reading commands take --json for JSON output.\n"
    "\n"
    "commands over files:\n"
    "  check FILE                       format, database ID and record counts of a database\n"
    "  dump FILE                        the whole database as JSON\n"
    "  convert IN OUT                   save a database in the current format\n"
    "  merge FILE OTHER [-o OUT]        merge another copy of the same database\n"
    "  part dump PART                   a sync part as JSON\n"
    "  part apply FILE PART... [-o OUT] merge sync parts into a database\n"
    "  generate OUT --transactions N [--seed S]\n"
    "                                   write a demo book\n"
    "  summary FILE                     accounts, balances and transaction counts\n"
    "  types                            the record kinds the engine reads and writes\n"
    "\n"
    "kestrum-cli <command> --help shows the help of one command; kestrum-cli --version the\n"
    "version and the compression library.\n"
    "Exit status: 0 success, 1 the operation failed, 2 bad usage.\n";

constexpr std::string_view kCheckUsage =
    "usage: kestrum-cli check FILE\n"
    "\n"
    "Opens the database FILE and prints its format version, its database ID and the count of\n"
    "records of each type, deletion markers included. When the file cannot be opened the\n"
    "reason goes to standard error and the exit status is 1.\n";

constexpr std::string_view kDumpUsage =
    "usage: kestrum-cli dump FILE\n"
    "\n"
    "Prints the database FILE as one JSON object:\n"
    "  {\"format\": N, \"header\": {...}, \"texts\": [{\"ID\", \"stamp\", \"text\"} x5],\n"
    "   \"records\": [...], \"deleted\": [...]}\n"
    "Records come in table order 0-6 and ascending ID, each with its header fields, \"table\"\n"
    "and its body fields; fields without a name are keyed \"@\" and their body offset. Doubles\n"
    "read back to the same value; NaN and infinities are the strings \"NaN\", \"Infinity\" and\n"
    "\"-Infinity\".\n";

constexpr std::string_view kConvertUsage =
    "usage: kestrum-cli convert IN OUT\n"
    "\n"
    "Opens the database IN, in any format this system reads, and saves it as OUT in the\n"
    "current format.\n";

constexpr std::string_view kMergeUsage =
    "usage: kestrum-cli merge FILE OTHER [-o OUT]\n"
    "\n"
    "Merges OTHER, another copy of the same database, into FILE: for each record the newer\n"
    "change wins. The result replaces FILE, or goes to OUT and leaves FILE untouched.\n";

constexpr std::string_view kPartUsage =
    "usage: kestrum-cli part dump PART\n"
    "       kestrum-cli part apply FILE PART... [-o OUT]\n"
    "\n"
    "part dump prints the sync part PART as one JSON object:\n"
    "  {\"format\": N, \"DatabaseID\": ID, \"records\": [...], \"deleted\": [...]}\n"
    "with the records in file order; records of unknown types show their header only.\n"
    "\n"
    "part apply merges the sync parts into the database FILE, in the order given, and saves\n"
    "the result to FILE, or to OUT leaving FILE untouched. Nothing is saved when a part is\n"
    "refused.\n";

constexpr std::string_view kGenerateUsage =
    "usage: kestrum-cli generate OUT --transactions N [--seed S]\n"
    "\n"
    "Writes a realistic demo book with N transactions to OUT: currencies with exchange rates,\n"
    "account groups and accounts, category and payee trees, expenses, incomes, transfers,\n"
    "splits, uncleared and future-dated transactions, scheduled transactions, tags and\n"
    "deletion markers, spread over the last years up to today. The same seed (default 1) on\n"
    "the same day gives the same file.\n";

constexpr std::string_view kSummaryUsage =
    "usage: kestrum-cli summary FILE\n"
    "\n"
    "Prints the accounts of the database FILE with their balances up to today (the opening\n"
    "balance plus the plain sum of their transactions), and the count of transactions by\n"
    "kind with the dates they span.\n";

constexpr std::string_view kTypesUsage =
    "usage: kestrum-cli types\n"
    "\n"
    "Lists every record type code the engine reads and writes: code, name, table, current\n"
    "layout version and body size. Each kind is checked by writing a new record's body and\n"
    "reading it back; a kind whose body does not survive is marked FAILED and the exit\n"
    "status is 1.\n";

// Round trip of a new record of `type` through its body; see kTypesUsage.
bool RoundTrips(uint32_t type) {
  std::unique_ptr<TBaseEntry> entry = CreateEntry(type);
  OutputStream out;
  entry->SaveData(out);
  std::vector<uint8_t> body = out.MemoryData();
  if (body.size() != entry->Header.Size) return false;
  InputStream in;
  in.AttachMemory(out);
  std::unique_ptr<TBaseEntry> back = CreateEntry(type);
  if (!back->LoadData(in, entry->Header.SecondaryType)) return false;
  OutputStream again;
  back->SaveData(again);
  return again.MemoryData() == body;
}

int PartDump(const Parsed& p, std::ostream& out, std::ostream& err) {
  if (p.positional.size() != 2 || !p.options.empty()) {
    return Usage(err, kPartUsage, "part dump takes one PART");
  }
  const std::string& path = p.positional[1];
  InputStream in;
  if (!in.OpenFile(path)) return Fail(err, path, kResultCantOpen);
  int code = WritePartJson(in, out);
  return code == kResultOK ? kExitOK : Fail(err, path, code);
}

int PartApply(const Parsed& p, std::ostream& err) {
  if (p.positional.size() < 3) return Usage(err, kPartUsage, "part apply needs FILE and PART");
  const std::string& file = p.positional[1];
  auto owned = MakeBook<DataBase>();
  DataBase& db = *owned;
  uint32_t format = 0;
  if (int status = OpenForCommand(file, db, format, err); status != kExitOK) return status;
  for (size_t i = 2; i < p.positional.size(); ++i) {
    int code = db.ReadPart(p.positional[i]);
    if (code != kResultOK) return Fail(err, p.positional[i], code);
    WarnIfPartial(err, p.positional[i], db);
  }
  const std::string* o = p.Last("-o");
  return SaveTo(db, o == nullptr ? file : *o, err);
}

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

int TypesCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kTypesUsage);
  if (!args.empty()) return Usage(err, kTypesUsage, "types takes no arguments");
  char line[128];
  std::snprintf(line, sizeof line, "%-5s %-24s %5s %7s %5s  %s\n", "code", "name", "table",
                "version", "size", "check");
  out << line;
  bool all_ok = true;
  for (uint32_t type = 0; type < 256; ++type) {
    std::unique_ptr<TBaseEntry> entry = CreateEntry(type);
    if (!entry) continue;
    bool ok = type == etString || RoundTrips(type);
    all_ok = all_ok && ok;
    std::string name(TypeName(type));
    std::snprintf(line, sizeof line, "%-5u %-24s %5u %7u %5u  %s\n", type, name.c_str(),
                  entry->GetTableIndex(), entry->Header.SecondaryType, entry->Header.Size,
                  ok ? "ok" : "FAILED");
    out << line;
  }
  return all_ok ? kExitOK : kExitFailed;
}

int CheckCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kCheckUsage);
  Parsed p;
  std::string problem;
  if (!Parse(args, {}, {}, p, problem)) return Usage(err, kCheckUsage, problem);
  if (p.positional.size() != 1) return Usage(err, kCheckUsage, "check takes one FILE");
  const std::string& path = p.positional[0];
  auto owned = MakeBook<DataBase>();
  DataBase& db = *owned;
  uint32_t format = 0;
  if (int status = OpenForCommand(path, db, format, err); status != kExitOK) return status;
  std::map<uint32_t, size_t> counts;
  for (uint32_t table = 0; table < kTableCount; ++table) {
    for (const auto& [id, e] : db.GetTable(table)) ++counts[e->Header.Type];
  }
  out << "format: " << format << "\n";
  out << "DatabaseID: " << db.Header.DatabaseID << "\n";
  out << "records:\n";
  size_t total = 0;
  for (const auto& [type, count] : counts) {
    std::string_view name = TypeName(type);
    char line[96];
    std::snprintf(line, sizeof line, "  %-24s %10zu\n",
                  name.empty() ? std::to_string(type).c_str() : std::string(name).c_str(), count);
    out << line;
    total += count;
  }
  char line[96];
  std::snprintf(line, sizeof line, "  %-24s %10zu\n  %-24s %10zu\n", "total", total,
                "deletion markers", db.DeletedHeaders().size());
  out << line;
  std::vector<std::string> damage = HeaderDamage(db);
  for (const std::string& d : damage) out << "damage: " << d << "\n";
  if (damage.empty()) return kExitOK;
  err << "kestrum-cli: " << path << ": the header contradicts the records\n";
  return kExitFailed;
}

int DumpCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kDumpUsage);
  Parsed p;
  std::string problem;
  if (!Parse(args, {}, {}, p, problem)) return Usage(err, kDumpUsage, problem);
  if (p.positional.size() != 1) return Usage(err, kDumpUsage, "dump takes one FILE");
  auto owned = MakeBook<DataBase>();
  DataBase& db = *owned;
  uint32_t format = 0;
  if (int status = OpenForCommand(p.positional[0], db, format, err); status != kExitOK) {
    return status;
  }
  WriteDatabaseJson(db, format, out);
  return kExitOK;
}

int ConvertCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kConvertUsage);
  Parsed p;
  std::string problem;
  if (!Parse(args, {}, {}, p, problem)) return Usage(err, kConvertUsage, problem);
  if (p.positional.size() != 2) return Usage(err, kConvertUsage, "convert takes IN and OUT");
  auto owned = MakeBook<DataBase>();
  DataBase& db = *owned;
  uint32_t format = 0;
  if (int status = OpenForCommand(p.positional[0], db, format, err); status != kExitOK) {
    return status;
  }
  return SaveTo(db, p.positional[1], err);
}

int MergeCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kMergeUsage);
  Parsed p;
  std::string problem;
  if (!Parse(args, {"-o"}, {}, p, problem)) return Usage(err, kMergeUsage, problem);
  if (p.positional.size() != 2) return Usage(err, kMergeUsage, "merge takes FILE and OTHER");
  const std::string& file = p.positional[0];
  auto owned = MakeBook<DataBase>();
  DataBase& db = *owned;
  uint32_t format = 0;
  if (int status = OpenForCommand(file, db, format, err); status != kExitOK) return status;
  if (int code = db.MergeFilePath(p.positional[1]); code != kResultOK) {
    return Fail(err, p.positional[1], code);
  }
  WarnIfPartial(err, p.positional[1], db);
  const std::string* o = p.Last("-o");
  return SaveTo(db, o == nullptr ? file : *o, err);
}

int PartCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kPartUsage);
  Parsed p;
  std::string problem;
  if (!Parse(args, {"-o"}, {}, p, problem)) return Usage(err, kPartUsage, problem);
  if (p.positional.empty()) return Usage(err, kPartUsage, "part needs dump or apply");
  if (p.positional[0] == "dump") return PartDump(p, out, err);
  if (p.positional[0] == "apply") return PartApply(p, err);
  return Usage(err, kPartUsage, "unknown part command '" + p.positional[0] + "'");
}

int GenerateCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kGenerateUsage);
  Parsed p;
  std::string problem;
  if (!Parse(args, {"--transactions", "--seed"}, {}, p, problem)) {
    return Usage(err, kGenerateUsage, problem);
  }
  if (p.positional.size() != 1) return Usage(err, kGenerateUsage, "generate takes one OUT");
  uint64_t transactions = 0;
  uint64_t seed = 1;
  const std::string* n = p.Last("--transactions");
  if (n == nullptr) return Usage(err, kGenerateUsage, "--transactions is required");
  if (!ParseCount(*n, transactions)) {
    return Usage(err, kGenerateUsage, "--transactions wants a whole number");
  }
  if (const std::string* s = p.Last("--seed"); s != nullptr && !ParseCount(*s, seed)) {
    return Usage(err, kGenerateUsage, "--seed wants a whole number");
  }
  auto owned = MakeBook<DataBase>();
  DataBase& db = *owned;
  GenerateBook(db, transactions, seed);
  int status = SaveTo(db, p.positional[0], err);
  if (status == kExitOK) {
    out << p.positional[0] << ": " << transactions << " transactions, seed " << seed << "\n";
  }
  return status;
}

int SummaryCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kSummaryUsage);
  Parsed p;
  std::string problem;
  if (!Parse(args, {}, {}, p, problem)) return Usage(err, kSummaryUsage, problem);
  if (p.positional.size() != 1) return Usage(err, kSummaryUsage, "summary takes one FILE");
  auto owned = MakeBook<DataBase>();
  DataBase& db = *owned;
  uint32_t format = 0;
  if (int status = OpenForCommand(p.positional[0], db, format, err); status != kExitOK) {
    return status;
  }
  ADate today = TodayADate();
  std::map<uint64_t, double> balance;
  size_t expenses = 0, incomes = 0, transfers = 0, in_splits = 0, uncleared = 0, future = 0;
  ADate first(INT32_MAX), last(INT32_MIN);
  for (const auto& [id, e] : db.GetTable(1)) {
    const auto* t = dynamic_cast<const TTransaction*>(e.get());
    if (t == nullptr) continue;
    const TTransaction::TData& d = t->Data;
    first = std::min(first, d.Date);
    last = std::max(last, d.Date);
    if (d.WithdrawAccountID != 0 && d.TargetAccountID != 0) {
      ++transfers;
    } else if (d.TargetAccountID != 0) {
      ++incomes;
    } else {
      ++expenses;
    }
    if (d.SplitID != 0) ++in_splits;
    if (d.Cleared == 0) ++uncleared;
    if (d.Date > today) {
      ++future;
      continue;
    }
    if (d.WithdrawAccountID != 0) balance[d.WithdrawAccountID] -= d.WithdrawAmount;
    if (d.TargetAccountID != 0) balance[d.TargetAccountID] += d.TargetAmount;
  }

  out << "accounts (balance up to " << FormatDate(today) << "):\n";
  for (const auto& [id, e] : db.GetTable(0)) {
    const auto* a = dynamic_cast<const TAccount*>(e.get());
    if (a == nullptr) continue;
    std::wstring name;
    db.GetString(a->Data.NameID, name);
    std::string code = "?";
    int decimals = 2;
    if (const auto* c = dynamic_cast<const TCurrency*>(db.FindEntry(a->Data.CurrencyID, 0))) {
      code = c->GetCode();
      decimals = std::min<int>(c->Data.Decimals, 9);
    }
    char line[192];
    std::snprintf(line, sizeof line, "  %-28s %-3s %16s%s\n", TextToUtf8(name).c_str(),
                  code.c_str(),
                  FormatAmount(a->Data.InitialBalance + balance[id], decimals).c_str(),
                  a->Data.Visible ? "" : "  (closed)");
    out << line;
  }
  size_t total = expenses + incomes + transfers;
  out << "transactions: " << total;
  if (total > 0) out << " from " << FormatDate(first) << " to " << FormatDate(last);
  out << "\n  expenses " << expenses << ", incomes " << incomes << ", transfers " << transfers
      << ", in splits " << in_splits << ", uncleared " << uncleared << ", after today " << future
      << "\n";
  size_t scheduled = 0;
  for (const auto& [id, e] : db.GetTable(0)) scheduled += e->Header.Type == etScheduledTransaction;
  out << "scheduled transactions: " << scheduled << "\n";
  out << "deletion markers: " << db.DeletedHeaders().size() << "\n";
  return kExitOK;
}

int Run(const Args& args, std::ostream& out, std::ostream& err) {
  if (args.empty()) return Usage(err, kUsage, "");
  const std::string& command = args[0];
  if (IsHelp(command)) return Help(out, kUsage);
  if (command == "--version" || command == "-V") {
    out << "kestrum-cli " << KESTRUM_VERSION << "\ncompression: " << CodecName() << "\n";
    return kExitOK;
  }
  Args rest(args.begin() + 1, args.end());
  using Command = int (*)(const Args&, std::ostream&, std::ostream&);
  static const std::map<std::string_view, Command> kCommands = {
      {"check", CheckCommand},     {"dump", DumpCommand},   {"convert", ConvertCommand},
      {"merge", MergeCommand},     {"part", PartCommand},   {"generate", GenerateCommand},
      {"summary", SummaryCommand}, {"types", TypesCommand},
  };
  auto it = kCommands.find(command);
  if (it != kCommands.end()) return it->second(rest, out, err);
  bool known = false;
  int status = BookCommand(command, rest, out, err, known);
  return known ? status : Usage(err, kUsage, "unknown command '" + command + "'");
}

}  // namespace vemra::cli
