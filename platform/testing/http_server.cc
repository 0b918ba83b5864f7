#include "platform/testing/http_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace vemra::platform::testing {
namespace {

void SendAll(int fd, const std::string& data) {
  size_t sent = 0;
  while (sent < data.size()) {
    const ssize_t n = ::send(fd, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) return;
    sent += static_cast<size_t>(n);
  }
}

const char* Reason(int status) {
  switch (status) {
    case 200:
      return "OK";
    case 301:
      return "Moved Permanently";
    case 302:
      return "Found";
    case 404:
      return "Not Found";
    case 429:
      return "Too Many Requests";
    case 500:
      return "Internal Server Error";
    case 503:
      return "Service Unavailable";
    default:
      return "Status";
  }
}

}  // namespace

HttpServer::HttpServer(Handler handler) : handler_(std::move(handler)) {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int one = 1;
  ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address);
  ::listen(listener_, 16);
  socklen_t length = sizeof address;
  ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
  if (::pipe2(stop_pipe_, O_CLOEXEC) != 0) std::abort();
  thread_ = std::thread([this] { Serve(); });
}

HttpServer::~HttpServer() {
  stopping_ = true;
  const char byte = 0;
  if (::write(stop_pipe_[1], &byte, 1) != 1) std::abort();
  thread_.join();
  ::close(listener_);
  ::close(stop_pipe_[0]);
  ::close(stop_pipe_[1]);
}

std::string HttpServer::url() const {
  return "http://127.0.0.1:" + std::to_string(port_);
}

std::vector<HttpServer::Request> HttpServer::requests() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

bool HttpServer::Wait(int ms, int client) {
  // The request has been read whole: the client's socket turns readable only when it hangs up.
  pollfd fds[2] = {{stop_pipe_[0], POLLIN, 0}, {client, POLLIN, 0}};
  return ::poll(fds, 2, ms) == 0 && !stopping_;
}

void HttpServer::Serve() {
  while (!stopping_) {
    pollfd fds[2] = {{listener_, POLLIN, 0}, {stop_pipe_[0], POLLIN, 0}};
    if (::poll(fds, 2, -1) < 0 || (fds[1].revents & POLLIN) != 0) return;
    const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) continue;
    Answer(fd);
    ::close(fd);
  }
}

void HttpServer::Answer(int fd) {
  // The request head, then a body of Content-Length bytes.
  std::string data;
  size_t head_end = std::string::npos;
  char buffer[4096];
  while ((head_end = data.find("\r\n\r\n")) == std::string::npos) {
    pollfd in[2] = {{fd, POLLIN, 0}, {stop_pipe_[0], POLLIN, 0}};
    if (::poll(in, 2, 5000) <= 0 || (in[1].revents & POLLIN) != 0) return;
    const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
    if (n <= 0) return;
    data.append(buffer, static_cast<size_t>(n));
  }
  Request request;
  const std::string head = data.substr(0, head_end);
  size_t line_end = head.find("\r\n");
  const std::string first = head.substr(0, line_end);
  const size_t space = first.find(' ');
  request.method = first.substr(0, space);
  request.target = first.substr(space + 1, first.rfind(' ') - space - 1);
  while (line_end != std::string::npos && line_end < head.size()) {
    const size_t start = line_end + 2;
    line_end = head.find("\r\n", start);
    const std::string line = head.substr(start, line_end - start);
    const size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    std::string name = line.substr(0, colon);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const size_t value = line.find_first_not_of(' ', colon + 1);  // npos: an empty value
    request.headers[name] = value == std::string::npos ? std::string() : line.substr(value);
  }
  request.body = data.substr(head_end + 4);
  if (auto length = request.headers.find("content-length"); length != request.headers.end()) {
    const size_t wanted = std::strtoul(length->second.c_str(), nullptr, 10);
    while (request.body.size() < wanted) {
      const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
      if (n <= 0) break;
      request.body.append(buffer, static_cast<size_t>(n));
    }
  }
  Reply reply = handler_(request);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back(request);
  }
  if (reply.stall_ms > 0 && !Wait(reply.stall_ms, fd)) return;
  if (reply.drop) return;
  if (!reply.raw.empty()) {
    SendAll(fd, reply.raw);
    return;
  }
  std::string out = "HTTP/1.1 " + std::to_string(reply.status) + " " + Reason(reply.status) +
                    "\r\nContent-Length: " + std::to_string(reply.body.size()) +
                    "\r\nConnection: close\r\n";
  for (const auto& [name, value] : reply.headers) out += name + ": " + value + "\r\n";
  out += "\r\n" + reply.body;
  SendAll(fd, out);
}

}  // namespace vemra::platform::testing
