// SPDX-License-Identifier: MIT
#include "support/ServerProcess.h"

#include <unistd.h>

#include <array>
#include <sstream>
#include <stdexcept>

namespace orx::testing {

ServerProcess::ServerProcess(std::vector<std::string> hosts, TLSTestServer::Handler handler) {
  std::array<int, 2> toServer{};
  std::array<int, 2> fromServer{};
  if (pipe(toServer.data()) != 0 || pipe(fromServer.data()) != 0) {
    throw std::runtime_error("cannot make a pipe");
  }
  process_ = std::make_unique<ChildProcess>([&] {
    close(toServer[1]);
    close(fromServer[0]);
    const TLSTestServer server(hosts, std::move(handler));
    const std::string place = std::to_string(server.port()) + ' ' + server.caFile() + '\n';
    (void)!write(fromServer[1], place.data(), place.size());
    char byte = 0;
    // Returns on the destructor's byte, or at the pipe's end when the test has died.
    (void)!read(toServer[0], &byte, 1);
  });
  close(toServer[0]);
  close(fromServer[1]);
  stop_ = toServer[1];
  std::string place;
  for (char byte = 0; read(fromServer[0], &byte, 1) == 1 && byte != '\n';) place += byte;
  close(fromServer[0]);
  std::uint16_t port = 0;
  std::string caFile;
  std::istringstream(place) >> port >> caFile;
  configuration_.setCaFile(caFile);
  configuration_.setProxy("");
  for (const auto& host : hosts) configuration_.setConnectTo(host, {"127.0.0.1", port});
}

ServerProcess::~ServerProcess() {
  // Closing the pipe alone would not wake the server: forked children hold copies of this end.
  (void)!write(stop_, "x", 1);
  close(stop_);
  process_->wait();
}

}  // namespace orx::testing
