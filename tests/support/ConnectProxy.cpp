// SPDX-License-Identifier: MIT
#include "support/ConnectProxy.h"

#include <poll.h>

#include <array>
#include <string_view>
#include <utility>

namespace orx::testing {
namespace {

bool sendAll(int to, std::string_view bytes) {
  while (!bytes.empty()) {
    const auto sent = send(to, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

// The request's head; empty when the client went before it was whole.
std::string readHead(int client) {
  std::string head;
  char byte = 0;
  while (!head.ends_with("\r\n\r\n")) {
    if (recv(client, &byte, 1, 0) != 1) return {};
    head += byte;
  }
  return head;
}

// False at the end of one direction.
bool pass(int from, int to) {
  std::array<char, 16384> buffer;
  const auto size = recv(from, buffer.data(), buffer.size(), 0);
  if (size <= 0) return false;
  return sendAll(to, {buffer.data(), static_cast<std::size_t>(size)});
}

}  // namespace

ConnectProxy::ConnectProxy(std::uint16_t target, std::string reply)
    : target_(target), reply_(std::move(reply)) {
  acceptor_ = std::thread([this] { accept(); });
}

ConnectProxy::~ConnectProxy() {
  shutdown(listener_.descriptor(), SHUT_RDWR);
  acceptor_.join();
  {
    const std::lock_guard lock(mutex_);
    for (const int descriptor : descriptors_) shutdown(descriptor, SHUT_RDWR);
  }
  for (std::thread& tunnel : tunnels_) tunnel.join();
  for (const int descriptor : descriptors_) close(descriptor);
}

int ConnectProxy::kept(int descriptor) {
  const std::lock_guard lock(mutex_);
  if (descriptor >= 0) descriptors_.push_back(descriptor);
  return descriptor;
}

void ConnectProxy::accept() {
  for (int client = listener_.accept(); client >= 0; client = listener_.accept()) {
    tunnels_.emplace_back([this, client = kept(client)] { serve(client); });
  }
}

int ConnectProxy::connectToTarget() const {
  const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(target_);
  if (connect(server, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return server;
  close(server);
  return -1;
}

void ConnectProxy::serve(int client) {
  const std::string head = readHead(client);
  {
    const std::lock_guard lock(mutex_);
    lastHead_ = head;
  }
  if (!head.starts_with("CONNECT ")) return;
  const int server = kept(connectToTarget());
  if (server < 0) return;
  ++tunnelCount_;
  ++openTunnelCount_;
  sendAll(client, reply_);
  std::array<pollfd, 2> ends{pollfd{client, POLLIN, 0}, pollfd{server, POLLIN, 0}};
  for (bool isOpen = true; isOpen;) {
    poll(ends.data(), ends.size(), -1);
    if (ends[0].revents != 0) isOpen = pass(client, server);
    if (isOpen && ends[1].revents != 0) isOpen = pass(server, client);
  }
  shutdown(client, SHUT_RDWR);
  shutdown(server, SHUT_RDWR);
  --openTunnelCount_;
}

}  // namespace orx::testing
