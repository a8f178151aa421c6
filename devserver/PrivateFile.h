// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

// Files that hold private keys, password hashes and tickets: for their owner alone (0600), also
// where one with wider rights was there before, and never at the other end of a link. Both throw
// std::runtime_error when the file cannot be had, and when what stands there is a link or no file.
namespace orx::devserver {

// Replaces the file in one step: whoever has the earlier one open does not see the new text.
void writePrivateFile(const std::filesystem::path& path, const std::string& text);

// Makes the file when it is missing, and takes everyone else's rights to it away. A file with other
// content than one that begins like `beginning` (of 16 bytes at most) is somebody else's, stays as
// it is, and is an error. Gives its path with the links among its folders resolved.
std::filesystem::path makePrivateFile(const std::filesystem::path& path,
                                      std::string_view beginning);

}  // namespace orx::devserver
