// SPDX-License-Identifier: MIT
// A libcurl handle and a thread for each call, with no connection or session shared between calls.

#include "CurlHandle.h"
#include "Threads.h"

namespace orx::bench {
namespace {

class FreshCurlHandles final : public Contestant {
 public:
  FreshCurlHandles(const Work& work, const std::string& caFile) : work_(work), caFile_(caFile) {}

  std::vector<double> run(std::size_t inFlight, std::size_t calls) override {
    return onThreadsOfTheirOwn(inFlight, calls, [this] {
      CurlHandle handle(work_, caFile_);
      handle.beginCall();
      handle.check(curl_easy_perform(handle.easy()));
    });
  }

 private:
  const Work& work_;
  const std::string& caFile_;
};

}  // namespace

std::unique_ptr<Contestant> freshCurlHandles(const Work& work, const std::string& caFile) {
  return std::make_unique<FreshCurlHandles>(work, caFile);
}

}  // namespace orx::bench
