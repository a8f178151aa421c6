// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <random>

#include "platform/base/Limits.h"
#include "platform/formats/ArchiveValues.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"

namespace orx::testing {

using namespace platform;
namespace {

// An object with one field, whose name the test chooses.
class Field final : public SecureCoding {
 public:
  static constexpr std::string_view kClassName = "Field";

  Field(std::string name, Value content) : name_(std::move(name)), content_(std::move(content)) {}

  std::string_view archivedClassName() const override { return kClassName; }
  void encodeWithCoder(Coder& coder) const override { coder.encodeObject_forKey(content_, name_); }
  bool isEqual(const Object* object) const override {
    const auto* other = dynamic_cast<const Field*>(object);
    return other != nullptr && name_ == other->name_ && content_ == other->content_;
  }

  // Restores objects whose field has this name and holds text.
  static void registerNamed(const std::string& name) {
    setClass_forClassName(
        [name](const Coder& coder) {
          return std::make_shared<Field>(
              name, coder.decodeObjectOfClass_forKey(Value::Kind::String, name));
        },
        kClassName);
  }

 private:
  std::string name_;
  Value content_;
};

void expectEqualWhenRead(const Value& value) {
  const Data archive = archivedDataWithRootObject(value);
  const auto reading = unarchiveObjectWithData(archive);
  ASSERT_TRUE(reading) << reading.error()->localizedDescription();
  EXPECT_TRUE(*reading == value);
}

// True when the value was archived.
bool isEqualWhenReadOrRefused(const Value& value) {
  std::optional<Data> archive;
  try {
    archive = archivedDataWithRootObject(value);
  } catch (const std::invalid_argument&) {
    return false;
  }
  const auto reading = unarchiveObjectWithData(*archive);
  EXPECT_TRUE(reading.has_value() && *reading == value) << archive->size();
  return true;
}

Dictionary fieldsOf(std::size_t count, const std::string& text) {
  Dictionary fields;
  for (std::size_t field = 0; field < count; ++field) fields.set(std::to_string(field), text);
  return fields;
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

TEST(KeyedArchive, OfManyEqualTextsIsReadBack) {
  expectEqualWhenRead(fieldsOf(50, std::string(100'000, 'x')));
  expectEqualWhenRead(fieldsOf(900, std::string(5'000, 'x')));
  expectEqualWhenRead(fieldsOf(12, std::string(1'000'000, 'x')));
  expectEqualWhenRead(fieldsOf(50, repeated("\u738b", 40'000)));
  expectEqualWhenRead(fieldsOf(50, repeated("\u00e9", 50'000)));
  expectEqualWhenRead(Array(std::vector<Value>(400'000, "a text of everyday length")));
}

TEST(KeyedArchive, OfEqualKeysIsReadBack) {
  const std::string key(50'000, 'k');
  Array list;
  for (int i = 0; i < 300; ++i) list.push_back(Dictionary{{key, i}, {"value", key}});
  expectEqualWhenRead(list);
}

TEST(KeyedArchive, OfObjectsWithALongFieldNameIsReadBack) {
  const std::string name(50'000, 'n');
  Field::registerNamed(name);
  Array list;
  for (int i = 0; i < 300; ++i) list.push_back(std::make_shared<Field>(name, name));
  expectEqualWhenRead(list);
}

TEST(KeyedArchive, OfEqualTextsIsNoLargerThanTheyAre) {
  const std::string text(10'000, 'x');
  const Data once = archivedDataWithRootObject(fieldsOf(1, text));
  EXPECT_LT(archivedDataWithRootObject(fieldsOf(400, text)).size(), 2 * once.size());
  EXPECT_LT(archivedDataWithRootObject(fieldsOf(4'000, text)).size(), 4'000 * text.size());
}

TEST(KeyedArchive, OfAListThatIsHeldTooOftenIsNotWritten) {
  Value value = Dictionary{{"text", "at the bottom"}};
  for (int level = 0; level < 100; ++level) value = Array{value, value};
  EXPECT_THROW(archivedDataWithRootObject(value), std::invalid_argument);
  const Value large = Array{std::string(1'000'000, 'x')};
  const Array often(std::vector<Value>(10, large));
  EXPECT_THROW(archivedDataWithRootObject(often), std::invalid_argument);
}

// The list is written where it is shallow, and then held once more where that makes it too deep.
TEST(KeyedArchive, OfAListThatIsTooDeepAtASecondPlaceIsNotWritten) {
  const auto deep = [](std::size_t levels) {
    const Value shared = nested(levels / 2);
    Value value = shared;
    for (std::size_t level = levels / 2; level < levels - 1; ++level) value = Array{value};
    return Value(Array{shared, value});
  };
  expectEqualWhenRead(deep(limits::archiveDepth));
  EXPECT_THROW(archivedDataWithRootObject(deep(limits::archiveDepth + 1)), std::invalid_argument);
}

TEST(KeyedArchive, OfAnObjectThatNobodyCouldRestoreIsNotWritten) {
  class Stranger final : public SecureCoding {
   public:
    explicit Stranger(std::string_view name) : name_(name) {}
    std::string_view archivedClassName() const override { return name_; }
    void encodeWithCoder(Coder&) const override {}

   private:
    std::string_view name_;
  };
  // The names of the archive's own kinds would come back as those.
  for (const std::string_view name : {"Stranger", "NSArray", "NSString", "NSNull"}) {
    EXPECT_THROW(archivedDataWithRootObject(std::make_shared<Stranger>(name)),
                 std::invalid_argument);
  }
}

// Goes on when a value of it cannot be archived.
class Stubborn final : public SecureCoding {
 public:
  std::string_view archivedClassName() const override { return "Stubborn"; }
  void encodeWithCoder(Coder& coder) const override {
    for (const Value& value : {Value("\xff"), Value(Array{1, "\xff"})}) {
      EXPECT_THROW(coder.encodeObject_forKey(value, "damaged"), std::invalid_argument);
    }
    coder.encodeObject_forKey("whole", "field");
  }
};

TEST(KeyedArchive, OfAnObjectThatGoesOnWithoutAValueIsReadBack) {
  setClass_forClassName(
      [](const Coder& coder) {
        EXPECT_EQ(coder.decodeObjectOfClass_forKey(Value::Kind::String, "field"), Value("whole"));
        EXPECT_TRUE(coder.decodeObjectOfClass_forKey(Value::Kind::String, "damaged").isNull());
        return std::make_shared<Stubborn>();
      },
      "Stubborn");
  EXPECT_TRUE(unarchiveObjectWithData(archivedDataWithRootObject(std::make_shared<Stubborn>()))
                  .has_value());
}

// Holds lists that cannot be archived, does without them, and holds one that can.
class Patient final : public SecureCoding {
 public:
  std::string_view archivedClassName() const override { return "Patient"; }
  void encodeWithCoder(Coder& coder) const override {
    const Value good = nested(limits::archiveDepth - 1);
    const Value tooDeep = Array{good};
    for (std::size_t i = 0; i <= limits::archiveDepth; ++i) {
      EXPECT_THROW(coder.encodeObject_forKey(Array{"\xff"}, "damaged"), std::invalid_argument);
    }
    EXPECT_THROW(coder.encodeObject_forKey(tooDeep, "deep"), std::invalid_argument);
    coder.encodeObject_forKey(good, "good");
  }
};

TEST(KeyedArchive, OfAnObjectThatGoesOnWithoutListsHoldsTheOthers) {
  setClass_forClassName(
      [](const Coder& coder) {
        EXPECT_EQ(coder.decodeObjectOfClass_forKey(Value::Kind::Array, "good"),
                  nested(limits::archiveDepth - 1));
        return std::make_shared<Patient>();
      },
      "Patient");
  std::optional<Data> archive;
  ASSERT_NO_THROW(archive = archivedDataWithRootObject(std::make_shared<Patient>()));
  EXPECT_TRUE(unarchiveObjectWithData(*archive).has_value());
}

class WithoutFields final : public SecureCoding {
 public:
  std::string_view archivedClassName() const override { return "WithoutFields"; }
  void encodeWithCoder(Coder&) const override {}
  bool isEqual(const Object* object) const override {
    return dynamic_cast<const WithoutFields*>(object) != nullptr;
  }
};

TEST(KeyedArchive, OfAnObjectThatIsHeldTooOftenIsNotWritten) {
  setClass_forClassName([](const Coder&) { return std::make_shared<WithoutFields>(); },
                        "WithoutFields");
  Value value = std::make_shared<WithoutFields>();
  bool isWritten = true;
  // Each level holds the one below twice; comparing them all would take too long.
  for (int level = 0; isWritten && level < 40; ++level) {
    value = Array{value, value};
    try {
      const Data archive = archivedDataWithRootObject(value);
      EXPECT_TRUE(unarchiveObjectWithData(archive).has_value()) << level;
    } catch (const std::invalid_argument&) {
      isWritten = false;
    }
  }
  EXPECT_FALSE(isWritten);
}

// Has a few more fields than there is room for beside its list.
class FieldsOfManyNames final : public SecureCoding {
 public:
  static constexpr std::size_t kFields = 20;

  std::string_view archivedClassName() const override { return "FieldsOfManyNames"; }
  void encodeWithCoder(Coder& coder) const override {
    Array list;
    while (list.size() < limits::archiveObjects - kFields) list.push_back(1);
    EXPECT_NO_THROW(coder.encodeObject_forKey(list, "list"));
    for (std::size_t i = 0; i < kFields; ++i) coder.encodeObject_forKey(nullptr, std::to_string(i));
  }
};

TEST(KeyedArchive, OfMoreObjectsAndFieldNamesThanItsLimitIsNotWritten) {
  setClass_forClassName([](const Coder&) { return std::make_shared<FieldsOfManyNames>(); },
                        "FieldsOfManyNames");
  EXPECT_THROW(archivedDataWithRootObject(std::make_shared<FieldsOfManyNames>()),
               std::invalid_argument);
}

// Trees of every kind of value, whose texts and lists come again and again.
class RandomTrees {
 public:
  explicit RandomTrees(std::uint32_t seed) : random_(seed) {
    for (int i = 0; i < 8; ++i) {
      const std::string_view letter = std::array{"x", "\u00e9", "\u738b", "\U0001f600"}[below(4)];
      texts_.push_back(repeated(letter, std::size_t{1} << below(18)));
    }
  }

  Value next(int depth) {
    if (!shared_.empty() && below(6) == 0) return shared_[below(shared_.size())];
    Value value = depth == 0 ? leaf() : container(depth - 1);
    if (below(8) == 0) shared_.push_back(value);
    return value;
  }

 private:
  std::size_t below(std::size_t end) { return random_() % end; }
  const std::string& text() { return texts_[below(texts_.size())]; }

  Value leaf() {
    switch (below(8)) {
      case 0:
        return Data(text());
      case 1:
        return nullptr;
      case 2:
        return static_cast<std::int64_t>(random_()) - 1'000'000'000;
      case 3:
        return below(2) == 0;
      default:
        return text();
    }
  }

  Value container(int depth) {
    const std::size_t count = below(5);
    if (below(2) == 0) {
      Array list;
      for (std::size_t i = 0; i < count; ++i) list.push_back(next(depth));
      return list;
    }
    Dictionary fields;
    for (std::size_t i = 0; i < count; ++i) fields.set(text(), next(depth));
    return fields;
  }

  std::mt19937 random_;
  std::vector<std::string> texts_;
  std::vector<Value> shared_;
};

TEST(KeyedArchive, OfRandomTreesIsReadBackOrNotWritten) {
  int archived = 0;
  for (std::uint32_t seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    RandomTrees trees(seed);
    if (isEqualWhenReadOrRefused(trees.next(1 + static_cast<int>(seed % 7)))) ++archived;
  }
  EXPECT_GT(archived, 25);
}

}  // namespace
}  // namespace orx::testing
