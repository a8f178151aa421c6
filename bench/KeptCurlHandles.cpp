// libcurl as a careful host would use it: handles that are set up once, and one thread that runs
// them over kept connections.

#include <algorithm>
#include <deque>

#include "CurlHandle.h"
#include "Measure.h"

namespace orx::bench {
namespace {

class KeptCurlHandles final : public Contestant {
 public:
  explicit KeptCurlHandles(const Work& work) : work_(work), multi_(curl_multi_init()) {
    curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, 1024L);
  }

  ~KeptCurlHandles() override {
    slots_.clear();
    curl_multi_cleanup(multi_);
  }

  std::vector<double> run(std::size_t inFlight, std::size_t calls) override {
    while (slots_.size() < inFlight) slots_.emplace_back(work_);
    toStart_ = calls;
    times_.clear();
    times_.reserve(calls);
    for (std::size_t index = 0; index < std::min(inFlight, calls); ++index) start(slots_[index]);
    while (times_.size() < calls) {
      int running = 0;
      curl_multi_perform(multi_, &running);
      if (!collect()) curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
    }
    return std::move(times_);
  }

 private:
  struct Slot {
    explicit Slot(const Work& work) : handle(work, work.caFile) {
      curl_easy_setopt(handle.easy(), CURLOPT_PRIVATE, this);
    }
    CurlHandle handle;
    Clock::time_point begin;
  };

  void start(Slot& slot) {
    --toStart_;
    slot.handle.beginCall();
    slot.begin = Clock::now();
    curl_multi_add_handle(multi_, slot.handle.easy());
  }

  // Takes the calls that have ended; true when there was one.
  bool collect() {
    bool any = false;
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
      const CURLcode code = message->data.result;
      Slot* slot = nullptr;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &slot);
      curl_multi_remove_handle(multi_, message->easy_handle);
      slot->handle.check(code);
      times_.push_back(microsecondsSince(slot->begin));
      if (toStart_ > 0) start(*slot);
      any = true;
    }
    return any;
  }

  const Work& work_;
  CURLM* multi_;
  std::deque<Slot> slots_;
  std::size_t toStart_ = 0;
  std::vector<double> times_;
};

}  // namespace

std::unique_ptr<Contestant> keptCurlHandles(const Work& work) {
  return std::make_unique<KeptCurlHandles>(work);
}

}  // namespace orx::bench
