// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// What held a password, a key or a ticket is overwritten before its memory is given back: freed as
// it is, it would lie there until somebody else needs the memory, and come with every core dump.
namespace orx::platform {

// Overwrites memory; no compiler leaves it out.
void wipe(void* memory, std::size_t size) noexcept;

// The same for the content of a string or a vector of bytes, which is empty then. With its whole
// room: what a longer content has left behind, and what a short text leaves when it is moved.
template <typename Bytes>
void wipe(Bytes& bytes) noexcept {
  bytes.clear();
  bytes.resize(bytes.capacity());
  // Says that the zeros are read. Nobody reads them, so the compiler would leave them out.
  asm volatile("" : : "r"(bytes.data()) : "memory");
  bytes.clear();
}

// free() and realloc() for libraries in C, over memory of malloc(): what is given back is wiped.
void freeWiping(void* memory) noexcept;
void* reallocWiping(void* memory, std::size_t size) noexcept;

// A string or a vector of bytes that is wiped at its end. For what has its size from the
// beginning: what grows leaves copies behind.
template <typename Bytes>
class Wiped : public Bytes {
 public:
  using Bytes::Bytes;
  Wiped() = default;
  Wiped(Bytes bytes) noexcept : Bytes(std::move(bytes)) {}
  Wiped(const Wiped&) = default;
  Wiped(Wiped&&) noexcept = default;
  Wiped& operator=(const Wiped& other) { return *this = Wiped(other); }
  Wiped& operator=(Wiped&& other) noexcept {
    Bytes::swap(other);
    return *this;
  }
  ~Wiped() { wipe(static_cast<Bytes&>(*this)); }

  // Gives it room for so many in all, and leaves no copy where it was.
  void makeRoom(std::size_t capacity) {
    if (capacity <= this->capacity()) return;
    Wiped larger;
    larger.reserve(capacity);
    larger.insert(larger.end(), this->begin(), this->end());
    Bytes::swap(larger);
  }
};

// For what grows: wipes each piece of memory that it gives back. A text of up to 15 bytes lies in
// the string itself and is not wiped.
template <typename T>
class WipingAllocator {
 public:
  using value_type = T;

  WipingAllocator() = default;
  template <typename Other>
  WipingAllocator(const WipingAllocator<Other>&) noexcept {}

  T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T* memory, std::size_t count) noexcept {
    wipe(memory, count * sizeof(T));
    std::allocator<T>().deallocate(memory, count);
  }
  bool operator==(const WipingAllocator&) const = default;
};
using GrowingSecretText = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;
using GrowingSecretBytes = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

}  // namespace orx::platform
