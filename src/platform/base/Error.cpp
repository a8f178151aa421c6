#include <ORXAccount/platform/Error.h>

namespace orx {

Error::Error(std::string_view domain, std::int64_t code, Dictionary userInfo)
    : domain_(domain), code_(code), userInfo_(std::move(userInfo)) {}

std::shared_ptr<Error> Error::errorWithDomain_code_userInfo(std::string_view domain,
                                                            std::int64_t code,
                                                            Dictionary userInfo) {
  return std::shared_ptr<Error>(new Error(domain, code, std::move(userInfo)));
}

std::string Error::localizedDescription() const {
  if (auto text = userInfo_[NSLocalizedDescriptionKey].text()) return *std::move(text);
  return "The operation could not be completed. (" + domain_ + " error " + std::to_string(code_) +
         ".)";
}

bool Error::isEqual(const Object* object) const {
  const auto* other = dynamic_cast<const Error*>(object);
  return other != nullptr && domain_ == other->domain_ && code_ == other->code_ &&
         userInfo_ == other->userInfo_;
}

}  // namespace orx
