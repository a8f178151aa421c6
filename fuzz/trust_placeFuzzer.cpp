// SPDX-License-Identifier: MIT
#include <regex>
#include <string>

#include "FuzzTarget.h"
#include "platform/http/curl/TrustPlace.h"
#include "support/StorageHome.h"

// The names of the files in a certificate directory, one a line.
ORX_FUZZ_TARGET(text) {
  static const orx::testing::TemporaryDirectory home;
  static const std::regex hash("[0-9A-Fa-f]{8}\\.[0-9]+");
  const auto folder = home / "certificates";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directory(folder);
  const auto bundle = folder / "bundle.pem";
  orx::testing::writeContent(bundle, "");
  bool isExpected = false;
  int files = 0;
  for (FuzzInput input(text); !input.empty() && files < 16; ++files) {
    const std::string name(input.line());
    const bool isName = !name.empty() && name != "." && name != ".." && name.size() < 200 &&
                        name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
    if (!isName) continue;
    orx::testing::writeContent(folder / name, "");
    isExpected = isExpected || std::regex_match(name, hash);
  }
  const auto place = orx::platform::systemTrust(bundle.c_str(), folder.c_str());
  ORX_FUZZ_CHECK(place && place->isDirectory == isExpected);
  const orx::platform::FileState state(place->path);
  const std::string respelled = state.respelled(place->path);
  ORX_FUZZ_CHECK(state.exists() && respelled != place->path);
  ORX_FUZZ_CHECK(orx::platform::FileState(respelled) == state);
}
