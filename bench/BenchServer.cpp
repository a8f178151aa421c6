// SPDX-License-Identifier: MIT
#include "BenchServer.h"

#include <ORXAccount/ORVAAccountConstants.h>
#include <curl/curl.h>

#include <filesystem>
#include <fstream>

#include "LibraryCalls.h"
#include "config/Servers.h"
#include "platform/formats/JSONSerialization.h"
#include "service/SOAPCall.h"

namespace orx::bench {

using namespace config;
using namespace service;

namespace {

// The envelope of one sign-in call.
std::string soapRequest() {
  return filledEnvelope({.envelope = envelopes().paraJson,
                         .path = kCustomerInfoPath,
                         .apiID = loginAPIID,
                         .parameterText = platform::textWithJSONObject(benchParameters())},
                        {benchAPI()->appID(), benchAPI()->appKey()});
}

}  // namespace

std::string soapAnswer() {
  return R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope)"
         R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/")"
         R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
         R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema"><soap:Body>)"
         R"(<CallResponse xmlns=")" ORX_SERVICE_NAMESPACE R"("><CallResult>)"
         R"(<ResultCode>1</ResultCode><ResultDesc>Success</ResultDesc>)"
         R"(<ReturnDataType>json</ReturnDataType><ReturnData>[{"CusID":"CUS0001234567",)"
         R"("Login":"ann@example.com","Email":"ann@example.com","FirstName":"Ann",)"
         R"("LastName":"Example","NickName":"annie","Country":"DEU","Region":"",)"
         R"("Birthdate":"1985-07-14T08:30:00","Gender":"F","Mobile":"+491700000000",)"
         R"("Education":"4","Profession":"12","Picture":"/pictures/0001234567.png",)"
         R"("Ticket":"8f14e45fceea167a5a36dedd4bea2543c9f0f895fb98ab9159f51fd0297e236d",)"
         R"("Newsletter":true,"Logins":217,"LastLogin":"2016-03-01T12:00:00",)"
         R"("Street":"Long Street 17","City":"Example Town","PostalCode":"01234",)"
         R"("Company":"Example and Sons"}]</ReturnData></CallResult></CallResponse>)"
         R"(</soap:Body></soap:Envelope>)";
}

void reachServer(const Settings& settings) {
  URLSessionConfiguration configuration;
  configuration.setCaFile(settings.text("ca"));
  configuration.setConnectTo(ORX_BENCH_HOST,
                             {"127.0.0.1", static_cast<std::uint16_t>(settings.number("port", 0))});
  URLSessionConfiguration::setDefaultConfiguration(configuration);
}

Work workAt(std::uint16_t port, const std::string& caFile) {
  return {.host = ORX_BENCH_HOST,
          .port = port,
          .path = std::string(kCustomerInfoPath),
          .contentType = "text/xml; charset=utf-8",
          .body = soapRequest(),
          .answer = soapAnswer(),
          .caFile = caFile,
          .bundleFile = {}};
}

BenchServer::BenchServer()
    : nginx_({.hosts = {ORX_BENCH_HOST},
              .answer = soapAnswer(),
              .offersHTTP2 = false,
              .extra = "ssl_protocols TLSv1.2 TLSv1.3;"}) {
  URLSessionConfiguration::setDefaultConfiguration(nginx_.configuration());
  curl_global_init(CURL_GLOBAL_DEFAULT);

  work_ = workAt(nginx_.port(), nginx_.caFile());
  work_.bundleFile = (directory_ / "bundle.pem").string();
  const char* distribution = curl_version_info(CURLVERSION_NOW)->cainfo;
  std::ofstream bundle(work_.bundleFile);
  bundle << std::ifstream(distribution != nullptr ? distribution : "").rdbuf();
  bundle << std::ifstream(work_.caFile).rdbuf();
}

}  // namespace orx::bench
