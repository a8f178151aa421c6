// SPDX-License-Identifier: MIT
#include "platform/keychain/secretservice/FakeBus.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <stdexcept>

namespace orx::testing {

using namespace platform;

namespace {

// Waits until the client has sent these words; false when it has closed the connection.
bool hear(int client, const std::string& words) {
  std::string heard;
  while (heard.find(words) == std::string::npos) {
    std::array<char, 512> bytes{};
    const auto count = recv(client, bytes.data(), bytes.size(), 0);
    if (count <= 0) return false;
    heard.append(bytes.data(), static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

FakeBus::FakeBus(const std::filesystem::path& path, std::vector<Turn> turns)
    : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), turns_(std::move(turns)) {
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  path.string().copy(address.sun_path, sizeof address.sun_path - 1);
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  if (bind(listener_.get(), generic, sizeof address) != 0 || listen(listener_.get(), 8) != 0) {
    throw std::runtime_error("cannot listen");
  }
  thread_ = std::thread([this] { serve(); });
}

FakeBus::~FakeBus() {
  shutdown(listener_.get(), SHUT_RDWR);
  thread_.join();
}

void FakeBus::serve() {
  for (;;) {
    FileDescriptor client(accept(listener_.get(), nullptr, nullptr));
    if (!client) return;
    for (const auto& turn : turns_) {
      if (!hear(client.get(), turn.heard)) break;
      if (turn.isDeaf) shutdown(client.get(), SHUT_RD);
      send(client.get(), turn.said.data(), turn.said.size(), MSG_NOSIGNAL);
    }
    clients_.push_back(std::move(client));
  }
}

}  // namespace orx::testing
