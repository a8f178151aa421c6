// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace orx::testing {

// A text that lies in the process's memory nowhere but where somebody has put it: kept masked.
class Canary {
 public:
  // The same for the same name, and of another one for another: letters and digits, too many for
  // the room inside a std::string. A long one is found after it was freed: the memory of a short
  // one may go to somebody else within the same call.
  explicit Canary(std::string_view name, std::size_t length = 48);

  // A copy for the host, who wipes it.
  std::string text() const;
  // How many copies lie in what this process can write to, as they are or in base64. Counted is
  // the text's end: freeing memory overwrites what it begins with.
  std::size_t copies() const;
  // The same in another process, which does nothing meanwhile.
  std::size_t copiesIn(pid_t process) const;
  // In the memory that a core file holds. The registers of each thread, which are in it too, keep
  // what was copied through them last.
  std::size_t copiesInCore(const std::filesystem::path& file) const;

 private:
  std::string masked_;
  // What is looked for.
  std::vector<std::string> forms_;
};

// The host's own wiping.
void wipeHosts(std::string& text);

}  // namespace orx::testing
