// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/DevelopmentService.h>

#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>

#include "devserver/FaultPlan.h"
#include "devserver/HTTPMessages.h"
#include "devserver/Operations.h"
#include "devserver/RequestLog.h"
#include "devserver/SeedAccounts.h"
#include "devserver/ServedHosts.h"

namespace orx::devserver {

// Finds the server set and the operation of a request, runs it, applies the fault plan to the
// answer and records it. Any thread may call.
class Router {
 public:
  // Takes the hosts, the applications and the files of the options. `port` is the one that clients
  // reach. Throws what DevelopmentService::start does.
  Router(const DevelopmentServiceOptions& options, int port);

  Delivery answer(const HTTPRequest& request);

  // As in DevelopmentService.
  void setFaults(std::string_view json);
  void addAccounts(std::string_view json);
  void reset();
  const RequestLog& log() const { return log_; }

 private:
  HTTPResponse respond(const HTTPRequest& request, const std::optional<CallEnvelope>& call);
  HTTPResponse respondToCall(const HTTPRequest& request, const std::optional<CallEnvelope>& call,
                             const std::string& authority);
  HTTPResponse respondToGet(const HTTPRequest& request);
  HTTPResponse picture(const HTTPRequest& request);
  HTTPResponse webSSO(const HTTPRequest& request);
  // The name and the port of a Host header, made anew: only served names and numbers get into the
  // addresses that an answer names. Absent for everything else.
  std::optional<std::string> servedAuthority(const std::string& host) const;

  const ServedHosts hosts_;
  const int port_;
  const std::string firstFaults_;
  const SeedAccounts firstAccounts_;
  // Operations share it; what replaces all data waits until none runs.
  std::shared_mutex running_;
  Environment environment_;
  // Empty for any.
  const std::string serviceNamespace_;
  FaultPlan faults_;
  RequestLog log_;
};

}  // namespace orx::devserver
