// SPDX-License-Identifier: MIT
#pragma once

#include <dirent.h>

#include <memory>

namespace orx::platform {

struct CloseDirectory {
  void operator()(DIR* listing) const noexcept { closedir(listing); }
};
// Of opendir() or fdopendir(); null where the directory cannot be listed. The iterators of
// std::filesystem end the process where memory for a name runs out.
using DirectoryListing = std::unique_ptr<DIR, CloseDirectory>;

}  // namespace orx::platform
