// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Export.h>

#include <memory>

namespace orx {

class ORVAAccountLoginManager;
class ORVAAccountUser;

// Learns how sign-ins end. The manager holds it weakly, so the host keeps it alive. While it is
// told of an outcome the manager holds it too: if the host lets it go meanwhile, its destructor
// runs on the thread of that report.
class ORX_EXPORT ORVAAccountLoginManagerDelegate {
 public:
  virtual ~ORVAAccountLoginManagerDelegate();

  // Called once for each sign-in, on a background thread, or where the host's executor brings it
  // (CallbackExecutor.h); overlapping sign-ins may report at the same time. `user` is the user who
  // is current at this moment (null when nobody is), after a failure the one from before; the error
  // alone tells failure from success. Optional: does nothing unless overridden. It may block, start
  // other sign-ins, sign out and change the delegate; it must not throw (the process ends if it
  // does).
  virtual void loginManager_didLoginWithUser_error(ORVAAccountLoginManager& manager,
                                                   const std::shared_ptr<ORVAAccountUser>& user,
                                                   const std::shared_ptr<Error>& error);
};

}  // namespace orx
