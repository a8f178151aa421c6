// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/Value.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace orx {

// What the library delivers, by domain:
//
// - NSURLErrorDomain, with one of the codes below: the reply did not come, broke off, or came when
//   there was no memory to read it. From every call over the network; from the lists only for want
//   of memory. Registration, the SOAP sign-ins and commonWithApiId... read a reply that broke off
//   in its body, and then give kORVAAccountErrorOther with empty text when it holds no whole
//   result.
// - kORVAAccountErrorDomain, with one of its codes kORVAAccountError...: the service refused. From
//   registration and the sign-ins of either interface, and commonWithApiId...
// - kORVAAccountErrorDomain, with the service's ResultCode (0 when there was none): the service
//   refused the data of a ticket's user. From getUserData... and the ticket sign-in.
// - kORVAAccountAPIErrorDomain, with the HTTP status: it is not 200. From apToWebSSO...,
//   registerV2... and the OpenID V2 sign-in.
// - kORVAAccountUserErrorDomain, with the HTTP status: it is not 200 to 299. From picture loads.
// - NSCocoaErrorDomain, with NSPropertyListReadCorruptError: the answer is not the JSON object that
//   the service promises. From registerV2... and the OpenID V2 sign-in.
// - NSXMLParserErrorDomain, with the parser's own code: the text is not well-formed, or goes beyond
//   a limit of XMLParser. From getUserData..., the ticket sign-in and XMLParser::parserError().
// - NSPOSIXErrorDomain, with ENOMEM: there was no memory to make the user current, or to load the
//   picture. From the sign-ins of ORVAAccountLoginManager, and picture loads.
//
// Lists deliver no other errors. The user information holds NSLocalizedDescriptionKey, except for
// kORVAAccountAPIErrorDomain and where the service gave no text; for NSURLErrorDomain it holds
// NSURLErrorFailingURLStringErrorKey as well, unless only memory to read the reply was missing.

// Key of the text for people in an error's user information.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";
// Key of the URL text that a transport error concerns, without user, password, query and fragment,
// which can be secrets; of the place that a redirect names, scheme and host alone. Empty text when
// it is no URL.
inline constexpr std::string_view NSURLErrorFailingURLStringErrorKey = "NSErrorFailingURLStringKey";

// Domain of transport errors.
inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";
// Domain of errors of readers (JSON) and of files.
inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";
// Domain of the XML parser's errors; the code is the parser's own.
inline constexpr std::string_view NSXMLParserErrorDomain = "NSXMLParserErrorDomain";
// Domain of the system's errors; the code is an errno.
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

// Codes of NSURLErrorDomain.
// Nothing more is known; memory, threads or descriptors have run out, for instance.
inline constexpr std::int64_t NSURLErrorUnknown = -1;
inline constexpr std::int64_t NSURLErrorBadURL = -1000;  // the text makes no URL
// No connection, or no progress, within the configured time.
inline constexpr std::int64_t NSURLErrorTimedOut = -1001;
// The URL is not an HTTPS one.
inline constexpr std::int64_t NSURLErrorUnsupportedURL = -1002;
inline constexpr std::int64_t NSURLErrorCannotFindHost = -1003;
inline constexpr std::int64_t NSURLErrorCannotConnectToHost = -1004;
// The connection ended before the whole reply had come. The service may have carried the call out.
inline constexpr std::int64_t NSURLErrorNetworkConnectionLost = -1005;
inline constexpr std::int64_t NSURLErrorHTTPTooManyRedirects = -1007;
// What came is no HTTP.
inline constexpr std::int64_t NSURLErrorBadServerResponse = -1011;
inline constexpr std::int64_t NSURLErrorCannotDecodeRawData = -1015;
// The reply is longer than URLSessionConfiguration allows, or memory ran out while it was awaited.
inline constexpr std::int64_t NSURLErrorDataLengthExceedsMaximum = -1103;
inline constexpr std::int64_t NSURLErrorSecureConnectionFailed = -1200;
// The certificate is not trusted, is for another host name, or has expired.
inline constexpr std::int64_t NSURLErrorServerCertificateUntrusted = -1202;

// Code of NSCocoaErrorDomain for text that a reader refuses (JSON that is none).
inline constexpr std::int64_t NSPropertyListReadCorruptError = 3840;
// Code of NSCocoaErrorDomain for an archive that cannot be read. No call delivers it: a stored user
// that cannot be read is nobody.
inline constexpr std::int64_t NSCoderReadCorruptError = 4864;

// An error record: a domain, a code that means something within that domain only, and a dictionary
// of details. It never changes and may be read from any thread. "No error" is a null pointer, never
// a code.
class ORX_EXPORT Error final : public Object {
 public:
  static std::shared_ptr<Error> errorWithDomain_code_userInfo(std::string_view domain,
                                                              std::int64_t code,
                                                              Dictionary userInfo);

  const std::string& domain() const;
  std::int64_t code() const;
  // Empty when the error carries no details.
  const Dictionary& userInfo() const;
  // The text under NSLocalizedDescriptionKey (which may be empty); without one, a sentence that
  // names the domain and the code.
  std::string localizedDescription() const;

  // The same domain, code and details.
  bool isEqual(const Object* object) const override;

  ~Error() override;

 private:
  struct State;
  explicit Error(std::unique_ptr<const State> state);

  std::unique_ptr<const State> state_;
};

}  // namespace orx
