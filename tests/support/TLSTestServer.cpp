// SPDX-License-Identifier: MIT
#include "support/TLSTestServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace orx::testing {

struct TLSTestServer::Connection {
  explicit Connection(int socket, std::size_t serial) : descriptor(socket), number(serial) {}
  ~Connection() {
    SSL_free(tls);
    close(descriptor);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Reads until `buffer` holds `count` bytes; false at the connection's end.
  bool fill(std::size_t count) {
    std::array<char, 16384> bytes;
    while (buffer.size() < count) {
      const int got = SSL_read(tls, bytes.data(), bytes.size());
      if (got <= 0) return false;
      buffer.append(bytes.data(), static_cast<std::size_t>(got));
    }
    return true;
  }
  std::string take(std::size_t count) {
    std::string bytes = buffer.substr(0, count);
    buffer.erase(0, count);
    return bytes;
  }

  bool peerHasClosed() const {
    pollfd state{descriptor, POLLRDHUP, 0};
    return poll(&state, 1, 0) > 0;
  }

  const int descriptor;
  const std::size_t number;
  SSL* tls = nullptr;
  std::string buffer;  // received and not yet taken
  std::atomic<End> end{End::cut};
  std::atomic<bool> dropped{false};  // set by dropConnections()
  std::atomic<bool> done{false};
  std::thread thread;
};

namespace {

// Without this, writing to a connection that the client has closed ends the test program by
// SIGPIPE.
void blockAllSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

TLSTestServer::Request parseHead(const std::string& head) {
  TLSTestServer::Request request;
  std::istringstream lines(head);
  std::string line;
  std::getline(lines, line);
  std::istringstream(line) >> request.method >> request.target;
  while (std::getline(lines, line) && line != "\r") {
    if (line.ends_with('\r')) line.pop_back();
    const auto colon = line.find(':');
    if (colon == std::string::npos) continue;
    const auto value = line.find_first_not_of(' ', colon + 1);
    request.headerFields.emplace_back(
        line.substr(0, colon), value == std::string::npos ? std::string() : line.substr(value));
  }
  return request;
}

// The ALPN extension: a two-byte length, then each name behind its one-byte length.
std::vector<std::string> parseProtocols(const unsigned char* bytes, std::size_t size) {
  std::vector<std::string> names;
  for (std::size_t at = 2; at < size; at += 1U + bytes[at]) {
    names.emplace_back(reinterpret_cast<const char*>(bytes) + at + 1, bytes[at]);
  }
  return names;
}

int resetOnClose(int descriptor) {
  const linger now{1, 0};
  return setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

}  // namespace

std::optional<std::string> TLSTestServer::Request::header(std::string_view name) const {
  for (const auto& [key, value] : headerFields) {
    if (strcasecmp(key.c_str(), std::string(name).c_str()) == 0) return value;
  }
  return std::nullopt;
}

TLSTestServer::Answer TLSTestServer::Answer::reply(int status, std::string_view body,
                                                   const HeaderFields& headers) {
  std::ostringstream text;
  text << "HTTP/1.1 " << status << " Status\r\n";
  for (const auto& [name, value] : headers) text << name << ": " << value << "\r\n";
  text << "Content-Length: " << body.size() << "\r\n\r\n" << body;
  return {.bytes = text.str()};
}

TLSTestServer::Answer TLSTestServer::Answer::cutAfter(std::size_t count, End how) const {
  Answer answer = *this;
  answer.bytes.resize(std::min(count, answer.bytes.size()));
  answer.end = how;
  return answer;
}

std::size_t TLSTestServer::Answer::headSize() const { return bytes.find("\r\n\r\n") + 4; }

TLSTestServer::TLSTestServer(std::vector<std::string> hosts, Handler handler,
                             CertificateFault fault, HeadHandler headHandler)
    : hosts_(std::move(hosts)),
      handler_(std::move(handler)),
      headHandler_(std::move(headHandler)),
      context_(nullptr, &SSL_CTX_free) {
  std::ofstream(caFile()) << authority_.certificatePEM();
  makeContext(fault);
  acceptor_ = std::thread([this] { acceptConnections(); });
}

TLSTestServer::TLSTestServer(std::vector<std::string> hosts, Answer answer)
    : TLSTestServer(std::move(hosts),
                    [answer = std::move(answer)](const Request&) { return answer; }) {}

TLSTestServer::~TLSTestServer() {
  stopping_ = true;
  release();
  refuseConnections();
  acceptor_.join();
  dropConnections(End::cut);
  for (const auto& connection : connections_) connection->thread.join();
}

void TLSTestServer::makeContext(CertificateFault fault) {
  using devserver::CertificateAuthority;
  CertificateAuthority::Validity validity;
  if (fault == CertificateFault::expired) {
    validity = {std::chrono::hours(-48), std::chrono::hours(-24)};
  }
  const std::vector<std::string> others{"elsewhere.example"};
  const auto& certified = fault == CertificateFault::wrongName ? others : hosts_;
  const auto certificate = fault == CertificateFault::unknownAuthority
                               ? CertificateAuthority::generate().issue(certified, validity)
                               : authority_.issue(certified, validity);
  std::ofstream(directory_ / "server.pem") << certificate.certificatePEM;
  std::ofstream(directory_ / "key.pem") << certificate.privateKeyPEM;

  context_.reset(SSL_CTX_new(TLS_server_method()));
  SSL_CTX* context = context_.get();
  if (SSL_CTX_use_certificate_chain_file(context, (directory_ / "server.pem").c_str()) != 1 ||
      SSL_CTX_use_PrivateKey_file(context, (directory_ / "key.pem").c_str(), SSL_FILETYPE_PEM) !=
          1) {
    throw std::runtime_error("the test server cannot use its certificate");
  }
  SSL_CTX_set_client_hello_cb(
      context,
      [](SSL* tls, int*, void* server) {
        const unsigned char* bytes = nullptr;
        std::size_t size = 0;
        std::vector<std::string> names;
        constexpr unsigned int alpn = TLSEXT_TYPE_application_layer_protocol_negotiation;
        if (SSL_client_hello_get0_ext(tls, alpn, &bytes, &size) == 1) {
          names = parseProtocols(bytes, size);
        }
        auto* self = static_cast<TLSTestServer*>(server);
        const std::lock_guard lock(self->mutex_);
        self->offeredProtocols_ = std::move(names);
        return SSL_CLIENT_HELLO_SUCCESS;
      },
      this);
}

URLSessionConfiguration TLSTestServer::configurationFor(
    const std::vector<std::string>& hosts) const {
  URLSessionConfiguration configuration;
  configuration.setCaFile(caFile());
  configuration.setProxy("");
  for (const auto& host : hosts) configuration.setConnectTo(host, {"127.0.0.1", port()});
  return configuration;
}

std::vector<TLSTestServer::Request> TLSTestServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<TLSTestServer::Request> TLSTestServer::awaitRequests(std::size_t count) const {
  std::unique_lock lock(mutex_);
  if (!arrived_.wait_for(lock, patience, [&] { return requests_.size() >= count; })) {
    throw std::runtime_error("the requests did not come in time");
  }
  return requests_;
}

std::vector<std::string> TLSTestServer::offeredProtocols() const {
  const std::lock_guard lock(mutex_);
  return offeredProtocols_;
}

std::size_t TLSTestServer::openConnectionCount() const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(
      std::ranges::count_if(connections_, [](const auto& each) { return !each->done; }));
}

void TLSTestServer::dropConnections(End end) {
  const std::lock_guard lock(mutex_);
  for (const auto& connection : connections_) {
    if (connection->done) continue;
    connection->end = end;
    connection->dropped = true;
    // Wakes the connection's thread, which ends the connection then.
    shutdown(connection->descriptor, SHUT_RD);
  }
}

void TLSTestServer::refuseConnections() {
  refusing_ = true;
  shutdown(listener_.descriptor(), SHUT_RDWR);
}

void TLSTestServer::acceptConnections() {
  blockAllSignals();
  while (!refusing_) {
    const int descriptor = listener_.accept();
    if (descriptor < 0) continue;
    const int noDelay = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &noDelay, sizeof noDelay);
    auto connection = std::make_shared<Connection>(descriptor, ++connectionCount_);
    const std::lock_guard lock(mutex_);
    connections_.push_back(connection);
    connection->thread = std::thread([this, &connection = *connection] { serve(connection); });
  }
}

void TLSTestServer::serve(Connection& connection) {
  blockAllSignals();
  connection.tls = SSL_new(context_.get());
  SSL_set_fd(connection.tls, connection.descriptor);
  if (SSL_accept(connection.tls) == 1) {
    while (!stopping_ && serveRequest(connection)) {
    }
    if (connection.end == End::close) SSL_shutdown(connection.tls);
  }
  if (connection.end == End::reset) resetOnClose(connection.descriptor);
  // Keep the descriptor's number occupied until the server's end: a shutdown() of it from another
  // thread would otherwise hit whatever file has reused the number.
  const std::lock_guard lock(mutex_);
  if (connection.end == End::reset) {
    const int placeholder = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    dup3(placeholder, connection.descriptor, O_CLOEXEC);
    close(placeholder);
  } else {
    shutdown(connection.descriptor, SHUT_RDWR);
  }
  connection.done = true;
}

// False when the connection is to end.
bool TLSTestServer::serveRequest(Connection& connection) {
  std::size_t headSize = 0;
  while ((headSize = connection.buffer.find("\r\n\r\n")) == std::string::npos) {
    const std::size_t before = connection.buffer.size();
    if (!connection.fill(before + 1)) return false;
    receivedByteCount_ += connection.buffer.size() - before;
  }
  Request request = parseHead(connection.take(headSize + 4));
  request.connection = connection.number;
  if (const char* name = SSL_get_servername(connection.tls, TLSEXT_NAMETYPE_host_name)) {
    request.serverName = name;
  }
  std::size_t bodySize = std::stoul(request.header("Content-Length").value_or("0"));
  const auto hangUp = headHandler_ ? headHandler_(request) : std::nullopt;
  if (hangUp) bodySize = std::min(bodySize, hangUp->bodyBytes);
  const std::size_t before = connection.buffer.size();
  const bool whole = connection.fill(bodySize);
  receivedByteCount_ += connection.buffer.size() - before;
  request.body = connection.take(bodySize);
  record(request);
  if (hangUp) connection.end = hangUp->end;
  if (!whole || hangUp) return false;

  const Answer answer = handler_(request);
  send(connection, answer);
  if (answer.stalls) {
    // Each answer that stalls occupies a thread. Without this check, those whose client is gone
    // pile up.
    while (!released_.wait(std::chrono::milliseconds(20)) && !connection.dropped) {
      if (connection.peerHasClosed()) return false;
    }
  }
  if (connection.dropped) return false;
  if (answer.end == End::keepAlive) return true;
  connection.end = answer.end;
  return false;
}

void TLSTestServer::send(Connection& connection, const Answer& answer) {
  if (answer.bytes.empty()) return;
  const std::size_t step = answer.pace.count() == 0 ? answer.bytes.size() : 1;
  for (std::size_t at = 0; at < answer.bytes.size() && !stopping_; at += step) {
    if (answer.pace.count() != 0) std::this_thread::sleep_for(answer.pace);
    if (SSL_write(connection.tls, answer.bytes.data() + at, static_cast<int>(step)) <= 0) return;
    if (answer.onSent) answer.onSent(at + step);
  }
}

void TLSTestServer::record(const Request& request) {
  const std::lock_guard lock(mutex_);
  requests_.push_back(request);
  arrived_.notify_all();
}

}  // namespace orx::testing
