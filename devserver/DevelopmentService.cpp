#include "devserver/DevelopmentService.h"

#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "devserver/HTTPSServer.h"
#include "devserver/PrivateFile.h"
#include "devserver/Router.h"

namespace orx::devserver {
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

std::vector<std::string> certifiedNames() {
  std::vector<std::string> names = DevelopmentService::hosts();
  names.insert(names.end(), {"localhost", "127.0.0.1"});
  return names;
}

}  // namespace

class DevelopmentService::Running {
 public:
  Running(DevelopmentServiceOptions options, FaultPlan& faults)
      : authority(options.certificateAuthority ? *std::move(options.certificateAuthority)
                                               : CertificateAuthority::generate()),
        router(options.database.string(), std::move(options.applications),
               std::move(options.serviceNamespace), faults),
        server(authority.issue(certifiedNames()),
               [this](const HTTPRequest& request) { return router.answer(request); }) {
    caFile = options.caOut;
    if (caFile.empty()) caFile = directory.emplace().path() / "ca.pem";
    writePrivateFile(caFile, authority.certificatePEM());
    port = server.start(options.port);
  }

  CertificateAuthority authority;
  std::optional<PrivateDirectory> directory;
  std::filesystem::path caFile;
  int port = 0;
  Router router;
  HTTPSServer server;
};

DevelopmentService::DevelopmentService() = default;

DevelopmentService::~DevelopmentService() { stop(); }

void DevelopmentService::start(DevelopmentServiceOptions options) {
  if (running_) throw std::logic_error("the service has been started before");
  running_ = std::make_unique<Running>(std::move(options), faults_);
}

void DevelopmentService::stop() {
  if (running_) running_->server.stop();
}

int DevelopmentService::port() const { return running_->port; }

const std::filesystem::path& DevelopmentService::caFile() const { return running_->caFile; }

const std::string& DevelopmentService::caCertificate() const {
  return running_->authority.certificatePEM();
}

std::vector<std::string> DevelopmentService::hosts() { return {ORX_GLOBAL_HOST, ORX_CHINA_HOST}; }

std::size_t DevelopmentService::requestCount(const std::string& apiIDOrPath) const {
  return running_ ? running_->router.requestCount(apiIDOrPath) : 0;
}

std::size_t DevelopmentService::requestCountOfHost(const std::string& host) const {
  return running_ ? running_->router.requestCountOfHost(host) : 0;
}

}  // namespace orx::devserver
