// Memory that runs out ends the call that needs it, with an error that says so, and nothing else.
#include <curl/curl.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <set>

#include "support/Call.h"
#include "support/TLSTestServer.h"

namespace orx::testing {
namespace {

// Counts down to the allocation that fails, on the threads that take part.
std::atomic<int> untilFailure = 0;
thread_local bool takesPart = false;

bool isToFail() { return untilFailure > 0 && --untilFailure == 0; }

}  // namespace
}  // namespace orx::testing

#pragma GCC visibility push(default)
void* operator new(std::size_t size) {
  using namespace orx::testing;
  void* memory = takesPart && isToFail() ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
#pragma GCC visibility pop

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using End = TLSTestServer::End;

// What libcurl allocates with.
void* allocate(std::size_t size) { return isToFail() ? nullptr : std::malloc(size); }
void* allocateZeroed(std::size_t count, std::size_t size) {
  return isToFail() ? nullptr : std::calloc(count, size);
}
void* reallocate(void* memory, std::size_t size) {
  return isToFail() ? nullptr : std::realloc(memory, size);
}
char* duplicate(const char* text) { return isToFail() ? nullptr : strdup(text); }

class OutOfMemory : public ::testing::Test {
 protected:
  // As a host application that gives libcurl its own allocator: the first to initialise it rules.
  static void takeOverLibcurl() {
    curl_global_init_mem(CURL_GLOBAL_DEFAULT, allocate, std::free, reallocate, duplicate,
                         allocateZeroed);
  }
  static URLRequest request() { return postRequest("https://one.example/", "b"); }
  void beginWithoutConnection() {
    server_.dropConnections(End::cut);
    ASSERT_TRUE(eventually([this] { return server_.openConnectionCount() == 0; }));
  }
  void expectSuccess() { EXPECT_EQ(call(server_.configuration(), request()).statusCode, 200); }

  TLSTestServer server_{{"one.example"}, Answer::reply(200, "fine")};
};

// Over a kept connection: where memory ends while it makes one, libcurl 7.88 itself crashes.
TEST_F(OutOfMemory, OfLibcurlEndsOneCallWithAnErrorThatSaysSo) {
  takeOverLibcurl();
  expectSuccess();
  std::set<std::int64_t> codes;
  for (int at = 1;; ++at) {
    auto asked = request();
    untilFailure = at;
    const Outcome outcome = call(server_.configuration(), std::move(asked));
    const bool wasReached = untilFailure.exchange(0) <= 0;
    if (!wasReached) break;
    codes.insert(outcome.errorCode());
    EXPECT_TRUE(outcome.error || outcome.text() == "fine");
    expectSuccess();
  }
  // Before the request has left, and after that.
  EXPECT_TRUE(codes.contains(NSURLErrorUnknown));
  EXPECT_TRUE(codes.contains(NSURLErrorDataLengthExceedsMaximum));
}

TEST_F(OutOfMemory, IsNoReasonToBlameTheTextOfAURL) {
  takeOverLibcurl();
  int failures = 0;
  for (bool failed = true; failed;) {
    untilFailure = failures + 1;
    try {
      EXPECT_TRUE(URL::URLWithString("https://one.example/a?b#c"));
      failed = false;
    } catch (const std::bad_alloc&) {
      ++failures;
    }
  }
  untilFailure = 0;
  EXPECT_GT(failures, 0);
}

// Calls from a handler, so on the thread that drives the transfers, and lets one of the allocations
// fail that this thread makes for the call once it is under way.
TEST_F(OutOfMemory, OfTheLibraryEndsOneCallWithAnErrorThatSaysSo) {
  int failures = 0;
  for (int at = 1;; ++at) {
    beginWithoutConnection();
    const auto outcomes = std::make_shared<Mailbox<std::pair<Outcome, bool>>>();
    start(server_.configuration(), request(), [&, outcomes](const TransferOutcome& first) {
      EXPECT_EQ(first.statusCode, 200);
      auto configuration = server_.configuration();
      // Another configuration needs the most.
      configuration.maximumBodySize -= static_cast<std::size_t>(at);
      start(configuration, request(), [outcomes](const TransferOutcome& outcome) {
        const bool wasReached = untilFailure.exchange(0) <= 0;
        takesPart = false;
        outcomes->put({{outcome}, wasReached});
      });
      takesPart = true;
      untilFailure = at;
    });
    const auto [outcome, wasReached] = outcomes->take();
    if (!wasReached) break;
    failures += outcome.error ? 1 : 0;
    if (outcome.error) {
      EXPECT_THAT(outcome.error->localizedDescription(), ::testing::HasSubstr("memory"));
    } else {
      EXPECT_EQ(outcome.text(), "fine");
    }
    expectSuccess();
  }
  EXPECT_GT(failures, 0);
}

}  // namespace
}  // namespace orx::testing
