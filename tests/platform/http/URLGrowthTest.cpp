#include <ORXAccount/platform/URL.h>

#include "support/Growth.h"

namespace orx::testing {
namespace {

TEST(Growth, OfTheTimeForURLsIsLinear) {
  expectLinearTime(
      {
          repeated("https://h/", "a"),
          repeated("https://h/", "a/"),
          repeated("https://h/", "../"),
          repeated("https://h/a", "/a/.."),
          repeated("https://h/", "%41"),
          repeated("https://h/?", "a=b&"),
          repeated("https://h/#", "a"),
          repeated("https://", "a", "/"),
          repeated("https://", "a.", "/"),
          repeated("https://", "a@", "h/"),
          repeated("https://h:", "0", "1/"),
          repeated("https://[", ":", "]/"),
          repeated("https:", "/"),
          repeated("", "a", "://h/"),
      },
      [](std::string_view text) { (void)URL::URLWithString(text); });
}

}  // namespace
}  // namespace orx::testing
