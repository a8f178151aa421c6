// SPDX-License-Identifier: MIT
#include "platform/formats/KeyedUnarchiver.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/DateFormatter.h"
#include "platform/base/Limits.h"
#include "platform/formats/PropertyList.h"

namespace orx::platform {

namespace {

using Kind = PropertyListReader::Kind;
using Reference = PropertyListReader::Reference;
// The place of an object in the archive's own list.
using UID = std::uint32_t;

[[noreturn]] void refuse(const std::string& reason) { throw MalformedPropertyList(reason); }

// Dates come as the text that the service writes them as, so that a field reads the same whichever
// archiver stored it. A part of a second is cut off.
std::string dateText(std::optional<double> sinceReferenceDate) {
  using namespace std::chrono;
  static constexpr sys_seconds kReferenceDate = sys_days{2001y / January / 1};
  static constexpr sys_seconds kFirst = sys_days{1y / January / 1};
  static constexpr sys_seconds kEnd = sys_days{10000y / January / 1};
  const auto secondsTo = [](sys_seconds instant) {
    return static_cast<double>((instant - kReferenceDate).count());
  };
  if (!sinceReferenceDate) refuse("a date is no number");
  const double whole = std::floor(*sinceReferenceDate);
  // Asked this way round, what is not a number is refused too: converting either is undefined.
  if (!(whole >= secondsTo(kFirst) && whole < secondsTo(kEnd))) {
    refuse("a date is beyond the calendar");
  }
  return stringFromDate(kReferenceDate + seconds(static_cast<std::int64_t>(whole)));
}

// The bytes of a text or of data, which are what a value of one object can be large by.
std::size_t contentSize(const Value& value) {
  if (const std::string* text = value.string()) return text->size();
  if (const Data* data = value.data()) return data->size();
  return 0;
}

class FieldDecoder final : public Coder {
 public:
  explicit FieldDecoder(Dictionary fields) : fields_(std::move(fields)) {}

  void encodeObject_forKey(const Value&, std::string_view) override {
    throw std::logic_error("an archive that is being read cannot be written");
  }

  Value decodeObjectOfClass_forKey(Value::Kind kind, std::string_view key) const override {
    const Value& field = fields_[key];
    return field.kind() == kind ? field : Value();
  }

 private:
  Dictionary fields_;
};

// Restores the objects that the root reaches, each once; plain texts at each reference.
//
// The bytes may come from an attacker. Three bounds keep the work, the memory and the stack in
// proportion to their length: what restoring costs (charge), what a value weighs (allowance_) and
// how deep it is (limits::archiveDepth).
class ArchiveReader {
 public:
  explicit ArchiveReader(std::span<const std::uint8_t> bytes)
      : plist_(bytes), allowance_(limits::archiveAllowance(bytes.size())), unspent_(allowance_) {
    if (plist_.kind(plist_.top()) != Kind::Dictionary ||
        !plist_.isString(entry(plist_.top(), archive::kArchiver), archive::kArchiverName) ||
        plist_.scalar(entry(plist_.top(), archive::kVersion)) != Value(archive::kVersionNumber)) {
      refuse("the data is no keyed archive");
    }
    objects_ = entry(plist_.top(), archive::kObjects);
    const std::size_t count = plist_.count(objects_);
    // The null's slot is written below.
    if (count == 0) refuse("there are no objects");
    // Each costs a slot, which is more than the one or two bytes that name it in the list.
    if (count > limits::archiveObjects) refuse("there are too many objects");
    slots_.resize(count);
    slots_[0].state = State::Restored;  // the archive's null
  }

  Value readRoot() {
    return restored(uidIn(entry(entry(plist_.top(), archive::kTop), archive::kRoot))).value;
  }

 private:
  using Form = ArchivedClass::Form;
  enum class State : std::uint8_t { Untouched, Open, Restored };
  struct Slot {
    Value value;
    std::uint64_t weight = 0;  // entries and bytes below it, each counted as often as it is reached
    std::uint32_t height = 0;  // containers nested in it, itself included
    State state = State::Untouched;
  };

  Reference entry(Reference dictionary, std::string_view key) const {
    const auto found = plist_.find(dictionary, key);
    if (!found) refuse("there is no " + std::string(key));
    return *found;
  }

  // A UID indexes slots_, and the bytes may name any number.
  UID uidIn(Reference object) const {
    const std::uint64_t uid = plist_.UID(object);
    if (uid >= slots_.size()) refuse("a reference leaves the archive");
    return static_cast<UID>(uid);
  }

  // The UIDs of a list. A list costs three bytes to refer to and may be named by every object, so
  // reading it is paid for each time.
  std::vector<UID> uidsIn(Reference list) {
    const std::size_t count = plist_.count(list);
    charge(count);
    std::vector<UID> uids(count);
    for (std::size_t index = 0; index < count; ++index) {
      uids[index] = uidIn(plist_.element(list, index));
    }
    return uids;
  }

  // The content of an object that stands for one value: in place, or referred to.
  Reference contentOf(Reference object, std::string_view key) const {
    const Reference content = entry(object, key);
    return plist_.kind(content) == Kind::UID ? plist_.element(objects_, uidIn(content)) : content;
  }

  const Slot& restored(UID uid) {
    Slot& slot = slots_[uid];
    if (slot.state == State::Restored) return slot;
    // Without this, an array that holds itself would be followed until the stack ends.
    if (slot.state == State::Open) refuse("an object contains itself");
    // slots_ never grows after the constructor, so `slot` outlives the recursion.
    slot.state = State::Open;
    const Reference object = plist_.element(objects_, uid);
    slot.value = plist_.kind(object) == Kind::Dictionary ? restore(slot, object) : leaf(object);
    slot.weight += contentSize(slot.value);
    slot.state = State::Restored;
    return slot;
  }

  // The value of an object that has a class.
  Value restore(Slot& slot, Reference object) {
    // Looking for a key walks over all of the object's keys, and many places may name one object
    // of the property list.
    charge(plist_.count(object));
    const ArchivedClass& kind = classOf(object);
    switch (kind.form) {
      case Form::Null:
        return {};
      case Form::String:
        return text(contentOf(object, archive::kString));
      case Form::Data:
        return scalar(contentOf(object, archive::kData), Kind::Data);
      case Form::Date:
        return dateText(plist_.scalar(contentOf(object, archive::kTime)).number());
      case Form::Array:
        return Array(restoreChildren(slot, uidsIn(contentOf(object, archive::kElements))));
      case Form::Dictionary:
        return dictionary(slot, object);
      case Form::Record:
        break;
    }
    return record(slot, kind, object);
  }

  // The values that a container refers to. Finds how large and how deep it is thereby.
  std::vector<Value> restoreChildren(Slot& parent, const std::vector<UID>& children) {
    // Bounds the recursion: a chain of 200,000 arrays takes 4 MB and would take the whole stack.
    if (depth_ == limits::archiveDepth) refuseDepth();
    ++depth_;
    std::vector<Value> values;
    values.reserve(children.size());
    for (const UID uid : children) values.push_back(child(parent, uid));
    --depth_;
    // The depth on this way here does not bound the value's: a child that was restored earlier
    // brings its own levels along. Values are destroyed recursively.
    if (++parent.height > limits::archiveDepth) refuseDepth();
    return values;
  }

  // Each reference to a text is paid for, since ten thousand references to one of a megabyte would
  // take ten gigabytes; everything else is shared.
  Value child(Slot& parent, UID uid) {
    const Reference object = plist_.element(objects_, uid);
    // Read each time: out of a slot it would be copied. The archive's null is none.
    const bool isText = uid != 0 && plist_.kind(object) == Kind::String;
    Value value = isText ? scalar(object, Kind::String) : restored(uid).value;
    if (!isText && value.string() != nullptr) charge(contentSize(value));
    parent.weight += 1 + (isText ? contentSize(value) : slots_[uid].weight);
    // Thirty arrays that each hold the next one twice are small here, where they are shared, but a
    // billion entries to whoever compares or writes the value. Also keeps the sum from overflowing:
    // a weight is at most the allowance.
    if (parent.weight > allowance_) refuseFanOut();
    parent.height = std::max(parent.height, slots_[uid].height);
    return value;
  }

  Value dictionary(Slot& slot, Reference object) {
    auto uids = uidsIn(contentOf(object, archive::kKeys));
    const auto values = uidsIn(contentOf(object, archive::kElements));
    const std::size_t count = uids.size();
    // Entries are made pair by pair: without a value for each key they would be read beyond the
    // end.
    if (count != values.size()) refuse("a dictionary has not as many keys as values");
    uids.insert(uids.end(), values.begin(), values.end());
    std::vector<Value> children = restoreChildren(slot, uids);
    std::vector<DictionaryEntry> entries;
    entries.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
      // A key may be any object of the archive, another dictionary for one.
      const std::string* key = children[index].string();
      if (key == nullptr) refuse("a dictionary has a key that is no text");
      entries.emplace_back(*key, std::move(children[count + index]));
    }
    return Dictionary(std::move(entries));
  }

  // An object whose class has a factory. Its fields stand in it by name: referred to, or scalars in
  // place.
  Value record(Slot& slot, const ArchivedClass& kind, Reference object) {
    const std::size_t count = plist_.count(object);
    std::vector<UID> children;
    for (std::size_t index = 0; index < count; ++index) {
      const Reference field = plist_.element(object, index);
      const bool isChild = plist_.kind(field) == Kind::UID &&
                           !plist_.isString(plist_.key(object, index), archive::kClass);
      // The archive's null in place of what is not to be restored.
      children.push_back(isChild ? uidIn(field) : 0);
    }
    charge(count);
    std::vector<Value> values = restoreChildren(slot, children);
    Dictionary fields;
    for (std::size_t index = 0; index < count; ++index) {
      const std::string key = text(plist_.key(object, index));
      // The first of two fields under one name counts, as it does for a class and its names.
      if (fields.find(key) != nullptr) continue;
      const Reference field = plist_.element(object, index);
      const bool isChild = plist_.kind(field) == Kind::UID;
      fields.set(key, isChild ? std::move(values[index]) : leaf(field));
    }
    // The factory sees fields of any kind, or none: it asks for each by the kind that it needs.
    auto restoredObject = kind.factory(FieldDecoder(std::move(fields)));
    if (!restoredObject) refuse("an object cannot be restored from its fields");
    return restoredObject;
  }

  // The value of an object without a class.
  Value leaf(Reference object) {
    const Kind kind = plist_.kind(object);
    if (kind == Kind::Date) return dateText(plist_.date(object));
    // Without a class nothing says what a list stands for, and a UID could lead round in a circle.
    if (kind == Kind::UID || PropertyListReader::isContainer(kind)) {
      refuse("an object is of an unknown kind");
    }
    return scalar(object, kind);
  }

  Value scalar(Reference object, Kind kind) {
    if (plist_.kind(object) != kind) refuse("an object is not of the expected kind");
    Value value = plist_.scalar(object);
    // Ten thousand objects may each name the same long text, and each gets a copy.
    charge(contentSize(value));
    return value;
  }

  std::string text(Reference object) { return *scalar(object, Kind::String).string(); }

  // Each class is resolved once: its chain of names may be as long as the archive, and every object
  // may be of that class.
  const ArchivedClass& classOf(Reference object) {
    const UID uid = uidIn(entry(object, archive::kClass));
    const auto known = classes_.find(uid);
    if (known != classes_.end()) return known->second;
    return classes_.emplace(uid, resolveClass(plist_.element(objects_, uid))).first->second;
  }

  // The class itself or the nearest of those it derives from, which the archive lists after it.
  ArchivedClass resolveClass(Reference description) {
    charge(plist_.count(description));
    if (const auto known = archivedClassNamed(text(entry(description, archive::kClassName))))
      return *known;
    if (const auto ancestors = plist_.find(description, archive::kClasses)) {
      const std::size_t count = plist_.count(*ancestors);
      charge(count);
      for (std::size_t index = 0; index < count; ++index) {
        const auto known = archivedClassNamed(text(plist_.element(*ancestors, index)));
        if (known) return *known;
      }
    }
    // Objects are made by registered factories only: an archive cannot name any other code.
    refuse("the class of an object is not known");
  }

  // Takes the price of a piece of work out of what is left for the whole archive. Each object's
  // bytes are there once but may be asked for by as many places as the archive has, which makes a
  // short archive a long work: ten thousand places that name one list of ten thousand.
  void charge(std::uint64_t amount) {
    if (amount > unspent_) refuseFanOut();
    unspent_ -= amount;
  }

  [[noreturn]] static void refuseDepth() { refuse("objects are nested too deeply"); }
  [[noreturn]] static void refuseFanOut() { refuse("its references fan out too far"); }

  PropertyListReader plist_;
  Reference objects_ = 0;  // the list of the archive's objects
  std::vector<Slot> slots_;
  std::map<UID, ArchivedClass> classes_;
  std::size_t depth_ = 0;  // containers that are being restored
  // In proportion to the archive's length, since an archiver writes what is shared only once.
  std::uint64_t allowance_ = 0;  // what a value may weigh
  std::uint64_t unspent_ = 0;    // what restoring may still cost
};

}  // namespace

Result<Value> unarchiveObjectWithData(const Data& data) {
  try {
    return ArchiveReader(data.bytes()).readRoot();
  } catch (const std::bad_alloc&) {
    // A whole archive would count as damaged, and the user in it as nobody.
    throw;
  } catch (const std::exception& failure) {
    return makeFailure(NSCocoaErrorDomain, NSCoderReadCorruptError,
                       std::string("The archive cannot be read: ") + failure.what() + ".");
  }
}

}  // namespace orx::platform
