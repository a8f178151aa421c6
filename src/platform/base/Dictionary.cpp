// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Dictionary.h>
#include <ORXAccount/platform/Value.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

namespace orx {

namespace {

// Below this number of entries, comparing with every key is faster than asking an index.
constexpr std::size_t kIndexedFrom = 48;
// Entries that the first allocation has room for.
constexpr std::size_t kFirstCapacity = 8;

// A constant whose destructor never runs: callbacks may still read a missing key while the process
// ends. It exists before any code runs, so that static objects of a host may use it too.
template <typename T>
union NeverDestroyed {
  T value{};
  // A default one would be deleted. NOLINTNEXTLINE(modernize-use-equals-default)
  ~NeverDestroyed() {}
};
constinit const NeverDestroyed<Value> kNull;
// Constant as well, but not with libstdc++'s checked containers, which `constinit` would refuse.
const NeverDestroyed<std::vector<DictionaryEntry>> kNoEntries;

}  // namespace

struct Dictionary::Content {
  Content() = default;
  Content(const Content& other) : entries(other.entries) { indexAll(); }
  Content& operator=(const Content&) = delete;

  // The key's position; absent when it is not there.
  std::optional<std::size_t> positionOf(std::string_view key) const {
    if (index) {
      const auto found = index->find(key);
      return found == index->end() ? std::nullopt : std::optional(found->second);
    }
    return positionBefore(entries.size(), key);
  }

  void set(std::string_view key, Value value) {
    if (const auto position = positionOf(key)) {
      entries[*position].value = std::move(value);
      return;
    }
    if (entries.empty()) entries.reserve(kFirstCapacity);
    entries.emplace_back(key, std::move(value));
    try {
      if (index) {
        // The key given may have been part of one that has just moved.
        index->emplace(entries.back().key, entries.size() - 1);
      } else if (entries.size() >= kIndexedFrom) {
        indexAll();
      }
    } catch (...) {
      // Left in, it would be there for who walks and not for who looks it up.
      entries.pop_back();
      throw;
    }
  }

  // Takes the entries over as they are unless a key is there twice: then one by one.
  void setAll(std::vector<Entry> all) {
    entries = std::move(all);
    if (indexAll()) return;
    all = std::exchange(entries, {});
    index.reset();
    for (Entry& entry : all) set(entry.key, std::move(entry.value));
  }

  // Makes the index anew. False when a key is there twice.
  bool indexAll() {
    index.reset();
    std::unique_ptr<Index> whole;
    if (entries.size() >= kIndexedFrom) whole = std::make_unique<Index>();
    bool areDistinct = true;
    std::uint64_t marks = 0;  // of the keys so far
    for (std::size_t position = 0; position < entries.size(); ++position) {
      const std::string& key = entries[position].key;
      if (whole) {
        areDistinct &= whole->emplace(key, position).second;
      } else if (const std::uint64_t mark = markOf(key); (marks & mark) == 0) {
        // No key before it can be the same, so none is compared with it.
        marks |= mark;
      } else {
        areDistinct &= !positionBefore(position, key).has_value();
      }
    }
    // Not before: without an index all keys are found, with half of one not all.
    index = std::move(whole);
    return areDistinct;
  }

  std::vector<Entry> entries;
  // Only of a large dictionary. Ordered rather than hashed: keys come from outside, and no choice
  // of keys makes this slow.
  using Index = std::map<std::string, std::size_t, std::less<>>;
  std::unique_ptr<Index> index;
  // Set once a second handle exists and never cleared. The reference count would not do: reading
  // that it is one does not wait for what another thread did with the handle it has just let go.
  std::atomic<bool> shared{false};

 private:
  // One of 64 bits, the same for equal keys.
  static std::uint64_t markOf(std::string_view key) {
    if (key.empty()) return 1;
    const auto front = static_cast<unsigned char>(key.front());
    const auto back = static_cast<unsigned char>(key.back());
    return std::uint64_t{1} << ((key.size() * 13 + front * std::size_t{7} + back) % 64);
  }

  std::optional<std::size_t> positionBefore(std::size_t end, std::string_view key) const {
    for (std::size_t position = 0; position < end; ++position) {
      if (entries[position].key == key) return position;
    }
    return std::nullopt;
  }
};

Dictionary::Dictionary() noexcept = default;

Dictionary::Dictionary(std::initializer_list<Entry> entries)
    : Dictionary(std::vector<Entry>(entries)) {}

Dictionary::Dictionary(std::vector<Entry> entries) {
  if (entries.empty()) return;
  content_ = std::make_shared<Content>();
  content_->setAll(std::move(entries));
}

Dictionary::Dictionary(const Dictionary& other) noexcept : content_(other.content_) {
  if (content_) content_->shared.store(true, std::memory_order_relaxed);
}

Dictionary::Dictionary(Dictionary&& other) noexcept = default;

Dictionary& Dictionary::operator=(const Dictionary& other) noexcept {
  return *this = Dictionary(other);
}

Dictionary& Dictionary::operator=(Dictionary&& other) noexcept = default;

Dictionary::~Dictionary() = default;

std::size_t Dictionary::size() const noexcept { return entries().size(); }

bool Dictionary::empty() const noexcept { return entries().empty(); }

const Value* Dictionary::find(std::string_view key) const noexcept {
  if (!content_) return nullptr;
  const auto position = content_->positionOf(key);
  return position ? &content_->entries[*position].value : nullptr;
}

const Value& Dictionary::operator[](std::string_view key) const noexcept {
  const Value* value = find(key);
  return value != nullptr ? *value : kNull.value;
}

void Dictionary::set(std::string_view key, Value value) {
  std::shared_ptr<Content> former;
  changeable(former).set(key, std::move(value));
}

void Dictionary::remove(std::string_view key) {
  if (find(key) == nullptr) return;
  std::shared_ptr<Content> former;
  Content& content = changeable(former);
  content.entries.erase(content.entries.begin() +
                        static_cast<std::ptrdiff_t>(*content.positionOf(key)));
  content.indexAll();
}

const std::vector<DictionaryEntry>& Dictionary::entries() const noexcept {
  return content_ ? content_->entries : kNoEntries.value;
}

const DictionaryEntry* Dictionary::begin() const noexcept { return entries().data(); }

const DictionaryEntry* Dictionary::end() const noexcept {
  return entries().data() + entries().size();
}

bool Dictionary::isSameAs(const Dictionary& other) const noexcept {
  return content_ == other.content_;
}

// The content that this handle alone has, to be changed. Where it is a copy, `former` holds the
// one from before: the caller's key may be the text of an entry there.
Dictionary::Content& Dictionary::changeable(std::shared_ptr<Content>& former) {
  if (!content_) {
    content_ = std::make_shared<Content>();
  } else if (content_->shared.load(std::memory_order_relaxed)) {
    former = std::make_shared<Content>(*content_);
    content_.swap(former);
  }
  return *content_;
}

bool operator==(const Dictionary& left, const Dictionary& right) {
  if (left.isSameAs(right)) return true;
  if (left.size() != right.size()) return false;
  for (const DictionaryEntry& entry : left) {
    const Value* other = right.find(entry.key);
    if (other == nullptr || !(entry.value == *other)) return false;
  }
  return true;
}

}  // namespace orx
