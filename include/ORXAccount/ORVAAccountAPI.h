// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountAPIResult.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/Value.h>
#include <ORXAccount/platform/XMLParser.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orx {

// Receives the outcome of one call, exactly once: a result and a null error, or a null result and
// an error. It runs on a background worker of the library, or where the host's executor brings it
// (CallbackExecutor.h), never inside the call that started it; the handlers of different calls may
// run at the same time. It may block, start other calls and change the current user. It must not
// throw (the process ends if it does). Like every callback of the library it may run on a thread on
// which all signals but those that report a fault (SIGSEGV and the like) are blocked, and a program
// that it starts inherits that mask.
using ORVAAccountAPICompletionHandler = std::function<void(
    const std::shared_ptr<ORVAAccountAPIResult>& result, const std::shared_ptr<Error>& error)>;

// The client of the account web service. Every operation builds and starts its request on the
// calling thread, returns at once, and reports through its completion handler. There is no
// cancellation and no retry.
//
// For all operations: `parameters` are sent as JSON and may be empty. Parameters that cannot be
// written as JSON (NaN, infinities, data, objects, text that is not UTF-8, more than 512 arrays and
// dictionaries inside each other), any other text that is not UTF-8 (an ApiID, the name of a list,
// appID, appKey) and an empty completion handler throw std::invalid_argument on the calling thread;
// nothing is sent. Nor is anything where the system has no thread to report from
// (std::system_error) or no memory (std::bad_alloc): these are thrown there too, and the handler is
// not called. The target server flag is read when the call is made.
//
// A transfer that fails gives an error of NSURLErrorDomain. Four operations read what has come of
// an answer all the same when the connection breaks off in its body: register, login, loginOpenID
// and common. A result block that came whole counts; without one the error is that of an absent
// block: kORVAAccountErrorDomain, kORVAAccountErrorOther, an empty text. An answer that the service
// compresses, though nobody asks it to, is not unpacked, and counts as one without a block.
//
// What limits an answer: its body (64 MB) and its headers (256 KB) may be as long as
// URLSessionConfiguration says, else the transfer fails. JSON that is nested more than 512 deep,
// holds more than 4,000,000 values or a number beyond every double counts as no JSON. XML has the
// limits of XMLParser. When memory runs out while an answer is read, the call gives an error that
// says so (NSURLErrorUnknown; within XML, code 1 of NSXMLParserErrorDomain).
//
// The JSON goes into a SOAP envelope as it stands, so a "&" or "<" in a key or in a text (a
// password, a name) makes an envelope that the service refuses, mostly with an empty description.
// Look for them in what people type before the call, `text.find_first_of("&<") != text.npos`, and
// ask for another text. The two operations of the JSON interface (...V2...) have no such limit.
//
// Thread safety: operations may be started from any thread. appID and appKey are plain fields, to
// be set before calls are started. A pending call keeps what it needs alive; the caller need not.
class ORX_EXPORT ORVAAccountAPI final : public Object, public XMLParserDelegate {
 public:
  // `options` holds text under kORVAAccountAppID and kORVAAccountAppKey. A missing one leaves the
  // field absent, and empty text is sent in its place.
  static std::shared_ptr<ORVAAccountAPI> initWithOptions(const Dictionary& options);

  const std::optional<std::string>& appID() const;
  void setAppID(std::optional<std::string> appID);
  const std::optional<std::string>& appKey() const;
  void setAppKey(std::optional<std::string> appKey);

  // The target server flag of the process: true sends the SOAP calls made afterwards to the China
  // production server, false (at start) to the global one. Calls that have started keep theirs.
  static void setTargetServerWithIsCN(bool isCN);
  static bool targetServerIsCN();

  // Makes a connection to the target server of this moment ready, so that the next operation waits
  // for its answer alone: call it where a sign-in begins to look likely, as when the page for it is
  // shown. Looks the name up, connects (through the proxy, where there is one), and makes the TLS
  // handshake with the server's certificate verified; not a byte of HTTP goes to the server (a
  // proxy gets its CONNECT). The library never does this by itself.
  //
  // Returns at once and reports nothing: what hinders it, the next operation meets and reports. A
  // prepared connection is kept for about two minutes, and one that the server has closed by then
  // is made anew. A second call does nothing while a connection is ready or on its way. An
  // operation that starts before it is ready makes one of its own. The V2 operations profit while
  // the flag is false. Safe from any thread; throws std::bad_alloc without memory.
  static void prepareConnection();

  // The error for a text with which the service refused a call: domain kORVAAccountErrorDomain, the
  // text as description, and the code of that domain that stands for the text. An absent
  // description gives kORVAAccountErrorOther and an error without details.
  std::shared_ptr<Error> errorWithDescription(const std::optional<std::string>& description) const;

  // Sends one call to the customer-info endpoint under any operation identifier. Success is result
  // code 1; the payload is the ReturnData text parsed as JSON, an empty dictionary when there was
  // none, null when it is not JSON.
  void commonWithApiId_parameters_completionHandler(
      std::string_view apiId, const Dictionary& parameters,
      ORVAAccountAPICompletionHandler completionHandler);

  // Creates an account. Success is any result code but 0; the payload is a dictionary with the new
  // customer's number as text under kORVAAccountCusID.
  void register_completeHandler(const Dictionary& parameters,
                                ORVAAccountAPICompletionHandler completeHandler);

  // Signs in with login name and password. Success is result code 1; the payload is the user's
  // record: the first element of the array in ReturnData, null when there is none.
  void login_completionHandler(const Dictionary& parameters,
                               ORVAAccountAPICompletionHandler completionHandler);

  // Signs in with an identity of another provider; result as login_completionHandler.
  void loginOpenID_completionHandler(const Dictionary& parameters,
                                     ORVAAccountAPICompletionHandler completionHandler);

  // Opens a web session for a signed-in user. HTTP status 200 is success, whatever the result code:
  // the payload is the ReturnData text, empty when there was none. Another status gives an error of
  // kORVAAccountAPIErrorDomain with the status as its code. This object may go while the request
  // runs.
  void apToWebSSOWithParameters_completionHandler(
      const Dictionary& parameters, ORVAAccountAPICompletionHandler completionHandler);

  // Registers, or signs in, an account of another provider over the JSON interface; always at the
  // global production server. The credentials are sent with the parameters; an absent appID or
  // appKey throws std::invalid_argument. HTTP status 200 and "Status" 0 (or none) are success; the
  // payload is the value of "Result", null when there was none. Another HTTP status gives an error
  // as apToWebSSOWithParameters does; an answer that is no JSON object, or goes beyond a limit, one
  // of NSCocoaErrorDomain.
  void registerV2WithParameters_completeHandler(const Dictionary& parameters,
                                                ORVAAccountAPICompletionHandler completeHandler);
  void loginOpenIDV2WithParameters_completionHandler(
      const Dictionary& parameters, ORVAAccountAPICompletionHandler completionHandler);

  // Fetches the data of the user who holds a ticket (under kORVAAccounTicket). Success is result
  // code 0. The payload is an XMLParser that has not been run when the answer says that ReturnData
  // is XML; otherwise the ReturnData text, null when there was none. Other result codes give an
  // error of kORVAAccountErrorDomain with that very code; an answer that is not well-formed XML, or
  // goes beyond a limit of XMLParser, one of NSXMLParserErrorDomain.
  void getUserData_completionHandler(const Dictionary& parameters,
                                     ORVAAccountAPICompletionHandler completionHandler);

  // Fetches one of the service's lists of values. Every answer is a success, a failed transfer
  // included (not one that there is no memory to read): the payload is the ReturnData text parsed
  // as JSON, null when there is nothing to read; the result's transferError() tells a failed
  // transfer from an answer that holds no list. The name is sent as it stands. This object may go
  // while the request runs.
  void parameterListWithName_completionHandler(std::string_view name,
                                               ORVAAccountAPICompletionHandler completionHandler);
  void countryListWithCompletionHandler(ORVAAccountAPICompletionHandler completionHandler);
  // Asks for the list named "country", as the service expects.
  void educationListWithCompletionHandler(ORVAAccountAPICompletionHandler completionHandler);
  void professionalListWithCompletionHandler(ORVAAccountAPICompletionHandler completionHandler);

  ~ORVAAccountAPI() override;

  // From here on: what the library itself calls while it reads a user-data answer; not for hosts.

  // The answers that are being parsed at this moment: a snapshot of their task dictionaries, absent
  // when the list was set to absent. An answer that is being parsed while another list is set is
  // reported all the same. Safe from any thread.
  std::optional<std::vector<Dictionary>> parsingTasks() const;
  void setParsingTasks(const std::optional<std::vector<Dictionary>>& parsingTasks);
  // The task of the answer that this parser reads, found by the parser's identity; absent when
  // there is none.
  std::optional<Dictionary> taskDictionaryWithParser(const XMLParser* parser) const;
  // Reports of the parser of an answer. A parser without a task here changes nothing.
  void parser_foundCharacters(XMLParser& parser, std::string_view characters) override;
  void parser_didEndElement_namespaceURI_qualifiedName(
      XMLParser& parser, std::string_view elementName, std::optional<std::string_view> namespaceURI,
      std::optional<std::string_view> qualifiedName) override;
  void parser_parseErrorOccurred(XMLParser& parser, const std::shared_ptr<Error>& error) override;
  void parserDidEndDocument(XMLParser& parser) override;

 private:
  ORVAAccountAPI();
  struct State;

  std::unique_ptr<State> state_;
};

}  // namespace orx
