// SPDX-License-Identifier: MIT
#include <regex>
#include <string>

#include "FuzzTarget.h"
#include "ScratchFolder.h"
#include "platform/http/curl/TrustPlace.h"

// The names of the files in a certificate directory, one a line.
ORX_FUZZ_TARGET(text) {
  static const ScratchFolder folder;
  static const std::regex hash("[0-9A-Fa-f]{8}\\.[0-9]+");
  folder.clear();
  const auto bundle = folder.path() / "bundle.pem";
  ScratchFolder::write(bundle, "");
  bool isExpected = false;
  int files = 0;
  for (FuzzInput input(text); !input.empty() && files < 16; ++files) {
    const std::string name(input.line());
    const bool isName = !name.empty() && name != "." && name != ".." && name.size() < 200 &&
                        name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
    if (!isName) continue;
    ScratchFolder::write(folder.path() / name, "");
    isExpected = isExpected || std::regex_match(name, hash);
  }
  const auto place = orx::platform::systemTrust(bundle.c_str(), folder.path().c_str());
  ORX_FUZZ_CHECK(place && place->isDirectory == isExpected);
  const orx::platform::FileState state(place->path);
  const std::string respelled = state.respelled(place->path);
  ORX_FUZZ_CHECK(state.exists() && respelled != place->path);
  ORX_FUZZ_CHECK(orx::platform::FileState(respelled) == state);
}
