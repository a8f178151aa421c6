// SPDX-License-Identifier: MIT
// A host that starts, has its user restored, and says so. With an argument it signs the user in.
#include <ORXAccount/ORXAccount.h>
#include <unistd.h>

int main(int count, char**) {
  orx::Bundle::mainBundle()->setBundleIdentifier("com.example.bench");
  if (count > 1) {
    orx::Dictionary fields;
    for (int index = 0; index < 20; ++index) {
      const auto number = std::to_string(index);
      fields.set("field" + number, "the value of field " + number);
    }
    orx::ORVAAccountUser::setCurrentUser(orx::ORVAAccountUser::initWithUserInfo(fields));
    return 0;
  }
  orx::ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
      std::nullopt, "key", "id", false);
  if (!orx::ORVAAccountUser::currentUser()) return 1;
  return write(STDOUT_FILENO, "!", 1) == 1 ? 0 : 1;
}
