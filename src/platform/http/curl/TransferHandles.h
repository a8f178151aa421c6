#pragma once

#include <memory>
#include <vector>

#include "platform/http/curl/TransferHandle.h"

namespace orx::platform {

struct TransferSurroundings;

// libcurl's handles for single transfers, kept set up for the next one: that mostly wants the same.
// Used by one thread at a time.
class TransferHandles {
 public:
  explicit TransferHandles(TransferSurroundings& surroundings) : surroundings_(surroundings) {}

  // What all transfers share (a CURLSH), set before the first handle is taken.
  void setShare(void* share) { share_ = share; }

  // Set up for this configuration; null when there is no memory.
  std::unique_ptr<TransferHandle> take(
      const std::shared_ptr<const URLSessionConfiguration>& configuration);
  void giveBack(std::unique_ptr<TransferHandle> handle);

 private:
  std::shared_ptr<const TransferOptions> optionsFor(
      const std::shared_ptr<const URLSessionConfiguration>& configuration);
  void setUp(TransferHandle& handle, std::shared_ptr<const TransferOptions> options);

  TransferSurroundings& surroundings_;
  void* share_ = nullptr;
  std::vector<std::unique_ptr<TransferHandle>> idle_;
  std::shared_ptr<const TransferOptions> lastOptions_;
};

}  // namespace orx::platform
