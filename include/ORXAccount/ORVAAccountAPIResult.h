#pragma once

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

  ~ORVAAccountAPIResult() override;

 private:
  ORVAAccountAPIResult();
  struct State;

  std::unique_ptr<State> state_;
};

}  // namespace orx
