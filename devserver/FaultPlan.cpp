// SPDX-License-Identifier: MIT
#include "devserver/FaultPlan.h"

namespace orx::devserver {
namespace {

bool matches(std::string_view wanted, std::string_view actual) {
  return wanted.empty() || wanted == actual;
}

constexpr std::string_view kEmptyAnswer =
    R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope )"
    R"(xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body /></soap:Envelope>)";

std::string hugeBody(std::size_t size) {
  constexpr std::string_view start = "<filler>";
  constexpr std::string_view end = "</filler>";
  std::string body(start);
  if (size > start.size() + end.size()) body.append(size - start.size() - end.size(), ' ');
  body += end;
  body.resize(size);
  return body;
}

void changeBody(HTTPResponse& response, const Fault& fault) {
  if (fault.status) response.status = *fault.status;
  for (const auto& header : fault.headers) response.headers.push_back(header);
  if (fault.body) response.body = *fault.body;
  if (fault.huge) response.body = hugeBody(*fault.huge);
  if (fault.noResultBlock) response.body = kEmptyAnswer;
  if (fault.malformedXML) {
    const std::size_t lastTag = response.body.rfind("</");
    response.body.resize(lastTag == std::string::npos ? response.body.size() / 2 : lastTag);
  }
}

}  // namespace

std::optional<Fault> FaultPlan::next(std::string_view path, std::string_view apiID,
                                     std::string_view host) {
  const std::lock_guard lock(mutex_);
  std::optional<Fault> due;
  for (Rule& rule : rules_) {
    const FaultMatch& match = rule.match;
    if (!matches(match.path, path) || !matches(match.apiID, apiID) || !matches(match.host, host)) {
      continue;
    }
    ++rule.seen;
    if (!due && (match.nth == 0 || match.nth == rule.seen)) due = rule.fault;
  }
  return due;
}

Delivery withFault(HTTPResponse response, const Fault& fault) {
  changeBody(response, fault);
  return {std::move(response), fault.delay, fault.stall,
          fault.truncateAfter, fault.close, fault.reset};
}

}  // namespace orx::devserver
