#include "core/streams/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
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

bool WriteFileAtomically(const std::string& path, const std::function<bool(IOutputStream&)>& write,
                         bool* created) {
  AtomicFileOps& ops = *g_ops;
  std::string temp = TemporaryNameFor(path);
  OutputStream out;
  bool opened = ops.Open(out, temp);
  if (created != nullptr) *created = opened;
  if (!opened) return false;
  // A replaced file keeps its permissions; a new one gets those the process would give it.
  struct stat st {};
  if (::stat(path.c_str(), &st) == 0) ::chmod(temp.c_str(), st.st_mode & 07777);
  bool ok = write(out);
  ok = ops.Sync(out) && ok;
  ok = ops.Close(out) && ok;
  if (ok) ok = ops.Rename(temp, path);
  if (!ok) {
    std::remove(temp.c_str());
    return false;
  }
  ops.SyncFolder(FolderOf(path));
  return true;
}

}  // namespace vemra
