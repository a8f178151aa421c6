#pragma once

#include <ORXAccount/platform/Value.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/PropertyList.h"

namespace orx::platform {

// The objects of one keyed archive while it is being read. Each is restored once, however often it
// is referred to, with a stack of its own instead of recursion.
class UnarchivingTable {
 public:
  using FactoryLookup = std::function<KeyedUnarchiver::Factory(std::string_view className)>;

  // Throws MalformedPropertyList, as restoreRoot does, for bytes that are no keyed archive. `bytes`
  // must outlive the table.
  UnarchivingTable(std::span<const std::uint8_t> bytes, FactoryLookup factoryForClassName);

  // Throws also what a factory throws.
  Value restoreRoot();

 private:
  using Reference = PropertyListReader::Reference;
  using UID = std::uint32_t;

  // What an object with a class stands for.
  enum class Form : std::uint8_t { Null, String, Data, Date, Array, Dictionary, Record };
  struct Class {
    Form form;
    KeyedUnarchiver::Factory factory;  // of a Record
  };
  enum class State : std::uint8_t { Untouched, Open, Restored };
  struct Slot {
    Value value;
    std::uint64_t weight = 0;  // entries and bytes below it, each counted as often as it is reached
    std::uint32_t height = 0;  // containers nested in it, itself included
    State state = State::Untouched;
  };
  struct Frame {
    UID uid;
    Reference object;
    const Class* kind;
    Reference keys;      // of a Dictionary: the list of its keys
    Reference elements;  // of a Dictionary or an Array: the list of its contents
    std::size_t children;
    std::size_t next;  // the child that is looked at next
  };

  Reference entry(Reference dictionary, std::string_view key) const;
  UID uidIn(Reference object) const;
  UID childOf(const Frame& frame, std::size_t index) const;
  Reference contentOf(Reference object, std::string_view key) const;

  void visit(UID uid);
  void open(UID uid, Reference object);
  void close(const Frame& frame);
  void restored(UID uid, Value value);
  Value leaf(Reference object);
  Value objectLeaf(const Class& kind, Reference object);

  const Class& classOf(Reference object);
  Class resolveClass(Reference description);
  bool resolveClassName(const std::string& name, Class& resolved) const;

  Value text(Reference string);
  Value bytes(Reference data);
  Value array(const Frame& frame) const;
  Value dictionary(const Frame& frame) const;
  Value record(const Frame& frame);

  void charge(std::uint64_t amount);

  PropertyListReader plist_;
  FactoryLookup factoryForClassName_;
  Reference list_ = 0;  // of the archive's objects
  std::vector<Slot> slots_;
  std::vector<Frame> stack_;
  std::map<UID, Class> classes_;
  std::uint64_t allowance_ = 0;  // what a value may weigh
  std::uint64_t unspent_ = 0;    // what restoring may still copy
};

}  // namespace orx::platform
