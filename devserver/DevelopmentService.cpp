// SPDX-License-Identifier: MIT
#include <ORXAccount/DevelopmentService.h>

#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "devserver/CertificateAuthority.h"
#include "devserver/ControlSocket.h"
#include "devserver/FileContent.h"
#include "devserver/HTTPSServer.h"
#include "devserver/Names.h"
#include "devserver/PrivateFile.h"
#include "devserver/Router.h"

namespace orx {

using namespace devserver;

namespace {

// A directory that only this user can enter. The destructor removes it with its content.
class PrivateDirectory {
 public:
  PrivateDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "orxaccount-ca-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
    path_ = name;
  }
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;
  ~PrivateDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// In lower case, as requests name them. Other texts would change the meaning of a certificate.
std::string hostName(const std::string& text) {
  std::string name = lowerCased(text);
  for (const char c : name) {
    const bool allowed = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '-';
    if (!allowed) throw std::invalid_argument("this is no host name: " + text);
  }
  return name;
}

// A build may name a port with a host; the service has its own.
DevelopmentServiceOptions withHosts(DevelopmentServiceOptions options) {
  if (options.globalHost.empty()) options.globalHost = withoutPort(ORX_GLOBAL_HOST);
  if (options.chinaHost.empty()) options.chinaHost = withoutPort(ORX_CHINA_HOST);
  for (std::string* host : {&options.globalHost, &options.chinaHost, &options.linkHost}) {
    *host = hostName(*host);
  }
  return options;
}

CertificateAuthority authorityOf(const DevelopmentServiceOptions& options) {
  if (options.caKey.empty() != options.caCertificate.empty()) {
    throw std::invalid_argument("an authority needs both, its certificate and its key");
  }
  if (options.caKey.empty()) return CertificateAuthority::generate();
  return CertificateAuthority::fromPEM(contentOf(options.caCertificate), contentOf(options.caKey));
}

std::vector<std::string> certifiedNames(const DevelopmentServiceOptions& options) {
  std::vector<std::string> names{options.globalHost, options.chinaHost, "localhost", "127.0.0.1"};
  if (!options.linkHost.empty()) names.push_back(options.linkHost);
  return names;
}

}  // namespace

class DevelopmentService::Running {
 public:
  explicit Running(DevelopmentServiceOptions given)
      : options(withHosts(std::move(given))),
        hosts{options.globalHost, options.chinaHost},
        authority(authorityOf(options)),
        listening(ListeningSocket::atAddress(options.address, options.port)),
        port(listening.port()),
        router(options, port),
        server(authority.issue(certifiedNames(options)),
               [this](const HTTPRequest& request) { return router.answer(request); }) {
    caFile = options.caOut;
    if (caFile.empty()) caFile = directory.emplace().path() / "ca.pem";
    writePrivateFile(caFile, authority.certificatePEM());
    if (!options.caKeyOut.empty()) writePrivateFile(options.caKeyOut, authority.privateKeyPEM());
    server.serve(std::move(listening));
    if (!options.control.empty()) control.emplace(options.control, router);
  }

  void stop() {
    control.reset();
    server.stop();
  }

  const DevelopmentServiceOptions options;
  const std::vector<std::string> hosts;
  const CertificateAuthority authority;
  std::optional<PrivateDirectory> directory;
  std::filesystem::path caFile;
  ListeningSocket listening;
  const int port;
  Router router;
  HTTPSServer server;
  std::optional<ControlSocket> control;
};

DevelopmentService::DevelopmentService() = default;

DevelopmentService::~DevelopmentService() { stop(); }

void DevelopmentService::start(DevelopmentServiceOptions options) {
  if (running_) throw std::logic_error("the service has been started before");
  running_ = std::make_unique<Running>(std::move(options));
}

void DevelopmentService::stop() {
  if (running_) running_->stop();
}

DevelopmentService::Running& DevelopmentService::running() const {
  if (!running_) throw std::logic_error("the service has not been started");
  return *running_;
}

int DevelopmentService::port() const { return running().port; }

const std::filesystem::path& DevelopmentService::caFile() const { return running().caFile; }

const std::string& DevelopmentService::caCertificate() const {
  return running().authority.certificatePEM();
}

const std::vector<std::string>& DevelopmentService::hosts() const { return running().hosts; }

void DevelopmentService::setFaults(std::string_view json) { running().router.setFaults(json); }

void DevelopmentService::addAccounts(std::string_view json) { running().router.addAccounts(json); }

void DevelopmentService::reset() { running().router.reset(); }

std::vector<DevelopmentService::Request> DevelopmentService::requests() const {
  return running().router.log().requests();
}

std::size_t DevelopmentService::requestCount(const std::string& operation) const {
  return running().router.log().countOf(operation);
}

std::size_t DevelopmentService::requestCountOfHost(const std::string& host) const {
  return running().router.log().countOfHost(host);
}

}  // namespace orx
