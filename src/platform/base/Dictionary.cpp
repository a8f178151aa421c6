#include <ORXAccount/platform/Dictionary.h>
#include <ORXAccount/platform/Value.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

namespace orx {

namespace {

// Below this size looking at every entry is faster than any index.
constexpr std::size_t kIndexedFrom = 48;
// Room that the first entry brings along.
constexpr std::size_t kFirstRoom = 8;

// Never destroyed: callbacks may read a missing key while the process ends.
const Value& kNull = *new Value;

// Never destroyed, and it takes no memory that could be missing.
union NoEntries {
  std::vector<DictionaryEntry> entries{};
  // A default one would be deleted. NOLINTNEXTLINE(modernize-use-equals-default)
  ~NoEntries() {}
};
constinit const NoEntries kNone;

}  // namespace

struct Dictionary::Content {
  Content() = default;
  Content(const Content& other) : entries(other.entries) { indexAll(); }
  Content& operator=(const Content&) = delete;

  std::optional<std::size_t> positionOf(std::string_view key) const {
    if (index) {
      const auto found = index->find(key);
      return found == index->end() ? std::nullopt : std::optional(found->second);
    }
    if ((marks & markOf(key)) == 0) return std::nullopt;
    const std::size_t position = positionAmong(entries.size(), key);
    return position < entries.size() ? std::optional(position) : std::nullopt;
  }

  void set(std::string key, Value value) {
    if (const auto position = positionOf(key)) {
      entries[*position].value = std::move(value);
      return;
    }
    if (entries.empty()) entries.reserve(kFirstRoom);
    entries.emplace_back(std::move(key), std::move(value));
    if (entries.size() == kIndexedFrom) {
      indexAll();
    } else if (index) {
      index->emplace(entries.back().key, entries.size() - 1);
    } else {
      marks |= markOf(entries.back().key);
    }
  }

  void setAll(std::vector<Entry> all) {
    entries = std::move(all);
    if (indexAll()) return;
    all = std::exchange(entries, {});
    indexAll();
    for (Entry& entry : all) set(std::move(entry.key), std::move(entry.value));
  }

  // Whether every key is there once.
  bool indexAll() {
    bool areDistinct = true;
    marks = 0;
    index.reset();
    if (entries.size() >= kIndexedFrom) index = std::make_unique<Index>();
    for (std::size_t position = 0; position < entries.size(); ++position) {
      const std::string& key = entries[position].key;
      if (index) {
        areDistinct &= index->emplace(key, position).second;
        continue;
      }
      const std::uint64_t mark = markOf(key);
      areDistinct &= (marks & mark) == 0 || positionAmong(position, key) == position;
      marks |= mark;
    }
    return areDistinct;
  }

  std::vector<Entry> entries;
  // Of a small dictionary, each key's mark: most keys that are not there are known by that.
  std::uint64_t marks = 0;
  // Only of a large one. Ordered rather than hashed: keys come from outside, and no choice of keys
  // makes this slow.
  using Index = std::map<std::string, std::size_t, std::less<>>;
  std::unique_ptr<Index> index;
  // Set once a second handle exists and never cleared, so that whether a change needs a copy is
  // known without racing against the other handles' end.
  std::atomic<bool> shared{false};

 private:
  // One of 64 bits.
  static std::uint64_t markOf(std::string_view key) {
    if (key.empty()) return 1;
    const auto byteAt = [key](std::size_t place) { return static_cast<unsigned char>(key[place]); };
    const std::uint64_t mixed = byteAt(0) + 256U * byteAt(key.size() / 2) +
                                65536U * byteAt(key.size() - 1) + (key.size() << 24U);
    return std::uint64_t{1} << (mixed * 0x9E3779B97F4A7C15U >> 58U);
  }

  // The key's position among the first `count` entries; `count` when it is not there.
  std::size_t positionAmong(std::size_t count, std::string_view key) const {
    std::size_t position = 0;
    while (position < count && entries[position].key != key) ++position;
    return position;
  }
};

Dictionary::Dictionary() noexcept = default;

Dictionary::Dictionary(std::initializer_list<Entry> entries) {
  for (const Entry& entry : entries) set(entry.key, entry.value);
}

Dictionary::Dictionary(std::vector<Entry> entries) {
  if (!entries.empty()) changeable().setAll(std::move(entries));
}

Dictionary::Dictionary(const Dictionary& other) noexcept : content_(other.content_) {
  if (content_) content_->shared.store(true, std::memory_order_relaxed);
}

Dictionary::Dictionary(Dictionary&& other) noexcept = default;

Dictionary& Dictionary::operator=(const Dictionary& other) noexcept {
  Dictionary copy(other);
  content_.swap(copy.content_);
  return *this;
}

Dictionary& Dictionary::operator=(Dictionary&& other) noexcept = default;

Dictionary::~Dictionary() = default;

std::size_t Dictionary::size() const noexcept { return content_ ? content_->entries.size() : 0; }

bool Dictionary::empty() const noexcept { return size() == 0; }

const Value* Dictionary::find(std::string_view key) const noexcept {
  if (!content_) return nullptr;
  const auto position = content_->positionOf(key);
  return position ? &content_->entries[*position].value : nullptr;
}

const Value& Dictionary::operator[](std::string_view key) const noexcept {
  const Value* value = find(key);
  return value != nullptr ? *value : kNull;
}

void Dictionary::set(std::string key, Value value) {
  changeable().set(std::move(key), std::move(value));
}

void Dictionary::remove(std::string_view key) {
  if (find(key) == nullptr) return;
  Content& content = changeable();
  content.entries.erase(content.entries.begin() +
                        static_cast<std::ptrdiff_t>(*content.positionOf(key)));
  content.indexAll();
}

const std::vector<DictionaryEntry>& Dictionary::entries() const noexcept {
  return content_ ? content_->entries : kNone.entries;
}

const DictionaryEntry* Dictionary::begin() const noexcept { return entries().data(); }

const DictionaryEntry* Dictionary::end() const noexcept {
  return entries().data() + entries().size();
}

bool Dictionary::isSameAs(const Dictionary& other) const noexcept {
  return content_ == other.content_;
}

Dictionary::Content& Dictionary::changeable() {
  if (!content_) {
    content_ = std::make_shared<Content>();
  } else if (content_->shared.load(std::memory_order_relaxed)) {
    content_ = std::make_shared<Content>(*content_);
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
