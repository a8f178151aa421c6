#include "platform/http/curl/TransferFailure.h"

#include <cstdint>
#include <cstring>

#include "platform/http/TransportError.h"

namespace orx::platform {
namespace {

// Failures that mean the same at every stage.
std::int64_t platformCode(CURLcode code) {
  switch (code) {
    case CURLE_URL_MALFORMAT:
      return NSURLErrorBadURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return NSURLErrorCannotFindHost;
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
    case CURLE_INTERFACE_FAILED:
      return NSURLErrorCannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
      return NSURLErrorTimedOut;
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_SEND_FAIL_REWIND:
    case CURLE_ABORTED_BY_CALLBACK:
    case CURLE_SSL_SHUTDOWN_FAILED:
      return NSURLErrorNetworkConnectionLost;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return NSURLErrorServerCertificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_USE_SSL_FAILED:
      return NSURLErrorSecureConnectionFailed;
    case CURLE_TOO_MANY_REDIRECTS:
      return NSURLErrorHTTPTooManyRedirects;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_HTTP_RETURNED_ERROR:
      return NSURLErrorBadServerResponse;
    case CURLE_BAD_CONTENT_ENCODING:
      return NSURLErrorCannotDecodeRawData;
    default:
      return NSURLErrorUnknown;
  }
}

std::int64_t platformCode(const TransferFailure& failure) {
  const bool isConnecting = failure.stage == TransferStage::connecting;
  switch (failure.code) {
    case CURLE_UNSUPPORTED_PROTOCOL:
      // Once connected it says that the answer is no HTTP.
      return isConnecting ? NSURLErrorUnsupportedURL : NSURLErrorBadServerResponse;
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
      // Before the first request it is the proxy's refusal or the end of a handshake.
      return isConnecting ? NSURLErrorCannotConnectToHost : NSURLErrorNetworkConnectionLost;
    case CURLE_OUT_OF_MEMORY:
      // libcurl's own ceiling for one header line reports itself this way.
      return failure.stage == TransferStage::waiting ? NSURLErrorDataLengthExceedsMaximum
                                                     : NSURLErrorUnknown;
    default:
      return platformCode(failure.code);
  }
}

std::string whatWasTried(const TransferFailure& failure, std::int64_t code) {
  const std::string& host = failure.host.empty() ? failure.url : failure.host;
  switch (code) {
    case NSURLErrorBadURL:
    case NSURLErrorUnsupportedURL:
      return "could not use the URL " + failure.url;
    case NSURLErrorCannotFindHost:
      return "could not find the host " + host;
    case NSURLErrorSecureConnectionFailed:
      return "could not make a secure connection to " + host;
    case NSURLErrorServerCertificateUntrusted:
      return "could not trust the certificate of " + host;
    case NSURLErrorHTTPTooManyRedirects:
      return "was redirected too often by " + host;
    default:
      break;
  }
  switch (failure.stage) {
    case TransferStage::connecting:
      return "could not connect to " + host;
    case TransferStage::waiting:
      return "got no answer from " + host;
    case TransferStage::receiving:
      break;
  }
  return "could not read the whole answer of " + host;
}

std::string cause(const TransferFailure& failure) {
  switch (failure.code) {
    case CURLE_OPERATION_TIMEDOUT:
      return "timed out";
    case CURLE_ABORTED_BY_CALLBACK:
    case CURLE_SEND_FAIL_REWIND:
      return "the connection was lost after the request had left; it is not sent a second time";
    default:
      break;
  }
  if (failure.systemError != 0) return strerrordesc_np(failure.systemError);
  if (!failure.detail.empty()) return failure.detail;
  return curl_easy_strerror(failure.code);
}

}  // namespace

std::shared_ptr<Error> transportError(const TransferFailure& failure) {
  const std::int64_t code = platformCode(failure);
  return transportError(code, whatWasTried(failure, code) + ": " + cause(failure), failure.url);
}

}  // namespace orx::platform
