// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/Value.h>

#include <memory>
#include <optional>
#include <string>

namespace orx {

// What a web-service call handed back. A plain record: it belongs to whoever received it and is not
// guarded against use from several threads at once.
class ORX_EXPORT ORVAAccountAPIResult final : public Object {
 public:
  static std::shared_ptr<ORVAAccountAPIResult> init();

  // The service's own words. Empty when a SOAP answer held none; absent when a JSON answer had none
  // or held no text there.
  const std::optional<std::string>& resultDescription() const;
  void setResultDescription(std::optional<std::string> resultDescription);

  // The payload; each operation says what it is. Null when the answer's payload could not be read.
  const Value& returnData() const;
  void setReturnData(Value returnData);

  // Why the transfer failed, for the operations that report this as a success too, the lists; null
  // for an answer that came whole.
  const std::shared_ptr<Error>& transferError() const;
  void setTransferError(std::shared_ptr<Error> error);

  ~ORVAAccountAPIResult() override;

 private:
  ORVAAccountAPIResult();
  struct State;

  std::unique_ptr<State> state_;
};

}  // namespace orx
