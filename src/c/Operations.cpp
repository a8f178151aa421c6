// The calls over the network.

#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/platform/XMLParser.h>

#include <stdexcept>
#include <utility>

#include "c/Results.h"

namespace orx::c {

using namespace platform;

namespace {

using SharedResult = std::shared_ptr<ORVAAccountAPIResult>;
using SharedError = std::shared_ptr<Error>;

// Throws std::invalid_argument before orx_initialize().
std::shared_ptr<ORVAAccountAPI> client() {
  const auto& account = ORVAAccount::sharedInstance();
  const auto appID = account->appID();
  const auto appKey = account->appKey();
  if (!appID || !appKey) throw std::invalid_argument("orx_initialize() has not been called");
  return ORVAAccountAPI::initWithOptions(
      {{kORVAAccountAppID, *appID}, {kORVAAccountAppKey, *appKey}});
}

orx_result resultWith(const ORVAAccountAPIResult& result, const Value& payload) {
  return {.payload = Document(payload), .description = result.resultDescription()};
}

// Starts a call: `start` is given the client and the handler that reports to the callback.
template <typename Start>
orx_error* call(orx_callback callback, void* context, const Start& start) {
  return guarded([&] {
    start(*client(), [report = Callback(callback, context)](const SharedResult& result,
                                                            const SharedError& error) {
      report.report(error, [&] { return resultWith(*result, result->returnData()); });
    });
  });
}

// Gathers the elements that hold text, each under its name.
class Elements final : public XMLParserDelegate {
 public:
  void parser_foundCharacters(XMLParser& /*parser*/, std::string_view characters) override {
    text_ += characters;
  }
  void parser_didEndElement_namespaceURI_qualifiedName(
      XMLParser& /*parser*/, std::string_view elementName,
      std::optional<std::string_view> /*namespaceURI*/,
      std::optional<std::string_view> /*qualifiedName*/) override {
    if (!text_.empty()) dictionary.set(elementName, std::exchange(text_, {}));
  }

  Dictionary dictionary;

 private:
  std::string text_;
};

Result<orx_result> userDataIn(const ORVAAccountAPIResult& result) {
  const auto parser = result.returnData().objectOf<XMLParser>();
  if (!parser) return resultWith(result, result.returnData());
  const auto elements = std::make_shared<Elements>();
  parser->setDelegate(elements);
  if (!parser->parse()) return Failure(parser->parserError());
  return resultWith(result, elements->dictionary);
}

// The delegate of one sign-in, with a manager of its own: so it knows whose report it gets.
class SignIn final : public ORVAAccountLoginManagerDelegate {
 public:
  explicit SignIn(const Callback& callback) : callback_(callback) {}

  // Starts a sign-in with `start`, which is given the manager.
  template <typename Start>
  static void begin(const Callback& callback, const Start& start) {
    const auto manager = ORVAAccountLoginManager::init();
    // Without a list, a sign-in with a ticket would never be reported.
    manager->setLoginWithTicketTasks(std::vector<Dictionary>());
    const auto signIn = std::make_shared<SignIn>(callback);
    manager->setDelegate(signIn);
    // The manager holds it weakly.
    signIn->self_ = signIn;
    try {
      start(*manager);
    } catch (...) {
      signIn->self_.reset();
      throw;
    }
  }

  void loginManager_didLoginWithUser_error(ORVAAccountLoginManager& /*manager*/,
                                           const std::shared_ptr<ORVAAccountUser>& user,
                                           const SharedError& error) override {
    const auto self = std::move(self_);
    callback_.report(error, [&] { return orx_result{.user = handleOf(user)}; });
  }

 private:
  const Callback callback_;
  std::shared_ptr<SignIn> self_;
};

template <typename Start>
orx_error* signIn(orx_callback callback, void* context, const Start& start) {
  return guarded([&] { SignIn::begin(Callback(callback, context), start); });
}

}  // namespace

}  // namespace orx::c

using namespace orx::c;

orx_error* orx_sign_in(const char* parameters, orx_callback callback, void* context) {
  return signIn(callback, context,
                [&](auto& manager) { manager.loginWithParameters(parametersIn(parameters)); });
}

orx_error* orx_sign_in_openid(const char* parameters, orx_callback callback, void* context) {
  return signIn(callback, context, [&](auto& manager) {
    manager.loginOpenIDWithParameters(parametersIn(parameters));
  });
}

orx_error* orx_sign_in_openid_v2(const char* parameters, orx_callback callback, void* context) {
  return signIn(callback, context, [&](auto& manager) {
    manager.loginOpenIDV2WithParameters(parametersIn(parameters));
  });
}

orx_error* orx_sign_in_ticket(const char* ticket, orx_callback callback, void* context) {
  return signIn(callback, context, [&](auto& manager) {
    manager.loginWithTicket(requiredText(ticket, "the ticket"));
  });
}

orx_error* orx_sign_out(void) {
  return guarded([] { orx::ORVAAccountLoginManager::sharedInstance()->logout(); });
}

orx_error* orx_register(const char* parameters, orx_callback callback, void* context) {
  return call(callback, context, [&](auto& client, auto handler) {
    client.register_completeHandler(parametersIn(parameters), handler);
  });
}

orx_error* orx_register_v2(const char* parameters, orx_callback callback, void* context) {
  return call(callback, context, [&](auto& client, auto handler) {
    client.registerV2WithParameters_completeHandler(parametersIn(parameters), handler);
  });
}

orx_error* orx_call(const char* api_id, const char* parameters, orx_callback callback,
                    void* context) {
  return call(callback, context, [&](auto& client, auto handler) {
    client.commonWithApiId_parameters_completionHandler(
        requiredText(api_id, "the operation's identifier"), parametersIn(parameters), handler);
  });
}

orx_error* orx_fetch_list(const char* name, orx_callback callback, void* context) {
  return call(callback, context, [&](auto& client, auto handler) {
    client.parameterListWithName_completionHandler(requiredText(name, "the name"), handler);
  });
}

orx_error* orx_web_sso(const char* parameters, orx_callback callback, void* context) {
  return call(callback, context, [&](auto& client, auto handler) {
    client.apToWebSSOWithParameters_completionHandler(parametersIn(parameters), handler);
  });
}

orx_error* orx_fetch_user_data(const char* ticket, orx_callback callback, void* context) {
  return guarded([&] {
    client()->getUserData_completionHandler(
        {{orx::kORVAAccounTicket, requiredText(ticket, "the ticket")}},
        [report = Callback(callback, context)](const SharedResult& result,
                                               const SharedError& error) {
          report.report(error, [&] { return userDataIn(*result); });
        });
  });
}
