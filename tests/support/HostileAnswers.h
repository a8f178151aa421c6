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

// Documents that no XML parser should accept, or not go to the end of.
std::vector<HostileAnswer> hostileXML();
// Texts that no JSON reader should accept.
std::vector<HostileAnswer> hostileJSON();
// Both, and texts that are neither.
std::vector<HostileAnswer> hostileAnswers();

// How often a large one of them repeats what is to wear its reader out. The thread sanitizer has
// memrchr look at all of its text, so that going back from tag to tag takes it quadratic time.
#if defined(__SANITIZE_THREAD__)
inline constexpr std::size_t hostileCount = 20'000;
#else
inline constexpr std::size_t hostileCount = 200'000;
#endif

std::string repeated(std::string_view text, std::size_t count);
// An element with that many attributes, and this content.
std::string elementWithAttributes(std::size_t count, const std::string& content);

// A file and a port that documents name, which nobody may open.
class ForbiddenPlaces {
 public:
  ForbiddenPlaces();
  ForbiddenPlaces(const ForbiddenPlaces&) = delete;
  ForbiddenPlaces& operator=(const ForbiddenPlaces&) = delete;
  ~ForbiddenPlaces();

  // The file's content.
  static constexpr const char* secret = "nobody may read this";
  // Document types, each of which names one of the two places as an entity that "&e;" stands for,
  // or as a part of the document type itself.
  std::vector<std::string> documentTypes() const;

  bool fileWasOpened() const;
  bool portWasReached() const;

 private:
  TemporaryDirectory directory_;
  int watch_ = -1;
  const LoopbackListener listener_{SOCK_NONBLOCK};
};

// The most memory that this process has had at one time, in bytes.
std::size_t peakMemory();

}  // namespace orx::testing
