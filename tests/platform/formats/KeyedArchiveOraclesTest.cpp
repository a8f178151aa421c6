// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <plist/plist.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include "platform/formats/ArchiveValues.h"
#include "platform/formats/Canonical.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "support/Python.h"
#include "support/TemporaryDirectory.h"

namespace orx::testing {

using namespace platform;
namespace {

void writeFile(const std::filesystem::path& path, const Data& data) {
  std::ofstream(path, std::ios::binary) << data.text();
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class PlistNode {
 public:
  static PlistNode read(const Data& data) {
    plist_t node = nullptr;
    plist_from_bin(data.text().data(), static_cast<std::uint32_t>(data.size()), &node);
    return PlistNode(node);
  }

  plist_t get() const { return node_.get(); }

  Data written() const {
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(get(), &bytes, &length);
    Data data(std::string_view(bytes, length));
    plist_to_bin_free(bytes);
    return data;
  }

 private:
  explicit PlistNode(plist_t node) : node_(node, &plist_free) {}
  std::unique_ptr<void, decltype(&plist_free)> node_;
};

std::string textOf(plist_t node) {
  std::uint64_t length = 0;
  const char* text = plist_get_string_ptr(node, &length);
  return {text, length};
}

// What an archive holds, read out of libplist's nodes by the archive's rules alone.
class PlistArchive {
 public:
  explicit PlistArchive(plist_t archive)
      : objects_(plist_dict_get_item(archive, "$objects")),
        root_(plist_access_path(archive, 2, "$top", "root")) {}

  Value root() const { return restore(root_); }

 private:
  Value restore(plist_t reference) const {
    std::uint64_t uid = 0;
    plist_get_uid_val(reference, &uid);
    if (uid == 0) return {};
    plist_t object = plist_array_get_item(objects_, static_cast<std::uint32_t>(uid));
    switch (plist_get_node_type(object)) {
      case PLIST_BOOLEAN: {
        std::uint8_t boolean = 0;
        plist_get_bool_val(object, &boolean);
        return boolean != 0;
      }
      case PLIST_REAL: {
        double number = 0;
        plist_get_real_val(object, &number);
        return number;
      }
      case PLIST_STRING:
        return textOf(object);
      case PLIST_DATA: {
        std::uint64_t length = 0;
        const char* bytes = plist_get_data_ptr(object, &length);
        return Data(std::string_view(bytes, length));
      }
      case PLIST_UINT:
        return integer(object);
      default:
        return container(object);
    }
  }

  static Value integer(plist_t object) {
    std::uint64_t bits = 0;
    plist_get_uint_val(object, &bits);
    return static_cast<std::int64_t>(bits);
  }

  Value container(plist_t object) const {
    std::uint64_t uid = 0;
    plist_get_uid_val(plist_dict_get_item(object, "$class"), &uid);
    plist_t description = plist_array_get_item(objects_, static_cast<std::uint32_t>(uid));
    const std::string name = textOf(plist_dict_get_item(description, "$classname"));
    plist_t elements = plist_dict_get_item(object, "NS.objects");
    plist_t keys = plist_dict_get_item(object, "NS.keys");
    if (name == "NSNull") return {};
    const std::uint32_t count = plist_array_get_size(elements);
    Array array;
    Dictionary dictionary;
    for (std::uint32_t i = 0; i < count; ++i) {
      Value value = restore(plist_array_get_item(elements, i));
      if (name == "NSArray") {
        array.push_back(std::move(value));
      } else {
        dictionary.set(*restore(plist_array_get_item(keys, i)).string(), std::move(value));
      }
    }
    return name == "NSArray" ? Value(std::move(array)) : Value(std::move(dictionary));
  }

  plist_t objects_;
  plist_t root_;
};

TEST(KeyedArchiver, WritesWhatPlistlibReads) {
  const TemporaryDirectory directory;
  const auto values = archiveValues(true);
  std::vector<std::string> paths;
  for (const auto& [name, value] : values) {
    paths.push_back(directory / (name + ".plist"));
    writeFile(paths.back(), archivedDataWithRootObject(value));
  }
  std::istringstream lines(runPython("platform/formats/archives/read_archive.py", paths));
  for (const auto& [name, value] : values) {
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, canonical(value)) << name;
  }
}

TEST(KeyedArchiver, WritesWhatLibplistReads) {
  for (const auto& [name, value] : archiveValues(false)) {
    // libplist gives the bits of an integer without its sign.
    if (name == kBeyondSignedIntegers) continue;
    SCOPED_TRACE(name);
    const auto archive = PlistNode::read(archivedDataWithRootObject(value));
    ASSERT_NE(archive.get(), nullptr);
    EXPECT_EQ(canonical(PlistArchive(archive.get()).root()), canonical(value));
  }
}

TEST(KeyedUnarchiver, ReadsWhatLibplistWrites) {
  for (const auto& [name, value] : archiveValues(false)) {
    SCOPED_TRACE(name);
    const auto archive = PlistNode::read(archivedDataWithRootObject(value));
    const auto reading = unarchiveObjectWithData(archive.written());
    ASSERT_TRUE(reading) << reading.error()->localizedDescription();
    EXPECT_EQ(canonical(*reading), canonical(value));
  }
}

TEST(KeyedUnarchiver, ReadsWhatOtherArchiversWroteAndRefusesWhatIsNoArchive) {
  const TemporaryDirectory directory;
  runPython("platform/formats/archives/make_archives.py", {directory.path().string()});
  std::size_t accepted = 0;
  std::size_t refused = 0;
  for (const auto& file : std::filesystem::directory_iterator(directory.path())) {
    if (file.path().extension() != ".plist") continue;
    SCOPED_TRACE(file.path().stem().string());
    auto expected = file.path();
    expected.replace_extension(".expected");
    const auto reading = unarchiveObjectWithData(Data(readFile(file.path())));
    if (std::filesystem::exists(expected)) {
      ++accepted;
      ASSERT_TRUE(reading) << reading.error()->localizedDescription();
      EXPECT_EQ(canonical(*reading), readFile(expected));
    } else {
      ++refused;
      ASSERT_FALSE(reading);
      EXPECT_EQ(reading.error()->domain(), NSCocoaErrorDomain);
      EXPECT_EQ(reading.error()->code(), 4864);
    }
  }
  EXPECT_GE(accepted, 14U);
  EXPECT_GE(refused, 19U);
}

}  // namespace
}  // namespace orx::testing
