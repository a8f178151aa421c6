// SPDX-License-Identifier: MIT
// Each kind of misbehaviour of a service, met by reading, adding, updating and deleting.

#include <array>

#include "platform/keychain/secretservice/ServiceFixture.h"

namespace orx {

using namespace platform;
namespace {

using testing::Ending;
using testing::KeychainOperation;

constexpr std::array everyOperation{KeychainOperation::Read, KeychainOperation::Add,
                                    KeychainOperation::Update, KeychainOperation::Delete};
constexpr OSStatus done = errSecSuccess;

// A script, and the statuses of reading, adding, updating and deleting under it. Adding starts
// without an item; the others start with one.
struct Scenario {
  std::string name;
  std::string script;
  std::array<OSStatus, 4> statuses;
  // The item's bytes after each of these operations, read once the service behaves again; "-" for
  // no item.
  std::array<std::string, 4> left;
};

void PrintTo(const Scenario& scenario, std::ostream* stream) { *stream << scenario.name; }

const std::array<std::string, 4> nothingChanged{"old", "-", "old", "old"};

std::array<OSStatus, 4> all(OSStatus status) { return {status, status, status, status}; }

std::string refuses(const std::string& method, const std::string& error) {
  return method + " error org.freedesktop." + error;
}

std::vector<Scenario> scenarios() {
  const auto io = all(errSecIO);
  const auto locked = all(errSecInteractionNotAllowed);
  const auto dies = [](const std::string& method) { return method + " die"; };
  return {
      {"Behaves", "", {done, done, done, done}, {"old", "new", "new", "-"}},
      {"DiesInSearch", dies("SearchItems"), io, nothingChanged},
      {"DiesOpeningASession",
       dies("OpenSession"),
       {errSecIO, errSecIO, errSecIO, done},
       {"old", "-", "old", "-"}},
      {"DiesGivingASecret",
       dies("GetSecret"),
       {errSecIO, errSecIO, errSecIO, done},
       {"old", "-", "old", "-"}},
      {"DiesInWriting",
       "CreateItem die\nSetSecret die\nDelete die",
       {done, errSecIO, errSecIO, errSecIO},
       nothingChanged},
      {"LockedForGood", "locked refuse", locked, nothingChanged},
      {"LockedBehindAPromptThatIsForbidden", "locked prompt", locked, nothingChanged},
      {"LockedWithoutAPassword",
       "locked free",
       {done, done, done, done},
       {"old", "new", "new", "-"}},
      {"LockedHidingItsItems",
       "locked free\nhide",
       {done, done, done, done},
       {"old", "new", "new", "-"}},
      {"LocksInMidCall",
       "GetSecret error org.freedesktop.Secret.Error.IsLocked",
       {errSecInteractionNotAllowed, errSecInteractionNotAllowed, errSecInteractionNotAllowed,
        done},
       {"old", "new", "new", "-"}},
      {"NoDefaultKeyring",
       "no-default",
       {done, errSecNotAvailable, done, done},
       {"old", "-", "new", "-"}},
      {"ItemVanishesBeforeItIsRead",
       "GetSecret vanish",
       {errSecItemNotFound, errSecIO, errSecItemNotFound, done},
       {"-", "-", "-", "-"}},
      {"ItemVanishesBeforeItIsLookedAt",
       "Get.Attributes vanish",
       {errSecItemNotFound, done, errSecItemNotFound, errSecItemNotFound},
       {"-", "new", "-", "-"}},
      {"ItemVanishesBeforeItIsWritten",
       "SetSecret vanish\nDelete vanish",
       {done, done, errSecItemNotFound, done},
       {"old", "new", "-", "-"}},
      {"ItemIsNeverThereWhenAsked",
       refuses("Get.Attributes", "DBus.Error.UnknownObject"),
       {errSecIO, done, errSecIO, errSecIO},
       {"old", "new", "old", "old"}},
      {"ForgetsWhatItIsGiven",
       "CreateItem ignore\nSetSecret ignore",
       {done, errSecIO, errSecIO, done},
       {"old", "-", "old", "-"}},
      {"KeepsWhatItIsToRemove",
       "Delete ignore",
       {done, done, done, errSecIO},
       {"old", "new", "new", "old"}},
  };
}

// Services that give wrong secrets, or describe them wrongly.
std::vector<Scenario> scenariosOfAnswers() {
  const auto io = all(errSecIO);
  return {
      {"ReadsBackAnotherSecret",
       "secret aGVsbG8=",
       {errSecDecode, errSecIO, errSecIO, done},
       {"old", "new", "new", "-"}},
      {"EmptySecret",
       "secret",
       {errSecDecode, errSecIO, errSecIO, done},
       {"old", "new", "new", "-"}},
      {"SecretThatIsNotASCII",
       "secret %C3%A9%FF%00",
       {errSecDecode, errSecIO, errSecIO, done},
       {"old", "new", "new", "-"}},
      {"SecretWithALineBreak",
       "secret aGVs%0AbG8=",
       {errSecDecode, errSecIO, errSecIO, done},
       {"old", "new", "new", "-"}},
      {"HugeSecret",
       "secret-size 20000000",
       {errSecDecode, errSecIO, errSecIO, done},
       {"old", "new", "new", "-"}},
      {"OtherContentType",
       "content-type application/octet-stream",
       {done, done, done, done},
       {"old", "new", "new", "-"}},
      {"SecretOfAnotherSession",
       "session /org/freedesktop/secrets/session/other",
       {errSecIO, errSecIO, errSecIO, done},
       {"old", "new", "new", "-"}},
      {"SessionRefused",
       refuses("OpenSession", "DBus.Error.NotSupported"),
       {errSecIO, errSecIO, errSecIO, done},
       {"old", "-", "old", "-"}},
      {"SessionForgotten",
       refuses("GetSecret", "Secret.Error.NoSession"),
       {errSecIO, errSecIO, errSecIO, done},
       {"old", "new", "new", "-"}},
      {"SearchRefused", refuses("SearchItems", "DBus.Error.AccessDenied"), io, nothingChanged},
      {"SearchMalformed", "SearchItems malformed", io, nothingChanged},
      {"SessionMalformed",
       "OpenSession malformed",
       {errSecIO, errSecIO, errSecIO, done},
       {"old", "-", "old", "-"}},
      {"SecretMalformed",
       "GetSecret malformed",
       {errSecIO, errSecIO, errSecIO, done},
       {"old", "new", "new", "-"}},
      {"PropertiesMalformed",
       "Get.Attributes malformed",
       {errSecIO, done, errSecIO, errSecIO},
       {"old", "new", "old", "old"}},
      {"WritingRefused",
       "CreateItem error org.freedesktop.DBus.Error.Failed\nSetSecret error "
       "org.freedesktop.DBus.Error.Failed\nDelete error org.freedesktop.DBus.Error.Failed",
       {done, errSecIO, errSecIO, errSecIO},
       nothingChanged},
      {"Slow",
       "SearchItems delay 150\nGetSecret delay 150\nDelete delay 150",
       {done, done, done, done},
       {"old", "new", "new", "-"}},
  };
}

std::vector<Scenario> allScenarios() {
  auto list = scenarios();
  for (auto& scenario : scenariosOfAnswers()) list.push_back(std::move(scenario));
  return list;
}

class Misbehaviour : public testing::ServiceFixture,
                     public ::testing::WithParamInterface<Scenario> {
 protected:
  void start(KeychainOperation operation, std::string_view script) {
    operation == KeychainOperation::Add ? startEmpty(script) : startWithItem(script);
  }
  // The item's bytes once the service behaves. One that died is started again with its stored
  // items.
  std::string contentNow(KeychainOperation operation, bool died) {
    died ? start(operation, "") : service.setScript("");
    const auto ending = read();
    return ending.status == errSecSuccess ? ending.bytes : "-";
  }
};

TEST_P(Misbehaviour, EndsInAStatusAndLeavesWhatItSays) {
  const auto& scenario = GetParam();
  for (std::size_t index = 0; index < everyOperation.size(); ++index) {
    const auto operation = everyOperation[index];
    start(operation, scenario.script);
    const auto ending = run(operation);
    EXPECT_EQ(ending.status, scenario.statuses[index]) << "operation " << index;
    EXPECT_FALSE(ending.storeMissing);
    // The scripted service loses its items when it dies, so it is started anew before they are
    // read.
    const bool died = ending.status == errSecIO && scenario.name.starts_with("Dies");
    EXPECT_EQ(contentNow(operation, died), scenario.left[index]) << "operation " << index;
    EXPECT_EQ(service.calls("Prompt"), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(, Misbehaviour, ::testing::ValuesIn(allScenarios()),
                         [](const auto& instance) { return instance.param.name; });

// A service that never answers one of the calls. The operation must end at its deadline.
class Silence : public testing::ServiceFixture,
                public ::testing::WithParamInterface<std::string> {};

TEST_P(Silence, EndsAsNotAvailableWhenTheTimeIsUp) {
  using std::chrono::milliseconds;
  auto method = GetParam();
  // A test's name may not contain the dot of "Get.Locked".
  if (method.starts_with("Property")) method.replace(0, 8, "Get.");
  int silences = 0;
  for (const auto operation : everyOperation) {
    if (operation == KeychainOperation::Add) {
      startEmpty(method + " silent");
    } else {
      startWithItem(method + " silent");
    }
    const auto ending = run(operation, milliseconds(1000));
    const bool asked = service.calls(method) > 0;
    EXPECT_TRUE(!asked || ending.status == errSecNotAvailable) << static_cast<int>(operation);
    silences += asked ? 1 : 0;
    EXPECT_FALSE(ending.storeMissing);
  }
  EXPECT_GT(silences, 0);
}

INSTANTIATE_TEST_SUITE_P(, Silence,
                         ::testing::Values("SearchItems", "OpenSession", "GetSecret", "SetSecret",
                                           "CreateItem", "Delete", "ReadAlias", "PropertyLocked",
                                           "PropertyAttributes", "PropertyModified"),
                         [](const auto& instance) { return instance.param; });

}  // namespace
}  // namespace orx
