// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountAPIResult.h>

#include <utility>

namespace orx {

struct ORVAAccountAPIResult::State {
  std::optional<std::string> resultDescription;
  Value returnData;
  std::shared_ptr<Error> transferError;
};

ORVAAccountAPIResult::ORVAAccountAPIResult() : state_(std::make_unique<State>()) {}

ORVAAccountAPIResult::~ORVAAccountAPIResult() = default;

std::shared_ptr<ORVAAccountAPIResult> ORVAAccountAPIResult::init() {
  return std::shared_ptr<ORVAAccountAPIResult>(new ORVAAccountAPIResult);
}

const std::optional<std::string>& ORVAAccountAPIResult::resultDescription() const {
  return state_->resultDescription;
}

void ORVAAccountAPIResult::setResultDescription(std::optional<std::string> resultDescription) {
  state_->resultDescription = std::move(resultDescription);
}

const Value& ORVAAccountAPIResult::returnData() const { return state_->returnData; }

void ORVAAccountAPIResult::setReturnData(Value returnData) {
  state_->returnData = std::move(returnData);
}

const std::shared_ptr<Error>& ORVAAccountAPIResult::transferError() const {
  return state_->transferError;
}

void ORVAAccountAPIResult::setTransferError(std::shared_ptr<Error> error) {
  state_->transferError = std::move(error);
}

}  // namespace orx
