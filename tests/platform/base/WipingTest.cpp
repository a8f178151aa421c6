// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/base/Wiping.h"

namespace orx::testing {

using namespace platform;
namespace {

TEST(Wiping, LeavesNothingOfATextWhereItWas) {
  std::string text(40, 'x');
  text.resize(20);
  const char* const memory = text.data();
  wipe(text);
  EXPECT_TRUE(text.empty());
  EXPECT_TRUE(std::all_of(memory, memory + 40, [](char byte) { return byte == 0; }));
}

TEST(Wiping, TakesWhatIsEmpty) {
  std::vector<std::uint8_t> bytes;
  wipe(bytes);
  EXPECT_TRUE(bytes.empty());
  freeWiping(nullptr);
}

TEST(Wiping, KeepsTheContentOfWhatGrows) {
  Wiped<std::string> text("a text that lies in memory of its own");
  const std::string before = text;
  text.makeRoom(1000);
  EXPECT_GE(text.capacity(), 1000U);
  EXPECT_EQ(text, before);

  auto* memory = static_cast<char*>(reallocWiping(nullptr, 8));
  std::memcpy(memory, "content", 8);
  memory = static_cast<char*>(reallocWiping(memory, 100'000));
  EXPECT_STREQ(memory, "content");
  freeWiping(memory);
}

TEST(Wiping, KeepsATextThatIsAssigned) {
  Wiped<std::string> text("one text that lies in memory of its own");
  text = Wiped<std::string>("another text that lies in memory of its own");
  EXPECT_EQ(text, "another text that lies in memory of its own");
  const Wiped<std::string> copy = text;
  EXPECT_EQ(copy, text);
}

}  // namespace
}  // namespace orx::testing
