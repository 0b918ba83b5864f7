// The cache folder of a book: what `cache` shows and what `restore` rebuilds a book from.
#include <sys/stat.h>

#include <ctime>

#include "cli/book_session.h"
#include "core/streams/input_stream.h"
#include "platform/paths.h"
#include "platform/settings.h"

namespace vemra::cli {
namespace {

constexpr std::string_view kCacheUsage =
    "usage: kestrum-cli cache FILE [--json]\n"
    "\n"
    "Shows the cache folder of the book FILE: its backup copy (size, modified), its sync part\n"
    "files (count, newest, oldest) and the upload folder. Works on a damaged book, and\n"
    "creates nothing. JSON: {\"folder\", \"backup\": {\"path\", \"size\", \"modified\"} or null,\n"
    "\"parts\": [names, newest first], \"upload\"}.\n";

constexpr std::string_view kRestoreUsage =
    "usage: kestrum-cli restore FILE [-o OUT] [--force]\n"
    "\n"
    "Rebuilds the book FILE from its backup copy and the sync part files in its cache folder.\n"
    "The result goes to OUT, or replaces FILE after FILE is kept as FILE.damaged. A FILE that\n"
    "opens by itself is replaced only with --force.\n";

std::string FileName(const std::string& path) {
  size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The DatabaseID in the header of the database file at `path`; false when it has none.
bool DatabaseIdOf(const std::string& path, uint64_t& id) {
  InputStream in;
  TDBHeader header;
  uint32_t format = 0;
  if (!in.OpenFile(path)) return false;
  int code = DataBase::ReadHeader(in, header, format);
  if (code != kResultOK && code != kResultOlderFormat) return false;
  id = header.DatabaseID;
  return true;
}

}  // namespace

int CacheCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kCacheUsage);
  Parsed p;
  std::string problem;
  if (!Parse(args, {}, {"--json"}, p, problem)) return Usage(err, kCacheUsage, problem);
  if (p.positional.size() != 1) return Usage(err, kCacheUsage, "cache takes one FILE");
  const std::string& file = p.positional[0];
  const std::string folder = platform::CacheFolderFor(file);
  const std::string backup = folder + "/" + FileName(file);
  struct stat st {};
  const bool has_backup = ::stat(backup.c_str(), &st) == 0 && S_ISREG(st.st_mode);
  // A damaged book still names its parts through the backup copy's header.
  uint64_t id = 0;
  std::vector<std::string> parts;
  if (DatabaseIdOf(file, id) || (has_backup && DatabaseIdOf(backup, id))) {
    parts = CachedPartFiles(folder, id);
  }
  const std::string upload = folder + ".upload";
  if (p.Has("--json")) {
    Json j;
    j["folder"] = folder;
    j["backup"] = nullptr;
    if (has_backup) {
      j["backup"] = {{"path", backup},
                     {"size", static_cast<uint64_t>(st.st_size)},
                     {"modified", platform::IsoUtc(st.st_mtime)}};
    }
    j["parts"] = Json::array();
    for (const std::string& part : parts) j["parts"].push_back(FileName(part));
    j["upload"] = upload;
    WriteJsonLine(out, j);
    return kExitOK;
  }
  out << "cache folder:  " << folder << "\n";
  out << "backup copy:   ";
  if (has_backup) {
    out << backup << " (" << st.st_size << " bytes, modified " << LocalMinute(st.st_mtime) << ")\n";
  } else {
    out << "none\n";
  }
  out << "part files:    ";
  if (parts.empty()) {
    out << "none\n";
  } else {
    out << parts.size() << ", newest " << FileName(parts.front()) << ", oldest "
        << FileName(parts.back()) << "\n";
  }
  out << "upload folder: " << upload << "\n";
  return kExitOK;
}

int RestoreCommand(const Args& args, std::ostream& out, std::ostream& err) {
  if (WantsHelp(args)) return Help(out, kRestoreUsage);
  Parsed p;
  std::string problem;
  if (!Parse(args, {"-o"}, {"--force"}, p, problem)) return Usage(err, kRestoreUsage, problem);
  if (p.positional.size() != 1) return Usage(err, kRestoreUsage, "restore takes one FILE");
  const std::string& file = p.positional[0];
  const std::string* o = p.Last("-o");
  if (o == nullptr && !p.Has("--force")) {
    Document probe;
    if (probe.readFile(file) == kResultOK && !probe.Restored().restored) {
      return Refuse(err, file +
                             " opens by itself; give --force to replace it with its backup "
                             "copy (it is kept as " +
                             file + ".damaged)");
    }
  }
  Document d;
  if (d.restoreBackup(file, o == nullptr) != kResultOK) {
    return Refuse(err, file + ": No backup copy");
  }
  const std::string target = o == nullptr ? file : *o;
  SaveResult saved = d.saveToFile(target);
  if (!saved.ok()) return Refuse(err, saved.message);
  const RestoreReport& r = d.Restored();
  out << target << ": restored from the backup copy of " << LocalMinute(r.backup_modified)
      << " and " << r.parts_merged << " part files";
  if (std::string kept = d.keptDamagedAs(); !kept.empty()) {
    out << "; the previous file is kept as " << kept;
  }
  out << "\n";
  return kExitOK;
}

}  // namespace vemra::cli
