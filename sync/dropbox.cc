#include "sync/dropbox.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <thread>

#include "core/streams/atomic_file.h"
#include "platform/sha256.h"

namespace vemra::sync {
namespace {

using Json = nlohmann::json;
constexpr size_t kBlock = size_t{4} << 20;
std::atomic<uint64_t> g_temporary{0};

Status Fail(Failure failure, std::string text) {
  return Status{failure, std::move(text)};
}

// The host part of an http(s) URL, without port or user.
std::string HostOf(const std::string& url) {
  const size_t start = url.find("://");
  if (start == std::string::npos) return {};
  std::string rest = url.substr(start + 3);
  rest = rest.substr(0, rest.find_first_of("/?#"));
  if (const size_t at = rest.rfind('@'); at != std::string::npos) rest = rest.substr(at + 1);
  if (!rest.empty() && rest[0] == '[') return rest.substr(0, rest.find(']') + 1);
  return rest.substr(0, rest.find(':'));
}

// "path/not_found/.." -> what the sync run makes of a route error.
Failure RouteFailure(const std::string& summary) {
  if (summary.find("not_found") != std::string::npos) return Failure::kNotFound;
  if (summary.find("conflict") != std::string::npos) return Failure::kConflict;
  if (summary.find("malformed_path") != std::string::npos) return Failure::kBadName;
  return Failure::kNetwork;
}

// The error summary of a Dropbox error reply, or its first line when it is no JSON.
std::string Summary(const std::string& body) {
  const Json j = Json::parse(body, nullptr, false);
  if (j.is_object()) {
    if (auto it = j.find("error_summary"); it != j.end() && it->is_string()) return *it;
    if (auto it = j.find("error"); it != j.end() && it->is_string()) return *it;
  }
  std::string line = body.substr(0, body.find('\n'));
  if (line.size() > 200) line.resize(200);
  return line;
}

}  // namespace

DropboxHosts DropboxHosts::WithBase(const std::string& base) {
  DropboxHosts hosts;
  if (base.empty()) return hosts;
  std::string b = base;
  while (!b.empty() && b.back() == '/') b.pop_back();
  hosts.api = hosts.content = hosts.notify = hosts.www = b;
  return hosts;
}

bool AcceptableBase(const std::string& base, std::string& problem) {
  const std::string host = HostOf(base);
  if (base.rfind("https://", 0) == 0 && !host.empty()) return true;
  if (base.rfind("http://", 0) == 0 &&
      (host == "127.0.0.1" || host == "localhost" || host == "[::1]")) {
    return true;
  }
  problem = "'" + base + "' is no https:// address (plain http only to 127.0.0.1 or localhost)";
  return false;
}

std::string ApiArg(const Json& arg) {
  // nlohmann writes every non-ASCII character as \uXXXX with ensure_ascii; 0x7F too, by hand.
  std::string text = arg.dump(-1, ' ', true, Json::error_handler_t::replace);
  std::string out;
  for (char c : text) {
    if (c == 0x7F) {
      out += "\\u007f";
    } else {
      out += c;
    }
  }
  return out;
}

void ContentHasher::Update(const void* data, size_t size) {
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    const size_t take = std::min(size, kBlock - block_.size());
    block_.append(p, take);
    p += take;
    size -= take;
    if (block_.size() == kBlock) EndBlock();
  }
}

void ContentHasher::EndBlock() {
  platform::Sha256 hash;
  hash.Update(block_.data(), block_.size());
  const std::array<uint8_t, 32> digest = hash.Finish();
  block_digests_.append(reinterpret_cast<const char*>(digest.data()), digest.size());
  block_.clear();
}

std::string ContentHasher::Finish() {
  if (!block_.empty()) EndBlock();
  return platform::Sha256::Hex(block_digests_);
}

DropboxTransport::DropboxTransport(DropboxHosts hosts, std::string access_token, Refresher refresh)
    : hosts_(std::move(hosts)), token_(std::move(access_token)), refresh_(std::move(refresh)) {}

bool DropboxTransport::Pause(std::chrono::milliseconds delay) {
  const auto end = std::chrono::steady_clock::now() + delay;
  while (std::chrono::steady_clock::now() < end) {
    if (cancelled_ || (wait_cancel_ != nullptr && wait_cancel_->load())) return false;
    std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(
        std::chrono::milliseconds(100), end - std::chrono::steady_clock::now()));
  }
  return !cancelled_;
}

Status DropboxTransport::Send(const Call& call, platform::HttpResponse& response) {
  bool refreshed = false;
  std::chrono::milliseconds delay = retry_delay_;
  for (int attempt = 0;; ++attempt) {
    if (cancelled_ || (wait_cancel_ != nullptr && wait_cancel_->load())) {
      return Fail(Failure::kNetwork, "cancelled");
    }
    platform::HttpRequest request;
    request.method = "POST";
    request.url = call.url;
    request.body = call.body;
    platform::HttpOptions options;
    options.connect_timeout_seconds = 10;
    options.total_timeout_seconds = call.total_timeout;
    options.stall_seconds = 60;
    options.max_redirects = 0;
    options.max_body = call.max_body;
    options.cancel = wait_cancel_ != nullptr ? wait_cancel_ : &cancelled_;
    if (call.authorized) options.headers.push_back("Authorization: Bearer " + token_);
    if (!call.arg.empty()) options.headers.push_back("Dropbox-API-Arg: " + call.arg);
    if (call.content_type != nullptr) {
      options.headers.push_back(std::string("Content-Type: ") + call.content_type);
    }
    response = platform::HttpSend(request, options);

    bool retry = false;
    std::chrono::milliseconds wait = delay;
    if (!response.ok()) {
      if (response.too_large) {
        return Fail(Failure::kNetwork,
                    "Dropbox sent a reply larger than " + std::to_string(call.max_body) + " bytes");
      }
      retry = true;  // no reply: refused, dropped, timed out
    } else if (response.status == 429 || response.status >= 500) {
      retry = true;
      if (auto it = response.headers.find("retry-after"); it != response.headers.end()) {
        const long seconds = std::strtol(it->second.c_str(), nullptr, 10);
        if (seconds > 0) wait = std::chrono::milliseconds(std::min(seconds, 60L) * 1000);
      }
    } else if (response.status == 401) {
      const std::string summary = Summary(response.body);
      if (summary.rfind("expired_access_token", 0) == 0 && refresh_ && !refreshed) {
        refreshed = true;
        const std::string token = refresh_();
        if (!token.empty()) {
          token_ = token;
          --attempt;  // a refresh is no retry
          continue;
        }
      }
      return Fail(Failure::kUnauthorized, kTokenRefused);
    } else if (response.status == 409) {
      const std::string summary = Summary(response.body);
      return Fail(RouteFailure(summary), summary);
    } else if (response.status != 200) {
      return Fail(Failure::kNetwork, "Dropbox answered " + std::to_string(response.status) + ": " +
                                         Summary(response.body));
    } else {
      return Status{};
    }
    if (!retry || attempt == 3) {
      return Fail(Failure::kNetwork, response.ok()
                                         ? "Dropbox answered " + std::to_string(response.status) +
                                               ": " + Summary(response.body)
                                         : response.error);
    }
    if (!Pause(wait)) return Fail(Failure::kNetwork, "cancelled");
    delay *= 2;
  }
}

Status DropboxTransport::Rpc(const std::string& route, const Json& body, Json& reply,
                             const std::string& host) {
  Call call;
  call.url = host + "/2/" + route;
  call.body = body.is_null() ? "null" : body.dump();
  platform::HttpResponse response;
  if (Status s = Send(call, response); !s.ok()) return s;
  reply = Json::parse(response.body, nullptr, false);
  if (reply.is_discarded() || !reply.is_object()) {
    return Fail(Failure::kNetwork, "Dropbox sent a malformed reply to " + route);
  }
  return Status{};
}

std::string StringMember(const Json& object, const char* key, const std::string& fallback) {
  if (!object.is_object()) return fallback;
  const auto it = object.find(key);
  return it != object.end() && it->is_string() ? it->get<std::string>() : fallback;
}

Status ReadListing(const nlohmann::json& reply, Listing& out) {
  out = Listing();
  const auto entries = reply.find("entries");
  if (entries == reply.end() || !entries->is_array()) {
    return Fail(Failure::kNetwork, "Dropbox sent a listing without entries");
  }
  for (const Json& e : *entries) {
    if (!e.is_object() || !e.contains("name") || !e["name"].is_string() || !e.contains(".tag") ||
        !e[".tag"].is_string()) {
      out = Listing();
      return Fail(Failure::kNetwork, "Dropbox sent a listing entry without a name");
    }
    const std::string tag = e[".tag"];
    if (tag == "deleted") continue;
    Entry entry;
    entry.name = e["name"];
    entry.is_file = tag == "file";
    if (entry.is_file) {
      entry.rev = StringMember(e, "rev");
      if (auto size = e.find("size"); size != e.end() && size->is_number_unsigned()) {
        entry.size = size->get<uint64_t>();
      }
    }
    out.entries.push_back(std::move(entry));
  }
  const auto more = reply.find("has_more");
  const auto cursor = reply.find("cursor");
  out.has_more = more != reply.end() && more->is_boolean() && more->get<bool>();
  if (cursor != reply.end() && cursor->is_string()) out.cursor = cursor->get<std::string>();
  return Status{};
}

Status DropboxTransport::List(const std::string& folder, const std::string& cursor, Listing& out) {
  out = Listing();
  Json reply;
  const Status s = cursor.empty()
                       ? Rpc("files/list_folder",
                             {{"path", folder},
                              {"recursive", false},
                              {"include_deleted", false},
                              {"include_non_downloadable_files", false}},
                             reply, hosts_.api)
                       : Rpc("files/list_folder/continue", {{"cursor", cursor}}, reply, hosts_.api);
  if (!s.ok()) return s;
  return ReadListing(reply, out);
}

Status DropboxTransport::Download(const std::string& folder, const std::string& name,
                                  const std::string& destination, std::string& rev) {
  if (!IsPlainName(name)) return Fail(Failure::kBadName, name + ": no file name");
  Call call;
  call.url = hosts_.content + "/2/files/download";
  call.arg = ApiArg({{"path", folder + "/" + name}});
  call.content_type = nullptr;  // no body, and no form type either
  call.max_body = size_t{1} << 30;
  platform::HttpResponse response;
  if (Status s = Send(call, response); !s.ok()) return s;
  const auto result = response.headers.find("dropbox-api-result");
  const Json meta =
      result == response.headers.end() ? Json() : Json::parse(result->second, nullptr, false);
  if (!meta.is_object() || !meta.contains("content_hash") || !meta["content_hash"].is_string()) {
    return Fail(Failure::kNetwork, "Dropbox sent " + name + " without its metadata");
  }
  ContentHasher hasher;
  hasher.Update(response.body.data(), response.body.size());
  if (hasher.Finish() != meta["content_hash"].get<std::string>()) {
    return Fail(Failure::kNetwork, "the download of " + name + " was damaged on the way");
  }
  const size_t slash = destination.find_last_of('/');
  const std::string dir = slash == std::string::npos ? "." : destination.substr(0, slash);
  const std::string temp = dir + "/." + destination.substr(slash + 1) + "." +
                           std::to_string(::getpid()) + "." + std::to_string(g_temporary++) +
                           ".tmp";
  errno = 0;
  if (!WriteNewFile(destination, temp, [&](IOutputStream& out) {
        return out.Write(response.body.data(), response.body.size()) == response.body.size();
      })) {
    const int error = errno;
    return Fail(error == EEXIST ? Failure::kConflict : Failure::kNetwork,
                destination + ": " + std::strerror(error != 0 ? error : EIO));
  }
  rev = StringMember(meta, "rev");
  return Status{};
}

Status DropboxTransport::Upload(const std::string& source, const std::string& folder,
                                const std::string& name, bool overwrite, std::string& rev) {
  if (!IsPlainName(name) || name[0] == '.') return Fail(Failure::kBadName, name + ": no file name");
  std::ifstream in(source, std::ios::binary);
  if (!in) return Fail(Failure::kNotFound, source + ": " + std::strerror(errno));
  Call call;
  call.url = hosts_.content + "/2/files/upload";
  call.body.assign(std::istreambuf_iterator<char>(in), {});
  if (in.bad()) return Fail(Failure::kNetwork, source + ": cannot be read");
  call.arg = ApiArg({{"path", folder + "/" + name},
                     {"mode", overwrite ? "overwrite" : "add"},
                     {"autorename", false},
                     {"mute", true},
                     {"strict_conflict", false}});
  call.content_type = "application/octet-stream";
  platform::HttpResponse response;
  if (Status s = Send(call, response); !s.ok()) return s;
  const Json meta = Json::parse(response.body, nullptr, false);
  if (!meta.is_object() || !meta.contains("rev") || !meta["rev"].is_string()) {
    return Fail(Failure::kNetwork, "Dropbox sent a malformed reply to the upload of " + name);
  }
  rev = meta["rev"];
  return Status{};
}

Status DropboxTransport::Wait(const std::string& folder, int seconds,
                              const std::atomic<bool>* cancel, bool& changed) {
  changed = false;
  wait_cancel_ = cancel;
  struct Reset {
    const std::atomic<bool>*& flag;
    ~Reset() { flag = nullptr; }
  } reset{wait_cancel_};
  const auto now = std::chrono::steady_clock::now();
  if (backoff_until_ > now &&
      !Pause(std::chrono::duration_cast<std::chrono::milliseconds>(backoff_until_ - now))) {
    return Status{};
  }
  Json reply;
  Status s =
      Rpc("files/list_folder/get_latest_cursor",
          {{"path", folder}, {"recursive", false}, {"include_non_downloadable_files", false}},
          reply, hosts_.api);
  if (!s.ok()) return s;
  const std::string cursor = StringMember(reply, "cursor");
  if (cursor.empty()) return Fail(Failure::kNetwork, "Dropbox sent no cursor");
  const int timeout = std::clamp(seconds, 30, 480);
  Call call;
  call.url = hosts_.notify + "/2/files/list_folder/longpoll";
  call.body = Json{{"cursor", cursor}, {"timeout", timeout}}.dump();
  call.authorized = false;
  call.total_timeout = timeout + 100;
  platform::HttpResponse response;
  if (s = Send(call, response); !s.ok()) {
    if (cancel != nullptr && cancel->load()) return Status{};
    return s;
  }
  reply = Json::parse(response.body, nullptr, false);
  if (!reply.is_object())
    return Fail(Failure::kNetwork, "Dropbox sent a malformed long-poll reply");
  const auto changes = reply.find("changes");
  changed = changes != reply.end() && changes->is_boolean() && changes->get<bool>();
  if (auto b = reply.find("backoff"); b != reply.end() && b->is_number_integer()) {
    backoff_until_ = std::chrono::steady_clock::now() +
                     std::chrono::seconds(std::clamp<int64_t>(b->get<int64_t>(), 0, 3600));
  }
  return Status{};
}

Status DropboxTransport::CurrentAccount(std::string& email) {
  Json reply;
  if (Status s = Rpc("users/get_current_account", Json(), reply, hosts_.api); !s.ok()) return s;
  email = StringMember(reply, "email");
  if (email.empty()) return Fail(Failure::kNetwork, "Dropbox sent no e-mail address");
  return Status{};
}

}  // namespace vemra::sync
