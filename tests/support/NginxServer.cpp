// SPDX-License-Identifier: MIT
#include "support/NginxServer.h"

#include <arpa/inet.h>
#include <devserver/CertificateAuthority.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/Await.h"
#include "support/LoopbackListener.h"

namespace orx::testing {
namespace {

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// nginx cannot let the system choose a port. Another process may take this one first; then nginx
// fails, and the constructor tries another.
std::uint16_t freePort() { return LoopbackListener().port(); }

bool isListening(std::uint16_t port) {
  const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  const bool taken =
      connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(probe);
  return taken;
}

// The text as a quoted string of the configuration file.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') result += '\\';
    result += character;
  }
  return result + '"';
}

// "return" answers before the request's body is read. The proxy in front of it reads the whole
// request first.
constexpr const char* configurationText = R"(daemon off;
master_process off;
worker_processes 1;
worker_rlimit_nofile 16384;
pid nginx.pid;
error_log error.log crit;
events { worker_connections 8192; }
http {
  log_format connections "$connection $server_protocol $status";
  access_log off;
  client_body_temp_path body;
  proxy_temp_path proxy;
  fastcgi_temp_path fastcgi;
  uwsgi_temp_path uwsgi;
  scgi_temp_path scgi;
  keepalive_timeout 600s;
  keepalive_requests 100000000;
  upstream answers { server unix:answers.sock; keepalive 1024; }
  server {
    listen unix:answers.sock;
    default_type "text/xml; charset=utf-8";
    location / { return 200 @ANSWER@; }
  }
  server {
    listen 127.0.0.1:@PORT@ ssl @HTTP2@ backlog=4096;
    ssl_certificate server.pem;
    ssl_certificate_key server.key;
    ssl_session_cache shared:sessions:10m;
    location / {
      proxy_pass http://answers;
      proxy_http_version 1.1;
      proxy_set_header Connection "";
    }
    @EXTRA@
  }
}
)";

void replace(std::string& text, const std::string& mark, const std::string& by) {
  for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + by.size())) {
    text.replace(at, mark.size(), by);
  }
}

}  // namespace

NginxServer::NginxServer(const Setup& setup) : hosts_(setup.hosts) {
  constexpr int attempts = 5;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    port_ = freePort();
    writeFiles(setup);
    if (start()) return;
  }
  std::ostringstream log;
  log << std::ifstream(directory_ / "error.log").rdbuf();
  throw std::runtime_error("nginx does not start: " + log.str());
}

NginxServer::~NginxServer() { end(); }

void NginxServer::writeFiles(const Setup& setup) const {
  const auto authority = devserver::CertificateAuthority::generate();
  const auto certificate = authority.issue(setup.hosts);
  std::ofstream(directory_ / "ca.pem") << authority.certificatePEM();
  std::ofstream(directory_ / "server.pem") << certificate.certificatePEM;
  std::ofstream(directory_ / "server.key") << certificate.privateKeyPEM;

  std::string text = configurationText;
  replace(text, "@ANSWER@", quoted(setup.answer));
  replace(text, "@PORT@", std::to_string(port_));
  replace(text, "@HTTP2@", setup.offersHTTP2 ? "http2" : "");
  replace(text, "@EXTRA@", setup.extra);
  replace(text, "unix:answers.sock", "unix:" + (directory_ / "answers.sock").string());
  std::ofstream(directory_ / "nginx.conf") << text;
}

bool NginxServer::start() {
  const std::string prefix = directory_.path().string() + '/';
  const pid_t parent = getpid();
  process_ = fork();
  if (process_ < 0) throw std::runtime_error("cannot fork");
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);
    const int nowhere = open("/dev/null", O_RDWR);
    for (const int standard : {0, 1, 2}) dup2(nowhere, standard);
    for (const char* path : {"/usr/sbin/nginx", "nginx"}) {
      execlp(path, "nginx", "-p", prefix.c_str(), "-c", "nginx.conf", "-e", "error.log", nullptr);
    }
    _exit(127);
  }
  bool died = false;
  const bool decided = eventually([&] {
    died = waitpid(process_, nullptr, WNOHANG) == process_;
    return died || isListening(port_);
  });
  if (died) process_ = -1;
  if (decided && !died) return true;
  end();
  return false;
}

void NginxServer::end() {
  if (process_ <= 0) return;
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

URLSessionConfiguration NginxServer::configuration() const {
  URLSessionConfiguration configuration;
  configuration.setCaFile(caFile());
  configuration.setProxy("");
  for (const auto& host : hosts_) configuration.setConnectTo(host, {"127.0.0.1", port_});
  return configuration;
}

std::vector<std::string> NginxServer::accessLog() const {
  std::ifstream log(directory_ / "access.log");
  std::vector<std::string> lines;
  for (std::string line; std::getline(log, line);) lines.push_back(line);
  return lines;
}

}  // namespace orx::testing
