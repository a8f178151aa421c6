// SPDX-License-Identifier: MIT
// Memory that runs out ends the call that needs it, with an error that says so, and nothing else.
#include <curl/curl.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <set>

#include "platform/http/curl/TrustPlace.h"
#include "support/Call.h"
#include "support/TLSTestServer.h"
#include "support/TemporaryDirectory.h"

namespace orx::testing {
namespace {

// Counts allocations down to the one that fails.
class Countdown {
 public:
  void begin(int count) { left_ = count; }
  // True when the failure has come.
  bool end() { return left_.exchange(0) <= 0; }
  bool strikes() { return left_ > 0 && --left_ == 0; }

 private:
  std::atomic<int> left_ = 0;
};
Countdown ofTheLibrary;
Countdown ofLibcurl;
std::atomic<bool> libcurlCannotBegin = false;
std::atomic<bool> libcurlHasBegun = false;
// The test's own threads, whose memory does not run out.
thread_local bool isSpared = false;
// A thread that gets none at all.
thread_local bool isWithoutMemory = false;
// A thread that calls a handler, until it has destroyed it.
thread_local bool isReporting = false;
std::atomic<bool> handleEndedWhileReporting = false;

}  // namespace
}  // namespace orx::testing

#pragma GCC visibility push(default)
void* operator new(std::size_t size) {
  using namespace orx::testing;
  const bool fails = isWithoutMemory || (!isSpared && ofTheLibrary.strikes());
  void* memory = fails ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

// Fails as it does without memory, where a test asks for that.
extern "C" CURLcode curl_global_init_mem(long flags, curl_malloc_callback allocate,
                                         curl_free_callback release,
                                         curl_realloc_callback reallocate,
                                         curl_strdup_callback duplicate,
                                         curl_calloc_callback allocateZeroed) {
  if (orx::testing::libcurlCannotBegin) return CURLE_OUT_OF_MEMORY;
  static const auto begin =
      reinterpret_cast<decltype(&curl_global_init_mem)>(dlsym(RTLD_NEXT, "curl_global_init_mem"));
  orx::testing::libcurlHasBegun = true;
  return begin(flags, allocate, release, reallocate, duplicate, allocateZeroed);
}

extern "C" void curl_easy_cleanup(CURL* curl) {
  static const auto next =
      reinterpret_cast<decltype(&curl_easy_cleanup)>(dlsym(RTLD_NEXT, "curl_easy_cleanup"));
  if (curl != nullptr && orx::testing::isReporting) orx::testing::handleEndedWhileReporting = true;
  next(curl);
}
#pragma GCC visibility pop

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using ::testing::AnyOf;
using ::testing::HasSubstr;

// What libcurl allocates with.
void* allocate(std::size_t size) { return ofLibcurl.strikes() ? nullptr : std::malloc(size); }
void* allocateZeroed(std::size_t count, std::size_t size) {
  return ofLibcurl.strikes() ? nullptr : std::calloc(count, size);
}
void* reallocate(void* memory, std::size_t size) {
  return ofLibcurl.strikes() ? nullptr : std::realloc(memory, size);
}
char* duplicate(const char* text) { return ofLibcurl.strikes() ? nullptr : strdup(text); }

// Long enough for memory of its own.
const std::string body(100, 'x');

class OutOfMemory : public ::testing::Test {
 protected:
  OutOfMemory() { isSpared = false; }

  // As a host application that gives libcurl its own allocator. False when libcurl has been used in
  // this process before, and keeps the one it has.
  static bool takeOverLibcurl() {
    curl_global_init_mem(CURL_GLOBAL_DEFAULT, allocate, std::free, reallocate, duplicate,
                         allocateZeroed);
    ofLibcurl.begin(1);
    curl_url_cleanup(curl_url());
    return ofLibcurl.end();
  }
  static URLRequest request() { return postRequest("https://one.example/", "b"); }
  void expectSuccess() { EXPECT_EQ(call(server_.configuration(), request()).statusCode, 200); }
  static Answer answer(const TLSTestServer::Request& request) {
    isSpared = true;
    if (request.target != "/cut") return Answer::reply(200, body);
    return {.bytes = "HTTP/1.1 200 OK\r\n\r\n" + body, .end = TLSTestServer::End::cut};
  }

  // Makes one call after the other, with the first allocation of the library's failing, then with
  // the second, until there is none to fail. Each has another configuration than the last one,
  // which needs the most. Then a call with enough memory succeeds.
  template <typename Call, typename Check>
  void failEachAllocation(URLSessionConfiguration configuration, const Call& makeCall,
                          const Check& check) {
    expectSuccess();
    isSpared = true;
    for (int at = 1; !HasFailure(); ++at) {
      SCOPED_TRACE(at);
      configuration.setMaximumBodySize(configuration.maximumBodySize() - 1);
      ofTheLibrary.begin(at);
      const Outcome outcome = makeCall(configuration);
      const bool hasFailed = ofTheLibrary.end();
      check(outcome);
      expectSuccess();
      if (!hasFailed) break;
    }
  }

  TLSTestServer server_{{"one.example"}, answer};
};

// Over a kept connection: where memory ends while it makes one, libcurl 7.88 itself crashes.
TEST_F(OutOfMemory, OfLibcurlEndsOneCallWithAnErrorThatSaysSo) {
  if (!takeOverLibcurl()) GTEST_SKIP() << "needs a process of its own";
  expectSuccess();
  std::set<std::int64_t> codes;
  for (int at = 1;; ++at) {
    auto asked = request();
    ofLibcurl.begin(at);
    const Outcome outcome = call(server_.configuration(), std::move(asked));
    if (!ofLibcurl.end()) break;
    codes.insert(outcome.errorCode());
    EXPECT_TRUE(outcome.error || outcome.text() == body);
    expectSuccess();
  }
  // Before the request has left, and after that.
  EXPECT_TRUE(codes.contains(NSURLErrorUnknown));
  EXPECT_TRUE(codes.contains(NSURLErrorDataLengthExceedsMaximum));
}

TEST_F(OutOfMemory, OfLibcurlsBeginningEndsOneCall) {
  if (libcurlHasBegun) GTEST_SKIP() << "needs a process of its own";
  libcurlCannotBegin = true;
  const Outcome outcome = call(server_.configuration(), request());
  libcurlCannotBegin = false;
  ASSERT_TRUE(outcome.error);
  EXPECT_THAT(outcome.error->localizedDescription(), HasSubstr("memory"));
  expectSuccess();
}

TEST_F(OutOfMemory, IsNoReasonToBlameTheTextOfAURL) {
  if (!takeOverLibcurl()) GTEST_SKIP() << "needs a process of its own";
  int failures = 0;
  for (bool failed = true; failed;) {
    ofLibcurl.begin(failures + 1);
    try {
      EXPECT_TRUE(URL::URLWithString("https://one.example:8443/a?b#c"));
      failed = false;
    } catch (const std::bad_alloc&) {
      ++failures;
    }
  }
  ofLibcurl.end();
  EXPECT_GT(failures, 0);
}

TEST_F(OutOfMemory, OfTheLibraryEndsOneCallWithAnErrorThatSaysSo) {
  int failures = 0;
  failEachAllocation(
      server_.configuration(),
      [](const auto& configuration) { return call(configuration, request()); },
      [&](const Outcome& outcome) {
        if (outcome.error) {
          ++failures;
          EXPECT_THAT(outcome.error->localizedDescription(), HasSubstr("memory"));
          EXPECT_EQ(outcome.statusCode, 0) << "half a body counts as the service's";
        } else {
          EXPECT_EQ(outcome.text(), body);
        }
      });
  EXPECT_GT(failures, 1);
}

TEST_F(OutOfMemory, EndsOneCallThatTrustsTheSystemsAuthorities) {
  auto configuration = server_.configuration();
  configuration.setCaFile(std::nullopt);
  // To where nobody listens: a server of the test's would make a thread for each connection.
  configuration.setConnectTo("one.example", {"127.0.0.1", 1});
  failEachAllocation(
      configuration, [](const auto& each) { return call(each, request()); },
      [](const Outcome& outcome) {
        EXPECT_THAT(outcome.errorCode(), AnyOf(NSURLErrorUnknown, NSURLErrorCannotConnectToHost));
      });
}

TEST_F(OutOfMemory, IsThrownWhereTheSystemsAuthoritiesAreLookedFor) {
  TemporaryDirectory directory;
  std::ofstream(directory / "5ed36f99.0") << "x\n";
  bool hasFailed = true;
  for (int at = 1; hasFailed; ++at) {
    ofTheLibrary.begin(at);
    try {
      EXPECT_TRUE(systemTrust(nullptr, directory.path().c_str()));
      hasFailed = ofTheLibrary.end();
    } catch (const std::bad_alloc&) {
    }
  }
}

// The answer names no length, and whoever is on the way ends the connection.
TEST_F(OutOfMemory, MakesNoCutBodyWhole) {
  failEachAllocation(
      server_.configuration(),
      [](const auto& configuration) {
        return call(configuration, getRequest("https://one.example/cut"));
      },
      [](const Outcome& outcome) { EXPECT_NE(outcome.error, nullptr); });
}

// Only the thread that works with libcurl ends its handles, and a fork waits for that.
TEST_F(OutOfMemory, LeavesNoHandleOfLibcurlsToTheThreadThatReports) {
  failEachAllocation(
      server_.configuration(),
      [](const auto& configuration) {
        const auto outcomes = std::make_shared<Outcomes>();
        const auto isDestroyed = std::make_shared<Event>();
        std::shared_ptr<void> held(nullptr, [isDestroyed](void*) {
          isReporting = false;
          isDestroyed->set();
        });
        // A handle that has served a call has room for no longer address.
        start(configuration, getRequest("https://one.example/" + body),
              [outcomes, held = std::move(held)](const TransferOutcome& outcome) {
                isReporting = true;
                outcomes->put({outcome});
              });
        EXPECT_TRUE(isDestroyed->wait());
        return outcomes->take();
      },
      [](const Outcome&) { EXPECT_FALSE(handleEndedWhileReporting); });
}

TEST_F(OutOfMemory, DoesNotEndTheChildOfAFork) {
  expectSuccess();
  isWithoutMemory = true;
  const pid_t child = fork();
  if (child == 0) _exit(0);
  isWithoutMemory = false;
  ASSERT_GT(child, 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

// Later it would change its memory functions while a thread uses them.
TEST_F(OutOfMemory, IsSeenToByLibcurlBeforeItReadsAURL) {
  if (libcurlHasBegun) GTEST_SKIP() << "needs a process of its own";
  EXPECT_TRUE(URL::URLWithString("https://one.example:8443/"));
  EXPECT_TRUE(libcurlHasBegun);
}

}  // namespace
}  // namespace orx::testing
