// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace orx::bench {

// The call that every contestant makes: a POST of the same body to the same URL, with certificate
// and host name verified.
struct Work {
  std::string host;
  std::uint16_t port = 0;  // on 127.0.0.1
  std::string path;
  std::string contentType;
  std::string body;
  std::string answer;
  std::string caFile;      // holds the server's authority alone
  std::string bundleFile;  // holds it among those of the distribution
};

// One way of making calls. A contestant that keeps connections keeps them from run to run.
class Contestant {
 public:
  virtual ~Contestant() = default;

  // Makes `calls` calls, `inFlight` at a time, and returns the time of each in microseconds.
  // Throws std::runtime_error for a call that does not give the answer.
  virtual std::vector<double> run(std::size_t inFlight, std::size_t calls) = 0;
};

std::unique_ptr<Contestant> keptCurlHandles(const Work& work);
std::unique_ptr<Contestant> keptCurlHandlesOverEpoll(const Work& work);
std::unique_ptr<Contestant> freshCurlHandles(const Work& work, const std::string& caFile);
std::unique_ptr<Contestant> keptHttplibClients(const Work& work);
std::unique_ptr<Contestant> freshHttplibClients(const Work& work);
std::unique_ptr<Contestant> keptBeastStreams(const Work& work);
// These two use this library, whose default configuration must lead to the server.
std::unique_ptr<Contestant> commonCalls();
std::unique_ptr<Contestant> logins();

}  // namespace orx::bench
