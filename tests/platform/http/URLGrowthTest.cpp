// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/URL.h>

#include "support/Growth.h"

namespace orx::testing {
namespace {

TEST(Growth, OfTheTimeForURLsIsLinear) {
  expectLinearTime(
      {
          {"https://h/", "a"},
          {"https://h/", "a/"},
          {"https://h/", "../"},
          {"https://h/a", "/a/.."},
          {"https://h/", "%41"},
          {"https://h/?", "a=b&"},
          {"https://h/#", "a"},
          {"https://", "a", "/"},
          {"https://", "a.", "/"},
          {"https://", "a@", "h/"},
          {"https://h:", "0", "1/"},
          {"https://[", ":", "]/"},
          {"https:", "/"},
          {"", "a", "://h/"},
      },
      [](std::string_view text) { (void)URL::URLWithString(text); });
}

}  // namespace
}  // namespace orx::testing
