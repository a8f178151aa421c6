// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/TemporaryDirectory.h"

namespace orx::testing {

// The distribution's nginx with TLS on a loopback port, with a certificate from an authority of its
// own and all its files in a temporary directory. The destructor ends it; the kernel does when the
// thread that made it ends.
class NginxServer {
 public:
  struct Setup {
    std::vector<std::string> hosts;  // the names on the certificate
    // Answers every POST and GET below "/", after the whole request has been read.
    std::string answer;
    bool offersHTTP2 = false;
    // Further lines of the server block, locations for instance.
    std::string extra;
  };
  // Throws when nginx cannot be started.
  explicit NginxServer(const Setup& setup);
  NginxServer(const NginxServer&) = delete;
  NginxServer& operator=(const NginxServer&) = delete;
  ~NginxServer();

  std::uint16_t port() const { return port_; }
  std::string caFile() const { return (directory_ / "ca.pem").string(); }
  // Trusts this server's authority and reaches the certificate's hosts here.
  URLSessionConfiguration configuration() const;

  // The lines of nginx's access log: one for each request, with the connection's number, the
  // protocol and the status. A test counts connections and their requests by it.
  std::vector<std::string> accessLog() const;

 private:
  void writeFiles(const Setup& setup) const;
  bool start();
  void end();

  std::vector<std::string> hosts_;
  TemporaryDirectory directory_;
  std::uint16_t port_ = 0;
  pid_t process_ = -1;
};

}  // namespace orx::testing
