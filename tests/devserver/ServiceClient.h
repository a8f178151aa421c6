// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/DevelopmentService.h>

#include <filesystem>
#include <map>
#include <string>

namespace orx::testing {

struct Reply {
  // libcurl's error code; 0 when a whole answer came.
  int transport = 0;
  long status = 0;
  std::string contentType;
  std::string body;
  // Names in lower case.
  std::map<std::string, std::string> headers;

  // The text of the first element of this name, still escaped; empty when there is none.
  std::string element(const std::string& name) const;
};

struct Credentials {
  std::string appID = "demo-app";
  std::string appKey = "demo-key";
};

// A client of the service over real HTTPS: host names and certificates are verified, and only the
// address is replaced. Each request has a connection of its own unless said otherwise.
class ServiceClient {
 public:
  ServiceClient(int port, std::string caCertificate)
      : port_(port), caCertificate_(std::move(caCertificate)) {}
  explicit ServiceClient(const DevelopmentService& service)
      : ServiceClient(service.port(), service.caCertificate()) {}

  Reply get(const std::string& url) const { return send("GET", url, "", ""); }
  Reply post(const std::string& url, const std::string& body,
             const std::string& contentType) const {
    return send("POST", url, body, contentType);
  }
  Reply send(const std::string& method, const std::string& url, const std::string& body,
             const std::string& contentType) const;

  // Sends the text, which need not be valid HTTP, on a new connection, and gives all that the
  // server sends until it ends the connection; empty when that is nothing.
  std::string exchange(const std::string& request) const;

  // Sends `count` GETs one after the other and returns how many connections they used; -1 when one
  // failed.
  long connectionsFor(const std::string& url, int count) const;

  // Sends a call to the SOAP endpoint that knows this ApiID, at the global host. Parameters and
  // credentials are not escaped.
  Reply call(const std::string& apiID, const std::string& parameters,
             const Credentials& credentials = {}) const;

 private:
  int port_;
  std::string caCertificate_;
};

// Sends a request over a Unix socket, without TLS.
Reply overSocket(const std::filesystem::path& socket, const std::string& method,
                 const std::string& url, const std::string& body);

std::string globalURL(const std::string& path);
std::string chinaURL(const std::string& path);

// The envelopes of the three kinds of call.
std::string paraJsonEnvelope(const Credentials& credentials, const std::string& apiID,
                             const std::string& parameters);
std::string soap11HeaderEnvelope(const Credentials& credentials, const std::string& apiID,
                                 const std::string& parameters);
std::string soap12Envelope(const Credentials& credentials, const std::string& apiID,
                           const std::string& parameters);

// The first ticket that an answer holds, empty when there is none.
std::string ticketIn(const std::string& answer);

// Registers an account with the password "correct horse", signs it in and returns the ticket.
std::string ticketOfNewAccount(const ServiceClient& client,
                               const std::string& login = "ada@orva.example");

}  // namespace orx::testing
