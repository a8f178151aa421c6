// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/storage/FileDescriptor.h"

namespace orx::testing {

using namespace platform;

// A program that runs beside the test in a process group of its own. It is killed with all its
// children when this object is destroyed or the test dies.
class Program {
 public:
  // `input` is the whole of its standard input.
  explicit Program(const std::vector<std::string>& command, std::string_view input = {});
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  // The next line of its standard output; throws when none comes.
  std::string readLine();
  void kill();

 private:
  pid_t process_ = -1;
  FileDescriptor output_;
};

}  // namespace orx::testing
