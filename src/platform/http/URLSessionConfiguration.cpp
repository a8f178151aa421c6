// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <utility>

#include "platform/base/Wiping.h"
#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

namespace {

constexpr std::chrono::milliseconds usualTimeout{60'000};
constexpr std::chrono::milliseconds usualLongestCall = std::chrono::hours(7 * 24);

std::chrono::milliseconds positiveOr(std::chrono::milliseconds usual,
                                     std::chrono::milliseconds given) {
  return given.count() > 0 ? given : usual;
}

Guarded<URLSessionConfiguration>& configurationInForce() {
  static constinit ProcessWide<Guarded<URLSessionConfiguration>> configuration;
  return configuration.get();
}

}  // namespace

struct URLSessionConfiguration::Content {
  Content() = default;
  Content(const Content&) = default;
  Content& operator=(const Content&) = delete;
  ~Content() { setProxy({}); }

  // Wipes what stood there, which may hold a password.
  void setProxy(std::optional<std::string> text) {
    proxy.swap(text);
    if (text) wipe(*text);
  }

  std::optional<std::string> caFile;
  std::optional<std::string> proxy;
  std::string proxyExceptions;
  std::map<std::string, Address> connectTo;
  std::chrono::milliseconds timeoutIntervalForRequest = usualTimeout;
  std::chrono::milliseconds timeoutIntervalForResource = usualLongestCall;
  std::size_t maximumBodySize = std::size_t{64} * 1024 * 1024;
  std::size_t maximumHeaderSize = std::size_t{256} * 1024;

  friend bool operator==(const Content&, const Content&) = default;
};

URLSessionConfiguration::URLSessionConfiguration() : content_(std::make_shared<Content>()) {}

// A copy of its own, since other handles, on other threads too, may read what there is.
URLSessionConfiguration::Content& URLSessionConfiguration::changeable() {
  auto copy = std::make_shared<Content>(*content_);
  Content& content = *copy;
  content_ = std::move(copy);
  return content;
}

const std::optional<std::string>& URLSessionConfiguration::caFile() const {
  return content_->caFile;
}

void URLSessionConfiguration::setCaFile(std::optional<std::string> caFile) {
  changeable().caFile = std::move(caFile);
}

const std::optional<std::string>& URLSessionConfiguration::proxy() const { return content_->proxy; }

void URLSessionConfiguration::setProxy(std::optional<std::string> proxy) {
  changeable().setProxy(std::move(proxy));
}

const std::string& URLSessionConfiguration::proxyExceptions() const {
  return content_->proxyExceptions;
}

void URLSessionConfiguration::setProxyExceptions(std::string proxyExceptions) {
  changeable().proxyExceptions = std::move(proxyExceptions);
}

const std::map<std::string, URLSessionConfiguration::Address>& URLSessionConfiguration::connectTo()
    const {
  return content_->connectTo;
}

void URLSessionConfiguration::setConnectTo(std::string host, Address address) {
  changeable().connectTo.insert_or_assign(std::move(host), std::move(address));
}

std::chrono::milliseconds URLSessionConfiguration::timeoutIntervalForRequest() const {
  return content_->timeoutIntervalForRequest;
}

void URLSessionConfiguration::setTimeoutIntervalForRequest(
    std::chrono::milliseconds timeoutIntervalForRequest) {
  changeable().timeoutIntervalForRequest = positiveOr(usualTimeout, timeoutIntervalForRequest);
}

std::chrono::milliseconds URLSessionConfiguration::timeoutIntervalForResource() const {
  return content_->timeoutIntervalForResource;
}

void URLSessionConfiguration::setTimeoutIntervalForResource(
    std::chrono::milliseconds timeoutIntervalForResource) {
  changeable().timeoutIntervalForResource =
      positiveOr(usualLongestCall, timeoutIntervalForResource);
}

std::size_t URLSessionConfiguration::maximumBodySize() const { return content_->maximumBodySize; }

void URLSessionConfiguration::setMaximumBodySize(std::size_t maximumBodySize) {
  changeable().maximumBodySize = maximumBodySize;
}

std::size_t URLSessionConfiguration::maximumHeaderSize() const {
  return content_->maximumHeaderSize;
}

void URLSessionConfiguration::setMaximumHeaderSize(std::size_t maximumHeaderSize) {
  changeable().maximumHeaderSize = maximumHeaderSize;
}

URLSessionConfiguration URLSessionConfiguration::defaultConfiguration() {
  return configurationInForce().get();
}

void URLSessionConfiguration::setDefaultConfiguration(
    const URLSessionConfiguration& configuration) {
  configurationInForce().set(configuration);
}

bool operator==(const URLSessionConfiguration& left, const URLSessionConfiguration& right) {
  return left.content_ == right.content_ || *left.content_ == *right.content_;
}

}  // namespace orx
