#include "sync/dropbox_login.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>

#include "platform/http.h"
#include "platform/paths.h"
#include "platform/sha256.h"

namespace vemra::sync {
namespace {

using Json = nlohmann::json;

// POSTs a form to oauth2/token; `reply` gets the JSON object.
Status TokenRequest(const DropboxHosts& hosts, const std::string& form, Json& reply) {
  platform::HttpRequest request;
  request.method = "POST";
  request.url = hosts.api + "/oauth2/token";
  request.body = form;
  platform::HttpOptions options;
  options.max_redirects = 0;
  options.headers.push_back("Content-Type: application/x-www-form-urlencoded");
  const platform::HttpResponse response = platform::HttpSend(request, options);
  if (!response.ok()) return Status{Failure::kNetwork, response.error};
  reply = Json::parse(response.body, nullptr, false);
  if (response.status != 200) {
    std::string why = "Dropbox answered " + std::to_string(response.status);
    if (reply.is_object() && reply.contains("error_description") &&
        reply["error_description"].is_string()) {
      why += ": " + reply["error_description"].get<std::string>();
    }
    return Status{response.status == 400 || response.status == 401 ? Failure::kUnauthorized
                                                                   : Failure::kNetwork,
                  why};
  }
  if (!reply.is_object() || !reply.contains("access_token") || !reply["access_token"].is_string()) {
    return Status{Failure::kNetwork, "Dropbox sent a malformed token reply"};
  }
  return Status{};
}

}  // namespace

std::string LoginPath() {
  return platform::ConfigRoot() + "/dropbox.json";
}

bool ReadLogin(DropboxLogin& login, std::string& problem) {
  std::ifstream in(LoginPath());
  if (!in) {
    problem = "not logged in to Dropbox: run kestrum-cli dropbox login";
    return false;
  }
  const Json j = Json::parse(std::string(std::istreambuf_iterator<char>(in), {}), nullptr, false);
  if (!j.is_object() || !j.contains("account") || !j["account"].is_string() ||
      !j.contains("access_token") || !j["access_token"].is_string()) {
    problem = LoginPath() + " is damaged: run kestrum-cli dropbox login";
    return false;
  }
  login.account = j["account"];
  login.access_token = j["access_token"];
  login.refresh_token = StringMember(j, "refresh_token");
  login.api_base = StringMember(j, "api_base");
  return true;
}

bool WriteLogin(const DropboxLogin& login, std::string& problem) {
  const std::string folder = platform::ConfigRoot();
  if (!platform::MakeFolders(folder, &problem)) return false;
  const std::string path = LoginPath();
  const std::string temp = path + "." + std::to_string(::getpid()) + ".tmp";
  Json j = {{"account", login.account},
            {"access_token", login.access_token},
            {"refresh_token", login.refresh_token}};
  if (!login.api_base.empty()) j["api_base"] = login.api_base;
  const std::string text = j.dump(2) + "\n";
  ::unlink(temp.c_str());
  // Made private from the start: the tokens open the user's whole Dropbox.
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) {
    problem = temp + ": " + std::strerror(errno);
    return false;
  }
  const bool written = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                       ::fsync(fd) == 0;
  const int error = errno;
  ::close(fd);
  if (!written || ::rename(temp.c_str(), path.c_str()) != 0) {
    problem = path + ": " + std::strerror(written ? errno : error);
    ::unlink(temp.c_str());
    return false;
  }
  return true;
}

bool RemoveLogin() {
  return ::unlink(LoginPath().c_str()) == 0;
}

std::string NewVerifier() {
  static const char kChars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  std::random_device random;  // the system's entropy source
  std::string verifier;
  for (int k = 0; k < 64; ++k) verifier += kChars[random() % (sizeof kChars - 1)];
  return verifier;
}

std::string Challenge(const std::string& verifier) {
  static const char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  platform::Sha256 hash;
  hash.Update(verifier.data(), verifier.size());
  const std::array<uint8_t, 32> d = hash.Finish();
  std::string out;
  uint32_t bits = 0;
  int count = 0;
  for (uint8_t byte : d) {
    bits = (bits << 8) | byte;
    count += 8;
    while (count >= 6) {
      count -= 6;
      out += kAlphabet[(bits >> count) & 63];
    }
  }
  if (count > 0) out += kAlphabet[(bits << (6 - count)) & 63];
  return out;
}

std::string AuthorizeUrl(const DropboxHosts& hosts, const std::string& challenge) {
  return hosts.www + "/oauth2/authorize?client_id=" + kDropboxAppKey +
         "&response_type=code&code_challenge=" + challenge +
         "&code_challenge_method=S256&token_access_type=offline";
}

Status ExchangeCode(const DropboxHosts& hosts, const std::string& code, const std::string& verifier,
                    DropboxLogin& login) {
  Json reply;
  Status s = TokenRequest(hosts,
                          "grant_type=authorization_code&code=" + platform::PercentEncode(code) +
                              "&code_verifier=" + platform::PercentEncode(verifier) +
                              "&client_id=" + kDropboxAppKey,
                          reply);
  if (!s.ok()) return s;
  login.access_token = reply["access_token"];
  login.refresh_token = StringMember(reply, "refresh_token");
  DropboxTransport client(hosts, login.access_token);
  return client.CurrentAccount(login.account);
}

Status RefreshAccessToken(const DropboxHosts& hosts, DropboxLogin& login) {
  if (login.refresh_token.empty()) return Status{Failure::kUnauthorized, kTokenRefused};
  Json reply;
  Status s = TokenRequest(
      hosts,
      "grant_type=refresh_token&refresh_token=" + platform::PercentEncode(login.refresh_token) +
          "&client_id=" + kDropboxAppKey,
      reply);
  if (!s.ok()) return s;
  login.access_token = reply["access_token"];
  return Status{};
}

std::string AccountRecord(const std::string& account, const std::string& token) {
  // The fixed layout other copies of the format write: one space inside the braces, after
  // each colon and after the comma.
  return "{ \"account\": " + Json(account).dump() + ", \"token\": " + Json(token).dump() + " }";
}

}  // namespace vemra::sync
