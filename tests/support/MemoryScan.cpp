// SPDX-License-Identifier: MIT
#include "support/MemoryScan.h"

#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace orx::testing {
namespace {

constexpr char kMask = '\x15';
constexpr std::size_t kCounted = 16;
constexpr std::size_t kPiece = std::size_t{1} << 20U;

struct Range {
  std::size_t begin;
  std::size_t end;
};

Range rangeIn(const std::string& line) {
  Range range{};
  const char* const end = line.data() + line.size();
  const auto dash = std::from_chars(line.data(), end, range.begin, 16).ptr;
  std::from_chars(dash + 1, end, range.end, 16);
  return range;
}

std::vector<Range> writableMemory() {
  std::vector<Range> ranges;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(" rw") != std::string::npos) ranges.push_back(rangeIn(line));
  }
  return ranges;
}

// Where the memory is read to. It has pages of its own, which are passed over: a copy that was just
// read there is none of the process's.
class Window {
 public:
  Window()
      : bytes_(static_cast<char*>(
            mmap(nullptr, kPiece, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
    if (bytes_ == MAP_FAILED) throw std::runtime_error("cannot map memory");
  }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;
  ~Window() { munmap(bytes_, kPiece); }

  bool overlaps(const Range& piece) const {
    const auto begin = reinterpret_cast<std::size_t>(bytes_);
    return piece.begin < begin + kPiece && begin < piece.end;
  }
  std::string_view read(int memory, const Range& piece) {
    const auto count =
        pread(memory, bytes_, piece.end - piece.begin, static_cast<off_t>(piece.begin));
    return {bytes_, count > 0 ? static_cast<std::size_t>(count) : 0};
  }

 private:
  char* const bytes_;
};

std::size_t countIn(std::string_view bytes, std::string_view masked) {
  const auto first = static_cast<char>(masked.front() ^ kMask);
  std::size_t count = 0;
  for (auto at = bytes.find(first); at != std::string_view::npos; at = bytes.find(first, at + 1)) {
    if (bytes.size() - at < masked.size()) break;
    std::size_t same = 1;
    while (same < masked.size() && (bytes[at + same] ^ kMask) == masked[same]) ++same;
    if (same == masked.size()) ++count;
  }
  return count;
}

}  // namespace

Canary::Canary(std::string_view name, std::size_t length) {
  // A generator of its own, so that another process finds the same.
  unsigned state = 1;
  for (const char letter : name) state = state * 31 + static_cast<unsigned char>(letter);
  for (std::size_t at = 0; at < length; ++at) {
    state = state * 1103515245U + 12345U;
    masked_ +=
        static_cast<char>("abcdefghijklmnopqrstuvwxyz0123456789"[(state >> 16U) % 36] ^ kMask);
  }
}

std::string Canary::text() const {
  std::string text = masked_;
  for (char& letter : text) letter = static_cast<char>(letter ^ kMask);
  return text;
}

std::size_t Canary::copies() const {
  const std::string_view end = std::string_view(masked_).substr(masked_.size() - kCounted);
  const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
  if (memory < 0) throw std::runtime_error("cannot read the process's memory");
  Window window;
  std::size_t count = 0;
  for (const Range& range : writableMemory()) {
    // Pieces overlap by a byte less than what is looked for, so that each copy is in one only.
    for (Range piece = range; piece.begin + kCounted <= range.end;
         piece.begin += kPiece - kCounted + 1) {
      piece.end = std::min(piece.begin + kPiece, range.end);
      if (!window.overlaps(piece)) count += countIn(window.read(memory, piece), end);
    }
  }
  close(memory);
  return count;
}

void wipeHosts(std::string& text) {
  explicit_bzero(text.data(), text.size());
  text.clear();
}

}  // namespace orx::testing
