// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>

#include <memory>
#include <optional>
#include <string>

namespace orx {

// The host application as the system knows it. Its identifier decides where the application's user
// defaults and its keychain item live, so a host sets it once at start-up, before it initialises
// ORVAAccount. Safe to use from any thread.
class ORX_EXPORT Bundle {
 public:
  // Made on first use and never destroyed.
  static const std::shared_ptr<Bundle>& mainBundle();

  // A reverse-domain text such as "com.example.host"; absent until the host sets one. Programs
  // without one share a keychain item, but not the defaults, which go by the program's name: each
  // takes the user that another has stored for nobody's, and removes it.
  std::optional<std::string> bundleIdentifier() const;
  void setBundleIdentifier(std::optional<std::string> bundleIdentifier);

  Bundle(const Bundle&) = delete;
  Bundle& operator=(const Bundle&) = delete;
  ~Bundle();

 private:
  Bundle();
  struct State;

  std::unique_ptr<State> state_;
};

}  // namespace orx
