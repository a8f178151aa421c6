// SPDX-License-Identifier: MIT
#include <plist/plist.h>

#include <memory>
#include <string>

#include "FuzzTarget.h"
#include "platform/formats/PropertyList.h"
#include "platform/storage/DefaultsContent.h"

namespace {

using orx::Data;
using orx::platform::MalformedPropertyList;

std::optional<std::string> read(const Data& content, std::string_view key) {
  return orx::platform::stringInDefaults(content, key);
}

// As another reader of property lists sees it.
void compare(const Data& content, const char* key, const std::string& expected) {
  struct Free {
    void operator()(void* list) const { plist_free(list); }
  };
  plist_t parsed = nullptr;
  plist_from_bin(content.text().data(), static_cast<std::uint32_t>(content.size()), &parsed);
  const std::unique_ptr<void, Free> list(parsed);
  // It refuses some of what is carried over unread.
  if (!list || plist_get_node_type(list.get()) != PLIST_DICT) return;
  const plist_t value = plist_dict_get_item(list.get(), key);
  ORX_FUZZ_CHECK(value != nullptr && plist_get_node_type(value) == PLIST_STRING);
  std::uint64_t size = 0;
  const char* found = plist_get_string_ptr(value, &size);
  ORX_FUZZ_CHECK(std::string_view(found, size) == expected);
}

// A change is read back, leaves the other entries alone, and is none a second time.
void change(const Data& content) {
  const auto other = read(content, "other");
  const auto changed = orx::platform::changedDefaults(content, "UUID", "text");
  const Data now = changed.value_or(content);
  ORX_FUZZ_CHECK(read(now, "UUID") == "text" && read(now, "other") == other);
  ORX_FUZZ_CHECK(!orx::platform::changedDefaults(now, "UUID", "text"));
  if (changed) compare(now, "UUID", "text");
  const auto removed = orx::platform::changedDefaults(now, "UUID", std::nullopt);
  ORX_FUZZ_CHECK(removed && !read(*removed, "UUID") && read(*removed, "other") == other);
}

}  // namespace

ORX_FUZZ_TARGET(text) {
  const Data content(text);
  try {
    (void)read(content, "UUID");
  } catch (const MalformedPropertyList&) {
    return;
  }
  try {
    change(content);
  } catch (const MalformedPropertyList&) {
    // What is asked for is well-formed, and something that is to be carried over is not.
  }
}
