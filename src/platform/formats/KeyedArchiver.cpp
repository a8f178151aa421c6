#include "platform/formats/KeyedArchiver.h"

#include <ORXAccount/platform/Coder.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/base/Limits.h"
#include "platform/formats/PropertyList.h"

namespace orx::platform {

namespace {

using Reference = PropertyListWriter::Reference;
// The place of an object in the archive's own list.
using UID = std::uint32_t;

// The first object of an archive stands for null.
constexpr UID kNullUID = 0;
constexpr Reference kUnfinished = std::numeric_limits<Reference>::max();

class ArchiveWriter {
 public:
  ArchiveWriter() { objects_.push_back(writer_.addString(archive::kNull)); }

  Data write(const Value& root) {
    const UID rootUID = addRootOrField(root);
    const auto rootKey = strings({archive::kRoot});
    const std::array rootReference{referenceTo(rootUID)};
    const auto keys =
        strings({archive::kVersion, archive::kArchiver, archive::kTop, archive::kObjects});
    const std::array values{
        writer_.addScalar(archive::kVersionNumber), writer_.addString(archive::kArchiverName),
        writer_.addDictionary(rootKey, rootReference), writer_.addArray(objects_)};
    return writer_.finish(writer_.addDictionary(keys, values));
  }

 private:
  // Collects the fields of one object while they are written.
  class FieldEncoder final : public Coder {
   public:
    explicit FieldEncoder(ArchiveWriter& archive) : archive_(archive) {}

    void encodeObject_forKey(const Value& object, std::string_view key) override {
      if (key.starts_with('$')) throw std::invalid_argument("a key that begins with $ is reserved");
      const Reference field = archive_.writer_.addString(key);
      archive_.kept_.push_back(object);
      const Reference content = archive_.referenceTo(archive_.addRootOrField(object));
      const auto known = std::ranges::find(keys, field);
      if (known != keys.end()) {
        values[static_cast<std::size_t>(known - keys.begin())] = content;
        return;
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
    ArchiveWriter& archive_;
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
      case Value::Kind::Data:
        return addLeaf(writer_.addScalar(value));
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

  // The reader takes no more objects than this: what is stored must be readable again.
  void requireRoom() const {
    if (objects_.size() < limits::archiveObjects) return;
    throw std::invalid_argument("there is more in it than an archive may hold");
  }

  UID addLeaf(Reference object) {
    requireRoom();
    objects_.push_back(object);
    return static_cast<UID>(objects_.size() - 1);
  }

  // Equal texts are one object of the property list and so one of the archive.
  UID addString(std::string_view text) {
    const Reference object = writer_.addString(text);
    if (object >= stringUIDs_.size()) stringUIDs_.resize(object + std::size_t{32});
    if (stringUIDs_[object] == 0) stringUIDs_[object] = addLeaf(object);
    return stringUIDs_[object];
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
    return addOnce(&array, [&] {
      std::vector<Reference> elements;
      elements.reserve(array.size());
      for (const Value& value : array) elements.push_back(referenceTo(add(value)));
      const auto keys = strings({archive::kClass, archive::kElements});
      const std::array values{classNamed("NSArray"), writer_.addArray(elements)};
      return writer_.addDictionary(keys, values);
    });
  }

  UID addDictionary(const Dictionary& dictionary) {
    // Handles of one content share its entries; an empty dictionary has none to be known by.
    const void* identity = dictionary.empty() ? nullptr : dictionary.entries().data();
    return addOnce(identity, [&] {
      std::vector<Reference> names;
      std::vector<Reference> contents;
      for (const DictionaryEntry& entry : dictionary) {
        names.push_back(referenceTo(addString(entry.key)));
        contents.push_back(referenceTo(add(entry.value)));
      }
      const auto keys = strings({archive::kClass, archive::kKeys, archive::kElements});
      const std::array values{classNamed("NSDictionary"), writer_.addArray(names),
                              writer_.addArray(contents)};
      return writer_.addDictionary(keys, values);
    });
  }

  UID addObject(const std::shared_ptr<Object>& object) {
    const auto* coded = dynamic_cast<const SecureCoding*>(object.get());
    if (coded == nullptr) throw std::invalid_argument("an object of this class cannot be archived");
    return addOnce(coded, [&] {
      FieldEncoder fields(*this);
      coded->encodeWithCoder(fields);
      fields.keys.push_back(writer_.addString(archive::kClass));
      fields.values.push_back(classNamed(coded->archivedClassName()));
      return writer_.addDictionary(fields.keys, fields.values);
    });
  }

  // Writes a container or object once, however often it is referred to: an array that is held a
  // thousand times would else be a thousand arrays when it is read.
  template <typename Write>
  UID addOnce(const void* identity, Write write) {
    const auto uid = static_cast<UID>(objects_.size());
    requireRoom();
    if (identity != nullptr) {
      const auto [known, isNew] = uidsByIdentity_.try_emplace(identity, uid);
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

  // A reference to the description of a class, which is an object like any other.
  Reference classNamed(std::string_view name) {
    UID& uid = classUIDs_[writer_.addString(name)];
    if (uid == 0) {
      const auto names = strings({name, archive::kRootClass});
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
  // What is written already; 0 stands for what is not.
  std::vector<Reference> references_;   // by UID
  std::vector<UID> stringUIDs_;         // by the text
  std::map<Reference, UID> classUIDs_;  // by the text of the name
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
