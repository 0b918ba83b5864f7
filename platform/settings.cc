#include "platform/settings.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <mutex>
#include <sstream>

#include "platform/paths.h"

namespace vemra::platform {
namespace {

// flock locks belong to open file descriptions, so two threads of one process would each get
// the lock; this mutex serialises them first.
std::mutex g_update_mutex;

bool ReadObject(const std::string& path, nlohmann::json& object, bool& damaged) {
  damaged = false;
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::stringstream text;
  text << in.rdbuf();
  object = nlohmann::json::parse(text.str(), nullptr, false);
  if (object.is_discarded() || !object.is_object()) {
    object = nlohmann::json::object();
    damaged = true;
  }
  return true;
}

bool WriteAll(int fd, const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

}  // namespace

Settings::Settings(std::string folder)
    : folder_(std::move(folder)), path_(folder_ + "/settings.json") {}

Settings::Settings() : Settings(ConfigRoot()) {}

nlohmann::json Settings::Read() const {
  nlohmann::json object = nlohmann::json::object();
  bool damaged = false;
  ReadObject(path_, object, damaged);
  return object;
}

bool Settings::Update(const std::function<void(nlohmann::json&)>& change,
                      std::string* reason) const {
  auto fail = [&](int error) {
    if (reason != nullptr) *reason = std::strerror(error);
    return false;
  };
  std::lock_guard<std::mutex> guard(g_update_mutex);
  if (!MakeFolders(folder_, reason)) return false;
  int lock = ::open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock < 0) return fail(errno);
  while (::flock(lock, LOCK_EX) != 0) {
    if (errno != EINTR) {
      int error = errno;
      ::close(lock);
      return fail(error);
    }
  }
  nlohmann::json object = nlohmann::json::object();
  bool damaged = false;
  ReadObject(path_, object, damaged);
  if (damaged) std::rename(path_.c_str(), (path_ + ".bad").c_str());
  change(object);
  if (!object.is_object()) object = nlohmann::json::object();
  const std::string bytes = object.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
  const std::string temp = path_ + "." + std::to_string(::getpid()) + ".tmp";
  int error = 0;
  int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) {
    error = errno;
  } else {
    if (!WriteAll(fd, bytes + "\n") || ::fsync(fd) != 0) error = errno != 0 ? errno : EIO;
    if (::close(fd) != 0 && error == 0) error = errno;
    if (error == 0 && std::rename(temp.c_str(), path_.c_str()) != 0) error = errno;
    if (error != 0) std::remove(temp.c_str());
  }
  ::flock(lock, LOCK_UN);
  ::close(lock);
  return error == 0 ? true : fail(error);
}

nlohmann::json Settings::DatabaseSettings(uint64_t id) const {
  nlohmann::json object = Read();
  auto it = object.find(std::to_string(id));
  if (it == object.end() || !it->is_object()) return nlohmann::json::object();
  return *it;
}

bool Settings::SetDatabaseSettings(uint64_t id, const nlohmann::json& dictionary,
                                   std::string* reason) const {
  return Update([&](nlohmann::json& object) { object[std::to_string(id)] = dictionary; }, reason);
}

std::string IsoUtc(std::time_t t) {
  std::tm utc{};
  gmtime_r(&t, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

bool ParseIsoUtc(const std::string& text, std::time_t& t) {
  std::tm utc{};
  const char* end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &utc);
  if (end == nullptr || *end != '\0') return false;
  t = timegm(&utc);
  return true;
}

}  // namespace vemra::platform
