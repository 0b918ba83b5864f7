// Where Kestrum keeps files of its own: the per-document cache folders, the settings file and
// the log, following the XDG base-directory variables.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vemra::platform {

// 64-bit FNV-1a of `bytes` (offset basis 14695981039346656037, prime 1099511628211).
uint64_t Fnv1a64(std::string_view bytes);

// $XDG_CACHE_HOME/kestrum, or ~/.cache/kestrum when the variable is unset or not absolute.
std::string CacheRoot();
// $XDG_CONFIG_HOME/kestrum (default ~/.config/kestrum).
std::string ConfigRoot();
// $XDG_STATE_HOME/kestrum (default ~/.local/state/kestrum).
std::string StateRoot();

// The canonical absolute form of `path` (std::filesystem::weakly_canonical, so the file need
// not exist); `path` itself when even that fails.
std::string CanonicalPath(const std::string& path);

// The cache folder of the document at `document_path`: CacheRoot() / the unsigned decimal
// FNV-1a of the UTF-8 bytes of its canonical path. Nothing is created.
std::string CacheFolderFor(const std::string& document_path);

// Creates `folder` and its missing parents with mode 0700. Returns true when it exists as a
// folder afterwards; on false `reason` (when given) holds the system's reason.
bool MakeFolders(const std::string& folder, std::string* reason = nullptr);

}  // namespace vemra::platform
