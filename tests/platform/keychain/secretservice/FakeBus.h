// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/storage/FileDescriptor.h"

namespace orx::testing {

using namespace platform;

// A socket in the place of a bus. It goes through the same turns with each client, one client after
// the other, and then stays silent.
class FakeBus {
 public:
  struct Turn {
    std::string heard;    // waits until the client has sent this; empty for no wait
    std::string said;     // is sent then
    bool isDeaf = false;  // stops reading before it sends, so the client's next write gives EPIPE
  };

  explicit FakeBus(const std::filesystem::path& path, std::vector<Turn> turns = {});
  FakeBus(const FakeBus&) = delete;
  FakeBus& operator=(const FakeBus&) = delete;
  ~FakeBus();

 private:
  void serve();

  FileDescriptor listener_;
  std::vector<Turn> turns_;
  std::vector<FileDescriptor> clients_;
  std::thread thread_;
};

}  // namespace orx::testing
