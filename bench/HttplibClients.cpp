// SPDX-License-Identifier: MIT
#include <httplib.h>

#include <stdexcept>

#include "Contestant.h"
#include "Threads.h"

namespace orx::bench {
namespace {

std::unique_ptr<httplib::SSLClient> clientFor(const Work& work) {
  auto client = std::make_unique<httplib::SSLClient>(work.host, work.port);
  client->set_hostname_addr_map({{work.host, "127.0.0.1"}});
  client->set_ca_cert_path(work.caFile);
  client->enable_server_certificate_verification(true);
  // Head and body are sent in two writes, so Nagle's algorithm would delay the body.
  client->set_tcp_nodelay(true);
  return client;
}

void callWith(httplib::SSLClient& client, const Work& work) {
  const auto reply = client.Post(work.path, work.body, work.contentType);
  if (!reply) throw std::runtime_error("cpp-httplib: " + httplib::to_string(reply.error()));
  if (reply->body != work.answer) throw std::runtime_error("cpp-httplib: a foreign answer");
}

class KeptHttplibClients final : public Contestant {
 public:
  explicit KeptHttplibClients(const Work& work) : work_(work) {}

  std::vector<double> run(std::size_t inFlight, std::size_t calls) override {
    while (clients_.size() < inFlight) {
      clients_.push_back(clientFor(work_));
      clients_.back()->set_keep_alive(true);
    }
    return onKeptThreads(inFlight, calls,
                         [this](std::size_t thread) { callWith(*clients_[thread], work_); });
  }

 private:
  const Work& work_;
  std::vector<std::unique_ptr<httplib::SSLClient>> clients_;
};

class FreshHttplibClients final : public Contestant {
 public:
  explicit FreshHttplibClients(const Work& work) : work_(work) {}

  std::vector<double> run(std::size_t inFlight, std::size_t calls) override {
    return onKeptThreads(inFlight, calls,
                         [this](std::size_t) { callWith(*clientFor(work_), work_); });
  }

 private:
  const Work& work_;
};

}  // namespace

std::unique_ptr<Contestant> keptHttplibClients(const Work& work) {
  return std::make_unique<KeptHttplibClients>(work);
}

std::unique_ptr<Contestant> freshHttplibClients(const Work& work) {
  return std::make_unique<FreshHttplibClients>(work);
}

}  // namespace orx::bench
