// SPDX-License-Identifier: MIT
#include "support/HostileAnswers.h"

#include <netinet/in.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

namespace orx::testing {
namespace {

using namespace std::string_literals;

constexpr std::size_t kDeep = hostileCount / 2;

std::string billionLaughs() {
  std::string text = "<!DOCTYPE r [<!ENTITY e0 'lol'>";
  for (int level = 1; level < 10; ++level) {
    text += "<!ENTITY e" + std::to_string(level) + " '" +
            repeated("&e" + std::to_string(level - 1) + ";", 10) + "'>";
  }
  return text + "]><r>&e9;</r>";
}

std::string quadraticBlowup() {
  return "<!DOCTYPE r [<!ENTITY e '" + std::string(50'000, 'x') + "'>]><r>" +
         repeated("&e;", 50'000) + "</r>";
}

}  // namespace

std::string repeated(std::string_view text, std::size_t count) {
  std::string all;
  all.reserve(text.size() * count);
  while (count-- > 0) all += text;
  return all;
}

std::string elementWithAttributes(std::size_t count, const std::string& content) {
  std::string text = "<r";
  for (std::size_t number = 0; number < count; ++number) {
    text += " a" + std::to_string(number) + "='v'";
  }
  return text + ">" + content + "</r>";
}

std::vector<HostileAnswer> hostileXML() {
  return {
      {"DeepElements", repeated("<a>", kDeep) + repeated("</a>", kDeep)},
      {"DeepElementsCut", repeated("<a>", kDeep)},
      {"BillionLaughs", billionLaughs()},
      {"QuadraticBlowup", quadraticBlowup()},
      {"EntityLoop", "<!DOCTYPE r [<!ENTITY a '&b;'><!ENTITY b '&a;'>]><r>&a;</r>"},
      {"UTF8DeclaredAsUTF16", "<?xml version='1.0' encoding='utf-16'?><r>text</r>"},
      {"InvalidUTF8", "<r>\xc3(\xff</r>"},
      {"Surrogate", "<r>\xed\xa0\x80</r>"},
      {"Nul", "<r>a\0b</r>"s},
      {"NulReference", "<r>&#0;</r>"},
      {"UndeclaredEntity", "<r>&nothing;</r>"},
      {"TwoRoots", "<r/><r/>"},
      {"DuplicateAttribute", "<r a='1' a='2'/>"},
      {"OpenAttributes", "<r" + repeated(" a='v'", hostileCount)},
  };
}

std::vector<HostileAnswer> hostileJSON() {
  return {
      {"DeepArrays", std::string(kDeep, '[') + std::string(kDeep, ']')},
      {"DeepArraysCut", std::string(kDeep, '[')},
      {"DeepObjects", repeated("{\"a\":", kDeep) + "1" + std::string(kDeep, '}')},
      {"NumberBeyondEveryDouble", R"({"Status":1e999,"Message":"m","Result":{}})"},
      {"EndlessNumber", "{\"Status\":" + std::string(hostileCount * 2, '9') + "}"},
      {"InvalidUTF8InJSON", "{\"Status\":0,\"Message\":\"\xc3(\"}"},
      {"NulInJSON", "{\"Status\":0,\"Message\":\"a\0b\"}"s},
      {"LoneSurrogate", R"({"Status":0,"Message":"\ud800"})"},
      {"TwoByteOrderMarks", "\xef\xbb\xbf\xef\xbb\xbf{\"Status\":0}"},
      {"NotANumber", R"({"Status":NaN})"},
  };
}

std::vector<HostileAnswer> hostileAnswers() {
  std::vector<HostileAnswer> all = hostileXML();
  for (auto& each : hostileJSON()) all.push_back(std::move(each));
  all.push_back({"Empty", ""});
  all.push_back({"BlankSpace", std::string(100'000, ' ')});
  all.push_back({"Nuls", std::string(100'000, '\0')});
  all.push_back({"OpeningTags", repeated("<ResultCode>", hostileCount / 2)});
  return all;
}

ForbiddenPlaces::ForbiddenPlaces() {
  const auto file = directory_ / "secret";
  std::ofstream(file) << secret;
  watch_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (inotify_add_watch(watch_, file.c_str(), IN_OPEN | IN_ACCESS) < 0) {
    throw std::runtime_error("cannot watch a file");
  }
}

ForbiddenPlaces::~ForbiddenPlaces() { close(watch_); }

std::vector<std::string> ForbiddenPlaces::documentTypes() const {
  std::vector<std::string> types;
  for (const std::string& place :
       {"file://" + (directory_ / "secret").string(), (directory_ / "secret").string(),
        "http://127.0.0.1:" + std::to_string(listener_.port()) + "/e"}) {
    types.push_back("<!DOCTYPE r [<!ENTITY e SYSTEM '" + place + "'>]>");
    types.push_back("<!DOCTYPE r [<!ENTITY e PUBLIC 'p' '" + place + "'>]>");
    types.push_back("<!DOCTYPE r [<!ENTITY % p SYSTEM '" + place + "'>%p;<!ENTITY e ''>]>");
    types.push_back("<!DOCTYPE r SYSTEM '" + place + "' [<!ENTITY e ''>]>");
  }
  return types;
}

bool ForbiddenPlaces::fileWasOpened() const {
  char event[4096];
  return read(watch_, event, sizeof event) > 0;
}

bool ForbiddenPlaces::portWasReached() const {
  const int connection = listener_.accept();
  if (connection >= 0) close(connection);
  return connection >= 0;
}

std::size_t peakMemory() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<std::size_t>(usage.ru_maxrss) * 1024;
}

}  // namespace orx::testing
