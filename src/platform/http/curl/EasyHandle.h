// SPDX-License-Identifier: MIT
#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/http/Transport.h"
#include "platform/http/curl/Proxy.h"
#include "platform/http/curl/SocketRegistry.h"
#include "platform/http/curl/TrustPlace.h"

namespace orx::platform {

struct FreeCurlList {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using CurlList = std::unique_ptr<curl_slist, FreeCurlList>;

// One of libcurl's easy handles, with everything that libcurl keeps pointers to meanwhile. It is
// set up once and serves one transfer after the other: a fresh handle for each call costs about
// twenty times the processor time. Used by one thread at a time.
class EasyHandle {
 public:
  // What libcurl calls while a transfer runs. libcurl is C code, so only onPrerequest() may throw,
  // and only std::bad_alloc.
  class Client {
   public:
    // The connection is there and the request is about to leave over it. False, or an exception,
    // ends the transfer with CURLE_ABORTED_BY_CALLBACK.
    virtual bool onPrerequest(const Endpoints& connection) = 0;
    // The system had no socket for one of the addresses; libcurl forgets why.
    virtual void onUnopened(int systemError) noexcept = 0;
    // There was no memory for the call of onPrerequest().
    virtual void onNoMemory() noexcept = 0;
    // After each step of the transfer, while reportProgress() is on.
    virtual void onProgress() noexcept = 0;
    // Fills the buffer with the next bytes of a body that does not leave in one piece; returns how
    // many. 0: there are no more.
    virtual std::size_t onReadBody(std::span<char> buffer) noexcept = 0;
    // A line of a reply's head with its end, or bytes of the body. False ends the transfer with
    // CURLE_WRITE_ERROR.
    virtual bool onHeaderLine(std::string_view line) noexcept = 0;
    virtual bool onBody(std::string_view bytes) noexcept = 0;

   protected:
    ~Client() = default;
  };

  // Comes to life with configure().
  EasyHandle() = default;
  EasyHandle(const EasyHandle&) = delete;
  EasyHandle& operator=(const EasyHandle&) = delete;
  ~EasyHandle();

  CURL* curl() const { return curl_; }
  // The client that was set last for the EasyHandle of this CURL handle; null when there is none.
  static Client* clientOf(CURL* curl);
  Client& client() const { return *client_; }
  // Starts or ends (null) the service for a client, and forgets the last one's error text.
  void setClient(Client* client);
  // For libcurl: of the registry that it was configured for; -1 when there is none.
  int openSocket(int family, int type, int protocol) noexcept;

  // Lets the next configure() set it up anew.
  void forgetConfiguration() { configuration_.reset(); }
  // Makes it ready for any number of transfers with this configuration; costs nothing when it is.
  // Like setRequest() it throws std::bad_alloc when libcurl has no memory. What has thrown once
  // must not be used again. `authorities`: of the configured file.
  void configure(const URLSessionConfiguration& configuration, SocketRegistry& sockets,
                 CURLSH* share, const FileState& authorities);
  std::chrono::milliseconds timeout() const;
  // How long libcurl goes on with the authorities that it has read; at 0 it reads them for this
  // transfer's connection alone. To be called after configure().
  void setAuthoritiesLifetime(std::chrono::seconds lifetime);

  // What is asked next, in place of what was asked before. The request must stay in its place
  // until the transfer has ended. `url`: an absolute URL.
  void setRequest(const URLRequest& request, const std::string& url, long redirectsLeft,
                  bool needsFreshConnection);
  void reportProgress(bool wanted);
  // What setRequest() chose stands until the next one, unless it is changed meanwhile.
  void followRedirects(bool wanted);
  // Whether libcurl may keep the connection once it is done with this transfer.
  void keepConnection(bool allowed);

  // For a reply that ends with its connection, which libcurl then closes: notes from here on
  // whether the server announces that end. False where there is no memory to find out.
  bool watchForEnd() noexcept;
  // False when it has not. Without watchForEnd() since the last setRequest(), and where the TLS
  // library does not tell, true.
  bool endWasAnnounced() const { return !announcedEnd_ || *announcedEnd_; }

  // Lets libcurl end the transfer before the request leaves. To be turned on in onPrerequest():
  // libcurl hands a connection that was made with this on to no other transfer. And to be turned
  // off before the handle leaves the multi handle, which would close the connection.
  void endBeforeRequest(bool wanted);

  // What libcurl knows of the transfer so far.
  long number(CURLINFO which) const;
  std::optional<std::string> text(CURLINFO which) const;
  // libcurl's own words on the last failure; may be empty.
  std::string errorText() const;
  // The host of the proxy that a connection failed with: it was not found, it refused, or its TLS
  // handshake was not over. Absent when it was the server behind it, and when there is no proxy.
  std::optional<std::string> failedProxy(CURLcode code) const;

  // As releaseBuffersOf(), for the TLS connection of the running transfer. Does nothing when the
  // TLS library is another one than expected.
  void releaseTLSBuffers();

 private:
  void setOptions();
  void setProxy();
  void setTrust(const FileState& authorities);
  void trustConfigured(const FileState& authorities);
  void trust(TrustPlace place);
  void setCallbacks(SocketRegistry& sockets);
  void setURL(const std::string& text);
  void setBody(const std::string& body);
  void setHeaderLines(const URLRequest& request);

  CURL* curl_ = nullptr;
  Client* client_ = nullptr;
  SocketRegistry* sockets_ = nullptr;
  std::array<char, CURL_ERROR_SIZE> errorText_{};
  std::shared_ptr<const bool> announcedEnd_;  // of the reply to the last request

  // What it is set up for, and a list that libcurl does not copy.
  std::optional<URLSessionConfiguration> configuration_;
  CurlList connectTo_;
  std::optional<Proxy> proxy_;
  TrustPlace trusted_;                     // as libcurl was told
  std::optional<FileState> trustedState_;  // of the configured file
  std::optional<std::chrono::seconds> authoritiesLifetime_;

  // Kept from request to request, because the next one mostly asks for the same.
  std::string url_;             // as it stands in the handle
  CURLU* parsedURL_ = nullptr;  // the same, parsed
  CurlList headerLines_;
  std::optional<std::string_view> headerLinesType_;  // of the body they were made for
};

}  // namespace orx::platform
