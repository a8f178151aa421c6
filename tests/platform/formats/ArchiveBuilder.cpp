// SPDX-License-Identifier: MIT
#include "platform/formats/ArchiveBuilder.h"

#include <array>

namespace orx::testing {

using namespace platform;

ArchiveBuilder::ArchiveBuilder() {
  place(writer_.addString("$null"));
  arrayClass_ = addClass("NSArray");
  dictionaryClass_ = addClass("NSDictionary");
}

ArchiveBuilder::UID ArchiveBuilder::add(std::string_view text) {
  return place(writer_.addString(text));
}

ArchiveBuilder::UID ArchiveBuilder::addArray(const std::vector<UID>& elements) {
  const std::array keys{writer_.addString("$class"), writer_.addString("NS.objects")};
  const std::array values{writer_.addUID(arrayClass_), list(elements)};
  return place(writer_.addDictionary(keys, values));
}

ArchiveBuilder::UID ArchiveBuilder::addDictionary(const std::vector<UID>& keys,
                                                  const std::vector<UID>& values) {
  const std::array names{writer_.addString("$class"), writer_.addString("NS.keys"),
                         writer_.addString("NS.objects")};
  const std::array contents{writer_.addUID(dictionaryClass_), list(keys), list(values)};
  return place(writer_.addDictionary(names, contents));
}

ArchiveBuilder::UID ArchiveBuilder::addClass(std::string_view name, std::size_t padding) {
  const Reference text = writer_.addString(name);
  const std::array names{text, writer_.addString("NSObject")};
  std::vector<Reference> keys(padding, writer_.addString("padding"));
  std::vector<Reference> values(padding, text);
  keys.insert(keys.end(), {writer_.addString("$classname"), writer_.addString("$classes")});
  values.insert(values.end(), {text, writer_.addArray(names)});
  return place(writer_.addDictionary(keys, values));
}

ArchiveBuilder::UID ArchiveBuilder::addObject(
    UID classUID, const std::vector<std::pair<std::string_view, UID>>& fields) {
  std::vector<Reference> keys{writer_.addString("$class")};
  std::vector<Reference> values{writer_.addUID(classUID)};
  for (const auto& [name, uid] : fields) {
    keys.push_back(writer_.addString(name));
    values.push_back(writer_.addUID(uid));
  }
  return place(writer_.addDictionary(keys, values));
}

ArchiveBuilder::UID ArchiveBuilder::addAgain(UID known) { return place(objects_.at(known)); }

Data ArchiveBuilder::finish(UID root) {
  const Reference rootKey = writer_.addString("root");
  const Reference rootUID = writer_.addUID(root);
  const std::array keys{writer_.addString("$version"), writer_.addString("$archiver"),
                        writer_.addString("$top"), writer_.addString("$objects")};
  const std::array values{writer_.addScalar(100000), writer_.addString("NSKeyedArchiver"),
                          writer_.addDictionary({&rootKey, 1}, {&rootUID, 1}),
                          writer_.addArray(objects_)};
  return writer_.finish(writer_.addDictionary(keys, values));
}

ArchiveBuilder::UID ArchiveBuilder::place(Reference object) {
  objects_.push_back(object);
  return static_cast<UID>(objects_.size() - 1);
}

ArchiveBuilder::Reference ArchiveBuilder::list(const std::vector<UID>& uids) {
  std::vector<Reference> references;
  references.reserve(uids.size());
  for (const UID uid : uids) references.push_back(writer_.addUID(uid));
  return writer_.addArray(references);
}

}  // namespace orx::testing
