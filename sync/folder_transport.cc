#include "sync/folder_transport.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "core/streams/atomic_file.h"
#include "platform/sha256.h"

namespace vemra::sync {
namespace {

std::atomic<uint64_t> g_temporary{0};

Status Fail(Failure failure, std::string text) {
  return Status{failure, std::move(text)};
}

Status SystemFailure(const std::string& what, int error) {
  if (error == ENOENT || error == ENOTDIR) return Fail(Failure::kNotFound, what + ": not found");
  return Fail(Failure::kNetwork, what + ": " + std::strerror(error));
}

// Opens the regular file `name` of the open folder `dir` for reading without following a link
// or blocking on a FIFO. Returns the descriptor, or -1 with `status` set.
int OpenRegular(int dir, const std::string& name, Status& status) {
  const int fd = ::openat(dir, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    status = errno == ELOOP ? Fail(Failure::kBadName, name + ": not a regular file")
                            : SystemFailure(name, errno);
    return -1;
  }
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    status = Fail(Failure::kBadName, name + ": not a regular file");
    return -1;
  }
  return fd;
}

// Copies what `fd` holds to `out`, hashing it. False on a read or write failure (errno set).
bool Copy(int fd, IOutputStream& out, platform::Sha256& hash) {
  char buffer[1 << 16];
  while (true) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    hash.Update(buffer, static_cast<size_t>(n));
    if (out.Write(buffer, static_cast<size_t>(n)) != static_cast<size_t>(n)) return false;
  }
}

// The revision of a file other than "main": which file it is and when it was written. Parts are
// never rewritten, so a different revision under the same name means another file took it.
std::string FileRevision(const struct stat& st) {
  return "f" + std::to_string(st.st_ino) + "-" + std::to_string(st.st_size) + "-" +
         std::to_string(st.st_mtim.tv_sec) + "." + std::to_string(st.st_mtim.tv_nsec);
}

std::string TemporaryName(const std::string& folder, const std::string& name) {
  return folder + "/." + name + "." + std::to_string(::getpid()) + "." +
         std::to_string(g_temporary++) + ".tmp";
}

}  // namespace

FolderTransport::FolderTransport(std::string root) : root_(std::move(root)) {
  while (root_.size() > 1 && root_.back() == '/') root_.pop_back();
}

Status FolderTransport::Resolve(const std::string& folder, std::string& path) const {
  if (folder.empty() || folder[0] != '/') return Fail(Failure::kBadName, folder + ": not a path");
  size_t start = 1;
  while (start <= folder.size()) {
    const size_t slash = std::min(folder.find('/', start), folder.size());
    const std::string part = folder.substr(start, slash - start);
    if (!IsPlainName(part)) return Fail(Failure::kBadName, folder + ": not a plain path");
    start = slash + 1;
  }
  path = root_ + folder;
  return Status{};
}

Status FolderTransport::List(const std::string& folder, const std::string&, Listing& out) {
  out = Listing();
  std::string path;
  if (Status s = Resolve(folder, path); !s.ok()) return s;
  const int dir = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir < 0) return SystemFailure(folder, errno);
  DIR* listing = ::fdopendir(dir);
  if (listing == nullptr) {
    const int error = errno;
    ::close(dir);
    return SystemFailure(folder, error);
  }
  std::vector<Entry> entries;
  while (const dirent* d = ::readdir(listing)) {
    const std::string name = d->d_name;
    if (name.empty() || name[0] == '.') continue;  // ".", "..", writers' temporary files
    Entry e;
    e.name = name;
    struct stat st {};
    if (::fstatat(dir, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(st.st_mode)) {
      e.is_file = true;
      e.size = static_cast<uint64_t>(st.st_size);
      e.rev = FileRevision(st);
    }
    entries.push_back(std::move(e));
  }
  Status status;
  for (Entry& e : entries) {
    if (!e.is_file || e.name != "main") continue;
    const int fd = OpenRegular(dir, e.name, status);
    if (fd < 0) break;
    platform::Sha256 hash;
    char buffer[1 << 16];
    ssize_t n;
    while ((n = ::read(fd, buffer, sizeof buffer)) > 0) hash.Update(buffer, static_cast<size_t>(n));
    ::close(fd);
    if (n < 0) {
      status = SystemFailure(folder + "/main", errno);
      break;
    }
    e.rev = platform::Sha256::ToHex(hash.Finish());
  }
  ::closedir(listing);
  if (!status.ok()) return status;
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.name < b.name; });
  out.entries = std::move(entries);
  return Status{};
}

Status FolderTransport::Download(const std::string& folder, const std::string& name,
                                 const std::string& destination, std::string& rev) {
  std::string path;
  if (Status s = Resolve(folder, path); !s.ok()) return s;
  if (!IsPlainName(name) || name[0] == '.') return Fail(Failure::kBadName, name + ": no file name");
  const int dir = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir < 0) return SystemFailure(folder, errno);
  Status status;
  const int fd = OpenRegular(dir, name, status);
  ::close(dir);
  if (fd < 0) return status;
  struct stat st {};
  ::fstat(fd, &st);
  platform::Sha256 hash;
  const size_t slash = destination.find_last_of('/');
  const std::string target_folder = slash == std::string::npos ? "." : destination.substr(0, slash);
  const std::string base = slash == std::string::npos ? destination : destination.substr(slash + 1);
  errno = 0;
  const bool written = WriteNewFile(destination, TemporaryName(target_folder, base),
                                    [&](IOutputStream& out) { return Copy(fd, out, hash); });
  const int error = errno;
  ::close(fd);
  if (!written) {
    return error == EEXIST ? Fail(Failure::kConflict, destination + ": exists already")
                           : SystemFailure(destination, error);
  }
  rev = name == "main" ? platform::Sha256::ToHex(hash.Finish()) : FileRevision(st);
  return Status{};
}

Status FolderTransport::Upload(const std::string& source, const std::string& folder,
                               const std::string& name, bool overwrite, std::string& rev) {
  std::string path;
  if (Status s = Resolve(folder, path); !s.ok()) return s;
  if (!IsPlainName(name) || name[0] == '.') return Fail(Failure::kBadName, name + ": no file name");
  // The cloud folder is made on the first upload, as a service makes it.
  if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return SystemFailure(folder, errno);
  const int fd = ::open(source.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return SystemFailure(source, errno);
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    return Fail(Failure::kBadName, source + ": not a regular file");
  }
  platform::Sha256 hash;
  const std::string target = path + "/" + name;
  auto write = [&](IOutputStream& out) { return Copy(fd, out, hash); };
  errno = 0;
  const bool written = overwrite ? WriteFileAtomically(target, write)
                                 : WriteNewFile(target, TemporaryName(path, name), write);
  const int error = errno;
  ::close(fd);
  if (!written) {
    return error == EEXIST ? Fail(Failure::kConflict, folder + "/" + name + ": exists already")
                           : SystemFailure(folder + "/" + name, error);
  }
  if (name == "main") {
    rev = platform::Sha256::ToHex(hash.Finish());
  } else {
    struct stat placed {};
    if (::stat(target.c_str(), &placed) != 0) return SystemFailure(folder + "/" + name, errno);
    rev = FileRevision(placed);
  }
  return Status{};
}

std::string FolderTransport::Signature(const std::string& path) const {
  std::vector<std::string> lines;
  if (DIR* dir = ::opendir(path.c_str())) {
    while (const dirent* d = ::readdir(dir)) {
      struct stat st {};
      if (d->d_name[0] == '.' ||
          ::fstatat(::dirfd(dir), d->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        continue;
      }
      lines.push_back(std::string(d->d_name) + " " + std::to_string(st.st_size) + " " +
                      std::to_string(st.st_mtim.tv_sec) + "." + std::to_string(st.st_mtim.tv_nsec));
    }
    ::closedir(dir);
  }
  std::sort(lines.begin(), lines.end());
  std::string all;
  for (const std::string& l : lines) all += l + "\n";
  return all;
}

Status FolderTransport::Wait(const std::string& folder, int seconds,
                             const std::atomic<bool>* cancel, bool& changed) {
  changed = false;
  std::string path;
  if (Status s = Resolve(folder, path); !s.ok()) return s;
  const std::string before = Signature(path);
  // inotify tells of local writes at once; a network share's remote writes only show in a
  // listing, so the folder is also looked at every few seconds. A folder that does not exist
  // yet is watched through its parent.
  const int notify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (notify >= 0) {
    const uint32_t mask = IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CLOSE_WRITE |
                          IN_DELETE_SELF | IN_MOVE_SELF;
    if (::inotify_add_watch(notify, path.c_str(), mask) < 0) {
      ::inotify_add_watch(notify, path.substr(0, path.find_last_of('/')).c_str(), mask);
    }
  }
  const auto start = std::chrono::steady_clock::now();
  const auto end = start + std::chrono::seconds(seconds);
  auto next_look = start + std::chrono::seconds(5);
  while (std::chrono::steady_clock::now() < end) {
    if (cancel != nullptr && cancel->load()) break;
    bool look = false;
    if (notify >= 0) {
      pollfd p{notify, POLLIN, 0};
      if (::poll(&p, 1, 200) > 0) {
        char events[4096];
        while (::read(notify, events, sizeof events) > 0) {
        }
        look = true;
      }
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      look = true;
    }
    if (std::chrono::steady_clock::now() >= next_look) {
      look = true;
      next_look = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    }
    // Writers' temporary files come and go; only a change of the listed files counts.
    if (look && Signature(path) != before) {
      changed = true;
      break;
    }
  }
  if (notify >= 0) ::close(notify);
  return Status{};
}

}  // namespace vemra::sync
