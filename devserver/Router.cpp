#include "devserver/Router.h"

#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string_view>

#include "devserver/Pages.h"
#include "devserver/Pictures.h"
#include "devserver/UserRecord.h"

namespace orx::devserver {
namespace {

constexpr std::string_view kCustomerInfoPath = "/ws/lumcusinfo.asmx";
constexpr std::string_view kAccountServicePath = "/ws/OrvaService.asmx";
constexpr std::string_view kOpenIDRegisterPath = "/api/OpenIdApi/Register";
constexpr std::string_view kOpenIDLoginPath = "/api/OpenIdApi/Login";
constexpr std::string_view kPicturePath = "/utilities/pic.ashx";

bool isSOAPPath(std::string_view path) {
  return path == kCustomerInfoPath || path == kAccountServicePath;
}

bool isOpenIDPath(std::string_view path) {
  return path == kOpenIDRegisterPath || path == kOpenIDLoginPath;
}

std::string withoutPort(const std::string& host) { return host.substr(0, host.find(':')); }

bool isChinaHost(std::string_view host) { return host == ORX_CHINA_HOST; }

bool isServedHost(std::string_view host) {
  return host == ORX_GLOBAL_HOST || isChinaHost(host) || host == "localhost" || host == "127.0.0.1";
}

// The name and the port of a Host header, made anew: only served names and numbers get into the
// addresses that an answer names. Absent for everything else.
std::optional<std::string> servedAuthority(const std::string& host) {
  const std::string name = withoutPort(host);
  if (!isServedHost(name)) return std::nullopt;
  if (name.size() == host.size()) return name;
  std::uint16_t port = 0;
  const char* end = host.data() + host.size();
  const auto [stop, problem] = std::from_chars(host.data() + name.size() + 1, end, port);
  if (problem != std::errc() || stop != end || port == 0) return std::nullopt;
  return name + ":" + std::to_string(port);
}

HTTPResponse plain(int status, const std::string& text) {
  return {status, "text/plain; charset=utf-8", text + "\n", {}};
}

HTTPResponse methodNotAllowed(const char* allowed) {
  HTTPResponse response = plain(405, "Method not allowed");
  response.headers.emplace_back("Allow", allowed);
  return response;
}

std::size_t pictureSide(const std::string& size) {
  if (size == "small") return 64;
  return size == "medium" ? 128 : 256;
}

struct PictureFile {
  std::string_view extension;
  const char* contentType;
  std::string (*encode)(const Drawing&);
};

constexpr PictureFile kPictureFiles[] = {
    {".png", "image/png", encodePNG},
    {".jpg", "image/jpeg", encodeJPEG},
    {".gif", "image/gif", encodeGIF},
    {".webp", "image/webp", encodeWebP},
};

}  // namespace

Delivery Router::answer(const HTTPRequest& request) {
  const std::string host = withoutPort(request.host);
  const auto authority = servedAuthority(request.host);
  std::optional<CallEnvelope> call;
  const bool soap = isSOAPPath(request.path) && request.method == "POST";
  if (soap) call = parseCallEnvelope(request.body);
  const std::string apiID = call ? call->apiID : std::string();
  count(apiID.empty() ? request.path : apiID, host);
  const auto fault = faults_.next(request.path, apiID, host);
  HTTPResponse response;
  try {
    if (!authority) {
      response = plain(421, "This server does not answer for " + request.host);
    } else {
      response = soap ? respondToCall(request, call, *authority) : respond(request, host);
    }
  } catch (const std::runtime_error& problem) {
    response = soap ? soapFault(guessVersion(request.body), true, problem.what())
                    : plain(500, problem.what());
  }
  if (fault) return withFault(std::move(response), *fault);
  return {std::move(response), {}, {}, {}, false, false};
}

HTTPResponse Router::respond(const HTTPRequest& request, const std::string& host) {
  if (isSOAPPath(request.path)) return methodNotAllowed("POST");
  if (isOpenIDPath(request.path) && !isChinaHost(host)) {
    if (request.method != "POST") return methodNotAllowed("POST");
    const auto call = request.path == kOpenIDLoginPath ? OpenIDCall::Login : OpenIDCall::Register;
    return answerOpenID(environment_, call, request.body);
  }
  return respondToGet(request);
}

HTTPResponse Router::respondToCall(const HTTPRequest& request,
                                   const std::optional<CallEnvelope>& call,
                                   const std::string& authority) {
  if (!call) {
    return soapFault(guessVersion(request.body), false,
                     "Server was unable to read request. There is an error in the XML document.");
  }
  if (!serviceNamespace_.empty() && call->serviceNamespace != serviceNamespace_) {
    return soapFault(call->version, false,
                     "Server has no call in the namespace " + call->serviceNamespace);
  }
  return request.path == kCustomerInfoPath ? answerCustomerInfo(environment_, *call)
                                           : answerAccountService(environment_, *call, authority);
}

HTTPResponse Router::respondToGet(const HTTPRequest& request) {
  const bool sso = request.path.starts_with(kWebSSOPath);
  const bool known = sso || request.path == "/" || request.path == kPicturePath;
  if (!known) return notFoundPage();
  if (request.method != "GET" && request.method != "HEAD") return methodNotAllowed("GET, HEAD");
  if (sso) return webSSO(request);
  return request.path == "/" ? startPage() : picture(request);
}

HTTPResponse Router::picture(const HTTPRequest& request) {
  const auto parameter = [&request](const char* name) {
    const auto found = request.query.find(name);
    return found == request.query.end() ? std::string() : found->second;
  };
  const std::string name = parameter("f");
  std::int64_t number = 0;
  if (name.starts_with("C")) std::from_chars(name.data() + 1, name.data() + name.size(), number);
  const auto account = environment_.accounts.findByNumber(number);
  if (!account || pictureName(*account) != name) return notFoundPage();
  const Drawing drawing = drawPattern(account->customerID(), pictureSide(parameter("s")));
  for (const PictureFile& file : kPictureFiles) {
    if (name.ends_with(file.extension)) return {200, file.contentType, file.encode(drawing), {}};
  }
  return notFoundPage();
}

HTTPResponse Router::webSSO(const HTTPRequest& request) {
  // HEAD must not use up the link: programs send it to check a link before a user follows it.
  if (request.method == "HEAD") return {200, "text/html; charset=utf-8", "", {}};
  const auto number =
      environment_.tokens.redeem(request.path.substr(std::string_view(kWebSSOPath).size()));
  const auto account = number ? environment_.accounts.findByNumber(*number) : std::nullopt;
  return account ? signedInPage(*account) : spentLinkPage();
}

void Router::count(const std::string& key, const std::string& host) {
  const std::lock_guard lock(mutex_);
  ++counts_[key];
  ++hostCounts_[host];
}

std::size_t Router::requestCount(const std::string& apiIDOrPath) const {
  const std::lock_guard lock(mutex_);
  const auto found = counts_.find(apiIDOrPath);
  return found == counts_.end() ? 0 : found->second;
}

std::size_t Router::requestCountOfHost(const std::string& host) const {
  const std::lock_guard lock(mutex_);
  const auto found = hostCounts_.find(host);
  return found == hostCounts_.end() ? 0 : found->second;
}

}  // namespace orx::devserver
