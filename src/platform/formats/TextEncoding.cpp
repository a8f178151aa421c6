// SPDX-License-Identifier: MIT
#include "platform/formats/TextEncoding.h"

#include <iconv.h>

#include <array>
#include <cerrno>
#include <mutex>
#include <new>
#include <utility>

#include "platform/process/ForkSafety.h"

namespace orx::platform {

namespace {

// The most bytes of UTF-8 that a byte of text may become: a text of few bytes must not fill the
// memory.
constexpr std::size_t kLargestGrowth = 4;

class Converter {
 public:
  explicit Converter(const std::string& encoding) {
    const std::lock_guard lock(forkLocks.encodings);
    handle_ = iconv_open("UTF-8", encoding.c_str());
    if (!isOpen() && errno == ENOMEM) throw std::bad_alloc();
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  ~Converter() {
    if (!isOpen()) return;
    const std::lock_guard lock(forkLocks.encodings);
    iconv_close(handle_);
  }

  // What iconv_open() gives for none. NOLINTNEXTLINE(performance-no-int-to-ptr)
  bool isOpen() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

  // Appends the whole text, or gives false with what comes before the bytes that are none.
  bool append(std::string_view bytes, std::string& text) {
    const std::size_t most = text.size() + kLargestGrowth * bytes.size();
    // iconv writes through neither pointer. NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
    char* next = const_cast<char*>(bytes.data());
    std::size_t left = bytes.size();
    bool isText = true;
    while (text.size() <= most) {
      // An encoding may keep a character back until it has seen the next; the last one comes when
      // there is no text any more.
      const bool isEnd = left == 0;
      std::array<char, 4096> piece;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled below
      char* end = piece.data();
      std::size_t room = piece.size();
      const std::size_t before = left;
      const bool isDone = iconv(handle_, isEnd ? nullptr : &next, &left, &end, &room) !=
                          static_cast<std::size_t>(-1);
      const bool isFull = !isDone && errno == E2BIG;
      text.append(piece.data(), end);
      if (isDone && isEnd) return isText;
      // One that is full and has written nothing would go round for ever.
      const bool goesOn = left < before || end != piece.data();
      if (isDone || (isFull && goesOn)) continue;
      if (isEnd) return false;
      // The character that is kept back stands before the bytes that are none.
      isText = false;
      left = 0;
    }
    return false;
  }

 private:
  iconv_t handle_;
};

}  // namespace

std::optional<std::string> textInUTF8(std::string_view bytes, const std::string& encoding) {
  Converter converter(encoding);
  if (!converter.isOpen()) return std::nullopt;
  std::string text;
  text.reserve(bytes.size());
  if (!converter.append(bytes, text)) text += '\xFF';
  return text;
}

std::optional<std::string> textWithWideMarkInUTF8(std::string_view bytes) {
  using namespace std::string_view_literals;
  // The mark of little-endian UTF-32 begins with that of UTF-16.
  constexpr std::array<std::pair<std::string_view, const char*>, 4> kMarks{{
      {"\0\0\xFE\xFF"sv, "UTF-32BE"},
      {"\xFF\xFE\0\0"sv, "UTF-32LE"},
      {"\xFE\xFF"sv, "UTF-16BE"},
      {"\xFF\xFE"sv, "UTF-16LE"},
  }};
  for (const auto& [mark, encoding] : kMarks) {
    if (bytes.starts_with(mark)) return textInUTF8(bytes.substr(mark.size()), encoding);
  }
  return std::nullopt;
}

}  // namespace orx::platform
