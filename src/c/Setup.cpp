// SPDX-License-Identifier: MIT
// The start of a host: options, credentials, and where things stand.

#include <ORXAccount/LogHandler.h>
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/platform/Bundle.h>
#include <ORXAccount/platform/Keychain.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <stdexcept>
#include <utility>

#include "c/Results.h"
#include "platform/base/Text.h"

namespace orx::c {

namespace {

using OptionalText = std::optional<std::string_view>;

[[noreturn]] void refuse(std::string_view value, std::string_view wanted) {
  throw std::invalid_argument("'" + std::string(value) + "' is not " + std::string(wanted));
}

template <typename Number>
Number numberIn(std::string_view text, std::string_view wanted) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, number);
  if (problem != std::errc() || stop != end || number <= 0) refuse(text, wanted);
  return number;
}

// The value that stands beside the text; the first one without a text.
template <typename Choice, std::size_t count>
Choice choiceOf(const std::pair<std::string_view, Choice> (&choices)[count],
                const OptionalText& text) {
  if (!text) return choices[0].second;
  for (const auto& [name, choice] : choices) {
    if (name == *text) return choice;
  }
  refuse(*text, "a value of this option");
}

bool yesOrNo(const OptionalText& text) {
  return choiceOf<bool>({{"no", false}, {"yes", true}}, text);
}

using Configuration = URLSessionConfiguration;
using Address = Configuration::Address;

// HOST=ADDRESS:PORT, and an IPv6 address in brackets or without them.
std::pair<std::string, Address> redirectionIn(std::string_view text) {
  constexpr std::string_view wanted = "HOST=ADDRESS:PORT";
  const auto equals = text.find('=');
  const auto colon = text.rfind(':');
  if (equals == 0 || colon == std::string_view::npos || equals >= colon) refuse(text, wanted);
  std::string_view address = text.substr(equals + 1, colon - equals - 1);
  if (address.starts_with('[') && address.ends_with(']')) {
    address = address.substr(1, address.size() - 2);
  }
  if (address.empty()) refuse(text, wanted);
  std::string host(text.substr(0, equals));
  std::ranges::transform(host, host.begin(), platform::lowerCase);
  return {std::move(host),
          Address{std::string(address), numberIn<std::uint16_t>(text.substr(colon + 1), wanted)}};
}

void redirect(const OptionalText& text) {
  if (!text) throw std::invalid_argument("what a host is reached at cannot be taken back");
  auto configuration = Configuration::defaultConfiguration();
  for (auto rest = *text; !rest.empty();) {
    const auto comma = std::min(rest.find(','), rest.size());
    auto [host, address] = redirectionIn(rest.substr(0, comma));
    configuration.setConnectTo(std::move(host), std::move(address));
    rest.remove_prefix(std::min(comma + 1, rest.size()));
  }
  Configuration::setDefaultConfiguration(configuration);
}

// Sets one property of the configuration in force, or gives it the value that it has by itself.
template <auto get, auto set, auto read>
void configure(const OptionalText& text) {
  auto configuration = Configuration::defaultConfiguration();
  if (text) {
    (configuration.*set)(read(*text));
  } else {
    (configuration.*set)((Configuration().*get)());
  }
  Configuration::setDefaultConfiguration(configuration);
}

std::string same(std::string_view text) { return std::string(text); }

std::size_t sizeIn(std::string_view text) {
  return numberIn<std::size_t>(text, "a number of bytes");
}

std::chrono::milliseconds millisecondsIn(std::string_view text) {
  return std::chrono::milliseconds(numberIn<std::int64_t>(text, "a number of milliseconds"));
}

struct Option {
  std::string_view name;
  void (*set)(const OptionalText& value);
};

constexpr std::array kOptions{
    Option{ORX_OPTION_IDENTIFIER,
           [](const OptionalText& value) {
             Bundle::mainBundle()->setBundleIdentifier(value ? std::optional<std::string>(*value)
                                                             : std::nullopt);
           }},
    Option{ORX_OPTION_CA_FILE, configure<&Configuration::caFile, &Configuration::setCaFile, same>},
    Option{ORX_OPTION_PROXY, configure<&Configuration::proxy, &Configuration::setProxy, same>},
    Option{ORX_OPTION_PROXY_EXCEPTIONS,
           configure<&Configuration::proxyExceptions, &Configuration::setProxyExceptions, same>},
    Option{ORX_OPTION_CONNECT_TO, redirect},
    Option{ORX_OPTION_DEADLINE,
           configure<&Configuration::timeoutIntervalForResource,
                     &Configuration::setTimeoutIntervalForResource, millisecondsIn>},
    Option{ORX_OPTION_TIMEOUT,
           configure<&Configuration::timeoutIntervalForRequest,
                     &Configuration::setTimeoutIntervalForRequest, millisecondsIn>},
    Option{ORX_OPTION_MAXIMUM_BODY_SIZE,
           configure<&Configuration::maximumBodySize, &Configuration::setMaximumBodySize, sizeIn>},
    Option{
        ORX_OPTION_MAXIMUM_HEADER_SIZE,
        configure<&Configuration::maximumHeaderSize, &Configuration::setMaximumHeaderSize, sizeIn>},
    Option{ORX_OPTION_KEYCHAIN,
           [](const OptionalText& value) {
             setKeychainPolicy(choiceOf<KeychainPolicy>(
                 {{"prefer-secret-service", KeychainPolicy::PreferSecretService},
                  {"secret-service", KeychainPolicy::SecretServiceOnly},
                  {"file", KeychainPolicy::FileOnly}},
                 value));
           }},
    Option{ORX_OPTION_KEYCHAIN_PROMPTS,
           [](const OptionalText& value) { setKeychainPromptsAllowed(yesOrNo(value)); }},
    Option{
        ORX_OPTION_CHINA,
        [](const OptionalText& value) { ORVAAccountAPI::setTargetServerWithIsCN(yesOrNo(value)); }},
};

// Without asking for memory: what is to be logged may be that there is none.
void handLine(void (*handler)(void* context, int level, const char* line), const Context& context,
              LogLevel level, std::string_view line) {
  // No line is longer.
  std::array<char, PIPE_BUF + 1> text{};
  line.copy(text.data(), text.size() - 1);
  handler(context.pointer(), static_cast<int>(level), text.data());
}

Value addressOf(const std::optional<URL>& url) {
  return url ? Value(url->absoluteString()) : Value();
}

Dictionary standing() {
  const auto& account = ORVAAccount::sharedInstance();
  const KeychainStatus keychain = keychainStatus();
  return {{"version", orx_version()},
          {"customerInfoURL", addressOf(account->lumCusInfoURL())},
          {"accountServiceURL", addressOf(account->orvaServiceURL())},
          {"china", ORVAAccountAPI::targetServerIsCN()},
          {"keychainStore", keychain.store()},
          {"keychainEncrypted", keychain.encryptedAtRest()},
          {"keychainLocked", keychain.locked()},
          {"keychainError", keychain.lastError()},
          {"keychainDescription", keychain.description()},
          {"keychainPath", keychain.path()},
          {"keychainRemedy", keychain.remedy()}};
}

}  // namespace

}  // namespace orx::c

using namespace orx::c;

const char* orx_version(void) { return ORX_VERSION; }

orx_error* orx_set_option(const char* name, const char* value) {
  return guarded([&] {
    const auto wanted = requiredText(name, "the option's name");
    const auto* option = std::ranges::find(kOptions, wanted, &Option::name);
    if (option == kOptions.end()) {
      throw std::invalid_argument("there is no option '" + std::string(wanted) + "'");
    }
    option->set(optionalText(value, "the option's value"));
  });
}

orx_error* orx_set_servers(const char* global_host, const char* china_host,
                           const char* development_host, const char* service_namespace) {
  return guarded([&] {
    orx::ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
        requiredText(global_host, "the global host"), optionalText(china_host, "the China host"),
        optionalText(development_host, "the development host"),
        optionalText(service_namespace, "the namespace"));
  });
}

orx_error* orx_initialize(const char* app_id, const char* app_key, int is_stage) {
  return guarded([&] {
    std::string appID(requiredText(app_id, "the application's ID"));
    std::string appKey(requiredText(app_key, "the application's key"));
    orx::ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
        std::nullopt, std::move(appKey), std::move(appID), is_stage != 0);
  });
}

orx_error* orx_prepare_connection(void) {
  return guarded([] { orx::ORVAAccountAPI::prepareConnection(); });
}

orx_error* orx_set_log_handler(void (*handler)(void* context, int level, const char* line),
                               void* context, void (*ended)(void* context)) {
  return guarded([&] {
    const auto held = std::make_shared<Context>(context);
    orx::LogHandler handing;
    if (handler != nullptr) {
      handing = [handler, held](orx::LogLevel level, std::string_view line) {
        handLine(handler, *held, level, line);
      };
    }
    orx::setLogHandler(std::move(handing));
    held->endWith(ended);
  });
}

orx_error* orx_status(orx_result** status) {
  return guarded([&] {
    orx_result*& place = placeOf(status);
    place = new orx_result{.payload = Document(standing())};
  });
}
