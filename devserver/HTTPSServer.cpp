// SPDX-License-Identifier: MIT
#include "devserver/HTTPSServer.h"

#include <openssl/pem.h>

#include <algorithm>
#include <stdexcept>

#include "devserver/ConnectionThreads.h"
#include "devserver/ListeningServer.h"
#include "devserver/Names.h"
#include "devserver/OpenSSLHandles.h"
#include "devserver/TLSConnection.h"

namespace orx::devserver {
namespace {

constexpr std::chrono::seconds kIdleConnection{60};
constexpr std::chrono::seconds kSocketTimeout{30};
constexpr std::size_t kRequestsOfAConnection = 1'000'000;
constexpr std::size_t kLargestRequestBody = 4u << 20;

MemoryBIO memoryOf(const std::string& text) {
  return MemoryBIO(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

bool useChain(SSL_CTX* context, const std::string& pem) {
  const MemoryBIO input = memoryOf(pem);
  const Certificate own(PEM_read_bio_X509(input.get(), nullptr, nullptr, nullptr));
  if (!own || SSL_CTX_use_certificate(context, own.get()) != 1) return false;
  while (Certificate issuer{PEM_read_bio_X509(input.get(), nullptr, nullptr, nullptr)}) {
    if (SSL_CTX_add1_chain_cert(context, issuer.get()) != 1) return false;
  }
  return true;
}

TLSContext makeContext(const ServerCertificate& certificate) {
  TLSContext context(SSL_CTX_new(TLS_server_method()));
  if (!context) throw std::runtime_error("no TLS context");
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  const MemoryBIO input = memoryOf(certificate.privateKeyPEM);
  const Key key(PEM_read_bio_PrivateKey(input.get(), nullptr, nullptr, nullptr));
  if (!useChain(context.get(), certificate.certificatePEM) || !key ||
      SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1 ||
      SSL_CTX_check_private_key(context.get()) != 1) {
    throw std::runtime_error("the certificate and its key do not serve TLS");
  }
  return context;
}

HTTPRequest requestFrom(const httplib::Request& from) {
  HTTPRequest request{
      from.method, from.path, lowerCased(from.get_header_value("Host")), {}, from.body};
  for (const auto& [name, value] : from.params) request.query.emplace(name, value);
  return request;
}

void fill(httplib::Response& to, const HTTPResponse& response) {
  to.status = response.status;
  for (const auto& [name, value] : response.headers) to.set_header(name, value);
  to.set_content(response.body, response.contentType);
}

// The head of an answer that is sent without the HTTP library.
std::string headOf(const HTTPResponse& response) {
  std::string head = "HTTP/1.1 " + std::to_string(response.status) + " -\r\n";
  for (const auto& [name, value] : response.headers) {
    head.append(name).append(": ").append(value).append("\r\n");
  }
  return head + "Content-Type: " + response.contentType +
         "\r\nContent-Length: " + std::to_string(response.body.size()) + "\r\n\r\n";
}

// Writes the answer to the connection itself, because the HTTP library cannot send a broken one.
// The connection then counts as ended, so the library writes nothing more to it.
void sendWithFault(TLSConnection& connection, const Delivery& delivery) {
  const std::string_view body = delivery.response.body;
  if (!delivery.close) {
    const std::size_t end = std::min(delivery.cutAfter.value_or(body.size()), body.size());
    const std::size_t silent = delivery.cutAfter ? end : body.size() / 2;
    bool on = connection.send(headOf(delivery.response)) && connection.send(body.substr(0, silent));
    if (on && delivery.stall) on = connection.pause(*delivery.stall);
    if (on) connection.send(body.substr(silent, end - silent));
  }
  connection.cut(delivery.reset);
}

}  // namespace

class HTTPSServer::Implementation : public ListeningServer {
 public:
  Implementation(const ServerCertificate& certificate, HTTPHandler handler)
      : context_(makeContext(certificate)), handler_(std::move(handler)) {
    new_task_queue = [this] { return new ConnectionQueue(threads_); };
    set_payload_max_length(kLargestRequestBody);
    // The library announces these in the Keep-Alive header of each answer.
    set_keep_alive_timeout(kIdleConnection.count());
    set_keep_alive_max_count(kRequestsOfAConnection);
    set_read_timeout(kSocketTimeout);
    set_write_timeout(kSocketTimeout);
    set_tcp_nodelay(true);
    const auto answer = [this](const httplib::Request& request, httplib::Response& response) {
      handle(request, response);
    };
    // A dot would leave out paths with line ends.
    const char* every = R"([\s\S]*)";
    Get(every, answer).Post(every, answer).Put(every, answer).Patch(every, answer);
    Delete(every, answer).Options(every, answer);
  }

  ~Implementation() override { finish(); }

 private:
  void handle(const httplib::Request& request, httplib::Response& response) {
    Delivery delivery = handler_(requestFrom(request));
    TLSConnection& connection = *current_;
    if (delivery.delay.count() > 0 && !connection.pause(delivery.delay)) {
      connection.cut(false);
    } else if (delivery.close || delivery.cutAfter || delivery.stall) {
      sendWithFault(connection, delivery);
    } else {
      fill(response, delivery.response);
    }
  }

  bool process_and_close_socket(socket_t socket) override {
    TLSConnection connection(context_.get(), socket);
    const ConnectionThreads::Registration registration(threads_, connection);
    if (!registration.accepted() || !connection.handshake()) return false;
    current_ = &connection;
    bool served = true;
    while (served && !threads_.finishing() && connection.awaitRequest(kIdleConnection)) {
      bool closed = false;
      served = process_request(connection, false, closed, nullptr);
      served = connection.flush() && served && !closed;
    }
    current_ = nullptr;
    return served;
  }

  // The connection whose request runs on this thread; the library does not pass it to handlers.
  static thread_local TLSConnection* current_;

  TLSContext context_;
  HTTPHandler handler_;
  ConnectionThreads threads_;
};

thread_local TLSConnection* HTTPSServer::Implementation::current_ = nullptr;

HTTPSServer::HTTPSServer(const ServerCertificate& certificate, HTTPHandler handler)
    : implementation_(std::make_unique<Implementation>(certificate, std::move(handler))) {}

HTTPSServer::~HTTPSServer() = default;

void HTTPSServer::serve(ListeningSocket socket) { implementation_->serve(std::move(socket)); }

void HTTPSServer::stop() { implementation_->finish(); }

}  // namespace orx::devserver
