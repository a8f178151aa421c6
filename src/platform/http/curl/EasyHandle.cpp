// SPDX-License-Identifier: MIT
#include "platform/http/curl/EasyHandle.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/base/Wiping.h"
#include "platform/http/curl/CurlOption.h"
#include "platform/http/curl/TLSOptions.h"

namespace orx::platform {
namespace {

// A body up to this size leaves together with the header, in one write; a longer one is read piece
// by piece, so that the time-out sees it move.
constexpr std::size_t bodySentWithHeader = std::size_t{16} * 1024;
// Many calls may be in flight, and what they carry is small: most answers fit in one read. libcurl
// takes no smaller buffer for sending.
constexpr long receiveBufferSize = 2L * 1024;
constexpr long sendBufferSize = 16L * 1024;
// Beyond this libcurl's own arithmetic with times overflows.
constexpr std::chrono::milliseconds longestTimeout = std::chrono::hours(24 * 20);

// The list with a copy of the line at its end.
CurlList appended(CurlList list, const std::string& line) {
  curl_slist* longer = curl_slist_append(list.get(), line.c_str());
  // Passed over, the list would go on without a line that it needs.
  if (longer == nullptr) throw std::bad_alloc();
  (void)list.release();
  return CurlList(longer);
}

// libcurl wants numeric IPv6 addresses in brackets, to tell their colons from a port's.
std::string bracketed(const std::string& host) {
  return host.find(':') == std::string::npos ? host : '[' + host + ']';
}

CurlList connectToList(const URLSessionConfiguration& configuration) {
  CurlList list;
  for (const auto& [host, address] : configuration.connectTo()) {
    list = appended(std::move(list), bracketed(host) + "::" + bracketed(address.host) + ':' +
                                         (address.port == 0 ? "" : std::to_string(address.port)));
  }
  return list;
}

// ---- The functions that libcurl calls. Those of a transfer get its EasyHandle. libcurl
// is C code: an exception that leaves one of them ends the process. ----

EasyHandle::Client& clientOf(void* handle) { return static_cast<EasyHandle*>(handle)->client(); }

int openSocket(void* handle, curlsocktype, curl_sockaddr* address) noexcept {
  return static_cast<EasyHandle*>(handle)->openSocket(address->family, address->socktype,
                                                      address->protocol);
}

int closeSocket(void* sockets, curl_socket_t descriptor) noexcept {
  static_cast<SocketRegistry*>(sockets)->close(descriptor);
  return 0;
}

int prerequest(void* handle, char* peerAddress, char* localAddress, int peerPort,
               int localPort) noexcept {
  try {
    const bool allowed = clientOf(handle).onPrerequest({.localPort = localPort,
                                                        .peerPort = peerPort,
                                                        .localAddress = localAddress,
                                                        .peerAddress = peerAddress});
    return allowed ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
  } catch (const std::bad_alloc&) {
    clientOf(handle).onNoMemory();
    return CURL_PREREQFUNC_ABORT;
  }
}

int progress(void* handle, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
  clientOf(handle).onProgress();
  return 0;
}

std::size_t readBody(char* buffer, std::size_t size, std::size_t count, void* handle) noexcept {
  return clientOf(handle).onReadBody({buffer, size * count});
}

// A body that has begun to leave cannot be sent again: libcurl then reports
// CURLE_SEND_FAIL_REWIND where it would silently repeat a POST.
int refuseToSeek(void*, curl_off_t, int) noexcept { return CURL_SEEKFUNC_FAIL; }

std::size_t takeHeaderLine(char* bytes, std::size_t size, std::size_t count,
                           void* handle) noexcept {
  const std::string_view line(bytes, size * count);
  return clientOf(handle).onHeaderLine(line) ? line.size() : 0;
}

std::size_t takeBody(char* bytes, std::size_t size, std::size_t count, void* handle) noexcept {
  const std::string_view piece(bytes, size * count);
  const bool isTaken = clientOf(handle).onBody(piece);
  // The memory is the easy handle's, which is kept for the next call.
  wipe(bytes, piece.size());
  return isTaken ? piece.size() : 0;
}

// False when the URL must be handed over as text instead.
bool parse(const std::string& text, CURLU* parsed) {
  // Emptied first; else the text is taken for relative to the URL that stood there.
  curl_url_set(parsed, CURLUPART_URL, nullptr, 0);
  // As libcurl itself reads the place that a redirect names.
  constexpr unsigned flags = CURLU_NON_SUPPORT_SCHEME | CURLU_ALLOW_SPACE | CURLU_URLENCODE;
  if (curl_url_set(parsed, CURLUPART_URL, text.c_str(), flags) != CURLUE_OK) return false;
  // libcurl loses an IPv6 address's zone when it copies a parsed URL.
  char* zone = nullptr;
  const bool hasZone = curl_url_get(parsed, CURLUPART_ZONEID, &zone, 0) == CURLUE_OK;
  curl_free(zone);
  return !hasZone;
}

}  // namespace

EasyHandle::~EasyHandle() {
  // First, because the handle points to the parsed URL and to both lists.
  curl_easy_cleanup(curl_);
  curl_url_cleanup(parsedURL_);
}

EasyHandle::Client* EasyHandle::clientOf(CURL* curl) {
  EasyHandle* handle = nullptr;
  curl_easy_getinfo(curl, CURLINFO_PRIVATE, &handle);
  return handle != nullptr ? handle->client_ : nullptr;
}

void EasyHandle::setClient(Client* client) {
  client_ = client;
  // libcurl writes here only when it fails with words; else the last transfer's would be reported.
  errorText_.front() = '\0';
}

// ---- Once for a configuration. ----

void EasyHandle::configure(const URLSessionConfiguration& configuration, SocketRegistry& sockets,
                           CURLSH* share, const FileState& authorities) {
  if (configuration_ == configuration) return trustConfigured(authorities);
  // Forgets the options, not the connections, which belong to the multi handle. curl_easy_reset()
  // would do for that, but not for a buffer that a transfer without a connection leaves behind: it
  // stays as small as it is, and libcurl would read 16 KiB at a time into it, beyond its end.
  curl_easy_cleanup(std::exchange(curl_, nullptr));
  curl_ = curl_easy_init();
  if (curl_ == nullptr) throw std::bad_alloc();
  // The handle holds no URL now. Left as it is, setURL() would take it for set.
  url_.clear();
  configuration_ = configuration;
  connectTo_ = connectToList(configuration);
  // With the TLS sessions of earlier connections a new one needs no full handshake.
  curl_easy_setopt(curl_, CURLOPT_SHARE, share);
  setOptions();
  setProxy();
  setTrust(authorities);
  setCallbacks(sockets);
}

std::chrono::milliseconds EasyHandle::timeout() const {
  return std::min(configuration_->timeoutIntervalForRequest(), longestTimeout);
}

void EasyHandle::setOptions() {
  // Signals belong to the host; libcurl would use SIGALRM and touch SIGPIPE.
  curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
  // Else a time-out waits for a resolver thread that hangs.
  curl_easy_setopt(curl_, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(curl_, CURLOPT_BUFFERSIZE, receiveBufferSize);
  curl_easy_setopt(curl_, CURLOPT_UPLOAD_BUFFERSIZE, sendBufferSize);

  // HTTPS only, redirects included.
  curl_easy_setopt(curl_, CURLOPT_PROTOCOLS_STR, "https");
  curl_easy_setopt(curl_, CURLOPT_REDIR_PROTOCOLS_STR, "https");
  setTLSOptions(curl_);

  // Offers "http/1.1" alone to the server: over HTTP/2 this libcurl loses answers.
  curl_easy_setopt(curl_, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  // libcurl's own limit for connecting is 300 seconds. The time without progress is watched by the
  // multi handle: libcurl has no option for it that goes below a second.
  curl_easy_setopt(curl_, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeout().count()));
  // The lines of a proxy's answer to CONNECT are no part of the reply.
  curl_easy_setopt(curl_, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  curl_easy_setopt(curl_, CURLOPT_CONNECT_TO, connectTo_.get());
}

void EasyHandle::setProxy() {
  const auto& text = configuration_->proxy();
  const bool isWanted = text && !text->empty();
  proxy_ = isWanted ? parsedProxy(*text) : std::nullopt;
  // Not empty, since the request would go past the proxy that cannot be used.
  if (isWanted) setText(curl_, CURLOPT_PROXY, proxy_ ? proxy_->url.c_str() : "http://[");
  // Unset, libcurl looks for both in the environment. With everybody an exception it does not look
  // for a proxy; to be told of none, as empty text, it would copy that text for each call.
  setText(curl_, CURLOPT_NOPROXY, isWanted ? configuration_->proxyExceptions() : "*");
  if (proxy_ && !proxy_->credentials.empty()) {
    setText(curl_, CURLOPT_PROXYUSERPWD, proxy_->credentials);
  }
}

void EasyHandle::setTrust(const FileState& authorities) {
  authoritiesLifetime_.reset();
  trusted_ = {};
  trustedState_.reset();
  if (configuration_->caFile()) return trustConfigured(authorities);
  const auto* libcurl = curl_version_info(CURLVERSION_NOW);
  // Where there is neither, libcurl's own choice stays, and refuses everybody.
  if (const auto place = systemTrust(libcurl->cainfo, libcurl->capath)) trust(*place);
}

void EasyHandle::setAuthoritiesLifetime(std::chrono::seconds lifetime) {
  if (authoritiesLifetime_ == lifetime) return;
  curl_easy_setopt(curl_, CURLOPT_CA_CACHE_TIMEOUT, static_cast<long>(lifetime.count()));
  authoritiesLifetime_ = lifetime;
}

void EasyHandle::trustConfigured(const FileState& authorities) {
  const auto& path = configuration_->caFile();
  if (!path || trustedState_ == authorities) return;
  trustedState_ = authorities;
  trust({authorities.respelled(*path), authorities.isDirectory()});
}

// One of both, since libcurl keeps no parsed bundle when it is told of a directory too.
void EasyHandle::trust(TrustPlace place) {
  trusted_ = std::move(place);
  const auto set = [this](CURLoption option, bool isMeant) {
    if (isMeant) return setText(curl_, option, trusted_.path);
    curl_easy_setopt(curl_, option, nullptr);
  };
  set(CURLOPT_CAINFO, !trusted_.isDirectory);
  set(CURLOPT_CAPATH, trusted_.isDirectory);
  // libcurl copies these too for each call, with a proxy or without.
  set(CURLOPT_PROXY_CAINFO, proxy_ && !trusted_.isDirectory);
  set(CURLOPT_PROXY_CAPATH, proxy_ && trusted_.isDirectory);
}

int EasyHandle::openSocket(int family, int type, int protocol) noexcept {
  const int descriptor = sockets_->open(family, type, protocol);
  // A machine without IPv6 says so of each such address, and that explains nothing.
  if (descriptor < 0 && errno != EAFNOSUPPORT) client().onUnopened(errno);
  return descriptor;
}

void EasyHandle::setCallbacks(SocketRegistry& sockets) {
  sockets_ = &sockets;
  curl_easy_setopt(curl_, CURLOPT_OPENSOCKETFUNCTION, platform::openSocket);
  curl_easy_setopt(curl_, CURLOPT_OPENSOCKETDATA, this);
  // A connection keeps these for its whole life, beyond this transfer's.
  curl_easy_setopt(curl_, CURLOPT_CLOSESOCKETFUNCTION, closeSocket);
  curl_easy_setopt(curl_, CURLOPT_CLOSESOCKETDATA, &sockets);

  curl_easy_setopt(curl_, CURLOPT_PRIVATE, this);
  curl_easy_setopt(curl_, CURLOPT_ERRORBUFFER, errorText_.data());
  curl_easy_setopt(curl_, CURLOPT_PREREQFUNCTION, prerequest);
  curl_easy_setopt(curl_, CURLOPT_PREREQDATA, this);
  curl_easy_setopt(curl_, CURLOPT_XFERINFOFUNCTION, progress);
  curl_easy_setopt(curl_, CURLOPT_XFERINFODATA, this);
  curl_easy_setopt(curl_, CURLOPT_READFUNCTION, readBody);
  curl_easy_setopt(curl_, CURLOPT_READDATA, this);
  curl_easy_setopt(curl_, CURLOPT_SEEKFUNCTION, refuseToSeek);
  curl_easy_setopt(curl_, CURLOPT_HEADERFUNCTION, takeHeaderLine);
  curl_easy_setopt(curl_, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, takeBody);
  curl_easy_setopt(curl_, CURLOPT_WRITEDATA, this);
}

// ---- Once for a request. ----

void EasyHandle::setRequest(const URLRequest& request, const std::string& url, long redirectsLeft,
                            bool needsFreshConnection) {
  announcedEnd_.reset();
  setURL(url);
  setHeaderLines(request);
  if (request.httpBody) {
    setBody(*request.httpBody);
  } else {
    curl_easy_setopt(curl_, CURLOPT_HTTPGET, 1L);
  }
  // A POST's redirects are not libcurl's: it would send some of them a second time.
  followRedirects(!request.httpBody);
  curl_easy_setopt(curl_, CURLOPT_MAXREDIRS, redirectsLeft);
  // Set at each request, since the handle keeps it from the one before.
  curl_easy_setopt(curl_, CURLOPT_FRESH_CONNECT, needsFreshConnection ? 1L : 0L);
}

// A parsed URL spares libcurl the parsing at each request, which is a tenth of what it does then.
// What cannot be parsed stays text, which libcurl refuses in its own words.
void EasyHandle::setURL(const std::string& text) {
  if (url_ == text) return;
  // Stays empty when this throws, so that the next request sets it again.
  url_.clear();
  if (parsedURL_ == nullptr) parsedURL_ = curl_url();
  if (parsedURL_ == nullptr) throw std::bad_alloc();
  curl_easy_setopt(curl_, CURLOPT_CURLU, parse(text, parsedURL_) ? parsedURL_ : nullptr);
  setText(curl_, CURLOPT_URL, text);
  url_ = text;
}

void EasyHandle::setBody(const std::string& body) {
  const bool isShort = body.size() <= bodySentWithHeader;
  // Without the size libcurl would end a short body at its first NUL, and send a long one in chunks
  // without a Content-Length.
  curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, isShort ? body.data() : nullptr);
  curl_easy_setopt(curl_, CURLOPT_POST, 1L);
}

// A line without a value keeps libcurl from adding that header of its own: "Accept: */*", and
// "Expect: 100-continue", for which it would hold a long body back for up to a second. libcurl
// keeps no copy of the list, so it lives as long as this object.
void EasyHandle::setHeaderLines(const URLRequest& request) {
  const auto type = request.httpBody ? std::optional(request.contentType) : std::nullopt;
  if (!headerLines_ || headerLinesType_ != type) {
    CurlList lines = appended(nullptr, "Accept:");
    if (type) {
      lines = appended(std::move(lines), "Expect:");
      lines = appended(std::move(lines), "Content-Type: " + std::string(*type));
    }
    headerLines_ = std::move(lines);
    headerLinesType_ = type;
  }
  curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headerLines_.get());
}

void EasyHandle::reportProgress(bool wanted) {
  curl_easy_setopt(curl_, CURLOPT_NOPROGRESS, wanted ? 0L : 1L);
}

void EasyHandle::followRedirects(bool wanted) {
  curl_easy_setopt(curl_, CURLOPT_FOLLOWLOCATION, wanted ? 1L : 0L);
}

void EasyHandle::keepConnection(bool allowed) {
  curl_easy_setopt(curl_, CURLOPT_FORBID_REUSE, allowed ? 0L : 1L);
}

bool EasyHandle::watchForEnd() noexcept {
  SSL* tls = tlsConnectionOf(curl_);
  if (tls == nullptr) return true;
  announcedEnd_ = watchForAnnouncedEnd(*tls);
  return announcedEnd_ != nullptr;
}

void EasyHandle::endBeforeRequest(bool wanted) {
  curl_easy_setopt(curl_, CURLOPT_CONNECT_ONLY, wanted ? 1L : 0L);
}

long EasyHandle::number(CURLINFO which) const {
  long value = 0;
  curl_easy_getinfo(curl_, which, &value);
  return value;
}

std::optional<std::string> EasyHandle::text(CURLINFO which) const {
  char* text = nullptr;
  curl_easy_getinfo(curl_, which, &text);
  return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

std::string EasyHandle::errorText() const {
  std::string text = errorText_.data();
  const auto& caFile = configuration_->caFile();
  // libcurl knows the file by another name.
  const auto at = caFile ? text.find(trusted_.path) : std::string::npos;
  if (at != std::string::npos) text.replace(at, trusted_.path.size(), *caFile);
  return text;
}

std::optional<std::string> EasyHandle::failedProxy(CURLcode code) const {
  if (!proxy_) return std::nullopt;
  if (code == CURLE_COULDNT_RESOLVE_PROXY) return proxy_->host;
  // libcurl does not say whether the host is an exception. If it is, no proxy's certificate is
  // looked at.
  const bool mayBeException = !configuration_->proxyExceptions().empty();
  // Whom the proxy cannot reach is told in its answer.
  if (code == CURLE_COULDNT_CONNECT && !mayBeException) return proxy_->host;
  if (!proxy_->isReachedOverTLS || number(CURLINFO_HTTP_CONNECTCODE) != 0) return std::nullopt;
  if (mayBeException && number(CURLINFO_PROXY_SSL_VERIFYRESULT) == 0) return std::nullopt;
  return proxy_->host;
}

void EasyHandle::releaseTLSBuffers() {
  if (SSL* tls = tlsConnectionOf(curl_)) releaseBuffersOf(*tls);
}

}  // namespace orx::platform
