// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::size_t replayFolder(const std::filesystem::path& folder) {
  std::size_t replayed = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    // Print the name first: when an input ends the process, the last line tells which one.
    std::cout << entry.path().filename().string() << std::endl;
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++replayed;
  }
  return replayed;
}

}  // namespace

// Runs the fuzz target once for every file below the given folders.
int main(int argumentCount, char** arguments) {
  try {
    std::size_t replayed = 0;
    for (int index = 1; index < argumentCount; ++index) replayed += replayFolder(arguments[index]);
    std::cout << replayed << " inputs replayed\n";
    // Fail on an empty corpus, or a wrong path would look like a pass.
    return replayed > 0 ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
