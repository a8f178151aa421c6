#include <utility>

#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/UnarchivingTable.h"
#include "platform/process/ForkSafety.h"

namespace orx::platform {

namespace {

using Factories = std::map<std::string, KeyedUnarchiver::Factory, std::less<>>;

Factories& factories() {
  static constinit ProcessWide<Factories> instance;
  return instance.get();
}

KeyedUnarchiver::Factory factoryForClassName(std::string_view className) {
  const Factories& known = factories();
  const BriefSection section;
  const auto found = known.find(className);
  return found != known.end() ? found->second : nullptr;
}

}  // namespace

void KeyedUnarchiver::setClass_forClassName(Factory factory, std::string_view className) {
  Factories& known = factories();
  const BriefSection section;
  known.insert_or_assign(std::string(className), std::move(factory));
}

KeyedUnarchiver::Reading KeyedUnarchiver::unarchiveObjectWithData(const Data& data) {
  try {
    return {UnarchivingTable(data.bytes(), factoryForClassName).restoreRoot(), nullptr};
  } catch (const std::exception& failure) {
    const std::string description =
        std::string("The archive cannot be read: ") + failure.what() + ".";
    return {Value(), Error::errorWithDomain_code_userInfo(
                         NSCocoaErrorDomain, NSCoderReadCorruptError,
                         {{std::string(NSLocalizedDescriptionKey), description}})};
  }
}

}  // namespace orx::platform
