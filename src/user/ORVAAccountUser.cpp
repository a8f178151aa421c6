// SPDX-License-Identifier: MIT
// The record's fields and its archive. The current user is in CurrentUser.cpp, the picture in
// ProfileImage.cpp.

#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <utility>

#include "config/Servers.h"
#include "platform/base/DateFormatter.h"
#include "platform/queues/OperationQueue.h"
#include "user/ArchivedClasses.h"
#include "user/UserState.h"

namespace orx {

using namespace platform;
using namespace config;

namespace {

// The key of the fields within a stored record. It is a format and never changes.
constexpr std::string_view kUserInfoKey = "_userInfo";

constexpr std::string_view kRegion = "region";
constexpr std::string_view kPicturePath = "/utilities/pic.ashx?s=large&f=";
constexpr std::string_view kChina = "CHN";

}  // namespace

ORVAAccountUser::ORVAAccountUser(std::optional<Dictionary> userInfo)
    : state_(std::make_unique<State>(State{std::move(userInfo)})) {
  state_->imageQueue.set(std::make_shared<OperationQueue>());
}

ORVAAccountUser::~ORVAAccountUser() = default;

std::shared_ptr<ORVAAccountUser> ORVAAccountUser::initWithUserInfo(
    std::optional<Dictionary> userInfo) {
  return std::shared_ptr<ORVAAccountUser>(new ORVAAccountUser(std::move(userInfo)));
}

const std::optional<Dictionary>& ORVAAccountUser::userInfo() const { return state_->userInfo; }

std::optional<std::string> ORVAAccountUser::field(std::string_view key) const {
  if (!userInfo()) return std::nullopt;
  return (*userInfo())[key].text();
}

std::optional<std::string> ORVAAccountUser::login() const { return field(kORVAAccountLogin); }

std::optional<std::string> ORVAAccountUser::email() const { return field(kORVAAccountEMail); }

std::optional<std::string> ORVAAccountUser::country() const {
  auto country = field(kORVAAccountCountry);
  if (country && !country->empty()) return country;
  return field(kRegion);
}

std::optional<std::string> ORVAAccountUser::cusID() const { return field(kORVAAccountCusID); }

std::optional<std::string> ORVAAccountUser::ticket() const { return field(kORVAAccountTicket); }

std::optional<std::string> ORVAAccountUser::firstName() const {
  return field(kORVAAccountFirstName);
}

std::optional<std::string> ORVAAccountUser::lastName() const { return field(kORVAAccountLastName); }

std::optional<std::string> ORVAAccountUser::nickName() const { return field(kORVAAccountNickName); }

// The picture text goes in as it stands, unescaped; text that makes no URL gives none.
std::optional<URL> ORVAAccountUser::pictureURL() const {
  std::string text(originOf(isCNServer() ? ServerSet::China : ServerSet::Global));
  text += kPicturePath;
  text += field(kORVAAccountPicture).value_or("");
  return URL::URLWithString(text);
}

std::optional<std::chrono::sys_seconds> ORVAAccountUser::birthdate() const {
  const auto text = birthdateString();
  return text ? dateFromString(*text) : std::nullopt;
}

std::optional<std::string> ORVAAccountUser::mobile() const { return field(kORVAAccountMobile); }

std::optional<std::string> ORVAAccountUser::birthdateString() const {
  return field(kORVAAccountBirthDate);
}

bool ORVAAccountUser::isCNServer() const { return country() == kChina; }

bool ORVAAccountUser::isEqual(const Object* object) const {
  if (object == this) return true;
  return isEqualToUser(dynamic_cast<const ORVAAccountUser*>(object));
}

bool ORVAAccountUser::isEqualToUser(const ORVAAccountUser* user) const {
  return user != nullptr && userInfo() && user->userInfo() && *userInfo() == *user->userInfo();
}

bool ORVAAccountUser::supportsSecureCoding() { return true; }

std::string_view ORVAAccountUser::archivedClassName() const { return user::kUserClassName; }

void ORVAAccountUser::encodeWithCoder(Coder& coder) const {
  coder.encodeObject_forKey(userInfo(), kUserInfoKey);
}

std::shared_ptr<ORVAAccountUser> ORVAAccountUser::initWithCoder(const Coder& coder) {
  const Value userInfo = coder.decodeObjectOfClass_forKey(Value::Kind::Dictionary, kUserInfoKey);
  const Dictionary* dictionary = userInfo.dictionary();
  return initWithUserInfo(dictionary != nullptr ? std::optional(*dictionary) : std::nullopt);
}

}  // namespace orx
