#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>

#include "devserver/FaultPlan.h"
#include "devserver/HTTPMessages.h"
#include "devserver/Operations.h"

namespace orx::devserver {

// Finds the server set and the operation of a request, runs it, and applies the fault plan to the
// answer. Any thread may call.
class Router {
 public:
  // An empty namespace stands for any.
  Router(const std::string& databasePath, std::map<std::string, std::string> applications,
         std::string serviceNamespace, FaultPlan& faults)
      : environment_(databasePath, std::move(applications)),
        serviceNamespace_(std::move(serviceNamespace)),
        faults_(faults) {}

  Delivery answer(const HTTPRequest& request);

  std::size_t requestCount(const std::string& apiIDOrPath) const;
  std::size_t requestCountOfHost(const std::string& host) const;

 private:
  HTTPResponse respond(const HTTPRequest& request, const std::string& host);
  HTTPResponse respondToCall(const HTTPRequest& request, const std::optional<CallEnvelope>& call,
                             const std::string& authority);
  HTTPResponse respondToGet(const HTTPRequest& request);
  HTTPResponse picture(const HTTPRequest& request);
  HTTPResponse webSSO(const HTTPRequest& request);
  void count(const std::string& key, const std::string& host);

  Environment environment_;
  const std::string serviceNamespace_;
  FaultPlan& faults_;
  mutable std::mutex mutex_;
  std::map<std::string, std::size_t> counts_;
  std::map<std::string, std::size_t> hostCounts_;
};

}  // namespace orx::devserver
