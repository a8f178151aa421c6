// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Object.h>
#include <gtest/gtest.h>

#include <vector>

namespace orx {
namespace {

using namespace std::string_view_literals;

TEST(Object, EqualsItselfOnly) {
  const auto object = std::make_shared<Object>();
  const auto other = std::make_shared<Object>();
  EXPECT_TRUE(object->isEqual(object.get()));
  EXPECT_FALSE(object->isEqual(other.get()));
  EXPECT_FALSE(object->isEqual(nullptr));
  EXPECT_EQ(object->hash(), object->hash());
  EXPECT_NE(object->hash(), other->hash());
}

TEST(Data, KeepsItsBytes) {
  const Data data("a\0\xFF"sv);
  EXPECT_EQ(data.size(), 3U);
  EXPECT_EQ(data.text(), "a\0\xFF"sv);
  EXPECT_EQ(data.bytes()[2], 0xFF);
  EXPECT_FALSE(data.empty());
}

TEST(Data, IsEmptyAtFirst) {
  EXPECT_TRUE(Data().empty());
  EXPECT_EQ(Data().size(), 0U);
  EXPECT_EQ(Data().text(), "");
  EXPECT_EQ(Data(), Data(""));
}

TEST(Data, SharesItsBytesAndComparesByContent) {
  const Data data("abc");
  const std::vector<Data> copies(2, data);
  for (const Data& copy : copies) EXPECT_EQ(copy.bytes().data(), data.bytes().data());
  EXPECT_EQ(data, Data(std::vector<std::uint8_t>{'a', 'b', 'c'}));
  EXPECT_FALSE(data == Data("abd"));
  EXPECT_FALSE(data == Data("ab"));
}

TEST(Error, CarriesDomainCodeAndDetails) {
  const auto error = Error::errorWithDomain_code_userInfo(
      "com.orva.account", 7, {{std::string(NSLocalizedDescriptionKey), "no"}, {"k", 1}});
  EXPECT_EQ(error->domain(), "com.orva.account");
  EXPECT_EQ(error->code(), 7);
  EXPECT_EQ(error->userInfo()["k"], Value(1));
  EXPECT_EQ(error->localizedDescription(), "no");
}

TEST(Error, DescribesItselfWhenNobodyDid) {
  EXPECT_EQ(Error::errorWithDomain_code_userInfo("d", 404, {})->localizedDescription(),
            "The operation could not be completed. (d error 404.)");
  const auto empty =
      Error::errorWithDomain_code_userInfo("d", 7, {{std::string(NSLocalizedDescriptionKey), ""}});
  EXPECT_EQ(empty->localizedDescription(), "");
}

TEST(Error, EqualsAnErrorWithTheSameContent) {
  const auto make = [](std::string_view domain, std::int64_t code, const Dictionary& details) {
    return Error::errorWithDomain_code_userInfo(domain, code, details);
  };
  const auto error = make("d", 1, {{"k", 1}});
  EXPECT_TRUE(error->isEqual(make("d", 1, {{"k", 1}}).get()));
  EXPECT_FALSE(error->isEqual(make("e", 1, {{"k", 1}}).get()));
  EXPECT_FALSE(error->isEqual(make("d", 2, {{"k", 1}}).get()));
  EXPECT_FALSE(error->isEqual(make("d", 1, {}).get()));
  EXPECT_FALSE(error->isEqual(nullptr));
  EXPECT_FALSE(error->isEqual(std::make_shared<Object>().get()));
}

}  // namespace
}  // namespace orx
