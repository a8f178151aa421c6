#include "platform/formats/UnarchivingTable.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <utility>

#include "platform/base/Limits.h"
#include "platform/formats/KeyedArchive.h"

namespace orx::platform {

namespace {

using Kind = PropertyListReader::Kind;

[[noreturn]] void refuse(const std::string& reason) { throw MalformedPropertyList(reason); }

// Dates come as the text that the service writes them as, so that a field reads the same whichever
// archiver stored it. A part of a second is cut off.
std::string dateText(double sinceReferenceDate) {
  using namespace std::chrono;
  static constexpr sys_seconds kReferenceDate = sys_days{2001y / January / 1};
  static constexpr sys_seconds kFirst = sys_days{1y / January / 1};
  static constexpr sys_seconds kEnd = sys_days{10000y / January / 1};
  const double whole = std::floor(sinceReferenceDate);
  const auto seconds = [](sys_seconds instant) {
    return static_cast<double>((instant - kReferenceDate).count());
  };
  if (!(whole >= seconds(kFirst) && whole < seconds(kEnd))) refuse("a date is beyond the calendar");
  const sys_seconds instant =
      kReferenceDate + std::chrono::seconds(static_cast<std::int64_t>(whole));
  const auto midnight = floor<days>(instant);
  const year_month_day day(midnight);
  const hh_mm_ss time(instant - midnight);
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d",
                static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                static_cast<unsigned>(day.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  return text.data();
}

class FieldCoder final : public Coder {
 public:
  void add(std::string key, Value value) { fields_.emplace_back(std::move(key), std::move(value)); }

  void encodeObject_forKey(const Value&, std::string_view) override {
    throw std::logic_error("an archive that is being read cannot be written");
  }

  Value decodeObjectOfClass_forKey(Value::Kind kind, std::string_view key) const override {
    for (const DictionaryEntry& field : fields_) {
      if (field.key == key) return field.value.kind() == kind ? field.value : Value();
    }
    return {};
  }

 private:
  std::vector<DictionaryEntry> fields_;
};

}  // namespace

UnarchivingTable::UnarchivingTable(std::span<const std::uint8_t> bytes,
                                   FactoryLookup factoryForClassName)
    : plist_(bytes),
      factoryForClassName_(std::move(factoryForClassName)),
      allowance_(4 * std::uint64_t{bytes.size()} + limits::archiveExpansion),
      unspent_(allowance_) {
  if (plist_.kind(plist_.top()) != Kind::Dictionary ||
      !plist_.isString(entry(plist_.top(), archive::kArchiver), archive::kArchiverName) ||
      plist_.scalar(entry(plist_.top(), archive::kVersion)) != Value(archive::kVersionNumber)) {
    refuse("the data is no keyed archive");
  }
  list_ = entry(plist_.top(), archive::kObjects);
  const std::size_t objects = plist_.count(list_);
  if (objects == 0) refuse("there are no objects");
  if (objects > limits::archiveObjects) refuse("there are too many objects");
  slots_.resize(objects);
  slots_[0].state = State::Restored;  // the archive's null
}

Value UnarchivingTable::restoreRoot() {
  const UID root = uidIn(entry(entry(plist_.top(), archive::kTop), archive::kRoot));
  visit(root);
  while (!stack_.empty()) {
    Frame& frame = stack_.back();
    if (frame.next < frame.children) {
      visit(childOf(frame, frame.next++));
    } else {
      const Frame complete = frame;
      stack_.pop_back();
      close(complete);
    }
  }
  return slots_[root].value;
}

UnarchivingTable::Reference UnarchivingTable::entry(Reference dictionary,
                                                    std::string_view key) const {
  const auto found = plist_.find(dictionary, key);
  if (!found) refuse("there is no " + std::string(key));
  return *found;
}

UnarchivingTable::UID UnarchivingTable::uidIn(Reference object) const {
  const std::uint64_t uid = plist_.UID(object);
  if (uid >= slots_.size()) refuse("a reference leaves the archive");
  return static_cast<UID>(uid);
}

// A dictionary's keys come first, then its values. What a record holds without a reference, and its
// class, are no children of it.
UnarchivingTable::UID UnarchivingTable::childOf(const Frame& frame, std::size_t index) const {
  if (frame.kind->form == Form::Record) {
    const Reference field = plist_.element(frame.object, index);
    const bool isChild = plist_.kind(field) == Kind::UID &&
                         !plist_.isString(plist_.key(frame.object, index), archive::kClass);
    return isChild ? uidIn(field) : 0;
  }
  if (frame.kind->form == Form::Array) return uidIn(plist_.element(frame.elements, index));
  const std::size_t entries = plist_.count(frame.keys);
  return index < entries ? uidIn(plist_.element(frame.keys, index))
                         : uidIn(plist_.element(frame.elements, index - entries));
}

// The content of an object that stands for one value: in place, or referred to.
UnarchivingTable::Reference UnarchivingTable::contentOf(Reference object,
                                                        std::string_view key) const {
  const Reference content = entry(object, key);
  return plist_.kind(content) == Kind::UID ? plist_.element(list_, uidIn(content)) : content;
}

void UnarchivingTable::visit(UID uid) {
  const State state = slots_[uid].state;
  if (state == State::Restored) return;
  if (state == State::Open) refuse("an object contains itself");
  const Reference object = plist_.element(list_, uid);
  if (plist_.kind(object) == Kind::Dictionary) {
    open(uid, object);
  } else {
    restored(uid, leaf(object));
  }
}

void UnarchivingTable::open(UID uid, Reference object) {
  charge(plist_.count(object));
  const Class& kind = classOf(object);
  Frame frame{uid, object, &kind, 0, 0, 0, 0};
  switch (kind.form) {
    case Form::Array:
      frame.elements = contentOf(object, archive::kElements);
      frame.children = plist_.count(frame.elements);
      break;
    case Form::Dictionary:
      frame.keys = contentOf(object, archive::kKeys);
      frame.elements = contentOf(object, archive::kElements);
      if (plist_.count(frame.keys) != plist_.count(frame.elements)) {
        refuse("a dictionary has not as many keys as values");
      }
      frame.children = 2 * plist_.count(frame.keys);
      break;
    case Form::Record:
      frame.children = plist_.count(object);
      break;
    default:
      return restored(uid, objectLeaf(kind, object));
  }
  charge(frame.children);
  if (stack_.size() == limits::archiveDepth) refuse("objects are nested too deeply");
  slots_[uid].state = State::Open;
  stack_.push_back(frame);
}

void UnarchivingTable::close(const Frame& frame) {
  Slot& slot = slots_[frame.uid];
  for (std::size_t index = 0; index < frame.children; ++index) {
    const Slot& child = slots_[childOf(frame, index)];
    slot.weight += 1 + child.weight;
    if (slot.weight > allowance_) refuse("its references fan out too far");
    slot.height = std::max(slot.height, child.height);
    // Text is copied into what holds it; everything else is shared.
    if (const std::string* text = child.value.string()) charge(text->size());
  }
  if (++slot.height > limits::archiveDepth) refuse("objects are nested too deeply");
  switch (frame.kind->form) {
    case Form::Array:
      slot.value = array(frame);
      break;
    case Form::Dictionary:
      slot.value = dictionary(frame);
      break;
    default:
      slot.value = record(frame);
  }
  slot.state = State::Restored;
}

void UnarchivingTable::restored(UID uid, Value value) {
  Slot& slot = slots_[uid];
  if (const std::string* text = value.string()) slot.weight = text->size();
  if (const Data* data = value.data()) slot.weight = data->size();
  slot.value = std::move(value);
  slot.state = State::Restored;
}

Value UnarchivingTable::leaf(Reference object) {
  switch (plist_.kind(object)) {
    case Kind::Null:
      return {};
    case Kind::Boolean:
    case Kind::Integer:
    case Kind::Real:
      return plist_.scalar(object);
    case Kind::Date:
      return dateText(plist_.date(object));
    case Kind::Data:
      return bytes(object);
    case Kind::String:
      return text(object);
    default:
      refuse("an object is of an unknown kind");
  }
}

Value UnarchivingTable::objectLeaf(const Class& kind, Reference object) {
  switch (kind.form) {
    case Form::String:
      return text(contentOf(object, archive::kString));
    case Form::Data:
      return bytes(contentOf(object, archive::kData));
    case Form::Date: {
      const Value seconds = plist_.scalar(contentOf(object, archive::kTime));
      if (!seconds.number()) refuse("a date is no number");
      return dateText(*seconds.number());
    }
    default:
      return {};
  }
}

const UnarchivingTable::Class& UnarchivingTable::classOf(Reference object) {
  const UID uid = uidIn(entry(object, archive::kClass));
  const auto known = classes_.find(uid);
  if (known != classes_.end()) return known->second;
  return classes_.emplace(uid, resolveClass(plist_.element(list_, uid))).first->second;
}

// The class itself or the nearest of those it derives from, which the archive lists after it.
UnarchivingTable::Class UnarchivingTable::resolveClass(Reference description) {
  charge(plist_.count(description));
  const Value name = text(entry(description, archive::kClassName));
  Class resolved{};
  if (resolveClassName(*name.string(), resolved)) return resolved;
  if (const auto ancestors = plist_.find(description, archive::kClasses)) {
    const std::size_t count = plist_.count(*ancestors);
    charge(count);
    for (std::size_t index = 0; index < count; ++index) {
      const Value ancestor = text(plist_.element(*ancestors, index));
      if (resolveClassName(*ancestor.string(), resolved)) return resolved;
    }
  }
  refuse("the class of an object is not known");
}

bool UnarchivingTable::resolveClassName(const std::string& name, Class& resolved) const {
  struct KnownClass {
    std::string_view name;
    Form form;
  };
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
  const auto known = std::ranges::find(kKnown, name, &KnownClass::name);
  if (known != kKnown.end()) {
    resolved = {known->form, nullptr};
    return true;
  }
  resolved = {Form::Record, factoryForClassName_(name)};
  return resolved.factory != nullptr;
}

Value UnarchivingTable::text(Reference string) {
  std::string text = plist_.string(string);
  charge(text.size());
  return text;
}

Value UnarchivingTable::bytes(Reference data) {
  const auto bytes = plist_.data(data);
  charge(bytes.size());
  return Data(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

Value UnarchivingTable::array(const Frame& frame) const {
  Array array;
  array.reserve(frame.children);
  for (std::size_t index = 0; index < frame.children; ++index) {
    array.push_back(slots_[childOf(frame, index)].value);
  }
  return array;
}

Value UnarchivingTable::dictionary(const Frame& frame) const {
  const std::size_t count = frame.children / 2;
  std::vector<DictionaryEntry> entries;
  entries.reserve(count);
  for (std::size_t index = 0; index < count; ++index) {
    const std::string* key = slots_[childOf(frame, index)].value.string();
    if (key == nullptr) refuse("a dictionary has a key that is no text");
    entries.emplace_back(*key, slots_[childOf(frame, count + index)].value);
  }
  return Dictionary(std::move(entries));
}

Value UnarchivingTable::record(const Frame& frame) {
  FieldCoder coder;
  for (std::size_t index = 0; index < frame.children; ++index) {
    const Value key = text(plist_.key(frame.object, index));
    if (*key.string() == archive::kClass) continue;
    const Reference field = plist_.element(frame.object, index);
    coder.add(*key.string(),
              plist_.kind(field) == Kind::UID ? slots_[uidIn(field)].value : leaf(field));
  }
  auto object = frame.kind->factory(coder);
  if (!object) refuse("an object cannot be restored from its fields");
  return object;
}

void UnarchivingTable::charge(std::uint64_t amount) {
  if (amount > unspent_) refuse("its references fan out too far");
  unspent_ -= amount;
}

}  // namespace orx::platform
