#include "platform/http.h"

#include <curl/curl.h>
#include <strings.h>

#include <cctype>
#include <mutex>

namespace vemra::platform {
namespace {

struct Transfer {
  const HttpOptions* options;
  HttpResponse* response;
};

size_t OnBody(char* data, size_t size, size_t count, void* user) {
  auto& t = *static_cast<Transfer*>(user);
  const size_t n = size * count;
  if (t.response->body.size() + n > t.options->max_body) {
    t.response->too_large = true;
    return 0;  // libcurl ends the transfer with a write error
  }
  t.response->body.append(data, n);
  return n;
}

// Collects the headers of the last reply (a redirect or a "100 Continue" starts a new one).
size_t OnHeader(char* data, size_t size, size_t count, void* user) {
  auto& t = *static_cast<Transfer*>(user);
  const size_t n = size * count;
  std::string line(data, n);
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  if (line.compare(0, 5, "HTTP/") == 0) {
    t.response->headers.clear();
  } else if (const size_t colon = line.find(':'); colon != std::string::npos) {
    std::string name = line.substr(0, colon);
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    size_t start = colon + 1;
    while (start < line.size() && (line[start] == ' ' || line[start] == '\t')) ++start;
    t.response->headers[name] = line.substr(start);
  }
  return n;
}

int OnProgress(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  const auto& t = *static_cast<Transfer*>(user);
  return t.options->cancel != nullptr && t.options->cancel->load() ? 1 : 0;
}

}  // namespace

std::string PercentEncode(std::string_view text) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if ((std::isalnum(c) != 0 && c < 0x80) || c == '-' || c == '.' || c == '_' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

HttpResponse HttpGet(const std::string& url, const HttpOptions& options) {
  HttpRequest request;
  request.url = url;
  return HttpSend(request, options);
}

HttpResponse HttpSend(const HttpRequest& request, const HttpOptions& options) {
  const std::string& url = request.url;
  const bool post = request.method == "POST";
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  HttpResponse response;
  CURL* curl = curl_easy_init();
  if (curl == nullptr) {
    response.error = "the HTTP client could not start";
    return response;
  }
  Transfer transfer{&options, &response};
  char detail[CURL_ERROR_SIZE] = {};
  curl_slist* headers = nullptr;
  bool has_type = false;
  for (const std::string& h : options.headers) {
    headers = curl_slist_append(headers, h.c_str());
    has_type = has_type || (h.size() >= 13 && strncasecmp(h.c_str(), "content-type:", 13) == 0);
  }
  if (post) {
    // libcurl would give a POST a form Content-Type and wait for "100 Continue" on big bodies.
    if (!has_type) headers = curl_slist_append(headers, "Content-Type:");
    headers = curl_slist_append(headers, "Expect:");
  }
  const bool secure = url.compare(0, 8, "https://") == 0;
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  if (post) {
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(request.body.size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.data());
  } else {
    curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
  }
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  // Once on https, a redirect never leads back to plain http.
  curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, secure ? "https" : "http,https");
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, !post && options.max_redirects > 0 ? 1L : 0L);
  curl_easy_setopt(curl, CURLOPT_MAXREDIRS, options.max_redirects);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, options.connect_timeout_seconds);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, options.total_timeout_seconds);
  if (options.stall_seconds > 0) {
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, options.stall_seconds);
  }
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, OnHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &transfer);
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, OnProgress);
  curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &transfer);
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, detail);
  curl_easy_setopt(curl, CURLOPT_USERAGENT, "Kestrum");
  if (headers != nullptr) curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);

  const CURLcode code = curl_easy_perform(curl);
  if (code == CURLE_OK) {
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &response.status);
  } else if (response.too_large) {
    response.error = "the reply is larger than " + std::to_string(options.max_body) + " bytes";
    response.body.clear();
  } else {
    response.error = curl_easy_strerror(code);
    if (detail[0] != '\0' && response.error != detail) response.error += std::string(": ") + detail;
    response.body.clear();
  }
  char* final_url = nullptr;
  if (curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_URL, &final_url) == CURLE_OK && final_url) {
    response.final_url = final_url;
  }
  curl_slist_free_all(headers);
  curl_easy_cleanup(curl);
  return response;
}

}  // namespace vemra::platform
