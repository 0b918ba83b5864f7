// The Dropbox HTTP API v2 as a Transport: files/list_folder (+ /continue), files/download,
// files/upload, files/list_folder/get_latest_cursor and /longpoll, users/get_current_account,
// over platform/http (libcurl, TLS verified).
//
// One base URL may stand for every Dropbox host (api, content, notify and www), so that tests
// talk to a fake on 127.0.0.1; plain http is accepted for loopback addresses only. Each request
// connects within 10 s and is abandoned after 60 s without progress (long polls: their timeout
// plus 100 s); 429, 5xx and dropped connections are tried 3 more times, after Retry-After or
// 1, 2 and 4 s. An expired access token is refreshed once through the refresh callback.
//
// A DropboxTransport is used from one thread at a time; Cancel may be called from any thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "platform/http.h"
#include "sync/transport.h"

namespace vemra::sync {

// The addresses of the service.
struct DropboxHosts {
  std::string api = "https://api.dropboxapi.com";
  std::string content = "https://content.dropboxapi.com";
  std::string notify = "https://notify.dropboxapi.com";
  std::string www = "https://www.dropbox.com";

  // Every host replaced by `base` ("http://127.0.0.1:8080"); the real ones when `base` is empty.
  static DropboxHosts WithBase(const std::string& base);
};

// Whether `base` may serve as the service's address: https, or http to a loopback address.
// On false `problem` says why.
bool AcceptableBase(const std::string& base, std::string& problem);

// The setting that replaces the service's address for every command.
inline constexpr char kDropboxApiBaseKey[] = "com.vemra.finance.mac.dropbox_api_base";
// The application key the service knows this system by.
inline constexpr char kDropboxAppKey[] = "k7q2mz9wd4xpa1r";
// The message when the service refuses the token.
inline constexpr char kTokenRefused[] = "Dropbox refused the token: run kestrum-cli dropbox login";

// `arg` as the Dropbox-API-Arg header wants it: compact JSON with every character at or above
// 0x7F written as \uXXXX (surrogate pairs above U+FFFF).
std::string ApiArg(const nlohmann::json& arg);

// The string member `key` of `object`; `fallback` when `object` is no object or the member is
// missing or no string. Never throws, whatever the JSON.
std::string StringMember(const nlohmann::json& object, const char* key,
                         const std::string& fallback = "");

// Reads one page of a files/list_folder reply into `out`: files and folders by name (deleted
// entries left out), has_more and cursor. A reply without an entries array, or with an entry
// that lacks a name or tag, fails and leaves `out` empty. Never throws.
Status ReadListing(const nlohmann::json& reply, Listing& out);

// The service's content hash: SHA-256 over the concatenated SHA-256 digests of each 4 MiB block,
// in hex. Feed it with Update in any pieces.
class ContentHasher {
 public:
  void Update(const void* data, size_t size);
  std::string Finish();

 private:
  void EndBlock();

  std::string block_digests_;
  std::string block_;
};

class DropboxTransport : public Transport {
 public:
  // Returns a new access token, or "" when none can be had. Called when the service says the
  // current one expired.
  using Refresher = std::function<std::string()>;

  DropboxTransport(DropboxHosts hosts, std::string access_token, Refresher refresh = nullptr);

  Status List(const std::string& folder, const std::string& cursor, Listing& out) override;
  // Checks the bytes against the content hash the service sent with them.
  Status Download(const std::string& folder, const std::string& name,
                  const std::string& destination, std::string& rev) override;
  // Mode overwrite or add; an add of the very bytes already there succeeds (the service says
  // so), one of other bytes is kConflict.
  Status Upload(const std::string& source, const std::string& folder, const std::string& name,
                bool overwrite, std::string& rev) override;
  // get_latest_cursor, then a long poll of `seconds` (the service takes 30 to 480). A backoff
  // the service asks for is waited out before the next Wait's requests.
  Status Wait(const std::string& folder, int seconds, const std::atomic<bool>* cancel,
              bool& changed) override;

  // users/get_current_account: the account's e-mail address in `email`.
  Status CurrentAccount(std::string& email);

  // Ends the request in flight within about a second, and every later one at once, with a
  // network failure. Thread-safe.
  void Cancel() override { cancelled_ = true; }
  // The first pause before a retry (1 s; tests make it short).
  void SetRetryDelay(std::chrono::milliseconds delay) { retry_delay_ = delay; }
  const std::string& access_token() const { return token_; }

 private:
  struct Call {
    std::string url;
    std::string arg;                                // the Dropbox-API-Arg header; empty for none
    std::string body;                               // JSON for RPC routes, bytes for uploads
    const char* content_type = "application/json";  // null: none
    bool authorized = true;
    long total_timeout = 0;
    size_t max_body = size_t{16} << 20;
  };
  // Sends `call`, retrying as the header says, refreshing an expired token. On success
  // `response` holds the 200 reply.
  Status Send(const Call& call, platform::HttpResponse& response);
  // An RPC route with a JSON body and reply.
  Status Rpc(const std::string& route, const nlohmann::json& body, nlohmann::json& reply,
             const std::string& host);
  // Sleeps up to `delay`; false when cancelled meanwhile.
  bool Pause(std::chrono::milliseconds delay);

  DropboxHosts hosts_;
  std::string token_;
  Refresher refresh_;
  std::atomic<bool> cancelled_{false};
  const std::atomic<bool>* wait_cancel_ = nullptr;  // the cancel flag of the Wait in progress
  std::chrono::milliseconds retry_delay_{1000};
  std::chrono::steady_clock::time_point backoff_until_{};
};

}  // namespace vemra::sync
