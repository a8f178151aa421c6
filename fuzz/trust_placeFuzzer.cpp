// SPDX-License-Identifier: MIT
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <regex>
#include <string>
#include <vector>

#include "FuzzTarget.h"
#include "platform/http/curl/TrustPlace.h"
#include "support/StorageHome.h"

// The names of the files in a certificate directory, one a line; a bundle lies there, too.
ORX_FUZZ_TARGET(text) {
  static const orx::testing::TemporaryDirectory folder;
  static const std::regex hash("[0-9A-Fa-f]{8}\\.[0-9]+");
  static const auto bundle = [] {
    orx::testing::writeContent(folder / "bundle.pem", "");
    return folder / "bundle.pem";
  }();
  std::vector<std::string> made;
  bool isExpected = false;
  int files = 0;
  for (FuzzInput input(text); !input.empty() && files < 16; ++files) {
    const std::string name(input.line());
    const bool isName = !name.empty() && name != "." && name != ".." && name.size() < 200 &&
                        name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
    if (!isName) continue;
    const std::string path = folder / name;
    const bool isNew = mknod(path.c_str(), S_IFREG | 0600, 0) == 0;
    ORX_FUZZ_CHECK(isNew || errno == EEXIST);
    if (isNew) made.push_back(path);
    isExpected = isExpected || std::regex_match(name, hash);
  }
  const auto place = orx::platform::systemTrust(bundle.c_str(), folder.path().c_str());
  ORX_FUZZ_CHECK(place && place->isDirectory == isExpected);
  const orx::platform::FileState state(place->path);
  const std::string respelled = state.respelled(place->path);
  ORX_FUZZ_CHECK(state != orx::platform::FileState() && respelled != place->path);
  ORX_FUZZ_CHECK(orx::platform::FileState(respelled) == state);
  for (const auto& file : made) unlink(file.c_str());
}
