// SPDX-License-Identifier: MIT
// A whole call, from the bytes of the answer to the host's handler: one of the twelve operations is
// started, and a transport of this file gives it what the bytes amount to.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <array>
#include <stdexcept>
#include <utility>

#include "FuzzTarget.h"
#include "c/Texts.h"
#include "oracles/ResultBlockOracle.h"
#include "platform/base/Limits.h"
#include "platform/formats/JSONSerialization.h"
#include "platform/http/Transport.h"
#include "platform/http/TransportError.h"
#include "platform/http/curl/ReplyParser.h"

namespace {

orx::platform::TransferHandler started;

}  // namespace

// The transport of this program, in the place of the library's.
namespace orx::platform {

// As it is declared. NOLINTNEXTLINE(performance-unnecessary-value-param)
void startTransfer(URLRequest request, const URLSessionConfiguration&, TransferHandler handler) {
  ORX_FUZZ_CHECK(request.httpBody && handler && !started);
  started = std::move(handler);
}
void prepareConnection(const URL&, const URLSessionConfiguration&) {}
std::string transportVersions() { return "none/none"; }

}  // namespace orx::platform

namespace {

using orx::ORVAAccountAPI;
using orx::platform::ReplyParser;
using orx::platform::TransferOutcome;
using orx::service::ResultBlockPattern;
using Handler = orx::ORVAAccountAPICompletionHandler;

TransferOutcome lost() {
  return {.error = orx::platform::transportError(orx::NSURLErrorNetworkConnectionLost,
                                                 "the connection was lost", {})};
}

// As libcurl hands them over: the lines of the heads, each with its end, then the body in pieces.
TransferOutcome outcomeOf(FuzzInput input) {
  const bool isBroken = input.number(2) == 1;
  ReplyParser parser(4096, 65536);
  while (!parser.headIsComplete()) {
    const auto before = input.rest();
    if (before.empty()) return lost();
    const auto size = input.line().size();
    const auto line = before.substr(0, std::min(size + 1, before.size()));
    if (parser.takeHeaderLine(line, false) == ReplyParser::Next::nothing) return lost();
  }
  auto body = input.rest();
  for (const std::size_t piece : {body.size() / 3, body.size()}) {
    const auto taken = body.substr(0, std::min(piece, body.size()));
    if (!taken.empty() && !parser.takeBody(taken)) break;
    body.remove_prefix(taken.size());
  }
  TransferOutcome outcome;
  if (isBroken || parser.excess() != ReplyParser::Excess::none) outcome.error = lost().error;
  outcome.statusCode = parser.statusCode();
  outcome.data = orx::Data(parser.takeBody());
  return outcome;
}

using Start = void (*)(ORVAAccountAPI&, Handler);
struct Operation {
  Start start;
  // Of the result block that it reads; absent where it reads something else.
  std::optional<ResultBlockPattern> pattern;
};
constexpr auto kLenient = ResultBlockPattern::Lenient;
constexpr auto kStrict = ResultBlockPattern::Strict;
const std::array<Operation, 12> kOperations{{
    {[](auto& api, Handler handler) {
       api.commonWithApiId_parameters_completionHandler("w000000011", {}, std::move(handler));
     },
     kLenient},
    {[](auto& api, Handler handler) { api.register_completeHandler({}, std::move(handler)); },
     kLenient},
    {[](auto& api, Handler handler) { api.login_completionHandler({}, std::move(handler)); },
     kLenient},
    {[](auto& api, Handler handler) { api.loginOpenID_completionHandler({}, std::move(handler)); },
     kLenient},
    {[](auto& api, Handler handler) {
       api.apToWebSSOWithParameters_completionHandler({}, std::move(handler));
     },
     kStrict},
    {[](auto& api, Handler handler) {
       api.registerV2WithParameters_completeHandler({}, std::move(handler));
     },
     {}},
    {[](auto& api, Handler handler) {
       api.loginOpenIDV2WithParameters_completionHandler({}, std::move(handler));
     },
     {}},
    {[](auto& api, Handler handler) { api.getUserData_completionHandler({}, std::move(handler)); },
     {}},
    {[](auto& api, Handler handler) {
       api.parameterListWithName_completionHandler("gender", std::move(handler));
     },
     {}},
    {[](auto& api, Handler handler) { api.countryListWithCompletionHandler(std::move(handler)); },
     {}},
    {[](auto& api, Handler handler) { api.educationListWithCompletionHandler(std::move(handler)); },
     {}},
    {[](auto& api, Handler handler) {
       api.professionalListWithCompletionHandler(std::move(handler));
     },
     {}},
}};

// What a host does with a result: as text in C, as a record of a user, as a document.
void use(const orx::ORVAAccountAPIResult& result) {
  const orx::c::Document document(result.returnData());
  ORX_FUZZ_CHECK(orx::platform::JSONObjectWithText(document.json));
  if (const auto parser = result.returnData().objectOf<orx::XMLParser>()) parser->parse();
  const orx::Dictionary* record = result.returnData().dictionary();
  if (record == nullptr) return;
  const auto user = orx::ORVAAccountUser::initWithUserInfo(*record);
  (void)user->pictureURL();
  (void)user->birthdate();
  (void)user->country();
}

// The description is the one that the pattern itself captures.
void compare(const Operation& operation, const TransferOutcome& reply,
             const orx::ORVAAccountAPIResult* result, const orx::Error* error) {
  const bool isRefusal = error != nullptr && error->domain() == orx::kORVAAccountErrorDomain;
  if (!operation.pattern || !reply.data || (result == nullptr && !isRefusal)) return;
  try {
    const auto block =
        orx::testing::matchResultBlockByPattern(reply.data->text(), *operation.pattern);
    const std::string_view expected = block ? block->resultDescription : std::string_view();
    ORX_FUZZ_CHECK(expected == (result != nullptr ? result->resultDescription().value()
                                                  : error->localizedDescription()));
  } catch (const std::runtime_error&) {
    // The oracle has hit its backtracking limit.
  }
}

}  // namespace

ORX_FUZZ_TARGET(text) {
  FuzzInput input(text);
  const auto& operation = kOperations[input.number(kOperations.size())];
  const auto client = ORVAAccountAPI::initWithOptions(
      {{orx::kORVAAccountAppID, "app"}, {orx::kORVAAccountAppKey, "key"}});
  const TransferOutcome reply = outcomeOf(input);
  int calls = 0;
  operation.start(*client, [&](const std::shared_ptr<orx::ORVAAccountAPIResult>& result,
                               const std::shared_ptr<orx::Error>& error) {
    ++calls;
    ORX_FUZZ_CHECK(!result == !!error);
    if (result) use(*result);
    compare(operation, reply, result.get(), error.get());
  });
  ORX_FUZZ_CHECK(calls == 0);
  std::exchange(started, nullptr)(reply);
  ORX_FUZZ_CHECK(calls == 1);
  ORX_FUZZ_CHECK(client->parsingTasks()->empty());
}
