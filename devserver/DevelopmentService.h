#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devserver/CertificateAuthority.h"
#include "devserver/FaultPlan.h"

namespace orx::devserver {

struct DevelopmentServiceOptions {
  // 0 lets the system choose.
  int port = 0;
  // An SQLite file that keeps the accounts; empty for memory. Made private to its owner; no link.
  std::filesystem::path database;
  // The file for the CA's certificate, replaced when it is there, no link; empty for one in a
  // private directory that is removed with this object.
  std::filesystem::path caOut;
  // Signs the server's certificate; absent for a fresh one.
  std::optional<CertificateAuthority> certificateAuthority;
  // Application keys by application ID.
  std::map<std::string, std::string> applications{{"demo-app", "demo-key"}};
  // The one namespace in which SOAP calls are known; empty to answer each in its own.
  std::string serviceNamespace;
};

// A stand-in for the account service on loopback, for development and tests: it answers for the
// global and the China host, which share their accounts, and for localhost as for the global host.
// Requests for other hosts are refused with status 421. Any thread may call.
class DevelopmentService {
 public:
  DevelopmentService();
  DevelopmentService(const DevelopmentService&) = delete;
  DevelopmentService& operator=(const DevelopmentService&) = delete;
  // Stops.
  ~DevelopmentService();

  // Ready for requests when it returns. Throws std::runtime_error when the port, the database or
  // the file for the CA cannot be had, std::logic_error when it has been started before.
  void start(DevelopmentServiceOptions options = {});
  // Ends all connections, returns when every thread has gone. Does nothing when not started.
  void stop();

  // Call these three only after start(). Their values stay the same after stop().
  int port() const;
  const std::filesystem::path& caFile() const;
  // The certificate of the CA, as PEM text.
  const std::string& caCertificate() const;

  // The host names of the two server sets, the global one first.
  static std::vector<std::string> hosts();

  // Rules may be added and removed while the service runs, and before it starts.
  FaultPlan& faults() { return faults_; }

  // How many whole requests have come in: for an ApiID ("w000000011"), for a path of a request
  // without ApiID ("/api/OpenIdApi/Login"), and for a host. Counted before the answer is sent.
  std::size_t requestCount(const std::string& apiIDOrPath) const;
  std::size_t requestCountOfHost(const std::string& host) const;

 private:
  class Running;
  FaultPlan faults_;
  std::unique_ptr<Running> running_;
};

}  // namespace orx::devserver
