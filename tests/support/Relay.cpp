// SPDX-License-Identifier: MIT
#include "support/Relay.h"

#include <netinet/tcp.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <utility>

namespace orx::testing {
namespace {

void sendAtOnce(int descriptor) {
  const int on = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// A connection to a port on loopback; -1 when nobody listens there.
int connectedTo(std::uint16_t port) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
    return descriptor;
  }
  close(descriptor);
  return -1;
}

bool isReady(const std::vector<pollfd>& ready, int descriptor) {
  return std::ranges::any_of(ready, [descriptor](const pollfd& entry) {
    return entry.fd == descriptor && entry.revents != 0;
  });
}

}  // namespace

Relay::Relay(std::uint16_t target, std::chrono::milliseconds delayEachWay)
    : target_(target), delay_(delayEachWay), stop_(eventfd(0, EFD_CLOEXEC)) {
  thread_ = std::thread([this] { run(); });
}

Relay::~Relay() {
  eventfd_write(stop_, 1);
  thread_.join();
  for (const Connection& connection : connections_) {
    close(connection.toServer.from);
    close(connection.toServer.to);
  }
  close(stop_);
}

Relay::Clock::time_point Relay::nextDue() const {
  auto next = Clock::time_point::max();
  for (const Connection& connection : connections_) {
    for (const Way* way : {&connection.toServer, &connection.toClient}) {
      if (!way->pieces.empty()) next = std::min(next, way->pieces.front().due);
    }
  }
  return next;
}

std::vector<pollfd> Relay::awaited() const {
  std::vector<pollfd> entries{{stop_, POLLIN, 0}, {listener_.descriptor(), POLLIN, 0}};
  for (const Connection& connection : connections_) {
    for (const Way* way : {&connection.toServer, &connection.toClient}) {
      if (!way->hasEnded) entries.push_back({way->from, POLLIN, 0});
    }
  }
  return entries;
}

void Relay::run() {
  for (;;) {
    std::vector<pollfd> entries = awaited();
    const auto next = nextDue();
    const auto left = std::max(next - Clock::now(), Clock::duration::zero());
    const timespec longest{.tv_sec = left / std::chrono::seconds(1),
                           .tv_nsec = left % std::chrono::seconds(1) / std::chrono::nanoseconds(1)};
    ppoll(entries.data(), entries.size(), next == Clock::time_point::max() ? nullptr : &longest,
          nullptr);
    if (isReady(entries, stop_)) return;
    for (Connection& connection : connections_) {
      for (Way* way : {&connection.toServer, &connection.toClient}) {
        if (isReady(entries, way->from)) receive(connection, *way);
        passOn(*way);
      }
    }
    std::erase_if(connections_, [](const Connection& connection) {
      if (!connection.toServer.isDone || !connection.toClient.isDone) return false;
      close(connection.toServer.from);
      close(connection.toServer.to);
      return true;
    });
    if (isReady(entries, listener_.descriptor())) acceptClient();
  }
}

void Relay::acceptClient() {
  const int client = listener_.accept();
  const int server = connectedTo(target_);
  if (client < 0 || server < 0) {
    if (client >= 0) close(client);
    if (server >= 0) close(server);
    return;
  }
  sendAtOnce(client);
  sendAtOnce(server);
  connections_.push_back({.toServer = {.from = client, .to = server, .pieces = {}},
                          .toClient = {.from = server, .to = client, .pieces = {}}});
  ++connectionCount_;
  ++roundTrips_;
}

void Relay::receive(Connection& connection, Way& way) {
  std::array<char, 65536> buffer;
  const auto size = recv(way.from, buffer.data(), buffer.size(), MSG_DONTWAIT);
  const bool isClients = &way == &connection.toServer;
  auto due = Clock::now() + delay_;
  if (isClients && !std::exchange(connection.clientHasSent, true)) due += 2 * delay_;
  if (size <= 0) {
    way.hasEnded = true;
    way.pieces.push_back({due, {}});
    return;
  }
  if (std::exchange(connection.clientSentLast, isClients) && !isClients) ++roundTrips_;
  way.pieces.push_back({due, {buffer.data(), static_cast<std::size_t>(size)}});
}

void Relay::passOn(Way& way) const {
  while (!way.pieces.empty() && way.pieces.front().due <= Clock::now()) {
    const std::string bytes = std::move(way.pieces.front().bytes);
    way.pieces.pop_front();
    if (bytes.empty()) {
      way.isDone = true;
      shutdown(way.to, SHUT_WR);
    } else {
      send(way.to, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
  }
}

}  // namespace orx::testing
