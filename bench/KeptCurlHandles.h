// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <vector>

#include "CurlHandle.h"
#include "Measure.h"

namespace orx::bench {

// libcurl as a careful host would use it: handles that are set up once, and one thread that runs
// them over kept connections.
class KeptCurlHandles : public Contestant {
 public:
  explicit KeptCurlHandles(const Work& work);
  ~KeptCurlHandles() override;
  KeptCurlHandles(const KeptCurlHandles&) = delete;
  KeptCurlHandles& operator=(const KeptCurlHandles&) = delete;

  std::vector<double> run(std::size_t inFlight, std::size_t calls) override;

 protected:
  CURLM* multi() const { return multi_; }
  // Takes the calls that have ended and starts others in their places; true when there was one.
  bool collect();

 private:
  struct Slot {
    explicit Slot(const Work& work) : handle(work, work.caFile) {
      curl_easy_setopt(handle.easy(), CURLOPT_PRIVATE, this);
    }
    CurlHandle handle;
    Clock::time_point begin;
  };

  // Lets libcurl do what there is to do, and waits for more.
  virtual void advance() = 0;
  void start(Slot& slot);

  const Work& work_;
  CURLM* multi_;
  std::deque<Slot> slots_;
  std::size_t toStart_ = 0;
  std::vector<double> times_;
};

}  // namespace orx::bench
