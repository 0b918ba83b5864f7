#include "sync/testing/dropbox_fake.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

#include "platform/sha256.h"

namespace vemra::sync::testing {
namespace {

using Json = nlohmann::json;
using Reply = platform::testing::HttpServer::Reply;

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::string ParentOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  return slash == std::string::npos || slash == 0 ? "" : path.substr(0, slash);
}

Reply JsonReply(int status, const Json& body) {
  Reply r;
  r.status = status;
  r.headers.emplace_back("Content-Type", "application/json");
  r.body = body.dump();
  return r;
}

Reply RouteError(const std::string& summary, const Json& error) {
  return JsonReply(409, {{"error_summary", summary}, {"error", error}});
}

Reply NotFound() {
  return RouteError("path/not_found/..", {{".tag", "path"}, {"path", {{".tag", "not_found"}}}});
}

Reply BadRequest(const std::string& text) {
  Reply r;
  r.status = 400;
  r.headers.emplace_back("Content-Type", "text/plain; charset=utf-8");
  r.body = "Error in call: " + text;
  return r;
}

std::string PercentDecode(const std::string& s) {
  std::string out;
  for (size_t k = 0; k < s.size(); ++k) {
    if (s[k] == '%' && k + 2 < s.size()) {
      out += static_cast<char>(std::stoi(s.substr(k + 1, 2), nullptr, 16));
      k += 2;
    } else {
      out += s[k] == '+' ? ' ' : s[k];
    }
  }
  return out;
}

std::map<std::string, std::string> ParseForm(const std::string& body) {
  std::map<std::string, std::string> form;
  size_t start = 0;
  while (start <= body.size()) {
    const size_t amp = std::min(body.find('&', start), body.size());
    const std::string pair = body.substr(start, amp - start);
    const size_t eq = pair.find('=');
    if (eq != std::string::npos)
      form[PercentDecode(pair.substr(0, eq))] = PercentDecode(pair.substr(eq + 1));
    start = amp + 1;
  }
  return form;
}

std::string Base64Url(const std::array<uint8_t, 32>& d) {
  static const char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  std::string out;
  for (size_t k = 0; k < d.size(); k += 3) {
    const uint32_t n = (uint32_t{d[k]} << 16) | (k + 1 < d.size() ? uint32_t{d[k + 1]} << 8 : 0) |
                       (k + 2 < d.size() ? d[k + 2] : 0);
    const size_t chars = std::min<size_t>(4, (d.size() - k) * 4 / 3 + 1);
    for (size_t c = 0; c < chars; ++c) out += kAlphabet[(n >> (18 - 6 * c)) & 63];
  }
  return out;
}

}  // namespace

std::string DropboxContentHash(const std::string& bytes) {
  constexpr size_t kBlock = 4 * 1024 * 1024;
  std::string digests;
  for (size_t at = 0; at < bytes.size(); at += kBlock) {
    platform::Sha256 block;
    block.Update(bytes.data() + at, std::min(kBlock, bytes.size() - at));
    const auto d = block.Finish();
    digests.append(d.begin(), d.end());
  }
  return platform::Sha256::Hex(digests);
}

FakeDropbox::FakeDropbox() : server_([this](const auto& r) { return Answer(r); }) {}

FakeDropbox::~FakeDropbox() {
  stopping_ = true;  // ends a long poll in progress
}

void FakeDropbox::PutLocked(const std::string& path, const std::string& bytes) {
  for (std::string p = ParentOf(path); !p.empty(); p = ParentOf(p)) {
    File& folder = files_[Lower(p)];
    folder.folder = true;
    folder.name = p.substr(p.find_last_of('/') + 1);
  }
  File& f = files_[Lower(path)];
  f.name = path.substr(path.find_last_of('/') + 1);
  f.bytes = bytes;
  f.folder = false;
  char rev[32];
  std::snprintf(rev, sizeof rev, "%llx", static_cast<unsigned long long>(next_rev_++));
  f.rev = rev;
  ++changes_;
}

void FakeDropbox::Put(const std::string& path, const std::string& bytes) {
  std::lock_guard<std::mutex> lock(mutex_);
  PutLocked(path, bytes);
}

bool FakeDropbox::Get(const std::string& path, std::string& bytes) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = files_.find(Lower(path));
  if (it == files_.end() || it->second.folder) return false;
  bytes = it->second.bytes;
  return true;
}

bool FakeDropbox::Remove(const std::string& path) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (files_.erase(Lower(path)) == 0) return false;
  ++changes_;
  return true;
}

void FakeDropbox::MakeFolder(const std::string& path) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (std::string p = path; !p.empty(); p = ParentOf(p)) {
    File& folder = files_[Lower(p)];
    folder.folder = true;
    folder.name = p.substr(p.find_last_of('/') + 1);
  }
  ++changes_;
}

std::vector<std::string> FakeDropbox::Names(const std::string& folder) const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::string> names;
  for (const auto& [key, f] : files_) {
    if (ParentOf(key) == Lower(folder)) names.push_back(f.name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string FakeDropbox::Rev(const std::string& path) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = files_.find(Lower(path));
  return it == files_.end() || it->second.folder ? "" : it->second.rev;
}

void FakeDropbox::ExpireAccessToken() {
  std::lock_guard<std::mutex> lock(mutex_);
  expired_ = true;
}

void FakeDropbox::FailNext(const std::string& route, int status, int count) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (int k = 0; k < count; ++k) knobs_.push_back({route, Knob::kFail, status});
}

void FakeDropbox::DropNext(const std::string& route, int count) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (int k = 0; k < count; ++k) knobs_.push_back({route, Knob::kDrop});
}

void FakeDropbox::StoreThenDropNext(const std::string& route) {
  std::lock_guard<std::mutex> lock(mutex_);
  knobs_.push_back({route, Knob::kStoreThenDrop});
}

void FakeDropbox::TruncateNext(const std::string& route) {
  std::lock_guard<std::mutex> lock(mutex_);
  knobs_.push_back({route, Knob::kTruncate});
}

void FakeDropbox::CorruptNext(const std::string& route) {
  std::lock_guard<std::mutex> lock(mutex_);
  knobs_.push_back({route, Knob::kCorrupt});
}

bool FakeDropbox::TakeKnob(const std::string& route, Pending& knob) {
  for (auto it = knobs_.begin(); it != knobs_.end(); ++it) {
    if (it->route.empty() || it->route == route) {
      knob = *it;
      knobs_.erase(it);
      return true;
    }
  }
  return false;
}

std::string FakeDropbox::Metadata(const std::string& key, const File& f) const {
  Json m = {{".tag", f.folder ? "folder" : "file"},
            {"name", f.name},
            {"path_lower", key},
            {"path_display", key},
            {"id", "id:" + key}};
  if (!f.folder) {
    m["rev"] = f.rev;
    m["size"] = f.bytes.size();
    m["content_hash"] = DropboxContentHash(f.bytes);
    m["server_modified"] = "2026-11-24T12:00:00Z";
    m["client_modified"] = "2026-11-24T12:00:00Z";
  }
  return m.dump(-1, ' ', true);
}

Reply FakeDropbox::Answer(const platform::testing::HttpServer::Request& r) {
  const std::string route = r.target.rfind("/2/", 0) == 0 ? r.target.substr(3) : r.target.substr(1);
  auto header = [&](const char* name) {
    auto it = r.headers.find(name);
    return it == r.headers.end() ? std::string() : it->second;
  };
  std::unique_lock<std::mutex> lock(mutex_);
  Pending knob;
  const bool knobbed = TakeKnob(route, knob);
  if (knobbed && knob.knob == Knob::kDrop) {
    Reply drop;
    drop.drop = true;
    return drop;
  }
  if (knobbed && knob.knob == Knob::kFail) {
    Reply fail = JsonReply(knob.status, {{"error_summary", "internal_error/"}});
    if (knob.status == 429) fail.headers.emplace_back("Retry-After", "1");
    return fail;
  }
  if (r.method != "POST") return BadRequest("only POST");

  if (route == "oauth2/token") {
    const auto form = ParseForm(r.body);
    auto value = [&](const char* k) {
      auto it = form.find(k);
      return it == form.end() ? std::string() : it->second;
    };
    const std::string grant = value("grant_type");
    if (grant == "authorization_code") {
      platform::Sha256 hash;
      const std::string verifier = value("code_verifier");
      hash.Update(verifier.data(), verifier.size());
      if (value("code") != "test-code" ||
          (!code_challenge.empty() && Base64Url(hash.Finish()) != code_challenge)) {
        return JsonReply(400, {{"error", "invalid_grant"},
                               {"error_description", "code doesn't exist or has expired"}});
      }
      token_ = "test-token";
      expired_ = false;
      return JsonReply(200, {{"access_token", token_},
                             {"token_type", "bearer"},
                             {"expires_in", 14400},
                             {"refresh_token", "test-refresh"},
                             {"account_id", "dbid:x"},
                             {"uid", "1"}});
    }
    if (grant == "refresh_token" && value("refresh_token") == "test-refresh") {
      token_ = "test-token-" + std::to_string(++refreshes_ + 1);
      expired_ = false;
      return JsonReply(200,
                       {{"access_token", token_}, {"token_type", "bearer"}, {"expires_in", 14400}});
    }
    return JsonReply(
        400, {{"error", "invalid_grant"}, {"error_description", "refresh token is invalid"}});
  }

  if (route == "files/list_folder/longpoll") {
    if (!header("authorization").empty()) return BadRequest("longpoll takes no Authorization");
    const Json body = Json::parse(r.body, nullptr, false);
    if (!body.is_object() || !body.contains("cursor")) return BadRequest("no cursor");
    const std::string cursor = body["cursor"].get<std::string>();
    const uint64_t seen =
        std::strtoull(cursor.substr(cursor.find_last_of('|') + 1).c_str(), nullptr, 10);
    const int timeout = body.value("timeout", 30);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(timeout);
    while (changes_ == seen && !stopping_ && std::chrono::steady_clock::now() < end) {
      lock.unlock();
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      lock.lock();
    }
    Json reply = {{"changes", changes_ != seen}};
    if (longpoll_backoff > 0) reply["backoff"] = longpoll_backoff.load();
    return JsonReply(200, reply);
  }

  // Every other route wants the token.
  if (expired_) {
    return JsonReply(401, {{"error_summary", "expired_access_token/.."},
                           {"error", {{".tag", "expired_access_token"}}}});
  }
  if (header("authorization") != "Bearer " + token_) {
    return JsonReply(401, {{"error_summary", "invalid_access_token/.."},
                           {"error", {{".tag", "invalid_access_token"}}}});
  }

  if (route == "users/get_current_account") {
    return JsonReply(200, {{"account_id", "dbid:x"},
                           {"email", account_email},
                           {"name", {{"display_name", "Test User"}}}});
  }

  if (route == "files/list_folder" || route == "files/list_folder/continue" ||
      route == "files/list_folder/get_latest_cursor") {
    const Json body = Json::parse(r.body, nullptr, false);
    if (!body.is_object()) return BadRequest("the body is no JSON object");
    std::string folder;
    size_t offset = 0;
    if (route == "files/list_folder/continue") {
      const std::string cursor = body.value("cursor", "");
      const size_t a = cursor.find('|'), b = cursor.find('|', a + 1), c = cursor.find('|', b + 1);
      if (cursor.rfind("cur|", 0) != 0 || c == std::string::npos) {
        return RouteError("reset/..", {{".tag", "reset"}});
      }
      folder = cursor.substr(a + 1, b - a - 1);
      offset = std::strtoull(cursor.substr(b + 1, c - b - 1).c_str(), nullptr, 10);
    } else {
      folder = Lower(body.value("path", ""));
      if (!folder.empty() && (folder.back() == '/' || folder[0] != '/')) {
        return BadRequest("path: malformed");
      }
      if (!folder.empty() && (!files_.count(folder) || !files_[folder].folder)) return NotFound();
    }
    std::vector<std::string> keys;
    for (const auto& [key, f] : files_) {
      if (ParentOf(key) == folder) keys.push_back(key);
    }
    if (route == "files/list_folder/get_latest_cursor") {
      return JsonReply(200, {{"cursor", "cur|" + folder + "|" + std::to_string(keys.size()) + "|" +
                                            std::to_string(changes_)}});
    }
    Json entries = Json::array();
    const size_t end = std::min(keys.size(), offset + std::max<size_t>(1, page_size.load()));
    for (size_t k = offset; k < end; ++k)
      entries.push_back(Json::parse(Metadata(keys[k], files_[keys[k]])));
    return JsonReply(200, {{"entries", entries},
                           {"has_more", end < keys.size()},
                           {"cursor", "cur|" + folder + "|" + std::to_string(end) + "|" +
                                          std::to_string(changes_)}});
  }

  if (route == "files/download") {
    if (!r.body.empty()) return BadRequest("download takes no body");
    if (header("content-type").find("application/x-www-form-urlencoded") != std::string::npos) {
      return BadRequest("Bad HTTP \"Content-Type\" header: \"application/x-www-form-urlencoded\"");
    }
    const Json arg = Json::parse(header("dropbox-api-arg"), nullptr, false);
    if (!arg.is_object() || !arg.contains("path")) return BadRequest("no Dropbox-API-Arg");
    const std::string key = Lower(arg["path"].get<std::string>());
    auto it = files_.find(key);
    if (it == files_.end() || it->second.folder) return NotFound();
    Reply reply;
    reply.headers.emplace_back("Content-Type", "application/octet-stream");
    reply.headers.emplace_back("Dropbox-API-Result", Metadata(key, it->second));
    reply.body = it->second.bytes;
    if (knobbed && knob.knob == Knob::kCorrupt && !reply.body.empty())
      reply.body[reply.body.size() / 2] ^= 0x20;
    if (knobbed && knob.knob == Knob::kTruncate) {
      reply.raw =
          "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nDropbox-API-Result: " +
          Metadata(key, it->second) +
          "\r\nContent-Length: " + std::to_string(reply.body.size() + 100) +
          "\r\nConnection: close\r\n\r\n" + reply.body.substr(0, reply.body.size() / 2);
    }
    return reply;
  }

  if (route == "files/upload") {
    if (header("content-type") != "application/octet-stream") {
      return BadRequest("upload wants Content-Type application/octet-stream");
    }
    const Json arg = Json::parse(header("dropbox-api-arg"), nullptr, false);
    if (!arg.is_object() || !arg.contains("path") || !arg["path"].is_string()) {
      return BadRequest("no Dropbox-API-Arg");
    }
    const std::string path = arg["path"];
    std::string mode = "add";
    if (auto m = arg.find("mode"); m != arg.end()) {
      mode = m->is_string() ? m->get<std::string>() : m->value(".tag", "add");
    }
    const std::string key = Lower(path);
    auto it = files_.find(key);
    if (it != files_.end() &&
        (it->second.folder || (mode == "add" && it->second.bytes != r.body))) {
      return RouteError(
          "path/conflict/file/..",
          {{".tag", "path"}, {"reason", {{".tag", "conflict"}, {"conflict", {{".tag", "file"}}}}}});
    }
    if (it == files_.end() || mode != "add") PutLocked(path, r.body);
    Reply reply = JsonReply(200, Json::parse(Metadata(key, files_[key])));
    if (knobbed && knob.knob == Knob::kStoreThenDrop) reply.drop = true;
    return reply;
  }

  Reply none;
  none.status = 404;
  none.body = "no such route";
  return none;
}

}  // namespace vemra::sync::testing
