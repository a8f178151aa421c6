#pragma once

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountLoginManager.h>

#include <memory>

#include "service/XMLTasks.h"

namespace orx {

struct ORVAAccountLoginManager::State {
  State();

  std::weak_ptr<ORVAAccountLoginManagerDelegate> delegate;
  XMLTaskList ticketTasks;
};

// A web-service client with the credentials of ORVAAccount, for one sign-in alone. Throws
// std::invalid_argument when one of them is missing.
std::shared_ptr<ORVAAccountAPI> clientForOneLogin();

}  // namespace orx
