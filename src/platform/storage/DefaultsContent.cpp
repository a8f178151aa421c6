#include "platform/storage/DefaultsContent.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <utility>

#include "platform/base/Checksum.h"
#include "platform/formats/PropertyList.h"

namespace orx::platform {

namespace {

using Kind = PropertyListReader::Kind;
using Reference = PropertyListReader::Reference;

// The trailer is the last 32 bytes; the checksum, little-endian, and a mark stand at its beginning.
// The checksum covers everything with these five bytes zero.
constexpr std::size_t trailerSize = 32;
constexpr std::size_t sealSize = 5;
constexpr std::uint8_t sealMark = 0xA5;

Data sealed(const Data& list) {
  std::vector<std::uint8_t> bytes(list.bytes().begin(), list.bytes().end());
  const auto seal = std::span(bytes).last(trailerSize).first(sealSize);
  std::ranges::fill(seal, std::uint8_t{0});
  const auto checksum = checksumOf(bytes);
  for (unsigned byte = 0; byte < 4; ++byte) {
    seal[byte] = static_cast<std::uint8_t>(checksum >> (8 * byte));
  }
  seal[4] = sealMark;
  return Data(std::move(bytes));
}

void requireUnbrokenSeal(const Data& content) {
  if (content.size() < trailerSize) return;
  const auto seal = content.bytes().last(trailerSize).first(sealSize);
  const bool none = std::ranges::all_of(seal, [](std::uint8_t byte) { return byte == 0; });
  if (!none && sealed(content) != content) throw MalformedPropertyList("its checksum is wrong");
}

void requireDictionary(const PropertyListReader& list) {
  if (list.kind(list.top()) != Kind::Dictionary) {
    throw MalformedPropertyList("the root is not a dictionary");
  }
}

std::optional<std::string> stringUnder(const PropertyListReader& list, std::string_view key) {
  const auto value = list.find(list.top(), key);
  if (!value) return std::nullopt;
  switch (list.kind(*value)) {
    case Kind::String:
      return list.string(*value);
    case Kind::Integer:
    case Kind::Real:
      return list.scalar(*value).text();
    default:
      return std::nullopt;
  }
}

// Carries objects of one list over into another: each once, however often it is referred to, and
// without recursion, however deep they nest.
class Copier {
 public:
  Copier(const PropertyListReader& source, PropertyListWriter& target)
      : source_(source), target_(target) {}

  Reference copy(Reference root) {
    open(root);
    while (!open_.empty()) {
      auto& frame = open_.back();
      if (frame.next == childCount(frame.object)) {
        finish();
        continue;
      }
      const auto child = this->child(frame.object, frame.next);
      if (const auto known = copies_.find(child); known != copies_.end()) {
        if (!known->second) throw MalformedPropertyList("a container holds itself");
        frame.children.push_back(*known->second);
        ++frame.next;
      } else {
        open(child);
      }
    }
    return *copies_.at(root);
  }

 private:
  struct Frame {
    Reference object;
    std::size_t next = 0;
    std::vector<Reference> children;
  };

  void open(Reference object) {
    if (copies_.try_emplace(object).second)
      open_.push_back({.object = object, .next = 0, .children = {}});
  }

  // The keys of a dictionary come before its values.
  std::size_t childCount(Reference object) const {
    switch (source_.kind(object)) {
      case Kind::Array:
      case Kind::Set:
        return source_.count(object);
      case Kind::Dictionary:
        return 2 * source_.count(object);
      default:
        return 0;
    }
  }

  Reference child(Reference object, std::size_t index) const {
    if (source_.kind(object) != Kind::Dictionary) return source_.element(object, index);
    const auto count = source_.count(object);
    return index < count ? source_.key(object, index) : source_.element(object, index - count);
  }

  void finish() {
    const auto frame = std::move(open_.back());
    open_.pop_back();
    copies_[frame.object] = add(frame);
  }

  Reference add(const Frame& frame) {
    const std::span<const Reference> children(frame.children);
    switch (source_.kind(frame.object)) {
      case Kind::Array:
        return target_.addArray(children);
      case Kind::Set:
        return target_.addSet(children);
      case Kind::Dictionary:
        return target_.addDictionary(children.first(children.size() / 2),
                                     children.last(children.size() / 2));
      default:
        return addLeaf(frame.object);
    }
  }

  Reference addLeaf(Reference object) {
    switch (source_.kind(object)) {
      case Kind::Date:
        return target_.addDate(source_.date(object));
      case Kind::UID:
        return target_.addUID(narrow(source_.UID(object)));
      default:
        return target_.addScalar(source_.scalar(object));
    }
  }

  static std::uint32_t narrow(std::uint64_t uid) {
    if (uid > std::numeric_limits<std::uint32_t>::max()) {
      throw MalformedPropertyList("a UID is too large");
    }
    return static_cast<std::uint32_t>(uid);
  }

  const PropertyListReader& source_;
  PropertyListWriter& target_;
  std::vector<Frame> open_;
  // An empty copy marks a container that is being copied.
  std::unordered_map<Reference, std::optional<Reference>> copies_;
};

// The list without `key`, or with another value under it.
Data rewritten(const PropertyListReader* list, std::string_view key,
               std::optional<std::string_view> value) {
  PropertyListWriter writer;
  std::vector<Reference> keys;
  std::vector<Reference> values;
  std::optional<Copier> copier;
  if (list != nullptr) {
    copier.emplace(*list, writer);
    for (std::size_t index = 0; index < list->count(list->top()); ++index) {
      const auto entryKey = list->key(list->top(), index);
      if (list->kind(entryKey) == Kind::String && list->isString(entryKey, key)) continue;
      keys.push_back(copier->copy(entryKey));
      values.push_back(copier->copy(list->element(list->top(), index)));
    }
  }
  if (value) {
    keys.push_back(writer.addString(key));
    values.push_back(writer.addString(*value));
  }
  return sealed(writer.finish(writer.addDictionary(keys, values)));
}

std::optional<PropertyListReader> readerOf(const std::optional<Data>& content) {
  if (!content) return std::nullopt;
  requireUnbrokenSeal(*content);
  std::optional<PropertyListReader> list(std::in_place, content->bytes());
  requireDictionary(*list);
  return list;
}

}  // namespace

std::optional<std::string> stringInDefaults(const Data& content, std::string_view key) {
  requireUnbrokenSeal(content);
  const PropertyListReader list(content.bytes());
  requireDictionary(list);
  return stringUnder(list, key);
}

std::optional<Data> defaultsWithString(const std::optional<Data>& content, std::string_view key,
                                       std::string_view value) {
  const auto list = readerOf(content);
  if (list && stringUnder(*list, key) == value) return std::nullopt;
  return rewritten(list ? &*list : nullptr, key, value);
}

std::optional<Data> defaultsWithout(const std::optional<Data>& content, std::string_view key) {
  const auto list = readerOf(content);
  if (!list || !list->find(list->top(), key)) return std::nullopt;
  return rewritten(&*list, key, std::nullopt);
}

}  // namespace orx::platform
