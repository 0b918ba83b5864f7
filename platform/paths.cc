#include "platform/paths.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace vemra::platform {
namespace {

std::string XdgRoot(const char* variable, const char* fallback_under_home) {
  const char* value = std::getenv(variable);
  if (value != nullptr && value[0] == '/') return std::string(value) + "/kestrum";
  const char* home = std::getenv("HOME");
  std::string base = home != nullptr && home[0] != '\0' ? home : "/tmp";
  return base + "/" + fallback_under_home + "/kestrum";
}

}  // namespace

uint64_t Fnv1a64(std::string_view bytes) {
  uint64_t hash = 14695981039346656037ULL;
  for (unsigned char c : bytes) {
    hash ^= c;
    hash *= 1099511628211ULL;
  }
  return hash;
}

std::string CacheRoot() {
  return XdgRoot("XDG_CACHE_HOME", ".cache");
}

std::string ConfigRoot() {
  return XdgRoot("XDG_CONFIG_HOME", ".config");
}

std::string StateRoot() {
  return XdgRoot("XDG_STATE_HOME", ".local/state");
}

std::string CanonicalPath(const std::string& path) {
  std::error_code ec;
  std::filesystem::path p =
      std::filesystem::weakly_canonical(std::filesystem::absolute(path, ec), ec);
  return ec ? path : p.string();
}

std::string CacheFolderFor(const std::string& document_path) {
  return CacheRoot() + "/" + std::to_string(Fnv1a64(CanonicalPath(document_path)));
}

bool MakeFolders(const std::string& folder, std::string* reason) {
  // Each missing level is made 0700: caches and settings hold the user's financial data.
  std::string partial;
  size_t at = 0;
  while (at != std::string::npos) {
    at = folder.find('/', at + 1);
    partial = folder.substr(0, at);
    if (partial.empty()) continue;
    if (::mkdir(partial.c_str(), 0700) != 0 && errno != EEXIST) {
      if (reason != nullptr) *reason = std::strerror(errno);
      return false;
    }
  }
  struct stat st {};
  int error = ::stat(folder.c_str(), &st) != 0 ? errno : S_ISDIR(st.st_mode) ? 0 : ENOTDIR;
  if (error != 0 && reason != nullptr) *reason = std::strerror(error);
  return error == 0;
}

}  // namespace vemra::platform
