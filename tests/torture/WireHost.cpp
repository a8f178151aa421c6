// SPDX-License-Identifier: MIT
// A host application that makes calls to a server which wire.py runs, and reports what came of
// them. As "wire_host certificates FOLDER" it writes the certificates for that server. As
// "wire_host calls FOLDER PORT MILLISECONDS" it reads a call a line, "NUMBER OPERATION", starts it
// at once, and answers with a line each time that a handler is called.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <devserver/CertificateAuthority.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <mutex>
#include <string>

#include "platform/formats/JSONSerialization.h"

namespace orx::torture {
namespace {

using namespace platform;

constexpr const char* host = ORX_GLOBAL_HOST;

int writeCertificates(const std::filesystem::path& folder) {
  const auto authority = devserver::CertificateAuthority::generate();
  const auto server = authority.issue({host});
  std::ofstream(folder / "ca.pem") << authority.certificatePEM();
  std::ofstream(folder / "server.pem") << server.certificatePEM;
  std::ofstream(folder / "server.key") << server.privateKeyPEM;
  // Haproxy reads both from one file.
  std::ofstream(folder / "both.pem") << server.certificatePEM << server.privateKeyPEM;
  const auto expired = authority.issue({host}, {std::chrono::hours(-48), std::chrono::hours(-24)});
  std::ofstream(folder / "expired.pem") << expired.certificatePEM;
  std::ofstream(folder / "expired.key") << expired.privateKeyPEM;
  std::cout << host << std::endl;
  return 0;
}

void report(Dictionary line) {
  static std::mutex mutex;
  const auto text = textWithJSONObject(Value(std::move(line)));
  const std::lock_guard guard(mutex);
  std::cout << text << std::endl;
}

Dictionary described(const Error& error) {
  return {
      {"domain", error.domain()}, {"code", error.code()}, {"text", error.localizedDescription()}};
}

void loadPicture(const std::string& number) {
  const auto user = ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", "trial-" + number}});
  user->loadProfileImageDataWithCompletionBlock(
      [number](const std::optional<Data>& data, const std::shared_ptr<Error>& error) {
        Dictionary line{{"number", number}};
        if (data) line.set("result", std::string(data->text()));
        if (error) line.set("error", described(*error));
        report(std::move(line));
      });
}

void makeCall(ORVAAccountAPI& api, const std::string& number, const std::string& operation) {
  const auto handler = [number](const std::shared_ptr<ORVAAccountAPIResult>& result,
                                const std::shared_ptr<Error>& error) {
    Dictionary line{{"number", number}};
    if (result) line.set("result", result->returnData());
    if (error) line.set("error", described(*error));
    report(std::move(line));
  };
  const auto mark = "trial-" + number;
  if (operation == "picture") return loadPicture(number);
  if (operation == "user data") {
    return api.getUserData_completionHandler({{kORVAAccounTicket, mark}}, handler);
  }
  if (operation == "sign-in") {
    return api.login_completionHandler({{kORVAAccountLogin, mark}}, handler);
  }
  if (operation == "sign-in V2") {
    return api.loginOpenIDV2WithParameters_completionHandler({{kORVAAccountOpenIDUID, mark}},
                                                             handler);
  }
  throw std::invalid_argument("no such operation: " + operation);
}

int makeCalls(const std::string& folder, int port, int milliseconds) {
  URLSessionConfiguration configuration;
  configuration.setCaFile(folder + "/ca.pem");
  configuration.setProxy("");
  configuration.setConnectTo(host, {"127.0.0.1", static_cast<std::uint16_t>(port)});
  configuration.setTimeoutIntervalForRequest(std::chrono::milliseconds(milliseconds));
  URLSessionConfiguration::setDefaultConfiguration(configuration);
  const auto api = ORVAAccountAPI::initWithOptions(
      {{kORVAAccountAppID, "application"}, {kORVAAccountAppKey, "key"}});
  for (std::string line; std::getline(std::cin, line);) {
    const auto space = line.find(' ');
    makeCall(*api, line.substr(0, space), line.substr(space + 1));
  }
  return 0;
}

}  // namespace
}  // namespace orx::torture

int main(int count, char** arguments) {
  const std::string task = count > 2 ? arguments[1] : "";
  if (task == "certificates") return orx::torture::writeCertificates(arguments[2]);
  if (task == "calls" && count == 5) {
    return orx::torture::makeCalls(arguments[2], std::stoi(arguments[3]), std::stoi(arguments[4]));
  }
  std::cerr << "usage: wire_host certificates FOLDER | calls FOLDER PORT MILLISECONDS\n";
  return 2;
}
