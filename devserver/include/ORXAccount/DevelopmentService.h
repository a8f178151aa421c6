// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orx {

// How a development service starts. Paths are relative to the working directory; an empty one means
// that there is no such file. All have initialisers, so that compilers do not warn where a caller
// names a few of them, as in {.port = 8443}.
struct DevelopmentServiceOptions {
  // The IP address to listen on. Beyond loopback (127.0.0.1, ::1), whoever reaches this machine can
  // use the accounts.
  std::string address = "127.0.0.1";
  // 0 lets the system choose.
  int port = 0;
  // The host names of the two server sets that it answers for, without port; empty for those that
  // this build of the library knows.
  std::string globalHost{};
  std::string chinaHost{};
  // The one namespace in which SOAP calls are known; empty to answer each in its own.
  std::string serviceNamespace{};
  // Application keys by application ID.
  std::map<std::string, std::string> applications{{"demo-app", "demo-key"}};

  // An SQLite file that keeps the accounts; without it they are in memory. Made private to its
  // owner; no link.
  std::filesystem::path database{};
  // Accounts that are there from the start and again after reset(); see addAccounts.
  std::filesystem::path accounts{};
  // Faults that are set from the start and again after reset(); see setFaults.
  std::filesystem::path faults{};

  // The certificate authority that signs the server's certificate, and its private key, as PEM;
  // without them a fresh one.
  std::filesystem::path caCertificate{};
  std::filesystem::path caKey{};
  // Where the authority's certificate is written, replaced when it is there, no link; without it in
  // a private directory that is removed with the service.
  std::filesystem::path caOut{};
  // Where its private key is written, for caKey of the next start; without it nowhere.
  std::filesystem::path caKeyOut{};

  // The host of the links of web single sign-on, which then name the service's port too, so that a
  // browser can open them: "localhost" for one on this machine. Without it they name the host and
  // port that the client asked for.
  std::string linkHost{};
  // A line of JSON is appended for each request; "-" is the standard output.
  std::filesystem::path log{};
  // A Unix socket, for this user alone, that sets faults, adds accounts and resets while the
  // service runs (docs/devserver.md).
  std::filesystem::path control{};
};

// A stand-in for the account service, for the development and the tests of its clients: HTTPS with
// a certificate authority of its own, accounts, and faults on request. It answers for the global
// and the China host, which share their accounts, and for localhost as for the global host;
// requests for other hosts are refused with status 421. Several can run in one process. Any thread
// may call; no signal of the process is taken or changed.
class DevelopmentService {
 public:
  DevelopmentService();
  DevelopmentService(const DevelopmentService&) = delete;
  DevelopmentService& operator=(const DevelopmentService&) = delete;
  // Stops.
  ~DevelopmentService();

  // Ready for requests when it returns. Throws std::runtime_error that names the place when an
  // address, a port or a file cannot be had, std::invalid_argument that names file and place when
  // the content of one is wrong, std::logic_error when it has been started before.
  void start(DevelopmentServiceOptions options = {});
  // Ends all connections, returns when every thread has gone. Does nothing when not started.
  void stop();

  // All that follows throws std::logic_error before start(), and may be called after stop().

  int port() const;
  const std::filesystem::path& caFile() const;
  // The certificate of the authority, as PEM text.
  const std::string& caCertificate() const;
  // The host names of the two server sets, the global one first. A client reaches both at port().
  const std::vector<std::string>& hosts() const;

  // Replaces all faults by those of a fault plan (docs/devserver.md), counted from now; "[]" is
  // none. Throws std::invalid_argument that names the rule and what is wrong with it; the faults
  // are then as before.
  void setFaults(std::string_view json);
  // Adds accounts, a JSON array of objects (docs/devserver.md). One that is there already stays as
  // it is. Throws std::invalid_argument that names the account and what is wrong with it; those
  // before it are then added.
  void addAccounts(std::string_view json);
  // Back to how it started with an empty database: accounts, tickets and links are gone, but for
  // the accounts of the options; the faults are those of the options; no request has been seen.
  void reset();

  // A request that has been answered. It holds no secret: no parameter, ticket, password or key.
  struct Request {
    std::chrono::system_clock::time_point time{};
    // Without port, in lower case, as the client wrote it.
    std::string host{};
    std::string method{};
    // The ApiID of a SOAP call ("w000000011"), else the path without query
    // ("/api/OpenIdApi/Login");
    // "/sso/" for every link of web single sign-on. Cut off where it is long.
    std::string operation{};
    // 0 when a fault ended the connection before the first byte.
    int status = 0;
    // ResultCode, or Status of a JSON answer; empty when the answer held none.
    std::string resultCode{};
    // Whether a fault changed the answer.
    bool fault = false;
  };
  // The latest thousand, the oldest first, each there before its answer is sent.
  std::vector<Request> requests() const;
  // How many whole requests have come in for an operation and for a host, each counted before its
  // operation is carried out.
  std::size_t requestCount(const std::string& operation) const;
  std::size_t requestCountOfHost(const std::string& host) const;

 private:
  class Running;
  Running& running() const;

  std::unique_ptr<Running> running_;
};

}  // namespace orx
