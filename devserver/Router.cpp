// SPDX-License-Identifier: MIT
#include "devserver/Router.h"

#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string_view>

#include "devserver/FileContent.h"
#include "devserver/Names.h"
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

// As the counters and the log name it. The token of a link would let its reader in.
std::string operationOf(const HTTPRequest& request, const std::string& apiID) {
  constexpr std::size_t longest = 200;
  if (request.path.starts_with(kWebSSOPath)) return kWebSSOPath;
  return (apiID.empty() ? request.path : apiID).substr(0, longest);
}

// Runs the action, which reads what the file holds, and names the file where that is wrong.
template <typename Action>
auto naming(const std::filesystem::path& file, Action action) {
  try {
    return action();
  } catch (const std::invalid_argument& problem) {
    throw std::invalid_argument(file.string() + ": " + problem.what());
  }
}

// No file is an empty array.
std::string arrayIn(const std::filesystem::path& file) {
  return file.empty() ? "[]" : contentOf(file);
}

}  // namespace

Router::Router(const DevelopmentServiceOptions& options, int port)
    : hosts_{options.globalHost, options.chinaHost, options.linkHost},
      port_(port),
      firstFaults_(arrayIn(options.faults)),
      firstAccounts_(
          naming(options.accounts, [&] { return SeedAccounts(arrayIn(options.accounts)); })),
      environment_(options.database.string(), options.applications),
      serviceNamespace_(options.serviceNamespace),
      log_(options.log) {
  naming(options.faults, [this] { faults_.load(firstFaults_); });
  naming(options.accounts, [this] { firstAccounts_.addTo(environment_.accounts); });
}

void Router::setFaults(std::string_view json) { faults_.load(json); }

void Router::addAccounts(std::string_view json) {
  const SeedAccounts accounts(json);
  const std::unique_lock alone(running_);
  accounts.addTo(environment_.accounts);
}

void Router::reset() {
  const std::unique_lock alone(running_);
  environment_.accounts.clear();
  environment_.tokens.clear();
  faults_.load(firstFaults_);
  log_.clear();
  firstAccounts_.addTo(environment_.accounts);
}

Delivery Router::answer(const HTTPRequest& request) {
  // Longer names are none of a host, and the log's lines have a bound.
  constexpr std::size_t longestHost = 255;
  const std::string host = withoutPort(request.host).substr(0, longestHost);
  std::optional<CallEnvelope> call;
  const bool soap = isSOAPPath(request.path) && request.method == "POST";
  if (soap) call = parseCallEnvelope(request.body);
  const std::string apiID = call ? call->apiID : std::string();
  const std::string operation = operationOf(request, apiID);
  log_.countArrived(operation, host);
  const auto fault = faults_.next(request.path, apiID, host);
  HTTPResponse response;
  try {
    const std::shared_lock together(running_);
    response = respond(request, call);
  } catch (const std::runtime_error& problem) {
    response = soap ? soapFault(guessVersion(request.body), true, problem.what())
                    : plain(500, problem.what());
  }
  Delivery delivery{std::move(response), {}, {}, {}, false, false};
  if (fault) delivery = withFault(std::move(delivery.response), *fault);
  log_.addAnswered({std::chrono::system_clock::now(), host, request.method, operation,
                    delivery.close ? 0 : delivery.response.status, delivery.response.resultCode,
                    fault.has_value()});
  return delivery;
}

std::optional<std::string> Router::servedAuthority(const std::string& host) const {
  const std::string name = withoutPort(host);
  if (!hosts_.serves(name)) return std::nullopt;
  if (name.size() == host.size()) return name;
  std::uint16_t port = 0;
  const char* end = host.data() + host.size();
  const auto [stop, problem] = std::from_chars(host.data() + name.size() + 1, end, port);
  if (problem != std::errc() || stop != end || port == 0) return std::nullopt;
  return name + ":" + std::to_string(port);
}

HTTPResponse Router::respond(const HTTPRequest& request, const std::optional<CallEnvelope>& call) {
  const auto authority = servedAuthority(request.host);
  if (!authority) return plain(421, "This server does not answer for " + request.host);
  if (isSOAPPath(request.path)) {
    if (request.method != "POST") return methodNotAllowed("POST");
    return respondToCall(request, call, *authority);
  }
  if (isOpenIDPath(request.path) && withoutPort(request.host) != hosts_.china) {
    if (request.method != "POST") return methodNotAllowed("POST");
    const auto operation =
        request.path == kOpenIDLoginPath ? OpenIDCall::Login : OpenIDCall::Register;
    return answerOpenID(environment_, operation, request.body);
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
  if (request.path == kCustomerInfoPath) return answerCustomerInfo(environment_, *call);
  const std::string links =
      hosts_.link.empty() ? authority : hosts_.link + ":" + std::to_string(port_);
  return answerAccountService(environment_, *call, links);
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

}  // namespace orx::devserver
