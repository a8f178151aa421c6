// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Error.h>

#include <utility>

namespace orx {

struct Error::State {
  std::string domain;
  std::int64_t code = 0;
  Dictionary userInfo;

  friend bool operator==(const State&, const State&) = default;
};

Error::Error(std::unique_ptr<const State> state) : state_(std::move(state)) {}

Error::~Error() = default;

std::shared_ptr<Error> Error::errorWithDomain_code_userInfo(std::string_view domain,
                                                            std::int64_t code,
                                                            Dictionary userInfo) {
  auto state = std::make_unique<State>(State{std::string(domain), code, std::move(userInfo)});
  return std::shared_ptr<Error>(new Error(std::move(state)));
}

const std::string& Error::domain() const { return state_->domain; }

std::int64_t Error::code() const { return state_->code; }

const Dictionary& Error::userInfo() const { return state_->userInfo; }

std::string Error::localizedDescription() const {
  if (auto text = userInfo()[NSLocalizedDescriptionKey].text()) return *std::move(text);
  return "The operation could not be completed. (" + domain() + " error " + std::to_string(code()) +
         ".)";
}

bool Error::isEqual(const Object* object) const {
  const auto* other = dynamic_cast<const Error*>(object);
  return other != nullptr && *state_ == *other->state_;
}

}  // namespace orx
