// SPDX-License-Identifier: MIT
#pragma once

#include <httplib.h>

#include <chrono>
#include <string>
#include <string_view>

#include "devserver/OpenSSLHandles.h"

namespace orx::devserver {

// One accepted connection: the byte stream that the HTTP library reads and writes, and the faults
// that a plan asks for. Owned and used by one thread; only stopReading and abort may come from
// another.
class TLSConnection : public httplib::Stream {
 public:
  // Takes over the socket, which closes with this object.
  TLSConnection(SSL_CTX* context, int socket);
  TLSConnection(const TLSConnection&) = delete;
  TLSConnection& operator=(const TLSConnection&) = delete;
  ~TLSConnection() override;

  bool handshake();
  // Waits for the next request's first byte; false when none came in time or the stream ended. From
  // here the request's bytes are counted: one that exceeds the limits ends the stream.
  bool awaitRequest(std::chrono::milliseconds timeout);
  // Waits without reading; false as soon as the peer goes away or the server stops.
  bool pause(std::chrono::milliseconds duration);
  // False once the peer takes no more.
  bool send(std::string_view bytes);
  // Sends what write() holds back.
  bool flush();
  // Ends the stream without sending close_notify; with a TCP reset when asked.
  void cut(bool reset);

  void stopReading();
  void abort();

  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char* bytes, std::size_t size) override;
  ssize_t write(const char* bytes, std::size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  int socket() const override { return socket_; }

 private:
  bool isWithinLimits(std::string_view received);

  TLSStream ssl_;
  int socket_;
  std::string unsent_;
  // Of the request that is being read.
  std::size_t received_ = 0;
  bool inHead_ = true;
  bool lineIsEmpty_ = false;
  bool established_ = false;
  bool ended_ = false;
  bool reset_ = false;
};

}  // namespace orx::devserver
