#pragma once

#include <memory>
#include <vector>

#include "platform/Transfer.h"
#include "platform/TransferOptions.h"

namespace orx {

// libcurl's handles for single transfers, kept set up for the next one: that mostly wants the same.
// Used by one thread at a time.
class TransferHandles {
 public:
  explicit TransferHandles(TransferSurroundings& surroundings) : surroundings_(surroundings) {}

  // What all transfers share (a CURLSH), set before the first handle is taken.
  void setShare(void* share) { share_ = share; }

  // The same as the last one's when the configuration is.
  std::shared_ptr<const TransferOptions> optionsFor(
      const std::shared_ptr<const URLSessionConfiguration>& configuration);

  // Prepared and with the options set; null when there is no memory.
  void* take(const std::shared_ptr<const TransferOptions>& options);
  void giveBack(void* easy, std::shared_ptr<const TransferOptions> options);

 private:
  // An idle handle and the options that stand in it.
  struct Handle {
    void* easy;
    std::shared_ptr<const TransferOptions> options;
  };

  TransferSurroundings& surroundings_;
  void* share_ = nullptr;
  std::vector<Handle> idle_;
  std::shared_ptr<const TransferOptions> lastOptions_;
};

}  // namespace orx
