// A scripted HTTP/1.1 server on 127.0.0.1 for tests of HTTP clients: it listens on a free port,
// answers one connection at a time on its own thread with what the handler returns, and can
// stall, drop the connection or send raw bytes to exercise a client's failure paths.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vemra::platform::testing {

class HttpServer {
 public:
  struct Request {
    std::string method;
    std::string target;                          // the path and query as sent
    std::map<std::string, std::string> headers;  // names in lower case
    std::string body;
  };
  struct Reply {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    // Waits this long before answering (the server's stop or the client hanging up ends the
    // wait).
    int stall_ms = 0;
    // Closes the connection without answering.
    bool drop = false;
    // Sent as it stands instead of a composed reply, then the connection closes.
    std::string raw;
  };
  using Handler = std::function<Reply(const Request&)>;

  // Starts listening; `handler` runs on the server's thread.
  explicit HttpServer(Handler handler);
  // Stops the server and joins its thread.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  uint16_t port() const { return port_; }
  // "http://127.0.0.1:<port>".
  std::string url() const;
  // The requests answered so far. Thread-safe.
  std::vector<Request> requests() const;

 private:
  void Serve();
  void Answer(int fd);
  // Waits up to `ms`, or until the server stops or `client` hangs up; false when it did not
  // wait the whole time.
  bool Wait(int ms, int client);

  Handler handler_;
  int listener_ = -1;
  int stop_pipe_[2] = {-1, -1};
  uint16_t port_ = 0;
  std::atomic<bool> stopping_{false};
  mutable std::mutex mutex_;
  std::vector<Request> requests_;
  std::thread thread_;
};

}  // namespace vemra::platform::testing
