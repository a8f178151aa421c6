#pragma once

#include <ORXAccount/platform/Export.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace orx {

// How the library's HTTPS transfers are made. A host that needs other than the defaults sets the
// process-wide default once at start-up; a call takes the default that stands when it is made.
// Nothing here switches certificate or host name verification off.
struct ORX_EXPORT URLSessionConfiguration {
  // Where a host name is reached instead of the address that the system's resolver gives. The
  // certificate is still checked against the host name.
  struct Address {
    std::string host;  // an IP address or a name
    std::uint16_t port = 0;

    friend bool operator==(const Address&, const Address&) = default;
  };

  // A PEM file of the certificate authorities to trust, instead of the system's. A file that cannot
  // be read fails every call with NSURLErrorServerCertificateUntrusted.
  std::optional<std::string> caFile;
  // A proxy URL; empty text means no proxy at all; absent means the one of the process environment.
  std::optional<std::string> proxy;
  // Keyed by lower-case host name.
  std::map<std::string, Address> connectTo;
  // The longest time a connection attempt may take, and the longest time without any progress.
  std::chrono::milliseconds timeoutIntervalForRequest{60'000};
  // Largest answer body in bytes; a longer one ends with NSURLErrorDataLengthExceedsMaximum.
  std::size_t maximumBodySize = std::size_t{64} * 1024 * 1024;
  // Largest answer header block in bytes, redirects included.
  std::size_t maximumHeaderSize = std::size_t{256} * 1024;

  // The configuration in force; the built-in defaults above until a host sets another. Both are
  // safe to call from any thread.
  static URLSessionConfiguration defaultConfiguration();
  static void setDefaultConfiguration(URLSessionConfiguration configuration);

  friend bool operator==(const URLSessionConfiguration&, const URLSessionConfiguration&) = default;
};

}  // namespace orx
