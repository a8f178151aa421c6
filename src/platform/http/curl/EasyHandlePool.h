#pragma once

#include <memory>
#include <vector>

#include "platform/http/curl/EasyHandle.h"

namespace orx::platform {

// Easy handles that are kept set up for the next transfer, which mostly has the same configuration.
// Used by one thread at a time.
class EasyHandlePool {
 public:
  explicit EasyHandlePool(SocketRegistry& sockets) : sockets_(sockets) {}

  // What all handles share; to be set before the first one is taken.
  void setShare(CURLSH* share) { share_ = share; }

  // Set up for this configuration; null when there is no memory.
  std::unique_ptr<EasyHandle> take(
      const std::shared_ptr<const URLSessionConfiguration>& configuration);
  void giveBack(std::unique_ptr<EasyHandle> handle);

 private:
  SocketRegistry& sockets_;
  CURLSH* share_ = nullptr;
  std::vector<std::unique_ptr<EasyHandle>> idle_;
  std::shared_ptr<const EasyOptions> lastOptions_;
};

}  // namespace orx::platform
