#include <gtest/gtest.h>

#include "platform/HeaderFields.h"

namespace orx {
namespace {

TEST(HeaderFields, KeepOrderAndNamesAndTrimValues) {
  HeaderFields fields;
  addFieldLine(fields, "x-Two: \t2 \r\n");
  addFieldLine(fields, "X-One:1:1\r\n");
  addFieldLine(fields, "X-Empty:\r\n");
  EXPECT_EQ(fields, (HeaderFields{{"x-Two", "2"}, {"X-One", "1:1"}, {"X-Empty", ""}}));
}

TEST(HeaderFields, GoOnOnTheNextLine) {
  HeaderFields fields;
  addFieldLine(fields, " nothing to go on from\r\n");
  EXPECT_TRUE(fields.empty());
  addFieldLine(fields, "X-Long: a,\r\n");
  addFieldLine(fields, "\t b: c\r\n");
  EXPECT_EQ(fields, (HeaderFields{{"X-Long", "a, b: c"}}));
}

TEST(HeaderFields, LeaveOutWhatIsNoField) {
  HeaderFields fields;
  addFieldLine(fields, "no field\r\n");
  EXPECT_TRUE(fields.empty());
}

TEST(HeaderFields, AreFoundByNamesInAnyLetterCase) {
  const HeaderFields fields{{"Content-Length", "1"}, {"content-length", "2"}};
  ASSERT_NE(fieldValue(fields, "CONTENT-LENGTH"), nullptr);
  EXPECT_EQ(*fieldValue(fields, "CONTENT-LENGTH"), "1");
  EXPECT_EQ(fieldValue(fields, "Content-Lengths"), nullptr);
}

}  // namespace
}  // namespace orx
