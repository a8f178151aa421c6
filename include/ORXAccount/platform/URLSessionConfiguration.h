// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace orx {

// How the library's HTTPS transfers are made. A host that needs other than the defaults sets the
// process-wide default once at start-up; a call takes the default that stands when it is made.
// Nothing here switches certificate or host name verification off, or lets anybody have the keys of
// a connection: SSLKEYLOGFILE in the environment has no effect. Every connection, one to a proxy
// over TLS too, has TLS 1.2 at least, keys with forward secrecy, no CBC with SHA-1, and a
// certificate that names its host as an alternative name.
//
// A cheap handle: copies share their content, and changing one never changes another. One handle
// must not be changed on one thread while another uses it. What a getter refers to lives until the
// handle is changed or gone.
class ORX_EXPORT URLSessionConfiguration {
 public:
  // Where a host name is reached instead of the address that the system's resolver gives. The
  // certificate is still checked against the host name.
  struct Address {
    std::string host;  // an IP address or a name
    std::uint16_t port = 0;

    friend bool operator==(const Address&, const Address&) = default;
  };

  // The built-in defaults, whatever the default configuration is.
  URLSessionConfiguration();
  // Moving copies: a configuration that was moved from would have no content.
  URLSessionConfiguration(const URLSessionConfiguration& other) = default;
  URLSessionConfiguration& operator=(const URLSessionConfiguration& other) = default;

  // The certificate authorities to trust, instead of the system's: a PEM file, or a directory of
  // such files as `openssl rehash` prepares it. It is looked at again at each call: once the file,
  // or the directory's list of names, has changed, whoever is not in it any more is not trusted,
  // not even over a connection that is open. A file that cannot be read fails every call with
  // NSURLErrorServerCertificateUntrusted. Absent, as at first, means the system's, of which a
  // change counts after a failed handshake, and after ten minutes at the latest.
  const std::optional<std::string>& caFile() const;
  void setCaFile(std::optional<std::string> caFile);

  // The URL of a proxy (http, https, socks4, socks4a, socks5 or socks5h), with name and password
  // where it asks for them; neither ever stands in an error. Text that is no such URL fails every
  // call with NSURLErrorCannotConnectToHost. Empty text means no proxy at all. Absent, as at first,
  // means the one that the process environment names at the moment of the call: https_proxy,
  // HTTPS_PROXY, all_proxy or ALL_PROXY, with the exceptions of no_proxy or NO_PROXY. A program
  // with more rights than its user (set-user-ID) takes none from the environment.
  const std::optional<std::string>& proxy() const;
  void setProxy(std::optional<std::string> proxy);

  // The hosts that are reached without proxy(), separated by commas, as no_proxy lists them; "*"
  // means all. Nothing in the environment adds to it. Empty at first.
  const std::string& proxyExceptions() const;
  void setProxyExceptions(std::string proxyExceptions);

  // Keyed by lower-case host name; empty at first. The setter replaces the address of a host that
  // has one.
  const std::map<std::string, Address>& connectTo() const;
  void setConnectTo(std::string host, Address address);

  // The longest time a connection attempt may take, and the longest time without any progress. 60
  // seconds at first, and for a time that is not positive.
  std::chrono::milliseconds timeoutIntervalForRequest() const;
  void setTimeoutIntervalForRequest(std::chrono::milliseconds timeoutIntervalForRequest);

  // The longest time that a whole call may take, redirects and all, though it makes progress; then
  // it ends with NSURLErrorTimedOut. 7 days at first, and for a time that is not positive.
  std::chrono::milliseconds timeoutIntervalForResource() const;
  void setTimeoutIntervalForResource(std::chrono::milliseconds timeoutIntervalForResource);

  // Largest answer body in bytes; a longer one ends with NSURLErrorDataLengthExceedsMaximum. 64 MB
  // at first.
  std::size_t maximumBodySize() const;
  void setMaximumBodySize(std::size_t maximumBodySize);

  // Largest answer header block in bytes, redirects included. 256 KB at first.
  std::size_t maximumHeaderSize() const;
  void setMaximumHeaderSize(std::size_t maximumHeaderSize);

  // The configuration in force; the built-in defaults until a host sets another. Both are safe to
  // call from any thread.
  static URLSessionConfiguration defaultConfiguration();
  static void setDefaultConfiguration(const URLSessionConfiguration& configuration);

  // By content.
  friend ORX_EXPORT bool operator==(const URLSessionConfiguration& left,
                                    const URLSessionConfiguration& right);

 private:
  struct Content;
  Content& changeable();

  std::shared_ptr<const Content> content_;  // never null
};

}  // namespace orx
