// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <utility>
#include <vector>

#include "platform/formats/PropertyList.h"

namespace orx::testing {

using namespace platform;

// Writes an archive object by object, sound or not.
class ArchiveBuilder {
 public:
  using UID = std::uint32_t;

  ArchiveBuilder();

  UID add(std::string_view text);
  UID addArray(const std::vector<UID>& elements);
  UID addDictionary(const std::vector<UID>& keys, const std::vector<UID>& values);
  // A description of this class, behind as many keys of no meaning as `padding` says.
  UID addClass(std::string_view name, std::size_t padding = 0);
  // An object of a class that addClass() gave, with these fields.
  UID addObject(UID classUID, const std::vector<std::pair<std::string_view, UID>>& fields = {});
  // What was added as `known` once more, in a place of its own.
  UID addAgain(UID known);
  // The UID that the next object will get.
  UID next() const { return static_cast<UID>(objects_.size()); }

  Data finish(UID root);

 private:
  using Reference = PropertyListWriter::Reference;

  UID place(Reference object);
  Reference list(const std::vector<UID>& uids);

  PropertyListWriter writer_;
  std::vector<Reference> objects_;
  UID arrayClass_ = 0;
  UID dictionaryClass_ = 0;
};

}  // namespace orx::testing
