// SPDX-License-Identifier: MIT
#include "support/MemoryScan.h"

#include <elf.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <fstream>
#include <stdexcept>

#include "platform/base/Base64.h"
#include "platform/base/Wiping.h"
#include "platform/storage/FileDescriptor.h"

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

std::vector<Range> writableMemory(const std::string& process) {
  std::vector<Range> ranges;
  std::ifstream maps(process + "/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(" rw") != std::string::npos) ranges.push_back(rangeIn(line));
  }
  return ranges;
}

// Where memory and files are read to. It has pages of its own, which a process that looks through
// itself passes over: a copy that was just read there is none of the process's.
class Window {
 public:
  explicit Window(const std::filesystem::path& file)
      : file_(open(file.c_str(), O_RDONLY | O_CLOEXEC)),
        bytes_(static_cast<char*>(
            mmap(nullptr, kPiece, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
    if (!file_ || bytes_ == MAP_FAILED) throw std::runtime_error("cannot read " + file.string());
  }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;
  ~Window() { munmap(bytes_, kPiece); }

  // The range without the window's own pages: the system may have joined them with others.
  std::array<Range, 2> besidesItself(const Range& range) const {
    const auto begin = reinterpret_cast<std::size_t>(bytes_);
    const std::size_t end = begin + kPiece;
    if (range.end <= begin || end <= range.begin) return {range, {}};
    return {Range{range.begin, begin}, Range{end, range.end}};
  }
  std::string_view read(const Range& piece) {
    const auto count =
        pread(file_.get(), bytes_, piece.end - piece.begin, static_cast<off_t>(piece.begin));
    return {bytes_, count > 0 ? static_cast<std::size_t>(count) : 0};
  }

 private:
  const platform::FileDescriptor file_;
  char* const bytes_;
};

// And back.
std::string masked(std::string_view text) {
  std::string other(text);
  for (char& letter : other) letter = static_cast<char>(letter ^ kMask);
  return other;
}

std::vector<Range> memoryInCore(Window& window) {
  Elf64_Ehdr head{};
  window.read({0, sizeof(head)}).copy(reinterpret_cast<char*>(&head), sizeof(head));
  std::vector<Elf64_Phdr> segments(head.e_phnum);
  const Range table{head.e_phoff, head.e_phoff + head.e_phnum * sizeof(Elf64_Phdr)};
  window.read(table).copy(reinterpret_cast<char*>(segments.data()), table.end - table.begin);
  std::vector<Range> ranges;
  for (const auto& segment : segments) {
    if (segment.p_type != PT_LOAD) continue;
    ranges.push_back({segment.p_offset, segment.p_offset + segment.p_filesz});
  }
  return ranges;
}

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

std::size_t countIn(Window& window, const Range& range, const std::vector<std::string>& forms) {
  std::size_t count = 0;
  // Pieces overlap by a byte less than what is looked for, so that each copy is in one only.
  for (Range piece = range; piece.begin + kCounted <= range.end;
       piece.begin += kPiece - kCounted + 1) {
    piece.end = std::min(piece.begin + kPiece, range.end);
    const std::string_view bytes = window.read(piece);
    for (const auto& form : forms) count += countIn(bytes, form);
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
  forms_.push_back(masked_.substr(length - kCounted));
  // Three bytes make four characters, and a text may begin at any of the three.
  constexpr std::size_t encoded = kCounted / 4 * 3;
  const platform::Wiped<std::string> plain(text());
  for (std::size_t at = length - encoded - 2; at <= length - encoded; ++at) {
    const platform::Wiped<std::string> form(
        platform::base64Of(Data(std::string_view(plain).substr(at, encoded))));
    forms_.push_back(masked(form));
  }
}

std::string Canary::text() const { return masked(masked_); }

std::size_t Canary::copies() const {
  Window window("/proc/self/mem");
  std::size_t count = 0;
  for (const Range& range : writableMemory("/proc/self")) {
    for (const Range& part : window.besidesItself(range)) count += countIn(window, part, forms_);
  }
  return count;
}

std::size_t Canary::copiesIn(pid_t process) const {
  const std::string place = "/proc/" + std::to_string(process);
  Window window(place + "/mem");
  std::size_t count = 0;
  for (const Range& range : writableMemory(place)) count += countIn(window, range, forms_);
  return count;
}

std::size_t Canary::copiesInCore(const std::filesystem::path& file) const {
  Window window(file);
  std::size_t count = 0;
  for (const Range& range : memoryInCore(window)) count += countIn(window, range, forms_);
  return count;
}

void wipeHosts(std::string& text) {
  explicit_bzero(text.data(), text.size());
  text.clear();
}

}  // namespace orx::testing
