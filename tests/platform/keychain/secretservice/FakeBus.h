#pragma once

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/storage/FileDescriptor.h"

namespace orx::testing {

using namespace platform;

// A socket whose owner holds the same conversation with everybody who connects, one after the
// other, and then says nothing more.
class FakeBus {
 public:
  struct Turn {
    std::string heard;    // what the other side has said by then; empty for nothing
    std::string said;     // what it is told then
    bool isDeaf = false;  // before it says so, it closes its ears: writing gives EPIPE from then on
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
