// The file tools: check, dump, convert, merge, part, generate and types. They work on the
// format itself and never ask for a password.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

#include "cli/cli_util.h"
#include "cli/commands.h"
#include "core/records/entry_factory.h"
#include "core/streams/compress.h"
#include "core/streams/input_stream.h"
#include "core/streams/output_stream.h"
#include "generator/generator.h"

namespace vemra::cli {
namespace {

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

// Says why the part file at `path` was refused with `code`: it cannot be opened, is no part
// file, is of a newer format, or belongs to another database than `database_id`.
int PartRefused(std::ostream& err, const std::string& path, int code, uint64_t database_id) {
  InputStream in;
  errno = 0;
  if (!in.OpenFile(path)) {
    return Refuse(err, "Can't open file " + path + ": " + std::strerror(errno));
  }
  OutputStream plain;
  uint8_t head[19] = {};
  if (DecompressStream(in, plain) == 0) {
    const std::vector<uint8_t>& bytes = plain.MemoryData();
    std::copy_n(bytes.begin(), std::min(bytes.size(), sizeof head), head);
  }
  uint32_t format = 0;
  uint64_t id = 0;
  for (int i = 0; i < 4; ++i) format |= uint32_t{head[7 + i]} << (8 * i);
  for (int i = 0; i < 8; ++i) id |= uint64_t{head[11 + i]} << (8 * i);
  if (std::string_view(reinterpret_cast<const char*>(head), 7) != "VDBPART") {
    return Refuse(err, path + " is not a valid part file");
  }
  if (format > kFileFormat) {
    return Refuse(err, path + " is a part file of a newer format (" + std::to_string(format) +
                           "); update Kestrum to read it");
  }
  if (database_id != 0 && id != database_id) return Fail(err, path, kResultWrongDatabase);
  return Fail(err, path, code);
}

int PartDump(const Parsed& p, std::ostream& out, std::ostream& err) {
  if (p.positional.size() != 2 || !p.options.empty()) {
    return Usage(err, kPartUsage, "part dump takes one PART");
  }
  const std::string& path = p.positional[1];
  InputStream in;
  if (!in.OpenFile(path)) return PartRefused(err, path, kResultCantOpen, 0);
  int code = WritePartJson(in, out);
  return code == kResultOK ? kExitOK : PartRefused(err, path, code, 0);
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
    if (code != kResultOK) return PartRefused(err, p.positional[i], code, db.Header.DatabaseID);
    WarnIfPartial(err, p.positional[i], db);
  }
  const std::string* o = p.Last("-o");
  return SaveTo(db, o == nullptr ? file : *o, err);
}

}  // namespace

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
}  // namespace vemra::cli
