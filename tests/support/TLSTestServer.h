// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <devserver/CertificateAuthority.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/Await.h"
#include "support/LoopbackListener.h"
#include "support/TemporaryDirectory.h"

struct ssl_st;
struct ssl_ctx_st;

namespace orx::testing {

using HeaderFields = std::vector<std::pair<std::string, std::string>>;

// What goes wrong with the server's certificate.
enum class CertificateFault { none, expired, wrongName, unknownAuthority };

// An HTTPS server on 127.0.0.1 that answers as a test wants it, misbehaviour included. HTTP/1.1,
// one thread for each connection. Its certificate comes from an authority of its own.
class TLSTestServer {
 public:
  struct Request {
    std::string serverName;      // as the TLS handshake named it
    std::size_t connection = 0;  // 1 for the first connection
    std::string method;
    std::string target;
    HeaderFields headerFields;  // in the order received, names as received
    std::string body;

    // The first value under a name in any letter case.
    std::optional<std::string> header(std::string_view name) const;
  };

  enum class End {
    keepAlive,
    close,  // close_notify, then FIN
    cut,    // FIN without close_notify, as from a middlebox or a killed process
    reset,  // RST
  };

  struct Answer {
    std::string bytes;  // head and body as they go over the wire
    End end = End::keepAlive;
    // Holds the connection open after `bytes`, silent, until release() or the server's end.
    bool stalls = false;
    // Pause before each byte.
    std::chrono::milliseconds pace{0};
    // Called after each write with the number of bytes sent so far.
    std::function<void(std::size_t)> onSent = nullptr;

    // A whole reply; Content-Length is added.
    static Answer reply(int status, std::string_view body = {}, const HeaderFields& headers = {});
    static Answer hangUp(End end) { return {.bytes = {}, .end = end}; }
    static Answer silence() { return {.bytes = {}, .stalls = true}; }
    // The first `count` bytes of this answer; then the connection ends as `how` says.
    Answer cutAfter(std::size_t count, End how) const;
    std::size_t headSize() const;
  };

  // Called on the connection's thread, for several connections at the same time.
  using Handler = std::function<Answer(const Request&)>;
  // Called after a request's head is read and before its body. A HangUp says how many bytes of the
  // body to read before the connection ends; without one the request is served as usual.
  struct HangUp {
    std::size_t bodyBytes = 0;
    End end = End::cut;
  };
  using HeadHandler = std::function<std::optional<HangUp>(const Request&)>;

  // `hosts` are the names on the certificate.
  TLSTestServer(std::vector<std::string> hosts, Handler handler,
                CertificateFault fault = CertificateFault::none, HeadHandler headHandler = {});
  // The same answer to everything.
  TLSTestServer(std::vector<std::string> hosts, Answer answer);
  // Ends every connection and joins the threads. A handler that still blocks would make it hang.
  ~TLSTestServer();
  TLSTestServer(const TLSTestServer&) = delete;
  TLSTestServer& operator=(const TLSTestServer&) = delete;

  std::uint16_t port() const { return listener_.port(); }
  std::string caFile() const { return (directory_ / "ca.pem").string(); }
  const devserver::CertificateAuthority& authority() const { return authority_; }
  // How it speaks TLS. To be changed before the first connection.
  ssl_ctx_st* tls() const { return context_.get(); }
  // Trusts this server's authority and reaches the given hosts (without any: those of the
  // certificate) at this server's port.
  URLSessionConfiguration configuration() const { return configurationFor(hosts_); }
  URLSessionConfiguration configurationFor(const std::vector<std::string>& hosts) const;

  // Everything that arrived so far, requests whose body was cut short included.
  std::vector<Request> requests() const;
  // Waits until so many have arrived; throws when they do not come in time.
  std::vector<Request> awaitRequests(std::size_t count) const;
  std::size_t connectionCount() const { return connectionCount_; }
  // Connections that are open at this moment.
  std::size_t openConnectionCount() const;
  // Bytes of HTTP that reached the server inside TLS.
  std::size_t receivedByteCount() const { return receivedByteCount_; }
  // Protocols that the last handshake offered for negotiation, in order.
  std::vector<std::string> offeredProtocols() const;

  // Ends the waiting of all answers that stall.
  void release() { released_.set(); }
  // Ends all open connections in the given way; new ones are accepted as before.
  void dropConnections(End end);
  // Refuses new connections from here on; open ones go on.
  void refuseConnections();

 private:
  struct Connection;

  void makeContext(CertificateFault fault);
  void acceptConnections();
  void serve(Connection& connection);
  bool serveRequest(Connection& connection);
  void send(Connection& connection, const Answer& answer);
  void record(const Request& request);

  std::vector<std::string> hosts_;
  Handler handler_;
  HeadHandler headHandler_;
  devserver::CertificateAuthority authority_ = devserver::CertificateAuthority::generate();
  TemporaryDirectory directory_;
  std::unique_ptr<ssl_ctx_st, void (*)(ssl_ctx_st*)> context_;
  const LoopbackListener listener_;
  std::atomic<bool> refusing_{false};
  Event released_;
  std::atomic<bool> stopping_{false};
  std::atomic<std::size_t> connectionCount_{0};
  std::atomic<std::size_t> receivedByteCount_{0};

  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::vector<Request> requests_;
  std::vector<std::string> offeredProtocols_;
  std::list<std::shared_ptr<Connection>> connections_;

  std::thread acceptor_;
};

}  // namespace orx::testing
