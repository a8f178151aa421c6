// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Coder.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

// The classes that an archive may name.
namespace orx::platform {

// Makes an object from the fields that were archived.
using ArchiveFactory = std::function<std::shared_ptr<Object>(const Coder&)>;

// Makes objects archived under this class name readable, by a factory that is given their fields.
// Called once for each class, before the first archive that holds it is read; calling it again
// replaces the factory.
void setClass_forClassName(ArchiveFactory factory, std::string_view className);

// Whether an object that is archived under this class name comes back as one: it has a factory, and
// no list or text of the archive's own is called so.
bool canUnarchiveClass(std::string_view className);

// What an object of a class stands for.
struct ArchivedClass {
  enum class Form : std::uint8_t { Null, String, Data, Date, Array, Dictionary, Record };

  Form form;
  ArchiveFactory factory;  // of a Record
};

// Absent for a class that nobody knows.
std::optional<ArchivedClass> archivedClassNamed(std::string_view name);

}  // namespace orx::platform
