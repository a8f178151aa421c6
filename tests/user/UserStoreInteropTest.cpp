// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccount.h>

#include "platform/keychain/StoreStatus.h"
#include "support/Python.h"
#include "user/UserCacheTest.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::runPython;
using testing::writeContent;

class UserStoreInterop : public testing::UserCacheTest {
 protected:
  void start() {
    ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
        std::nullopt, "key", "application", false);
  }
  std::string readByOthers() {
    writeContent(home.path() / "blob", blob().value().text());
    return runPython("user/archives/read_store.py",
                     {home.defaultsFile().string(), (home.path() / "blob").string()});
  }
};

constexpr const char* storedUser =
    "blob: NSDictionary ['uuid', 'data'] same uuid: True bytes\n"
    "record: ('ORVAAccountUser', {'_userInfo': ('NSDictionary', "
    "{'login': 'someone', 'points': 12})})\n";

TEST_F(UserStoreInterop, HoldsExactlyWhatTheFormatHas) {
  signIn("someone");
  EXPECT_EQ(readByOthers(), std::string("defaults besides: {}\n") + storedUser);
}

// Each test is a whole round: another program writes the defaults and the item, a start-up restores
// the user from them, and the other program reads what the start-up wrote back.
class UserStoreByOthers : public UserStoreInterop,
                          public ::testing::WithParamInterface<const char*> {};

TEST_P(UserStoreByOthers, IsRestoredAndWrittenBackInTheFormat) {
  runPython("user/archives/make_store.py", {home.path().string()});
  fs::create_directories(home.defaultsFile().parent_path());
  fs::copy(home.path() / "defaults.plist", home.defaultsFile());
  ASSERT_TRUE(
      keychain->setData_forKey(Data(contentOf(home.path() / (std::string(GetParam()) + ".blob"))),
                               ORVAAccountUserKeychainKey));
  const auto defaultsBefore = contentOf(home.defaultsFile());
  start();
  const auto user = ORVAAccountUser::currentUser();
  ASSERT_TRUE(user) << keychainStatus().description();
  EXPECT_EQ(user->userInfo(), (Dictionary{{"login", "someone"}, {"points", 12}}));
  EXPECT_EQ(readByOthers(),
            std::string("defaults besides: {'of the host': [1, {'deep': b'x'}]}\n") + storedUser);
  EXPECT_EQ(contentOf(home.defaultsFile()), defaultsBefore);

  ORVAAccountUser::setCurrentUser(nullptr);
  EXPECT_FALSE(blob());
  EXPECT_EQ(uuid(), "(absent)");
}

INSTANTIATE_TEST_SUITE_P(, UserStoreByOthers,
                         ::testing::Values("plain", "mutable", "boxed", "mutable-boxed",
                                           "backwards", "derived"),
                         [](const auto& instance) {
                           std::string name = instance.param;
                           std::erase(name, '-');
                           return name;
                         });

}  // namespace
}  // namespace orx
