// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/URL.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "platform/http/URLParser.h"

namespace orx::testing {
namespace {

TEST(URL, KeepsItsTextCharacterByCharacter) {
  for (const std::string text :
       {"https://account.orva.example/ws/lumcusinfo.asmx",
        "HTTPS://Account.Example:8443/A/../b?x=%2f#Y", "https://h.example",
        "https://h.example/?f=", "https://user@h.example/%41", "https://[::1]:8443/",
        "https://127.0.0.1/a//b", "ftp://h.example/x", "https://h.example/?f=100%25#a?b/c",
        "https://h.example/-._~!$&'()*+,;=:@/?/?-._~!$&'()*+,;=:@#-._~!$&'()*+,;=:@/?"}) {
    const auto url = URL::URLWithString(text);
    ASSERT_TRUE(url.has_value()) << text;
    EXPECT_EQ(url->absoluteString(), text);
  }
}

TEST(URL, GivesItsParts) {
  const auto url =
      URL::URLWithString("HTTPS://Account.Orva.Example:8443/utilities/pic.ashx?s=large");
  ASSERT_TRUE(url.has_value());
  EXPECT_EQ(url->scheme(), "https");
  EXPECT_EQ(url->host(), "account.orva.example");
  EXPECT_EQ(url->path(), "/utilities/pic.ashx");
  EXPECT_EQ(URL::URLWithString("https://h.example")->path(), "/");
  EXPECT_EQ(URL::URLWithString("https://h.example?q")->path(), "/");
}

TEST(URL, IsAbsentWhereTheTextIsNone) {
  for (const std::string text : {"",
                                 "pic.jpg",
                                 "/a/b",
                                 "https:",
                                 "https://",
                                 "https:///path",
                                 "//h.example/",
                                 "h.example/x",
                                 "mailto:someone@h.example",
                                 "https://h.example/a b",
                                 " https://h.example/",
                                 "https://h.example/\n",
                                 "https://h.example/\xC3\xA4",
                                 "https://h\xC3\xA4.example/",
                                 "https://h.example:99999/",
                                 "https://h.example:port/",
                                 "https://h.example/<a>",
                                 "https://h.example/\"",
                                 "https://[::1/",
                                 "1https://h.example/",
                                 "ht_tps://h.example/",
                                 "https://h.example/100%",
                                 "https://h.example/%z0",
                                 "https://h.example/%0z",
                                 "https://h.example/?f=%",
                                 "https://h.example/?f=%2",
                                 "https://h.example/#%",
                                 "https://%zz@h.example/",
                                 "https://h.example/a[b]",
                                 "https://h.example/?f=[",
                                 "https://h.example/#]",
                                 "https://h[1].example/",
                                 "https://[::1]x/",
                                 "https://u[@h.example/",
                                 "https://h.example/#a#b",
                                 "https://h.example/?a#b#c",
                                 "https://a@b@h.example/"}) {
    EXPECT_FALSE(URL::URLWithString(text).has_value()) << text;
  }
  EXPECT_FALSE(URL::URLWithString(std::string_view("https://h.example/\0x", 20)).has_value());
}

// Some URLs are read without the transport's parser.
TEST(URL, HasThePartsThatTheTransportSees) {
  for (const char* host : {"one.example", "ONE.Example", "a-b.c1", "localhost", "x.1a", "1.2.3.x",
                           "one.example.", "a..b", "127.0.0.1", "127.1", "0x7f.1", "[::1]", "a:443",
                           "a:0443", "u@a", "%61.example", "-", "."}) {
    for (const char* path :
         {"", "/", "/a/b", "/a//b/", "/a/./b", "/a/../b", "/a.b/.c", "/..", "/a/.", "/%41",
          "/%2e%2e/a", "?a/b", "/a?b/../c", "/a#b/..", "#a", "/~-_!$&'"}) {
      const std::string text = std::string("https://") + host + path;
      const auto url = URL::URLWithString(text);
      const auto parts = platform::parsedURL(text);
      ASSERT_LE(url.has_value(), parts.has_value()) << text;
      if (!url) continue;
      EXPECT_EQ(url->scheme(), parts->scheme) << text;
      EXPECT_TRUE(std::ranges::equal(
          url->host(), parts->host,
          [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); }))
          << text;
      EXPECT_EQ(url->path(), parts->path) << text;
    }
  }
}

TEST(URL, ComparesByText) {
  EXPECT_EQ(URL::URLWithString("https://h.example/a"), URL::URLWithString("https://h.example/a"));
  EXPECT_FALSE(URL::URLWithString("https://h.example/a") ==
               URL::URLWithString("https://H.example/a"));
}

}  // namespace
}  // namespace orx::testing
