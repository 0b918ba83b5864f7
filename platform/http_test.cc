#include "platform/http.h"

#include <gtest/gtest.h>

#include <chrono>

#include "platform/testing/http_server.h"

namespace vemra::platform {
namespace {

using testing::HttpServer;

TEST(HttpGetTest, RepliesRedirectsAndFailures) {
  HttpServer server([](const HttpServer::Request& r) {
    HttpServer::Reply reply;
    if (r.target == "/ok") reply.body = "USDEUR,0.9\n";
    if (r.target == "/missing") reply.status = 404;
    if (r.target.rfind("/hop/", 0) == 0) {
      // /hop/N redirects N times, then answers.
      const int n = std::stoi(r.target.substr(5));
      reply.status = n > 0 ? 302 : 200;
      if (n > 0) reply.headers.emplace_back("Location", "/hop/" + std::to_string(n - 1));
      reply.body = n > 0 ? "" : "arrived";
    }
    if (r.target == "/big") reply.body.assign(2048, 'x');
    if (r.target == "/drop") reply.drop = true;
    if (r.target == "/stall") reply.stall_ms = 5000;
    if (r.target == "/raw") reply.raw = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nshort";
    return reply;
  });
  HttpOptions options;
  options.max_body = 1024;
  options.total_timeout_seconds = 1;
  const struct {
    const char* target;
    long status;
    const char* body;
    bool failed;
  } cases[] = {
      {"/ok", 200, "USDEUR,0.9\n", false},
      {"/missing", 404, "", false},
      {"/hop/3", 200, "arrived", false},  // three redirects are followed
      {"/hop/4", 0, "", true},            // a fourth is not
      {"/big", 0, "", true},
      {"/drop", 0, "", true},
      {"/stall", 0, "", true},
      {"/raw", 0, "", true},  // the connection closed before the promised body ended
  };
  for (const auto& c : cases) {
    const auto start = std::chrono::steady_clock::now();
    HttpResponse r = HttpGet(server.url() + c.target, options);
    EXPECT_EQ(r.ok(), !c.failed) << c.target << ": " << r.error;
    if (!c.failed) {
      EXPECT_EQ(r.status, c.status) << c.target;
      EXPECT_EQ(r.body, c.body) << c.target;
    } else {
      EXPECT_TRUE(r.body.empty()) << c.target;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3)) << c.target;
  }
  EXPECT_TRUE(HttpGet(server.url() + "/big", options).too_large);
  EXPECT_EQ(HttpGet(server.url() + "/hop/1", options).final_url, server.url() + "/hop/0");

  // Nothing listens on port 1 of the loopback: the failure names the reason.
  HttpResponse refused = HttpGet("http://127.0.0.1:1/", options);
  EXPECT_FALSE(refused.ok());
  EXPECT_NE(refused.error.find("connect"), std::string::npos) << refused.error;

  // A cancel flag set beforehand ends the request at once.
  std::atomic<bool> cancel{true};
  options.cancel = &cancel;
  options.total_timeout_seconds = 0;
  EXPECT_FALSE(HttpGet(server.url() + "/stall", options).ok());
}

}  // namespace
}  // namespace vemra::platform
