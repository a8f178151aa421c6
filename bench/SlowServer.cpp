// SPDX-License-Identifier: MIT
#include "SlowServer.h"

#include <devserver/CertificateAuthority.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <deque>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <unordered_map>

#include "Measure.h"
#include "support/LoopbackListener.h"

namespace orx::bench {
namespace {

struct Connection {
  int socket;
  SSL* tls;
  bool established = false;
  std::string received;
};

// The size of the first request, from its Content-Length; 0 while bytes of it are missing.
std::size_t requestSize(const std::string& received) {
  const auto head = received.find("\r\n\r\n");
  if (head == std::string::npos) return 0;
  const auto length = received.find("Content-Length: ");
  const std::size_t body = length < head ? std::stoul(received.substr(length + 16)) : 0;
  const std::size_t size = head + 4 + body;
  return received.size() >= size ? size : 0;
}

class Loop {
 public:
  Loop(SSL_CTX* context, int listener, const std::string& answer, std::chrono::milliseconds delay)
      : context_(context), listener_(listener), delay_(delay), epoll_(epoll_create1(0)) {
    reply_ = "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " +
             std::to_string(answer.size()) + "\r\n\r\n" + answer;
    watch(listener_);
  }

  [[noreturn]] void run() {
    for (;;) {
      epoll_event events[256];
      const int count = epoll_wait(epoll_, events, 256, timeToNextReply());
      for (int index = 0; index < count; ++index) {
        if (events[index].data.fd == listener_) {
          acceptConnections();
        } else {
          advance(events[index].data.fd);
        }
      }
      sendReplies();
    }
  }

 private:
  struct Due {
    Clock::time_point when;
    int socket;
  };

  void watch(int socket) const {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = socket;
    epoll_ctl(epoll_, EPOLL_CTL_ADD, socket, &event);
  }

  int timeToNextReply() const {
    if (due_.empty()) return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(due_.front().when - Clock::now());
    return std::max(0, static_cast<int>(left.count()));
  }

  void acceptConnections() {
    for (;;) {
      const int socket = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK);
      if (socket < 0) return;
      const int on = 1;
      setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
      SSL* tls = SSL_new(context_);
      SSL_set_fd(tls, socket);
      connections_[socket] = {socket, tls, false, {}};
      watch(socket);
    }
  }

  // Answers are small enough for the socket's buffer, so a write never blocks.
  void advance(int socket) {
    Connection& connection = connections_.at(socket);
    if (!connection.established) {
      const int result = SSL_accept(connection.tls);
      if (result != 1) return endUnlessWaiting(connection, result);
      connection.established = true;
    }
    char bytes[4096];
    for (;;) {
      const int count = SSL_read(connection.tls, bytes, sizeof bytes);
      if (count <= 0) return endUnlessWaiting(connection, count);
      connection.received.append(bytes, static_cast<std::size_t>(count));
      if (const std::size_t size = requestSize(connection.received)) {
        connection.received.erase(0, size);
        due_.push_back({Clock::now() + delay_, socket});
      }
    }
  }

  void endUnlessWaiting(Connection& connection, int result) {
    const int reason = SSL_get_error(connection.tls, result);
    if (reason == SSL_ERROR_WANT_READ || reason == SSL_ERROR_WANT_WRITE) return;
    const int socket = connection.socket;
    std::erase_if(due_, [socket](const Due& due) { return due.socket == socket; });
    SSL_free(connection.tls);
    close(socket);
    connections_.erase(socket);
  }

  void sendReplies() {
    const auto now = Clock::now();
    for (; !due_.empty() && due_.front().when <= now; due_.pop_front()) {
      SSL_write(connections_.at(due_.front().socket).tls, reply_.data(),
                static_cast<int>(reply_.size()));
    }
  }

  SSL_CTX* context_;
  int listener_;
  std::chrono::milliseconds delay_;
  int epoll_;
  std::string reply_;
  std::unordered_map<int, Connection> connections_;
  std::deque<Due> due_;
};

}  // namespace

SlowServer::SlowServer(const std::string& host, const std::string& answer,
                       std::chrono::milliseconds delay) {
  const auto authority = devserver::CertificateAuthority::generate();
  const auto certificate = authority.issue({host});
  std::ofstream(caFile()) << authority.certificatePEM();
  const auto chain = (directory_ / "server.pem").string();
  std::ofstream(chain) << certificate.certificatePEM << certificate.privateKeyPEM;

  const testing::LoopbackListener listener(SOCK_NONBLOCK);
  port_ = listener.port();

  process_ = fork();
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGPIPE, SIG_IGN);
    SSL_CTX* context = SSL_CTX_new(TLS_server_method());
    SSL_CTX_set_mode(context, SSL_MODE_RELEASE_BUFFERS);
    if (SSL_CTX_use_certificate_chain_file(context, chain.c_str()) != 1 ||
        SSL_CTX_use_PrivateKey_file(context, chain.c_str(), SSL_FILETYPE_PEM) != 1) {
      _exit(1);
    }
    Loop(context, listener.descriptor(), answer, delay).run();
  }
}

SlowServer::~SlowServer() {
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
}

}  // namespace orx::bench
