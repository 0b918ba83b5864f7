// The user's settings: one JSON object in $XDG_CONFIG_HOME/kestrum/settings.json holding the
// app's keys ("com.vemra.finance.mac.…") and, under the decimal DatabaseID, one dictionary per
// database that every copy of that database on this machine shares. The desktop app and
// kestrum-cli may write it at the same time: every write is a read-modify-write under an
// advisory lock, to a temporary file that is synced and renamed into place.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

namespace vemra::platform {

class Settings {
 public:
  // Settings kept in `folder` (made on the first write).
  explicit Settings(std::string folder);
  // The user's settings in ConfigRoot().
  Settings();

  const std::string& Path() const { return path_; }

  // The whole object; empty when the file is missing or cannot be read as a JSON object.
  nlohmann::json Read() const;
  // Reads the object under the lock, lets `change` modify it and writes it back. A damaged file
  // is kept as "settings.json.bad" first and read as empty. Returns false, with the system's
  // reason in `reason` when given, when the folder, the lock or the write failed; the file is
  // then as it was. Thread-safe and safe across processes.
  bool Update(const std::function<void(nlohmann::json&)>& change,
              std::string* reason = nullptr) const;

  // The dictionary of database `id`; an empty object when there is none.
  nlohmann::json DatabaseSettings(uint64_t id) const;
  // Replaces the dictionary of database `id` with `dictionary` and writes at once.
  bool SetDatabaseSettings(uint64_t id, const nlohmann::json& dictionary,
                           std::string* reason = nullptr) const;

 private:
  std::string folder_;
  std::string path_;
};

// `t` as ISO 8601 UTC text ("2026-11-24T12:13:05Z"), the form dates take in the settings.
std::string IsoUtc(std::time_t t);
// Parses the form IsoUtc writes; false for anything else.
bool ParseIsoUtc(const std::string& text, std::time_t& t);

}  // namespace vemra::platform
