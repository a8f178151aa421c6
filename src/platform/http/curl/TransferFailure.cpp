// SPDX-License-Identifier: MIT
#include "platform/http/curl/TransferFailure.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "platform/http/TransportError.h"
#include "platform/http/URLParser.h"

namespace orx::platform {
namespace {

// What several of libcurl's codes mean to a caller.
struct Meaning {
  std::initializer_list<CURLcode> codes;
  std::int64_t whileConnecting;
  std::int64_t afterwards = whileConnecting;
};

constexpr Meaning meanings[] = {
    {{CURLE_URL_MALFORMAT}, NSURLErrorBadURL},
    // Once connected it says that the answer is no HTTP.
    {{CURLE_UNSUPPORTED_PROTOCOL}, NSURLErrorUnsupportedURL, NSURLErrorBadServerResponse},
    {{CURLE_COULDNT_RESOLVE_HOST, CURLE_COULDNT_RESOLVE_PROXY}, NSURLErrorCannotFindHost},
    {{CURLE_COULDNT_CONNECT, CURLE_PROXY, CURLE_INTERFACE_FAILED}, NSURLErrorCannotConnectToHost},
    {{CURLE_OPERATION_TIMEDOUT}, NSURLErrorTimedOut},
    // Before the first request it is the proxy's refusal or the end of a handshake.
    {{CURLE_SEND_ERROR, CURLE_RECV_ERROR},
     NSURLErrorCannotConnectToHost,
     NSURLErrorNetworkConnectionLost},
    // The last two are this transport's own refusals to send a request a second time.
    {{CURLE_GOT_NOTHING, CURLE_PARTIAL_FILE, CURLE_SSL_SHUTDOWN_FAILED, CURLE_ABORTED_BY_CALLBACK,
      CURLE_SEND_FAIL_REWIND},
     NSURLErrorNetworkConnectionLost},
    {{CURLE_PEER_FAILED_VERIFICATION, CURLE_SSL_CACERT_BADFILE, CURLE_SSL_ISSUER_ERROR,
      CURLE_SSL_CRL_BADFILE, CURLE_SSL_INVALIDCERTSTATUS},
     NSURLErrorServerCertificateUntrusted},
    {{CURLE_SSL_CONNECT_ERROR, CURLE_SSL_CIPHER, CURLE_SSL_CERTPROBLEM, CURLE_SSL_ENGINE_INITFAILED,
      CURLE_USE_SSL_FAILED},
     NSURLErrorSecureConnectionFailed},
    {{CURLE_TOO_MANY_REDIRECTS}, NSURLErrorHTTPTooManyRedirects},
    {{CURLE_WEIRD_SERVER_REPLY, CURLE_HTTP_RETURNED_ERROR}, NSURLErrorBadServerResponse},
    {{CURLE_BAD_CONTENT_ENCODING}, NSURLErrorCannotDecodeRawData},
    {{CURLE_FILESIZE_EXCEEDED}, NSURLErrorDataLengthExceedsMaximum},
    // libcurl's own ceiling for one header line reports itself this way.
    {{CURLE_OUT_OF_MEMORY}, NSURLErrorUnknown, NSURLErrorDataLengthExceedsMaximum},
};

std::int64_t platformCode(const TransferFailure& failure) {
  for (const Meaning& meaning : meanings) {
    if (std::ranges::find(meaning.codes, failure.code) == meaning.codes.end()) continue;
    const bool isConnecting = failure.stage == TransferStage::connecting;
    return isConnecting ? meaning.whileConnecting : meaning.afterwards;
  }
  return NSURLErrorUnknown;
}

// Of the URL that failed, what the record may hold.
std::string tellableURL(const TransferFailure& failure, const std::optional<URLParts>& url) {
  if (!failure.isRedirected) return failure.url;
  return url ? url->scheme + "://" + url->host : "";
}

std::string whatWasTried(const TransferFailure& failure, std::int64_t code,
                         const std::optional<URLParts>& url) {
  const std::string host = failure.proxy ? "the proxy " + *failure.proxy
                           : url         ? url->host
                                         : "a place";
  switch (code) {
    case NSURLErrorBadURL:
    case NSURLErrorUnsupportedURL:
      return "could not use the URL " + shownURL(tellableURL(failure, url));
    case NSURLErrorCannotFindHost:
      return "could not find the host " + (failure.proxy ? "of " + host : host);
    case NSURLErrorSecureConnectionFailed:
      return "could not make a secure connection to " + host;
    case NSURLErrorServerCertificateUntrusted:
      return "could not trust the certificate of " + host;
    case NSURLErrorHTTPTooManyRedirects:
      return "was redirected too often by " + host;
    case NSURLErrorDataLengthExceedsMaximum:
      return "could not take the answer of " + host;
    default:
      break;
  }
  if (failure.stage == TransferStage::connecting) return "could not connect to " + host;
  if (failure.stage == TransferStage::waiting) return "got no answer from " + host;
  return "could not read the whole answer of " + host;
}

// The system has no words for some of its numbers, such as those that a sandbox makes up.
std::string systemErrorText(int number) {
  const char* text = strerrordesc_np(number);
  return text != nullptr ? text : "system error " + std::to_string(number);
}

std::string cause(const TransferFailure& failure) {
  if (failure.code == CURLE_OPERATION_TIMEDOUT) {
    return failure.isOverdueAsAWhole ? "timed out as a whole" : "timed out";
  }
  if (failure.code == CURLE_ABORTED_BY_CALLBACK || failure.code == CURLE_SEND_FAIL_REWIND) {
    return "the connection was lost after the request had left; it is not sent a second time";
  }
  if (failure.systemError != 0) return systemErrorText(failure.systemError);
  return failure.detail.empty() ? curl_easy_strerror(failure.code) : failure.detail;
}

}  // namespace

std::shared_ptr<Error> transportError(const TransferFailure& failure) {
  const std::int64_t code = platformCode(failure);
  const auto url = parsedURL(failure.url);
  return transportError(code, whatWasTried(failure, code, url) + ": " + cause(failure),
                        tellableURL(failure, url));
}

}  // namespace orx::platform
