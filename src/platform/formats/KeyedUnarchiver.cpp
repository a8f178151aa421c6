#include "platform/formats/KeyedUnarchiver.h"

#include <map>
#include <utility>

#include "platform/formats/ArchiveReader.h"
#include "platform/process/ForkSafety.h"

namespace orx::platform {

namespace {

using Factories = std::map<std::string, ArchiveFactory, std::less<>>;

Factories& factories() {
  static constinit ProcessWide<Factories> instance;
  return instance.get();
}

ArchiveFactory factoryForClassName(std::string_view className) {
  const Factories& known = factories();
  const BriefSection section;
  const auto found = known.find(className);
  return found != known.end() ? found->second : nullptr;
}

}  // namespace

void setClass_forClassName(ArchiveFactory factory, std::string_view className) {
  Factories& known = factories();
  const BriefSection section;
  known.insert_or_assign(std::string(className), std::move(factory));
}

Result<Value> unarchiveObjectWithData(const Data& data) {
  try {
    return readArchive(data.bytes(), factoryForClassName);
  } catch (const std::exception& failure) {
    return makeFailure(NSCocoaErrorDomain, NSCoderReadCorruptError,
                       std::string("The archive cannot be read: ") + failure.what() + ".");
  }
}

}  // namespace orx::platform
