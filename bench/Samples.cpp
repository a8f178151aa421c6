// SPDX-License-Identifier: MIT
#include "Samples.h"

#include <ORXAccount/ORVAAccountUser.h>

#include "oracles/JSONOracle.h"
#include "oracles/ResultBlockOracle.h"
#include "platform/formats/JSONSerialization.h"
#include "service/Answer.h"
#include "service/ResultBlock.h"

namespace orx::bench {

using namespace platform;
using namespace service;

bool readAnswer(const std::string& body) {
  const auto block = matchResultBlock(body, ResultBlockPattern::Lenient);
  if (!block) return false;
  Value data = JSONObjectWithText(block->returnData.value_or("")).value_or(Value());
  return makeResult(std::string(block->resultDescription), std::move(data)) != nullptr;
}

bool readAnswerByOthers(const std::string& body) {
  const auto block = testing::matchResultBlockByPattern(body, ResultBlockPattern::Lenient);
  if (!block) return false;
  auto data = testing::readJSONByOracle(block->returnData.value_or("")).value;
  return makeResult(std::string(block->resultDescription), std::move(data).value_or(Value())) !=
         nullptr;
}

std::string listOfRecords(std::size_t size) {
  std::string data = "[";
  while (data.size() < size) {
    data += R"({"Code":"DEU","Name":"An entry of a long list","Value":12345},)";
  }
  data.back() = ']';
  return data;
}

std::string answerWith(const std::string& returnData) {
  return "<ResultCode>1</ResultCode><ResultDesc>Success</ResultDesc>"
         "<ReturnDataType>json</ReturnDataType><ReturnData>" +
         returnData + "</ReturnData>";
}

std::string hostileAnswer(std::size_t size) {
  std::string text;
  while (text.size() < size) {
    text += "<ResultCode></ResultCode><ResultDesc></ResultDesc><ReturnDataType>";
  }
  return text;
}

Value users(std::size_t count) {
  Array users;
  for (std::size_t user = 0; user < count; ++user) {
    Dictionary fields;
    for (int index = 0; index < 20; ++index) {
      const std::string number = std::to_string(index);
      fields.set("field" + number, "the value of field " + number + " of " + std::to_string(user));
    }
    users.push_back(ORVAAccountUser::initWithUserInfo(fields));
  }
  return count == 1 ? users[0] : Value(std::move(users));
}

}  // namespace orx::bench
