// SPDX-License-Identifier: MIT
#include <ORXAccount/DevelopmentService.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>

#include "devserver/OpenSSLHandles.h"

namespace orx::testing {
namespace {

// What one TLS record of the server brings, for a request on a connection of its own.
std::string firstRecordAfter(std::string_view request, int port) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(static_cast<std::uint16_t>(port));
  place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  (void)connect(descriptor, reinterpret_cast<const sockaddr*>(&place), sizeof place);
  const devserver::TLSContext context(SSL_CTX_new(TLS_client_method()));
  const devserver::TLSStream tls(SSL_new(context.get()));
  SSL_set_fd(tls.get(), descriptor);
  std::array<char, 16384> record{};
  int size = 0;
  if (SSL_connect(tls.get()) == 1 &&
      SSL_write(tls.get(), request.data(), static_cast<int>(request.size())) > 0) {
    size = SSL_read(tls.get(), record.data(), static_cast<int>(record.size()));
  }
  close(descriptor);
  return {record.data(), static_cast<std::size_t>(std::max(size, 0))};
}

// Apart they would arrive half a round trip apart where something holds small packets back.
TEST(Answer, ComesInOnePiece) {
  DevelopmentService service;
  service.start();
  const std::string answer =
      firstRecordAfter("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n", service.port());
  EXPECT_TRUE(answer.starts_with("HTTP/1.1 200")) << answer;
  EXPECT_NE(answer.find("</html>"), std::string::npos) << answer;
}

}  // namespace
}  // namespace orx::testing
