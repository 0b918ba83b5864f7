#include "core/streams/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

namespace vemra {
namespace {

AtomicFileOps g_default_ops;
AtomicFileOps* g_ops = &g_default_ops;
std::atomic<unsigned> g_counter{0};

std::string FolderOf(const std::string& path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// A name in the same folder (so that the rename stays on one file system) that no other
// writer of this process or another one picks.
std::string TemporaryNameFor(const std::string& path) {
  size_t slash = path.find_last_of('/');
  std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  return folder + "." + base + "." + std::to_string(::getpid()) + "." +
         std::to_string(g_counter++) + ".tmp";
}

}  // namespace

bool AtomicFileOps::Rename(const std::string& from, const std::string& to) {
  return std::rename(from.c_str(), to.c_str()) == 0;
}

bool AtomicFileOps::RenameNoReplace(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // A file system without the no-replace rename: a hard link fails the same way when `to`
  // exists.
  if (::link(from.c_str(), to.c_str()) != 0) return false;
  ::unlink(from.c_str());
  return true;
}

void AtomicFileOps::SyncFolder(const std::string& dir) {
  int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

ScopedAtomicFileOps::ScopedAtomicFileOps(AtomicFileOps& ops) : previous_(g_ops) {
  g_ops = &ops;
}

ScopedAtomicFileOps::~ScopedAtomicFileOps() {
  g_ops = previous_;
}

namespace {

// Writes `temp` through `write`, syncs and closes it, then renames it to `path` with `rename`.
// On failure removes `temp`, keeping the errno of the failed step.
bool WriteThrough(const std::string& path, const std::string& temp,
                  const std::function<bool(IOutputStream&)>& write, bool replace, bool* created) {
  AtomicFileOps& ops = *g_ops;
  OutputStream out;
  errno = 0;
  bool opened = replace ? ops.Open(out, temp) : ops.OpenNew(out, temp);
  if (created != nullptr) *created = opened;
  if (!opened) return false;
  // A replaced file keeps its permissions; a new one gets those the process would give it.
  struct stat st {};
  if (replace && ::stat(path.c_str(), &st) == 0) ::chmod(temp.c_str(), st.st_mode & 07777);
  errno = 0;
  bool ok = write(out);
  int error = ok ? 0 : errno;
  if (!ops.Sync(out) && ok) {
    ok = false;
    error = errno;
  }
  if (!ops.Close(out) && ok) {
    ok = false;
    error = errno;
  }
  if (ok) {
    ok = replace ? ops.Rename(temp, path) : ops.RenameNoReplace(temp, path);
    if (!ok) error = errno;
  }
  if (!ok) {
    std::remove(temp.c_str());
    errno = error;
    return false;
  }
  ops.SyncFolder(FolderOf(path));
  return true;
}

}  // namespace

bool WriteFileAtomically(const std::string& path, const std::function<bool(IOutputStream&)>& write,
                         bool* created) {
  return WriteThrough(path, TemporaryNameFor(path), write, true, created);
}

bool WriteNewFile(const std::string& path, const std::string& temp,
                  const std::function<bool(IOutputStream&)>& write) {
  return WriteThrough(path, temp, write, false, nullptr);
}

}  // namespace vemra
