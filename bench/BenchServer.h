#pragma once

#include <memory>

#include "Contestant.h"
#include "support/NginxServer.h"

namespace orx::bench {

// The nginx that all calls go to, and the work that is made of it. The library's default
// configuration leads to it afterwards.
class BenchServer {
 public:
  BenchServer();

  const Work& work() const { return work_; }

 private:
  testing::NginxServer nginx_;
  testing::TemporaryDirectory directory_;
  Work work_;
};

// An answer of about 1 KB, as the service gives it to a sign-in.
std::string soapAnswer();

}  // namespace orx::bench
