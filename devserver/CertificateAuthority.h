// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace orx::devserver {

// A server's certificate with its key, both as PEM text; the certificate first, then its issuer.
struct ServerCertificate {
  std::string certificatePEM;
  std::string privateKeyPEM;
};

// A private certificate authority. Clients that trust it verify the certificate of a server on
// loopback as they verify any other.
class CertificateAuthority {
 public:
  // A fresh one (P-256), valid from a day ago for a year.
  static CertificateAuthority generate();
  // From a stored certificate and its key; throws std::runtime_error when the texts are not those.
  static CertificateAuthority fromPEM(const std::string& certificatePEM,
                                      const std::string& privateKeyPEM);

  const std::string& certificatePEM() const;
  const std::string& privateKeyPEM() const;

  struct Validity {
    std::chrono::hours from{-24};
    std::chrono::hours until{24 * 365};
  };
  // Names are DNS names or IP addresses. The validity counts from now; tests ask for one that lies
  // in the past to get an expired certificate.
  ServerCertificate issue(const std::vector<std::string>& names, Validity validity) const;
  ServerCertificate issue(const std::vector<std::string>& names) const {
    return issue(names, Validity{});
  }

  ~CertificateAuthority();
  CertificateAuthority(CertificateAuthority&&) noexcept;
  CertificateAuthority& operator=(CertificateAuthority&&) noexcept;

 private:
  CertificateAuthority();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace orx::devserver
