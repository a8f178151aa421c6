// SPDX-License-Identifier: MIT
#include "devserver/TLSConnection.h"

#include <fcntl.h>
#include <netdb.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <utility>

#include "devserver/HTTPMessages.h"

namespace orx::devserver {
namespace {

using Clock = std::chrono::steady_clock;

// Whether one of the events came before the time was over.
bool pollUntil(int socket, short events, std::chrono::milliseconds timeout) {
  const bool forever = timeout == kForever;
  const auto deadline = forever ? Clock::time_point::max() : Clock::now() + timeout;
  for (;;) {
    pollfd entry{socket, events, 0};
    int wait = -1;
    if (!forever) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
      wait = static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
    }
    const int ready = poll(&entry, 1, wait);
    if (ready > 0) return true;
    if (ready == 0) return false;
    if (errno != EINTR) return true;
  }
}

// The HTTP library bounds one line of the head and a body whose length is stated, but neither the
// number of header fields nor a body in chunks: a request could fill the memory.
constexpr std::size_t kLargestHead = std::size_t{64} << 10;
constexpr std::size_t kLargestRequest = std::size_t{8} << 20;
// So much of an answer is held back for the rest of it.
constexpr std::size_t kLongestUnsent = std::size_t{64} << 10;

using NameOf = int (*)(int, sockaddr*, socklen_t*);

void addressOf(int socket, NameOf nameOf, std::string& ip, int& port) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  auto* general = reinterpret_cast<sockaddr*>(&address);
  char host[NI_MAXHOST] = "";
  char service[NI_MAXSERV] = "";
  if (nameOf(socket, general, &length) != 0 ||
      getnameinfo(general, length, host, sizeof host, service, sizeof service,
                  NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return;
  }
  ip = host;
  port = std::atoi(service);
}

}  // namespace

TLSConnection::TLSConnection(SSL_CTX* context, int socket)
    : ssl_(SSL_new(context)), socket_(socket) {
  // A program that the host starts would otherwise keep the connection open.
  fcntl(socket_, F_SETFD, FD_CLOEXEC);
  if (ssl_) SSL_set_fd(ssl_.get(), socket_);
}

TLSConnection::~TLSConnection() {
  if (established_ && !ended_) SSL_shutdown(ssl_.get());
  if (reset_) {
    const linger abandon{1, 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &abandon, sizeof abandon);
  }
  ssl_.reset();
  close(socket_);
}

bool TLSConnection::handshake() {
  ERR_clear_error();
  established_ = ssl_ && SSL_accept(ssl_.get()) == 1;
  ended_ = !established_;
  return established_;
}

bool TLSConnection::awaitRequest(std::chrono::milliseconds timeout) {
  if (ended_) return false;
  received_ = 0;
  inHead_ = true;
  lineIsEmpty_ = false;
  if (SSL_pending(ssl_.get()) > 0) return true;
  if (!pollUntil(socket_, POLLIN, timeout)) return false;
  // Readable bytes can be a close_notify or another TLS record without any data.
  char first = 0;
  ERR_clear_error();
  return SSL_peek(ssl_.get(), &first, 1) == 1;
}

bool TLSConnection::pause(std::chrono::milliseconds duration) {
  return !pollUntil(socket_, POLLRDHUP, duration);
}

bool TLSConnection::send(std::string_view bytes) {
  while (!bytes.empty()) {
    if (ended_) return false;
    ERR_clear_error();
    const int sent = SSL_write(ssl_.get(), bytes.data(),
                               static_cast<int>(std::min<std::size_t>(bytes.size(), INT_MAX)));
    ended_ = sent <= 0;
    if (ended_) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

bool TLSConnection::flush() { return send(std::exchange(unsent_, {})); }

void TLSConnection::cut(bool reset) {
  ended_ = true;
  reset_ = reset;
}

void TLSConnection::stopReading() { shutdown(socket_, SHUT_RD); }

void TLSConnection::abort() { shutdown(socket_, SHUT_RDWR); }

bool TLSConnection::is_readable() const { return !ended_; }

bool TLSConnection::is_writable() const { return !ended_; }

ssize_t TLSConnection::read(char* bytes, std::size_t size) {
  // The peer may wait for an interim reply before it sends on.
  if (!flush() || ended_) return -1;
  ERR_clear_error();
  const int count =
      SSL_read(ssl_.get(), bytes, static_cast<int>(std::min<std::size_t>(size, INT_MAX)));
  if (count <= 0) {
    ended_ = SSL_get_error(ssl_.get(), count) != SSL_ERROR_ZERO_RETURN;
    return count;
  }
  if (!isWithinLimits({bytes, static_cast<std::size_t>(count)})) {
    ended_ = true;
    return -1;
  }
  return count;
}

// The head ends with its first empty line.
bool TLSConnection::isWithinLimits(std::string_view received) {
  for (std::size_t i = 0; i < received.size() && inHead_; ++i) {
    inHead_ = received[i] != '\n' || !lineIsEmpty_;
    if (received[i] != '\r') lineIsEmpty_ = received[i] == '\n';
  }
  received_ += received.size();
  return received_ <= (inHead_ ? kLargestHead : kLargestRequest);
}

// The library writes a head and a body one after the other. Sent apart, the body would wait half a
// round trip for the acknowledgement of the head, wherever something between holds small packets
// back.
ssize_t TLSConnection::write(const char* bytes, std::size_t size) {
  unsent_.append(bytes, size);
  if (unsent_.size() >= kLongestUnsent) flush();
  return ended_ ? -1 : static_cast<ssize_t>(size);
}

void TLSConnection::get_remote_ip_and_port(std::string& ip, int& port) const {
  addressOf(socket_, getpeername, ip, port);
}

void TLSConnection::get_local_ip_and_port(std::string& ip, int& port) const {
  addressOf(socket_, getsockname, ip, port);
}

}  // namespace orx::devserver
