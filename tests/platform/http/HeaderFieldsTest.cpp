#include <gtest/gtest.h>

#include "platform/http/HeaderFields.h"

namespace orx {

using namespace platform;
namespace {

TEST(HeaderFields, KeepOrderAndNamesAndTrimValues) {
  EXPECT_EQ(fieldsOfHead("x-Two: \t2 \r\nX-One:1:1\r\nX-Empty:\r\n"),
            (HeaderFields{{"x-Two", "2"}, {"X-One", "1:1"}, {"X-Empty", ""}}));
}

TEST(HeaderFields, GoOnOnTheNextLine) {
  EXPECT_EQ(fieldsOfHead("X-Long: a,\r\n\t b: c\r\n"), (HeaderFields{{"X-Long", "a, b: c"}}));
  EXPECT_TRUE(fieldsOfHead(" nothing to: go on from\r\n").empty());
}

TEST(HeaderFields, LeaveOutWhatIsNoField) {
  EXPECT_TRUE(fieldsOfHead("").empty());
  EXPECT_EQ(fieldsOfHead("no field\r\nX: 1\n\r\nnor this"), (HeaderFields{{"X", "1"}}));
}

TEST(HeaderFields, AreFoundByNamesInAnyLetterCase) {
  const HeaderFields fields{{"Content-Length", "1"}, {"content-length", "2"}};
  ASSERT_NE(fieldValue(fields, "CONTENT-LENGTH"), nullptr);
  EXPECT_EQ(*fieldValue(fields, "CONTENT-LENGTH"), "1");
  EXPECT_EQ(fieldValue(fields, "Content-Lengths"), nullptr);
}

TEST(HeaderFields, AreFoundAmongTheLinesOfAHead) {
  const std::string_view head =
      "Content-Lengths: 1\r\nCONTENT-length:\t2 \r\nContent-Length: 3\r\nX:";
  EXPECT_EQ(fieldOfHead(head, "Content-Length"), "2");
  EXPECT_EQ(fieldOfHead(head, "x"), "");
  EXPECT_FALSE(fieldOfHead(head, "Content"));
  EXPECT_FALSE(fieldOfHead("", "X"));
}

}  // namespace
}  // namespace orx
