// SPDX-License-Identifier: MIT
// What lies in the process's memory while a call's handler runs, and once it has: every operation
// that carries a password, a ticket or the application key, after a success and after each kind of
// failure.
#include <ORXAccount/Calls.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <functional>
#include <ostream>

#include "login/SecretsFixture.h"
#include "support/ConnectProxy.h"
#include "support/Operations.h"

namespace orx::testing {
namespace {

using namespace std::chrono_literals;

// Starts a call with what the host has typed, and says when its handler runs.
struct Carrier {
  std::string name;
  std::function<void(const Dictionary& typed, std::function<void()> handler)> start;
};

void PrintTo(const Carrier& carrier, std::ostream* stream) { *stream << carrier.name; }

// With a client of its own, which is gone with the call.
Carrier ofClient(const Operation& operation) {
  const auto start = [operation](const Dictionary& typed, const std::function<void()>& handler) {
    std::string key = *ORVAAccount::sharedInstance()->appKey();
    const auto api =
        ORVAAccountAPI::initWithOptions({{kORVAAccountAppID, "my-app"}, {kORVAAccountAppKey, key}});
    wipeHosts(key);
    operation.start(*api, typed, [handler](const auto&, const auto&) { handler(); });
  };
  return {operation.name, start};
}

template <typename Call>
Carrier ofSignIn(const char* name, const Call& call) {
  return {name, [call](const Dictionary& typed, const std::function<void()>& handler) {
            call(typed).start([handler](const auto&) { handler(); });
          }};
}

const Carrier kSignInWithTicket{
    "SignInWithTicket", [](const Dictionary& typed, const std::function<void()>& handler) {
      // A ticket is all that is sent, so it says what becomes of the call.
      std::string text;
      text.reserve(typed["login"].string()->size() + typed["sso_ticket"].string()->size());
      text.append(*typed["login"].string()).append(*typed["sso_ticket"].string());
      calls::signInWithTicket(text).start([handler](const auto&) { handler(); });
      wipeHosts(text);
    }};

// What goes wrong on the host's side; what the service does is in the sign-in's name.
struct Trial {
  const char* name;
  std::function<void(URLSessionConfiguration&)> change = [](auto&) {};
};

class SecretsOfACall : public SecretsInMemory, public ::testing::WithParamInterface<Carrier> {
 protected:
  // Makes the call and tells what the handler has found, when the host's own copies were gone.
  std::size_t passwordsInHandlerOf(const char* name) {
    const auto hostHasWiped = std::make_shared<Event>();
    const auto found = std::make_shared<Mailbox<std::size_t>>();
    start(name, [=] {
      EXPECT_TRUE(hostHasWiped->wait());
      found->put(password.copies());
    });
    hostHasWiped->set();
    return found->take();
  }
  void tryCall(const Trial& trial) {
    SCOPED_TRACE(trial.name);
    auto configuration = server_.configuration();
    trial.change(configuration);
    URLSessionConfiguration::setDefaultConfiguration(configuration);
    EXPECT_EQ(passwordsInHandlerOf(trial.name), 0U) << "while the handler ran";
    URLSessionConfiguration::setDefaultConfiguration(server_.configuration());
    signOut();
    expectNoneLeft();
  }

 private:
  static void start(const char* name, std::function<void()> handler) {
    std::string typed = password.text();
    std::string held = ticket.text();
    GetParam().start({{"login", name}, {"passwd", typed}, {"sso_ticket", held}},
                     std::move(handler));
    wipeHosts(typed);
    wipeHosts(held);
  }
};

TEST_P(SecretsOfACall, AreGoneWhateverTheServiceAnswers) {
  for (const auto* name :
       {"joe", "in-chunks", "refused", "cut-off", "no-answer", "status-500", "broken-xml",
        "broken-json", "no-xml", "moved-302", "moved-307", "joe"}) {
    tryCall({name});
  }
}

TEST_P(SecretsOfACall, AreGoneWithoutAnAnswer) {
  const Trial trials[] = {
      {"silence", [](auto& with) { with.setTimeoutIntervalForRequest(200ms); }},
      {"silence", [](auto& with) { with.setTimeoutIntervalForResource(200ms); }},
      {"joe", [](auto& with) { with.setCaFile(std::nullopt); }},
      {"joe",
       [](auto& with) {
         with.setConnectTo(kGlobalHost, {"127.0.0.1", 1});
       }},
      {"joe", [](auto& with) { with.setMaximumBodySize(10); }},
      {"joe", [](auto& with) { with.setProxy("http://127.0.0.1:1"); }},
  };
  for (const auto& trial : trials) tryCall(trial);
}

TEST_P(SecretsOfACall, AreGoneWhenTheStoreRefuses) {
  // A file where the store's folder would be.
  writeContent(home_.path() / "data", "");
  tryCall({"joe"});
  EXPECT_TRUE(std::filesystem::is_regular_file(home_.path() / "data"));
}

// A proxy in a process of its own, that takes whatever name and password it is given.
class ProxyProcess {
 public:
  explicit ProxyProcess(std::uint16_t target) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) throw std::runtime_error("cannot make a pipe");
    process_ = std::make_unique<ChildProcess>([&] {
      const ConnectProxy proxy(target);
      const auto place = proxy.url().substr(std::string_view("http://").size()) + '\n';
      (void)!write(ends[1], place.data(), place.size());
      // Until it is killed.
      pause();
    });
    close(ends[1]);
    for (char byte = 0; read(ends[0], &byte, 1) == 1 && byte != '\n';) place_ += byte;
    close(ends[0]);
  }
  // Host and port.
  const std::string& place() const { return place_; }

 private:
  std::unique_ptr<ChildProcess> process_;
  std::string place_;
};

class SecretsOfAProxy : public SecretsInMemory {
 protected:
  static inline const Canary ofProxy{"proxy"};

  long signInThrough(const std::string& place, const char* name) {
    auto configuration = server_.configuration();
    std::string url;
    url.reserve(200);
    std::string secret = ofProxy.text();
    url.append("http://ada:").append(secret).append("@").append(place);
    wipeHosts(secret);
    configuration.setProxy(url);
    wipeHosts(url);
    URLSessionConfiguration::setDefaultConfiguration(configuration);
    return signIn(name);
  }

  // With a call past the proxy, for which libcurl is told of none.
  void signInWithoutAProxy() {
    URLSessionConfiguration::setDefaultConfiguration(server_.configuration());
    EXPECT_EQ(signIn("joe"), 0);
    signOut();
    expectNoneLeft();
  }

  const ProxyProcess proxy_{server_.configuration().connectTo().at(kGlobalHost).port};
};

TEST_F(SecretsOfAProxy, StayWithItsConfigurationAndItsConnection) {
  for (const auto* name : {"joe", "refused", "cut-off", "joe"}) {
    signInThrough(proxy_.place(), name);
    EXPECT_TRUE(eventually([] { return password.copies() == 0; }, 2s)) << name;
    // The configuration's and those of the handle that made the call, ready for the next one.
    EXPECT_LE(ofProxy.copies(), 5U) << name;
    signInWithoutAProxy();
    EXPECT_LE(ofProxy.copies(), 1U) << "the open connection's";
  }
}

TEST_F(SecretsOfAProxy, AreGoneWhereItCannotBeUsed) {
  const auto server =
      "127.0.0.1:" + std::to_string(server_.configuration().connectTo().at(kGlobalHost).port);
  for (const std::string place : {"127.0.0.1:1", "", server.c_str()}) {
    EXPECT_NE(signInThrough(place, "joe"), 0) << place;
    signInWithoutAProxy();
    EXPECT_EQ(ofProxy.copies(), 0U) << place;
  }
}

INSTANTIATE_TEST_SUITE_P(
    , SecretsOfACall,
    ::testing::Values(ofSignIn("SignIn", calls::signIn),
                      ofSignIn("SignInWithOpenID", calls::signInWithOpenID),
                      ofSignIn("SignInWithOpenIDV2", calls::signInWithOpenIDV2), kSignInWithTicket,
                      ofClient(kRegister), ofClient(kLogin), ofClient(kLoginOpenID),
                      ofClient(kCommon), ofClient(kWebSSO), ofClient(kUserData),
                      ofClient(kRegisterV2), ofClient(kLoginV2)),
    [](const auto& carrier) { return carrier.param.name; });

}  // namespace
}  // namespace orx::testing
