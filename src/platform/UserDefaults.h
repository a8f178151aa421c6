#pragma once

#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Object.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orx {

// The application's persistent settings: one property-list file, shared by the application's
// processes. Every change is on disk when its call returns. Safe to use from any thread.
class UserDefaults final : public Object {
 public:
  // The defaults of the bundle identifier that is set at the moment of each call.
  static const std::shared_ptr<UserDefaults>& standardUserDefaults();

  // `error` is set when the file could not be read or is damaged: then nothing is known about the
  // value. Otherwise an absent value is truly absent.
  struct StringReading {
    std::optional<std::string> value;
    std::shared_ptr<Error> error;
  };
  StringReading stringForKey(std::string_view key) const;

  // Each gives null, or why the change could not be stored; the file is then as it was.
  std::shared_ptr<Error> setString_forKey(std::string_view value, std::string_view key);
  std::shared_ptr<Error> removeObjectForKey(std::string_view key);

  // Makes sure that earlier changes survive a crash of the machine.
  std::shared_ptr<Error> synchronize();

 private:
  UserDefaults() = default;
};

}  // namespace orx
