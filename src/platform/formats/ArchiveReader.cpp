#include "platform/formats/ArchiveReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/DateFormatter.h"
#include "platform/base/Limits.h"
#include "platform/formats/KeyedArchiver.h"
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
std::string dateText(double sinceReferenceDate) {
  using namespace std::chrono;
  static constexpr sys_seconds kReferenceDate = sys_days{2001y / January / 1};
  static constexpr sys_seconds kFirst = sys_days{1y / January / 1};
  static constexpr sys_seconds kEnd = sys_days{10000y / January / 1};
  const auto secondsTo = [](sys_seconds instant) {
    return static_cast<double>((instant - kReferenceDate).count());
  };
  const double whole = std::floor(sinceReferenceDate);
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

// Restores the objects that the root reaches, each once, however often it is referred to.
class ArchiveReader {
 public:
  using FactoryLookup = std::function<ArchiveFactory(std::string_view)>;

  ArchiveReader(std::span<const std::uint8_t> bytes, const FactoryLookup& factoryForClassName)
      : plist_(bytes),
        factoryForClassName_(factoryForClassName),
        allowance_(4 * std::uint64_t{bytes.size()} + limits::archiveExpansion),
        unspent_(allowance_) {
    if (plist_.kind(plist_.top()) != Kind::Dictionary ||
        !plist_.isString(entry(plist_.top(), archive::kArchiver), archive::kArchiverName) ||
        plist_.scalar(entry(plist_.top(), archive::kVersion)) != Value(archive::kVersionNumber)) {
      refuse("the data is no keyed archive");
    }
    objects_ = entry(plist_.top(), archive::kObjects);
    const std::size_t count = plist_.count(objects_);
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
  // What an object with a class stands for.
  enum class Form : std::uint8_t { Null, String, Data, Date, Array, Dictionary, Record };
  struct Class {
    Form form;
    ArchiveFactory factory;  // of a Record
  };
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
    const Class& kind = classOf(object);
    switch (kind.form) {
      case Form::Null:
        return {};
      case Form::String:
        return text(contentOf(object, archive::kString));
      case Form::Data:
        return scalar(contentOf(object, archive::kData), Kind::Data);
      case Form::Date: {
        const Value seconds = plist_.scalar(contentOf(object, archive::kTime));
        if (!seconds.number()) refuse("a date is no number");
        return dateText(*seconds.number());
      }
      case Form::Array:
        return array(slot, object);
      case Form::Dictionary:
        return dictionary(slot, object);
      case Form::Record:
        break;
    }
    return record(slot, kind, object);
  }

  // Restores what a container refers to, and finds how large and how deep it is thereby.
  void restoreChildren(Slot& parent, const std::vector<UID>& children) {
    // Bounds the recursion: a chain of 200,000 arrays takes 4 MB and would take the whole stack.
    if (depth_ == limits::archiveDepth) refuse("objects are nested too deeply");
    ++depth_;
    for (const UID uid : children) {
      const Slot& child = restored(uid);
      parent.weight += 1 + child.weight;
      // Thirty arrays that each hold the next one twice are small here, where they are shared, but
      // a billion entries to whoever compares or writes the value. Also keeps the sum from
      // overflowing: a weight is at most the allowance.
      if (parent.weight > allowance_) refuseFanOut();
      parent.height = std::max(parent.height, child.height);
      // Text is copied into what holds it; everything else is shared.
      if (const std::string* text = child.value.string()) charge(text->size());
    }
    --depth_;
    // The depth on this way here does not bound the value's: a child that was restored earlier
    // brings its own levels along. Values are destroyed recursively.
    if (++parent.height > limits::archiveDepth) refuse("objects are nested too deeply");
  }

  Value array(Slot& slot, Reference object) {
    const auto uids = uidsIn(contentOf(object, archive::kElements));
    restoreChildren(slot, uids);
    Array array;
    array.reserve(uids.size());
    for (const UID uid : uids) array.push_back(slots_[uid].value);
    return array;
  }

  Value dictionary(Slot& slot, Reference object) {
    const auto keys = uidsIn(contentOf(object, archive::kKeys));
    const auto values = uidsIn(contentOf(object, archive::kElements));
    // Entries are made pair by pair: without a value for each key they would be read beyond the
    // end.
    if (keys.size() != values.size()) refuse("a dictionary has not as many keys as values");
    auto children = keys;
    children.insert(children.end(), values.begin(), values.end());
    restoreChildren(slot, children);
    std::vector<DictionaryEntry> entries;
    entries.reserve(keys.size());
    for (std::size_t index = 0; index < keys.size(); ++index) {
      const std::string* key = slots_[keys[index]].value.string();
      if (key == nullptr) refuse("a dictionary has a key that is no text");
      entries.emplace_back(*key, slots_[values[index]].value);
    }
    return Dictionary(std::move(entries));
  }

  // An object whose class has a factory. Its fields stand in it by name: referred to, or scalars in
  // place.
  Value record(Slot& slot, const Class& kind, Reference object) {
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
    restoreChildren(slot, children);
    Dictionary fields;
    for (std::size_t index = 0; index < count; ++index) {
      const std::string key = text(plist_.key(object, index));
      // The first of two fields under one name counts.
      if (key == archive::kClass || fields.find(key) != nullptr) continue;
      const Reference field = plist_.element(object, index);
      fields.set(key, plist_.kind(field) == Kind::UID ? slots_[uidIn(field)].value : leaf(field));
    }
    auto restoredObject = kind.factory(FieldDecoder(std::move(fields)));
    if (!restoredObject) refuse("an object cannot be restored from its fields");
    return restoredObject;
  }

  // The value of an object without a class.
  Value leaf(Reference object) {
    const Kind kind = plist_.kind(object);
    if (kind == Kind::Date) return dateText(plist_.date(object));
    if (kind == Kind::UID || kind == Kind::Array || kind == Kind::Set || kind == Kind::Dictionary) {
      refuse("an object is of an unknown kind");
    }
    return scalar(object, kind);
  }

  Value scalar(Reference object, Kind kind) {
    if (plist_.kind(object) != kind) refuse("an object is not of the expected kind");
    Value value = plist_.scalar(object);
    charge(contentSize(value));
    return value;
  }

  std::string text(Reference object) { return *scalar(object, Kind::String).string(); }

  const Class& classOf(Reference object) {
    const UID uid = uidIn(entry(object, archive::kClass));
    const auto known = classes_.find(uid);
    if (known != classes_.end()) return known->second;
    return classes_.emplace(uid, resolveClass(plist_.element(objects_, uid))).first->second;
  }

  // The class itself or the nearest of those it derives from, which the archive lists after it.
  Class resolveClass(Reference description) {
    charge(plist_.count(description));
    Class resolved{};
    if (resolveClassName(text(entry(description, archive::kClassName)), resolved)) return resolved;
    if (const auto ancestors = plist_.find(description, archive::kClasses)) {
      const std::size_t count = plist_.count(*ancestors);
      charge(count);
      for (std::size_t index = 0; index < count; ++index) {
        if (resolveClassName(text(plist_.element(*ancestors, index)), resolved)) return resolved;
      }
    }
    // Objects are made by registered factories only: an archive cannot name any other code.
    refuse("the class of an object is not known");
  }

  bool resolveClassName(const std::string& name, Class& resolved) const {
    using KnownClass = std::pair<std::string_view, Form>;
    static constexpr std::array kKnown{KnownClass{"NSDictionary", Form::Dictionary},
                                       KnownClass{"NSMutableDictionary", Form::Dictionary},
                                       KnownClass{"NSArray", Form::Array},
                                       KnownClass{"NSMutableArray", Form::Array},
                                       KnownClass{"NSSet", Form::Array},
                                       KnownClass{"NSMutableSet", Form::Array},
                                       KnownClass{"NSString", Form::String},
                                       KnownClass{"NSMutableString", Form::String},
                                       KnownClass{"NSData", Form::Data},
                                       KnownClass{"NSMutableData", Form::Data},
                                       KnownClass{"NSDate", Form::Date},
                                       KnownClass{"NSNull", Form::Null}};
    const auto known = std::ranges::find(kKnown, name, &KnownClass::first);
    if (known != kKnown.end()) {
      resolved = {known->second, nullptr};
      return true;
    }
    resolved = {Form::Record, factoryForClassName_(name)};
    return resolved.factory != nullptr;
  }

  // Takes the price of a piece of work out of what is left for the whole archive. Each object's
  // bytes are there once but may be asked for by as many places as the archive has, which makes a
  // short archive a long work: ten thousand places that name one list of ten thousand.
  void charge(std::uint64_t amount) {
    if (amount > unspent_) refuseFanOut();
    unspent_ -= amount;
  }

  [[noreturn]] static void refuseFanOut() { refuse("its references fan out too far"); }

  PropertyListReader plist_;
  const FactoryLookup& factoryForClassName_;
  Reference objects_ = 0;  // the list of the archive's objects
  std::vector<Slot> slots_;
  std::map<UID, Class> classes_;
  std::size_t depth_ = 0;        // containers that are being restored
  std::uint64_t allowance_ = 0;  // what a value may weigh
  std::uint64_t unspent_ = 0;    // what restoring may still cost
};

}  // namespace

Value readArchive(
    std::span<const std::uint8_t> bytes,
    const std::function<ArchiveFactory(std::string_view className)>& factoryForClassName) {
  return ArchiveReader(bytes, factoryForClassName).readRoot();
}

}  // namespace orx::platform
