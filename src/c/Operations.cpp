// SPDX-License-Identifier: MIT
// The calls over the network.

#include <ORXAccount/Calls.h>
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/platform/XMLParser.h>

#include <stdexcept>
#include <utility>

#include "c/Results.h"
#include "platform/base/Wiping.h"
#include "service/XMLTasks.h"

namespace orx::c {

using namespace platform;

namespace {

// Throws std::invalid_argument before orx_initialize().
std::shared_ptr<ORVAAccountAPI> client() {
  const auto& account = ORVAAccount::sharedInstance();
  const auto appID = account->appID();
  const std::optional<Wiped<std::string>> appKey = account->appKey();
  if (!appID || !appKey) throw std::invalid_argument("orx_initialize() has not been called");
  return ORVAAccountAPI::initWithOptions(
      {{kORVAAccountAppID, *appID}, {kORVAAccountAppKey, std::string_view(*appKey)}});
}

// Gathers the elements that hold text, each under its name.
class Elements final : public XMLParserDelegate {
 public:
  void parser_foundCharacters(XMLParser& /*parser*/, std::string_view characters) override {
    gathered_.foundCharacters(characters);
  }
  void parser_didEndElement_namespaceURI_qualifiedName(
      XMLParser& /*parser*/, std::string_view elementName,
      std::optional<std::string_view> /*namespaceURI*/,
      std::optional<std::string_view> /*qualifiedName*/) override {
    gathered_.didEndElement(elementName);
  }

  const Dictionary& dictionary() const { return gathered_.elements; }

 private:
  service::GatheredElements gathered_;
};

Result<Value> parsed(const std::shared_ptr<XMLParser>& parser) {
  const auto elements = std::make_shared<Elements>();
  parser->setDelegate(elements);
  if (!parser->parse()) return Failure(parser->parserError());
  return elements->dictionary();
}

Result<orx_result> resultOf(const std::shared_ptr<ORVAAccountAPIResult>& result) {
  // User data comes as a document that nobody has read yet.
  const auto parser = result->returnData().objectOf<XMLParser>();
  const auto payload = parser ? parsed(parser) : Result<Value>(result->returnData());
  if (!payload) return Failure(payload.error());
  const auto& failure = result->transferError();
  return orx_result{.payload = Document(*payload),
                    .description = result->resultDescription(),
                    .transferError = failure ? std::make_unique<HeldError>(failure) : nullptr};
}

orx_result resultOf(const std::shared_ptr<ORVAAccountUser>& user) {
  return {.user = handleOf(user)};
}

orx_result resultOf(const Data& picture) { return {.bytes = picture}; }

// Starts the call that `make` gives.
template <typename Make>
orx_error* start(orx_callback callback, void* context, const Make& make) {
  return guarded([&] {
    make().start([told = Callback(callback, context)](const auto& outcome) {
      told.report(outcome.error, [&] { return resultOf(outcome.value); });
    });
  });
}

}  // namespace

}  // namespace orx::c

using namespace orx::c;
namespace calls = orx::calls;

orx_error* orx_sign_in(const char* parameters, orx_callback callback, void* context) {
  return start(callback, context, [&] { return calls::signIn(parametersIn(parameters)); });
}

orx_error* orx_sign_in_openid(const char* parameters, orx_callback callback, void* context) {
  return start(callback, context,
               [&] { return calls::signInWithOpenID(parametersIn(parameters)); });
}

orx_error* orx_sign_in_openid_v2(const char* parameters, orx_callback callback, void* context) {
  return start(callback, context,
               [&] { return calls::signInWithOpenIDV2(parametersIn(parameters)); });
}

orx_error* orx_sign_in_ticket(const char* ticket, orx_callback callback, void* context) {
  return start(callback, context,
               [&] { return calls::signInWithTicket(requiredText(ticket, "the ticket")); });
}

orx_error* orx_sign_out(void) {
  return guarded([] { orx::ORVAAccountLoginManager::sharedInstance()->logout(); });
}

orx_error* orx_register(const char* parameters, orx_callback callback, void* context) {
  return start(callback, context,
               [&] { return calls::registerAccount(client(), parametersIn(parameters)); });
}

orx_error* orx_register_v2(const char* parameters, orx_callback callback, void* context) {
  return start(callback, context,
               [&] { return calls::registerV2(client(), parametersIn(parameters)); });
}

orx_error* orx_call(const char* api_id, const char* parameters, orx_callback callback,
                    void* context) {
  return start(callback, context, [&] {
    std::string apiID(requiredText(api_id, "the operation's identifier"));
    return calls::common(client(), std::move(apiID), parametersIn(parameters));
  });
}

orx_error* orx_fetch_list(const char* name, orx_callback callback, void* context) {
  return start(callback, context, [&] {
    return calls::parameterList(client(), std::string(requiredText(name, "the name")));
  });
}

orx_error* orx_web_sso(const char* parameters, orx_callback callback, void* context) {
  return start(callback, context,
               [&] { return calls::apToWebSSO(client(), parametersIn(parameters)); });
}

orx_error* orx_fetch_user_data(const char* ticket, orx_callback callback, void* context) {
  return start(callback, context, [&] {
    return calls::getUserData(client(),
                              {{orx::kORVAAccounTicket, requiredText(ticket, "the ticket")}});
  });
}

orx_error* orx_user_load_picture(const orx_user* user, orx_callback callback, void* context) {
  return start(callback, context, [&] {
    if (user == nullptr) throw std::invalid_argument("the user is a null pointer");
    return calls::profileImageData(user->record);
  });
}
