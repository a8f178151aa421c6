#include "platform/formats/KeyedArchiver.h"

#include <array>
#include <deque>
#include <limits>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/base/Limits.h"
#include "platform/formats/KeyedArchive.h"
#include "platform/formats/PropertyList.h"

namespace orx::platform {

namespace {

using Reference = PropertyListWriter::Reference;
// The place of an object in the archive's own list.
using UID = std::uint32_t;

constexpr UID kNullUID = 0;
constexpr Reference kUnfinished = std::numeric_limits<Reference>::max();

class Archive {
 public:
  Archive();

  Data finish(UID root);

  // The UID of a value that stands by itself: the root, or a field of an object.
  UID addStanding(const Value& value) { return value.isNull() ? kNullUID : add(value); }
  // Like addStanding, for a value that may be gone before the archive is finished.
  UID addPassing(const Value& value) { return addStanding(passing_.emplace_back(value)); }

  Reference referenceTo(UID uid);
  Reference addText(std::string_view text) { return writer_.addString(text); }
  // Like addText, for text that may be gone before the archive is finished.
  Reference addPassingText(std::string_view text) {
    return addText(*passing_.emplace_back(text).string());
  }

 private:
  void requireRoom() const;
  UID add(const Value& value);
  UID addLeaf(Reference object);
  UID addString(std::string_view text);
  UID addBoolean(bool boolean);
  UID addInteger(const Value& value);
  UID addNull();
  UID addArray(const Array& array);
  UID addDictionary(const Dictionary& dictionary);
  UID addObject(const std::shared_ptr<Object>& object);

  // Writes a container or object once, however often it is referred to.
  template <typename Write>
  UID addShared(const void* identity, Write write);
  Reference classNamed(std::string_view name);

  PropertyListWriter writer_;
  std::vector<Reference> objects_;
  std::vector<Reference> uidObjects_;  // by UID; 0 where none was written yet
  std::vector<UID> stringUIDs_;        // by string object; 0 where none was given yet
  std::array<UID, 2> booleanUIDs_{};   // 0 where none was given yet
  UID nullObjectUID_ = kNullUID;
  std::map<const void*, UID> shared_;
  std::map<std::string, UID, std::less<>> classes_;
  // Keeps text and identities valid while they are referred to by address.
  std::deque<Value> passing_;
  std::size_t depth_ = 0;
};

class ArchivingCoder final : public Coder {
 public:
  explicit ArchivingCoder(Archive& archive) : archive_(archive) {}

  void encodeObject_forKey(const Value& object, std::string_view key) override {
    if (key.starts_with('$')) throw std::invalid_argument("a key that begins with $ is reserved");
    const Reference field = archive_.addPassingText(key);
    const Reference content = archive_.referenceTo(archive_.addPassing(object));
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (keys[i] == field) {
        values[i] = content;
        return;
      }
    }
    keys.push_back(field);
    values.push_back(content);
  }

  Value decodeObjectOfClass_forKey(Value::Kind, std::string_view) const override {
    throw std::logic_error("an archive that is being written cannot be read");
  }

  std::vector<Reference> keys;
  std::vector<Reference> values;

 private:
  Archive& archive_;
};

Archive::Archive() {
  objects_.reserve(64);
  objects_.push_back(addText(archive::kNull));
}

Data Archive::finish(UID root) {
  const Reference rootKey = addText(archive::kRoot);
  const Reference rootReference = referenceTo(root);
  const std::array keys{addText(archive::kVersion), addText(archive::kArchiver),
                        addText(archive::kTop), addText(archive::kObjects)};
  const std::array values{
      writer_.addInteger(std::int64_t{archive::kVersionNumber}), addText(archive::kArchiverName),
      writer_.addDictionary({&rootKey, 1}, {&rootReference, 1}), writer_.addArray(objects_)};
  return writer_.finish(writer_.addDictionary(keys, values));
}

Reference Archive::referenceTo(UID uid) {
  if (uid >= uidObjects_.size()) uidObjects_.resize(objects_.size());
  if (uidObjects_[uid] == 0) uidObjects_[uid] = writer_.addUID(uid);
  return uidObjects_[uid];
}

UID Archive::add(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Null:
      return addNull();
    case Value::Kind::Boolean:
      return addBoolean(*value.boolean());
    case Value::Kind::Integer:
      return addInteger(value);
    case Value::Kind::Double:
      return addLeaf(writer_.addReal(*value.number()));
    case Value::Kind::String:
      return addString(*value.string());
    case Value::Kind::Data:
      return addLeaf(writer_.addData(value.data()->bytes()));
    case Value::Kind::Array:
      return addArray(*value.array());
    case Value::Kind::Dictionary:
      return addDictionary(*value.dictionary());
    case Value::Kind::Object:
      break;
  }
  return addObject(value.object());
}

// What is written must be readable again.
void Archive::requireRoom() const {
  if (objects_.size() < limits::archiveObjects) return;
  throw std::invalid_argument("there is more in it than an archive may hold");
}

UID Archive::addLeaf(Reference object) {
  requireRoom();
  objects_.push_back(object);
  return static_cast<UID>(objects_.size() - 1);
}

UID Archive::addString(std::string_view text) {
  const Reference object = addText(text);
  if (object >= stringUIDs_.size()) stringUIDs_.resize(object + std::size_t{32});
  if (stringUIDs_[object] == 0) stringUIDs_[object] = addLeaf(object);
  return stringUIDs_[object];
}

UID Archive::addBoolean(bool boolean) {
  UID& uid = booleanUIDs_[boolean ? 1 : 0];
  if (uid == 0) uid = addLeaf(writer_.addBoolean(boolean));
  return uid;
}

UID Archive::addInteger(const Value& value) {
  if (const auto integer = value.integer()) return addLeaf(writer_.addInteger(*integer));
  return addLeaf(writer_.addInteger(*value.unsignedInteger()));
}

UID Archive::addNull() {
  if (nullObjectUID_ == kNullUID) {
    const Reference key = addText(archive::kClass);
    const Reference value = classNamed("NSNull");
    nullObjectUID_ = addLeaf(writer_.addDictionary({&key, 1}, {&value, 1}));
  }
  return nullObjectUID_;
}

UID Archive::addArray(const Array& array) {
  return addShared(&array, [&] {
    std::vector<Reference> elements;
    elements.reserve(array.size());
    for (const Value& value : array) elements.push_back(referenceTo(add(value)));
    const std::array keys{addText(archive::kClass), addText(archive::kElements)};
    const std::array values{classNamed("NSArray"), writer_.addArray(elements)};
    return writer_.addDictionary(keys, values);
  });
}

UID Archive::addDictionary(const Dictionary& dictionary) {
  // Handles of one content share its entries; an empty dictionary has none to be known by.
  const void* identity = dictionary.empty() ? nullptr : dictionary.entries().data();
  return addShared(identity, [&] {
    std::vector<Reference> names;
    std::vector<Reference> contents;
    names.reserve(dictionary.size());
    contents.reserve(dictionary.size());
    for (const DictionaryEntry& entry : dictionary) {
      names.push_back(referenceTo(addString(entry.key)));
      contents.push_back(referenceTo(add(entry.value)));
    }
    const std::array keys{addText(archive::kClass), addText(archive::kKeys),
                          addText(archive::kElements)};
    const std::array values{classNamed("NSDictionary"), writer_.addArray(names),
                            writer_.addArray(contents)};
    return writer_.addDictionary(keys, values);
  });
}

UID Archive::addObject(const std::shared_ptr<Object>& object) {
  const auto* coded = dynamic_cast<const SecureCoding*>(object.get());
  if (coded == nullptr) throw std::invalid_argument("an object of this class cannot be archived");
  return addShared(coded, [&] {
    ArchivingCoder coder(*this);
    coded->encodeWithCoder(coder);
    coder.keys.push_back(addText(archive::kClass));
    coder.values.push_back(classNamed(coded->archivedClassName()));
    return writer_.addDictionary(coder.keys, coder.values);
  });
}

template <typename Write>
UID Archive::addShared(const void* identity, Write write) {
  const auto uid = static_cast<UID>(objects_.size());
  requireRoom();
  if (identity != nullptr) {
    const auto [known, isNew] = shared_.try_emplace(identity, uid);
    if (!isNew) {
      if (objects_[known->second] != kUnfinished) return known->second;
      throw std::invalid_argument("an object that contains itself cannot be archived");
    }
  }
  if (++depth_ > limits::archiveDepth) {
    throw std::invalid_argument("a value that is nested this deeply cannot be archived");
  }
  objects_.push_back(kUnfinished);
  const Reference object = write();
  objects_[uid] = object;
  --depth_;
  return uid;
}

Reference Archive::classNamed(std::string_view name) {
  if (const auto known = classes_.find(name); known != classes_.end()) {
    return referenceTo(known->second);
  }
  const std::array names{addPassingText(name), addText(archive::kRootClass)};
  const std::array keys{addText(archive::kClassName), addText(archive::kClasses)};
  const std::array values{names[0], writer_.addArray(names)};
  const UID uid = addLeaf(writer_.addDictionary(keys, values));
  classes_.emplace(name, uid);
  return referenceTo(uid);
}

}  // namespace

Data KeyedArchiver::archivedDataWithRootObject(const Value& root) {
  Archive archive;
  return archive.finish(archive.addStanding(root));
}

}  // namespace orx::platform
