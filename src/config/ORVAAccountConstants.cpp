// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>

#include "platform/http/Transport.h"

namespace orx {

namespace {

constexpr std::string_view kParaJson =
    R"(<?xml version="1.0" encoding="utf-8"?>)"
    R"(<soap:Envelope xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
    R"( xmlns:xsd="http://www.w3.org/2001 XMLSchema")"
    R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/">)"
    R"(<soap:Body><call xmlns=")" ORX_SERVICE_NAMESPACE R"(">)"
    R"(<AppID>%@</AppID><AppKey>%@</AppKey><ApiID>%@</ApiID><ParaJson>%@</ParaJson>)"
    R"(</call></soap:Body></soap:Envelope>)";

}  // namespace

constinit const std::string_view lumcusinfo_asmx_pattern = kParaJson;
constinit const std::string_view orvaservice_asmx_pattern = kParaJson;
constinit const std::string_view soap12_request_pattern =
    R"(<?xml version="1.0" encoding="utf-8"?>)"
    R"(<soap12:Envelope xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
    R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
    R"( xmlns:soap12="http://www.w3.org/2003/05/soap-envelope">)"
    R"(<soap12:Header><AuthHeader xmlns=")" ORX_SERVICE_NAMESPACE R"(">)"
    R"(<AppID>%@</AppID><AppKey>%@</AppKey></AuthHeader></soap12:Header>)"
    R"(<soap12:Body><call xmlns=")" ORX_SERVICE_NAMESPACE R"(">)"
    R"(<ApiID>%@</ApiID><Parameters>%@</Parameters></call></soap12:Body></soap12:Envelope>)";

std::string ORXAccountVersions() {
  return "ORXAccount/" ORX_VERSION " " + platform::transportVersions();
}

}  // namespace orx

const double ORXAccountVersionNumber = 1.0;
const unsigned char ORXAccountVersionString[] = "@(#)PROGRAM:ORXAccount  PROJECT:ORXFrameworks-1\n";
