// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "platform/http/curl/TransferFailure.h"

namespace orx::testing {

using namespace platform;
namespace {

using ::testing::HasSubstr;

std::string descriptionOf(CURLcode code, std::string detail) {
  TransferFailure failure;
  failure.code = code;
  failure.stage = TransferStage::waiting;
  failure.detail = std::move(detail);
  failure.url = "https://one.example/x";
  return transportError(failure)->localizedDescription();
}

TEST(TransferFailure, IsDescribedInLibcurlsWordsForThisTransfer) {
  EXPECT_EQ(descriptionOf(CURLE_RECV_ERROR, "the line is cut"),
            "got no answer from one.example: the line is cut");
}

TEST(TransferFailure, IsDescribedInLibcurlsWordsForTheCodeWhereThereAreNoOthers) {
  EXPECT_THAT(descriptionOf(CURLE_OUT_OF_MEMORY, ""), HasSubstr(": Out of memory"));
}

TEST(TransferFailure, IsDescribedByItsNumberWhereTheSystemHasNoWords) {
  TransferFailure failure;
  failure.code = CURLE_COULDNT_CONNECT;
  failure.systemError = 1000;
  failure.url = "https://one.example/x";
  EXPECT_EQ(transportError(failure)->localizedDescription(),
            "could not connect to one.example: system error 1000");
}

}  // namespace
}  // namespace orx::testing
