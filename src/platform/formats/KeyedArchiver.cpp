// SPDX-License-Identifier: MIT
#include "platform/formats/KeyedArchiver.h"

#include <ORXAccount/platform/Coder.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/base/Limits.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/formats/PropertyList.h"

namespace orx::platform {

namespace {

using Reference = PropertyListWriter::Reference;
// The place of an object in the archive's own list.
using UID = std::uint32_t;

// The first object of an archive stands for null.
constexpr UID kNullUID = 0;
constexpr Reference kUnfinished = std::numeric_limits<Reference>::max();

// What the reader will find of one object of the archive.
struct Measure {
  std::uint64_t weight = 0;  // entries and bytes below it, each counted as often as it is reached
  std::size_t height = 0;    // containers nested in it, itself included
};

// Heavier than any archive may be. Weights stop here, since they double with every level of lists
// that hold the next one twice, and would overflow.
constexpr std::uint64_t kHeaviest = std::uint64_t{1} << 60U;

[[noreturn]] void refuseDepth() {
  throw std::invalid_argument("a value that is nested this deeply cannot be archived");
}

// Writes what ArchiveReader takes: it keeps the reader's accounts while it writes.
//
// Whatever is written once, the reader bears. What is referred to a second time costs the archive
// next to nothing and the reader the same again. Lists, dictionaries and objects are written once
// nevertheless, as they are one in memory, and too many references to them are refused. Equal texts
// are as many in memory as there are references; once the reader would bear no more references to
// one (repeated_), it is written again.
class ArchiveWriter {
 public:
  ArchiveWriter() { addLeaf(writer_.addString(archive::kNull)); }

  Data write(const Value& root) {
    const UID rootUID = addRootOrField(root);
    const auto rootKey = strings({archive::kRoot});
    const std::array rootReference{referenceTo(rootUID)};
    const auto keys =
        strings({archive::kVersion, archive::kArchiver, archive::kTop, archive::kObjects});
    const std::array values{
        writer_.addScalar(archive::kVersionNumber), writer_.addString(archive::kArchiverName),
        writer_.addDictionary(rootKey, rootReference), writer_.addArray(objects_)};
    const Reference top = writer_.addDictionary(keys, values);
    Data archive = writer_.finish(top);
    if (measures_[rootUID].weight > limits::archiveAllowance(archive.size())) {
      throw std::invalid_argument("the same is in it too often for an archive");
    }
    return archive;
  }

 private:
  // Collects the fields of one object while they are written.
  class FieldEncoder final : public Coder {
   public:
    explicit FieldEncoder(ArchiveWriter& archive) : archive_(archive) {}

    void encodeObject_forKey(const Value& object, std::string_view key) override {
      if (key.starts_with('$')) throw std::invalid_argument("a key that begins with $ is reserved");
      archive_.kept_.push_back(object);
      const auto known = places_.find(key);
      const Reference name = known == places_.end() ? archive_.addFieldName(key) : 0;
      const Reference content = archive_.held(archive_.addRootOrField(object), measure);
      // Not before: an object may catch what a value of it throws, and go on without that value.
      if (known != places_.end()) {
        values[known->second] = content;
        return;
      }
      places_.emplace(key, keys.size());
      keys.push_back(name);
      values.push_back(content);
    }

    Value decodeObjectOfClass_forKey(Value::Kind, std::string_view) const override {
      throw std::logic_error("an archive that is being written cannot be read");
    }

    std::vector<Reference> keys;
    std::vector<Reference> values;
    Measure measure;

   private:
    ArchiveWriter& archive_;
    std::map<std::string, std::size_t, std::less<>> places_;  // of the keys
  };

  // Null is the archive's null there, and an object of its own inside a container.
  UID addRootOrField(const Value& value) { return value.isNull() ? kNullUID : add(value); }

  UID add(const Value& value) {
    switch (value.kind()) {
      case Value::Kind::Null:
        return addNull();
      case Value::Kind::Boolean:
        return addBoolean(*value.boolean());
      case Value::Kind::Integer:
      case Value::Kind::Double:
        return addLeaf(writer_.addScalar(value));
      case Value::Kind::Data:
        return addLeaf(writer_.addScalar(value), value.data()->size());
      case Value::Kind::String:
        return addString(*value.string());
      case Value::Kind::Array:
        return addArray(*value.array());
      case Value::Kind::Dictionary:
        return addDictionary(*value.dictionary());
      case Value::Kind::Object:
        break;
    }
    return addObject(value.object());
  }

  // The reader takes no more objects than this, and a property list no more than five times as
  // many: four for an object of the archive, and the name of a field.
  void requireRoom() const {
    if (objects_.size() + fieldNames_ < limits::archiveObjects) return;
    throw std::invalid_argument("there is more in it than an archive may hold");
  }

  UID addLeaf(Reference object, std::uint64_t size = 0) {
    requireRoom();
    objects_.push_back(object);
    measures_.push_back({.weight = size});
    return static_cast<UID>(objects_.size() - 1);
  }

  // Equal texts are one object of the archive as long as they are one of the property list.
  UID addString(std::string_view text) {
    const Reference object = addText(text);
    if (object >= stringUIDs_.size()) stringUIDs_.resize(object + std::size_t{32});
    if (stringUIDs_[object] == 0) stringUIDs_[object] = addLeaf(object, text.size());
    return stringUIDs_[object];
  }

  // A text that the reader copies for each reference.
  Reference addText(std::string_view text) {
    const auto known = writer_.findString(text);
    if (!known) return writer_.addString(text);
    if (repeated_ + text.size() > limits::archiveExpansion + writer_.leastSize()) {
      return writer_.addAnotherString(text);
    }
    repeated_ += text.size();
    return *known;
  }

  Reference addFieldName(std::string_view name) {
    requireRoom();
    ++fieldNames_;
    return addText(name);
  }

  // A reference to what a container holds, which the container is measured by.
  Reference held(UID uid, Measure& container) {
    const Measure& content = measures_[uid];
    container.weight = std::min(container.weight + 1 + content.weight, kHeaviest);
    container.height = std::max(container.height, content.height);
    return referenceTo(uid);
  }

  UID addBoolean(bool boolean) {
    UID& uid = booleanUIDs_[boolean ? 1 : 0];
    if (uid == 0) uid = addLeaf(writer_.addScalar(boolean));
    return uid;
  }

  UID addNull() {
    if (nullObjectUID_ == kNullUID) {
      const auto keys = strings({archive::kClass});
      const std::array values{classNamed("NSNull")};
      nullObjectUID_ = addLeaf(writer_.addDictionary(keys, values));
    }
    return nullObjectUID_;
  }

  UID addArray(const Array& array) {
    return addOnce(&array, [&](Measure& measure) {
      std::vector<Reference> elements;
      elements.reserve(array.size());
      for (const Value& value : array) elements.push_back(held(add(value), measure));
      const auto keys = strings({archive::kClass, archive::kElements});
      const std::array values{classNamed("NSArray"), writer_.addArray(elements)};
      return writer_.addDictionary(keys, values);
    });
  }

  UID addDictionary(const Dictionary& dictionary) {
    // Handles of one content share its entries; an empty dictionary has none to be known by.
    const void* identity = dictionary.empty() ? nullptr : dictionary.entries().data();
    return addOnce(identity, [&](Measure& measure) {
      std::vector<Reference> names;
      std::vector<Reference> contents;
      for (const DictionaryEntry& entry : dictionary) {
        names.push_back(held(addString(entry.key), measure));
        contents.push_back(held(add(entry.value), measure));
      }
      const auto keys = strings({archive::kClass, archive::kKeys, archive::kElements});
      const std::array values{classNamed("NSDictionary"), writer_.addArray(names),
                              writer_.addArray(contents)};
      return writer_.addDictionary(keys, values);
    });
  }

  UID addObject(const std::shared_ptr<Object>& object) {
    const auto* coded = dynamic_cast<const SecureCoding*>(object.get());
    if (coded == nullptr || !canUnarchiveClass(coded->archivedClassName())) {
      throw std::invalid_argument("an object of this class cannot be archived");
    }
    return addOnce(coded, [&](Measure& measure) {
      FieldEncoder fields(*this);
      coded->encodeWithCoder(fields);
      measure = fields.measure;
      // The reader counts the class as a field.
      ++measure.weight;
      fields.keys.push_back(writer_.addString(archive::kClass));
      fields.values.push_back(classNamed(coded->archivedClassName()));
      return writer_.addDictionary(fields.keys, fields.values);
    });
  }

  // Writes a container or object once, however often it is referred to: an array that is held a
  // thousand times would else be a thousand arrays when it is read.
  template <typename Write>
  UID addOnce(const void* identity, Write write) {
    const auto known = uidsByIdentity_.find(identity);
    if (known != uidsByIdentity_.end()) return again(known->second);
    if (depth_ == limits::archiveDepth) refuseDepth();
    const UID uid = addLeaf(kUnfinished);
    if (identity != nullptr) uidsByIdentity_.emplace(identity, uid);
    ++depth_;
    try {
      Measure measure;
      const Reference object = write(measure);
      // The depth on this way here does not bound the value's: what was written earlier brings its
      // own levels along.
      if (++measure.height > limits::archiveDepth) refuseDepth();
      objects_[uid] = object;
      measures_[uid] = measure;
    } catch (...) {
      // An object that goes on without this value must find its own depth, and the value unknown.
      objects_[uid] = objects_[kNullUID];
      uidsByIdentity_.erase(identity);
      --depth_;
      throw;
    }
    --depth_;
    return uid;
  }

  UID again(UID uid) {
    if (objects_[uid] == kUnfinished) {
      throw std::invalid_argument("an object that contains itself cannot be archived");
    }
    repeated_ = std::min(repeated_ + measures_[uid].weight, kHeaviest);
    return uid;
  }

  // A reference to the description of a class, which is an object like any other.
  Reference classNamed(std::string_view name) {
    UID& uid = classUIDs_[std::string(name)];
    if (uid == 0) {
      const std::array names{addText(name), writer_.addString(archive::kRootClass)};
      const auto keys = strings({archive::kClassName, archive::kClasses});
      const std::array values{names[0], writer_.addArray(names)};
      uid = addLeaf(writer_.addDictionary(keys, values));
    }
    return referenceTo(uid);
  }

  Reference referenceTo(UID uid) {
    if (uid >= references_.size()) references_.resize(objects_.size());
    if (references_[uid] == 0) references_[uid] = writer_.addUID(uid);
    return references_[uid];
  }

  std::vector<Reference> strings(std::initializer_list<std::string_view> texts) {
    std::vector<Reference> references;
    for (const std::string_view text : texts) references.push_back(writer_.addString(text));
    return references;
  }

  PropertyListWriter writer_;
  std::vector<Reference> objects_;
  std::vector<Measure> measures_;  // of the objects
  std::size_t fieldNames_ = 0;
  // Bytes and entries that references to what is written already will cost the reader.
  std::uint64_t repeated_ = 0;
  // What is written already; 0 stands for what is not.
  std::vector<Reference> references_;  // by UID
  std::vector<UID> stringUIDs_;        // by the text
  std::map<std::string, UID, std::less<>> classUIDs_;
  std::array<UID, 2> booleanUIDs_{};
  UID nullObjectUID_ = kNullUID;
  std::map<const void*, UID> uidsByIdentity_;
  // A field's value may be gone before the archive is finished, and another one at its address
  // would be taken for it.
  std::vector<Value> kept_;
  std::size_t depth_ = 0;
};

}  // namespace

Data archivedDataWithRootObject(const Value& root) { return ArchiveWriter().write(root); }

}  // namespace orx::platform
