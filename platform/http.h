// HTTP requests over libcurl: one blocking request per call, TLS verification on, bounded in
// time and in the size of the reply, redirects limited and never from https to http.
//
// Thread-safe: every call uses its own connection; any thread may call at any time.
#pragma once

#include <atomic>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vemra::platform {

struct HttpOptions {
  long connect_timeout_seconds = 10;
  // The whole request, connection included; 0 for no limit.
  long total_timeout_seconds = 30;
  // Aborts after this many seconds in which no byte moved; 0 for no limit.
  long stall_seconds = 0;
  long max_redirects = 3;
  // A longer reply body is abandoned (HttpResponse::too_large).
  size_t max_body = size_t{1} << 20;
  // Extra request headers, "Name: value".
  std::vector<std::string> headers;
  // Set from another thread to abandon the request within about a second.
  const std::atomic<bool>* cancel = nullptr;
};

struct HttpResponse {
  // The final status code; 0 when no reply arrived.
  long status = 0;
  std::string body;
  // The reply's headers, names in lower case (the last value of a repeated one).
  std::map<std::string, std::string> headers;
  // Empty when a reply arrived; otherwise why not, as libcurl words it ("Couldn't connect to
  // server: Connection refused", "Timeout was reached: …").
  std::string error;
  // The body passed HttpOptions::max_body (error is set too).
  bool too_large = false;
  // The URL the reply came from, after redirects.
  std::string final_url;

  bool ok() const { return error.empty(); }
};

// `text` with every byte but ASCII letters, digits and "-._~" written as %XX, for a query
// or a form field.
std::string PercentEncode(std::string_view text);

// One request.
struct HttpRequest {
  std::string method = "GET";  // "GET" or "POST"
  std::string url;
  // The body of a POST. A POST without body sends none and no Content-Type header, unless
  // HttpOptions::headers names one.
  std::string body;
};

// Sends a GET request for `url` (http or https; after a https URL only https redirects are
// followed). Returns the reply, or the reason there is none in `error`.
HttpResponse HttpGet(const std::string& url, const HttpOptions& options = {});
// Sends `request` the same way. A POST is never redirected.
HttpResponse HttpSend(const HttpRequest& request, const HttpOptions& options = {});

}  // namespace vemra::platform
