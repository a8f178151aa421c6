// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/LoopbackListener.h"
#include "support/TemporaryDirectory.h"

// Answers that a broken or malicious server may send.
namespace orx::testing {

struct HostileAnswer {
  std::string name;
  std::string text;
};

// Documents that an XML parser must refuse, or stop reading before their end.
std::vector<HostileAnswer> hostileXML();
// Texts that no JSON reader should accept.
std::vector<HostileAnswer> hostileJSON();
// Both, and texts that are neither.
std::vector<HostileAnswer> hostileAnswers();

// How often a large answer repeats the text that is to exhaust its reader. Under the thread
// sanitizer memrchr() checks the whole of its text, so searching backwards from tag to tag takes
// quadratic time.
#if defined(__SANITIZE_THREAD__)
inline constexpr std::size_t hostileCount = 20'000;
#else
inline constexpr std::size_t hostileCount = 200'000;
#endif

std::string repeated(std::string_view text, std::size_t count);
// An element with this many attributes and this content.
std::string elementWithAttributes(std::size_t count, const std::string& content);

// A file and a port that hostile documents refer to, with a check whether a parser opened them.
class ForbiddenPlaces {
 public:
  ForbiddenPlaces();
  ForbiddenPlaces(const ForbiddenPlaces&) = delete;
  ForbiddenPlaces& operator=(const ForbiddenPlaces&) = delete;
  ~ForbiddenPlaces();

  // The file's content.
  static constexpr const char* secret = "nobody may read this";
  // DOCTYPE declarations. Each refers to one of the two places, either as the entity "&e;" or as an
  // external part of the declaration itself.
  std::vector<std::string> documentTypes() const;

  bool fileWasOpened() const;
  bool portWasReached() const;

 private:
  TemporaryDirectory directory_;
  int watch_ = -1;
  const LoopbackListener listener_{SOCK_NONBLOCK};
};

// The peak resident memory of this process, in bytes.
std::size_t peakMemory();

}  // namespace orx::testing
