#pragma once

#include <memory>

#include "Contestant.h"
#include "support/NginxServer.h"

namespace orx::bench {

// The nginx that all calls go to, and the call that the contestants make. The constructor points
// the library's default configuration at it.
class BenchServer {
 public:
  explicit BenchServer(bool offersHTTP2 = false);

  const Work& work() const { return work_; }

 private:
  testing::NginxServer nginx_;
  testing::TemporaryDirectory directory_;
  Work work_;
};

// An answer of about 1 KB, as the service gives it to a sign-in.
std::string soapAnswer();

}  // namespace orx::bench
