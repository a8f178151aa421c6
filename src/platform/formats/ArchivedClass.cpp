// SPDX-License-Identifier: MIT
#include "platform/formats/ArchivedClass.h"

#include <array>
#include <map>
#include <string>
#include <utility>

#include "platform/process/ForkSafety.h"

namespace orx::platform {

namespace {

using Factories = std::map<std::string, ArchiveFactory, std::less<>>;

Factories& factories() {
  static constinit ProcessWide<Factories> instance;
  return instance.get();
}

// Null for a class that nobody registered.
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

bool canUnarchiveClass(std::string_view className) {
  const auto known = archivedClassNamed(className);
  return known && known->form == ArchivedClass::Form::Record;
}

std::optional<ArchivedClass> archivedClassNamed(std::string_view name) {
  using Form = ArchivedClass::Form;
  static constexpr auto kKnown = std::to_array<std::pair<std::string_view, Form>>({
      {"NSDictionary", Form::Dictionary},
      {"NSMutableDictionary", Form::Dictionary},
      {"NSArray", Form::Array},
      {"NSMutableArray", Form::Array},
      {"NSSet", Form::Array},
      {"NSMutableSet", Form::Array},
      {"NSString", Form::String},
      {"NSMutableString", Form::String},
      {"NSData", Form::Data},
      {"NSMutableData", Form::Data},
      {"NSDate", Form::Date},
      {"NSNull", Form::Null},
  });
  for (const auto& [known, form] : kKnown) {
    if (name == known) return ArchivedClass{form, nullptr};
  }
  auto factory = factoryForClassName(name);
  return factory ? std::optional(ArchivedClass{Form::Record, std::move(factory)}) : std::nullopt;
}

}  // namespace orx::platform
