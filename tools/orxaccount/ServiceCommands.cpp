// SPDX-License-Identifier: MIT
#include <ORXAccount/ORXAccount.h>

#include <memory>
#include <utility>

#include "Commands.h"
#include "Output.h"
#include "Secrets.h"
#include "Session.h"

namespace tool {
namespace {

using ListCall = std::function<orx::calls::ResultCall(const std::shared_ptr<orx::ORVAAccountAPI>&)>;

// For a list that it does not have, the service sends a description and no data. The library
// reports that as a success, and a failed transfer too, so this command looks at the data.
void runList(const GlobalOptions& options, const ListCall& list) {
  const Session session(options);
  const auto result = session.call(list(session.client()));
  if (result->returnData().isNull()) {
    if (result->transferError()) throw failureOf(result->transferError());
    const std::string words = result->resultDescription().value_or("");
    throw Failure{ExitCode::Refused,
                  words.empty()
                      ? "the answer holds no list: the service knows none of this name, or "
                        "does not know the application's ID and key"
                      : words};
  }
  Output(options).printValue("list", result->returnData());
}

void runSSO(const GlobalOptions& options, const ParameterOptions& input) {
  const Session session(options);
  orx::Dictionary parameters = input.parameters();
  parameters.set(orx::kORVAAccountTicket, input.ticketFromInput()
                                              ? readSecretLine("--ticket-stdin")
                                              : Session::signedInUser()->ticket().value_or(""));
  const auto result = session.call(orx::calls::apToWebSSO(session.client(), parameters));
  const std::string address = result->returnData().text().value_or("");
  if (address.empty()) {
    const std::string words = result->resultDescription().value_or("");
    throw Failure{ExitCode::Refused, words.empty() ? "the service opened no session" : words};
  }
  Output(options).printDone(address, {{"returnData", address}});
}

void runCall(const GlobalOptions& options, const std::string& apiID,
             const ParameterOptions& input) {
  orx::Dictionary parameters = input.parameters();
  if (input.passwordFromInput()) {
    parameters.set(orx::kORVAAccountPassword, readSecretLine("--password-stdin"));
  }
  if (input.ticketFromInput()) {
    parameters.set(orx::kORVAAccountTicket, readSecretLine("--ticket-stdin"));
  }
  const Session session(options);
  const auto result = session.call(orx::calls::common(session.client(), apiID, parameters));
  Output(options).printValue("returnData", result->returnData());
}

// Collects the elements that hold text, each under its name.
class ElementCollector final : public orx::XMLParserDelegate {
 public:
  void parser_foundCharacters(orx::XMLParser&, std::string_view characters) override {
    text_ += characters;
  }
  void parser_didEndElement_namespaceURI_qualifiedName(orx::XMLParser&,
                                                       std::string_view elementName,
                                                       std::optional<std::string_view>,
                                                       std::optional<std::string_view>) override {
    if (text_.find_first_not_of(" \t\r\n") != std::string::npos) {
      elements.set(std::string(elementName), text_);
    }
    text_.clear();
  }

  orx::Dictionary elements;

 private:
  std::string text_;
};

orx::Value readUserData(const orx::Value& returnData, bool showsTickets) {
  const auto parser = returnData.objectOf<orx::XMLParser>();
  if (!parser) {
    // A text without names may be the ticket itself.
    const std::string* text = returnData.string();
    return text != nullptr && !showsTickets ? orx::Value(sizeOf(*text)) : returnData;
  }
  const auto collector = std::make_shared<ElementCollector>();
  parser->setDelegate(collector);
  if (!parser->parse()) throw failureOf(parser->parserError());
  return collector->elements;
}

void runUserData(const GlobalOptions& options, const ParameterOptions& input) {
  const std::string ticket = ticketFor(input);
  const Session session(options);
  const auto result =
      session.call(orx::calls::getUserData(session.client(), {{orx::kORVAAccounTicket, ticket}}));
  Output(options).printValue("userData", readUserData(result->returnData(), options.showTicket));
}

void addLists(CLI::App& app, const GlobalOptions& options) {
  const auto add = [&](const char* name, const char* description, ListCall list) {
    addCommand(app, name, description,
               [&options, list = std::move(list)] { runList(options, list); });
  };
  add("countries", "List the countries", orx::calls::countryList);
  add("education", "List what the service keeps for education levels", orx::calls::educationList);
  add("professions", "List the professions", orx::calls::professionalList);
  auto name = std::make_shared<std::string>();
  CLI::App& list = addCommand(app, "list", "List another of the service's lists", [&options, name] {
    runList(options, [name](const std::shared_ptr<orx::ORVAAccountAPI>& api) {
      return orx::calls::parameterList(api, *name);
    });
  });
  addRequiredText(list, "NAME", *name, "The list's name");
}

}  // namespace

void addServiceCommands(CLI::App& app, const GlobalOptions& options) {
  addLists(app, options);

  auto input = std::make_shared<ParameterOptions>();
  CLI::App& webSession = addCommand(app, "sso", "Open a web session and print its address",
                                    [&options, input] { runSSO(options, *input); });
  input->addTo(webSession);
  input->addTicketInput(webSession);

  input = std::make_shared<ParameterOptions>();
  CLI::App& userData = addCommand(app, "user-data", "Show the data of the user who holds a ticket",
                                  [&options, input] { runUserData(options, *input); });
  input->refuseSecrets(userData);
  input->addTicketInput(userData);

  input = std::make_shared<ParameterOptions>();
  auto apiID = std::make_shared<std::string>();
  CLI::App& call = addCommand(app, "call", "Send a call with any operation identifier",
                              [&options, input, apiID] { runCall(options, *apiID, *input); });
  addRequiredText(call, "APIID", *apiID, "The operation, for example w000000015");
  input->addTo(call);
  input->addPasswordInput(call);
  input->addTicketInput(call);
}

}  // namespace tool
