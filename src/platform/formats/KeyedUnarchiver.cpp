#include "platform/formats/KeyedUnarchiver.h"

#include <map>
#include <mutex>
#include <utility>

#include "platform/formats/ArchiveReader.h"
#include "platform/process/ForkSafeMutex.h"
#include "platform/process/ForkSafety.h"

namespace orx::platform {

namespace {

struct Factories {
  ForkSafeMutex mutex{ForkSafeMutex::Section::Brief};
  std::map<std::string, ArchiveFactory, std::less<>> byClassName;
};

Factories& factories() {
  static constinit ProcessWide<Factories> instance;
  return instance.get();
}

ArchiveFactory factoryForClassName(std::string_view className) {
  Factories& known = factories();
  const std::lock_guard lock(known.mutex);
  const auto found = known.byClassName.find(className);
  return found != known.byClassName.end() ? found->second : nullptr;
}

}  // namespace

void setClass_forClassName(ArchiveFactory factory, std::string_view className) {
  Factories& known = factories();
  const std::lock_guard lock(known.mutex);
  known.byClassName.insert_or_assign(std::string(className), std::move(factory));
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
