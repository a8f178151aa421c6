// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orx {

class Value;
struct DictionaryEntry;

// A string-keyed dictionary that keeps its insertion order. A cheap handle: copies share their
// content, and changing one handle never changes another (it takes a copy of the content first), so
// a dictionary that was handed over stays as it was. Default-constructed it is empty, not absent:
// where absence means something the type is std::optional<Dictionary>. Different handles may be
// used on different threads, also when they share their content; one handle must not be changed on
// one thread while another uses it.
class ORX_EXPORT Dictionary {
 public:
  using Entry = DictionaryEntry;

  Dictionary() noexcept;
  // A key named twice keeps its first place and takes the last value.
  Dictionary(std::initializer_list<Entry> entries);
  explicit Dictionary(std::vector<Entry> entries);
  Dictionary(const Dictionary& other) noexcept;
  Dictionary(Dictionary&& other) noexcept;
  Dictionary& operator=(const Dictionary& other) noexcept;
  Dictionary& operator=(Dictionary&& other) noexcept;
  ~Dictionary();

  std::size_t size() const noexcept;
  bool empty() const noexcept;

  // The value under `key`, or null when there is none; it lives until this handle is changed or
  // gone.
  const Value* find(std::string_view key) const noexcept;
  // The value under `key`; a missing key reads as the null value.
  const Value& operator[](std::string_view key) const noexcept;

  // Replaces the value of a known key in its place, or adds a new entry at the end.
  void set(std::string_view key, Value value);
  // Removes the entry; an unknown key changes nothing.
  void remove(std::string_view key);

  // Entries in insertion order, none when it is empty; valid until this handle is changed or gone.
  const std::vector<Entry>& entries() const noexcept;
  const Entry* begin() const noexcept;
  const Entry* end() const noexcept;

  // True when both handles share one content (not merely equal content).
  bool isSameAs(const Dictionary& other) const noexcept;

  // The same keys, each with an equal value; order does not matter.
  friend ORX_EXPORT bool operator==(const Dictionary& left, const Dictionary& right);

 private:
  struct Content;
  Content& changeable(std::shared_ptr<Content>& former);

  std::shared_ptr<Content> content_;
};

}  // namespace orx
