// A fake of the Dropbox HTTP API v2 on 127.0.0.1 for tests of the Dropbox client: an in-memory
// store of files behind the routes the client uses (list_folder and /continue,
// get_latest_cursor, longpoll, download, upload, get_current_account, oauth2/token), with the
// service's error bodies, header checks and knobs that fail, drop, truncate, corrupt or stall
// the next request of a route. One base URL serves every host.
//
// Thread-safe: tests may change the store while the server answers.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/testing/http_server.h"

namespace vemra::sync::testing {

// The service's content hash of `bytes` (SHA-256 over the SHA-256 digests of 4 MiB blocks),
// written here apart from the client's for the tests to compare against.
std::string DropboxContentHash(const std::string& bytes);

class FakeDropbox {
 public:
  FakeDropbox();
  ~FakeDropbox();

  // "http://127.0.0.1:<port>".
  std::string url() const { return server_.url(); }

  // The store, by path ("/Home.sync/main"); paths compare without letter case.
  void Put(const std::string& path, const std::string& bytes);
  bool Get(const std::string& path, std::string& bytes) const;
  bool Remove(const std::string& path);
  void MakeFolder(const std::string& path);
  // The names in `folder`, sorted.
  std::vector<std::string> Names(const std::string& folder) const;
  // The revision of the file at `path`; empty when there is none.
  std::string Rev(const std::string& path) const;

  // The next authorised call answers expired_access_token until a refresh.
  void ExpireAccessToken();

  // Knobs for the next requests of `route` ("files/upload"; "" for any).
  void FailNext(const std::string& route, int status, int count = 1);
  void DropNext(const std::string& route, int count = 1);
  void StoreThenDropNext(const std::string& route);
  void TruncateNext(const std::string& route);
  void CorruptNext(const std::string& route);

  std::vector<platform::testing::HttpServer::Request> requests() const {
    return server_.requests();
  }

  std::string account_email = "user@example.com";
  std::atomic<size_t> page_size{1000};
  std::atomic<int> longpoll_backoff{0};
  // The PKCE challenge a code exchange must match; empty: any verifier.
  std::string code_challenge;

 private:
  struct File {
    std::string name;  // as given
    std::string bytes;
    std::string rev;
    bool folder = false;
  };
  enum class Knob { kFail, kDrop, kStoreThenDrop, kTruncate, kCorrupt };
  struct Pending {
    std::string route;
    Knob knob;
    int status = 0;
  };

  platform::testing::HttpServer::Reply Answer(const platform::testing::HttpServer::Request& r);
  // The knob due for `route`, removed; false when none.
  bool TakeKnob(const std::string& route, Pending& knob);
  void PutLocked(const std::string& path, const std::string& bytes);
  std::string Metadata(const std::string& key, const File& f) const;

  mutable std::mutex mutex_;
  std::map<std::string, File> files_;  // lower-case path -> file or folder
  std::vector<Pending> knobs_;
  uint64_t changes_ = 0;  // every change of the store
  uint64_t next_rev_ = 0x10000000;
  std::string token_ = "test-token";
  bool expired_ = false;
  int refreshes_ = 0;
  std::atomic<bool> stopping_{false};
  platform::testing::HttpServer server_;
};

}  // namespace vemra::sync::testing
