#include "user/ArchivedClasses.h"

#include <ORXAccount/ORVAAccountUser.h>

#include "platform/formats/KeyedArchiver.h"

namespace orx::user {

void registerArchivedClasses() {
  platform::KeyedUnarchiver::setClass_forClassName(&ORVAAccountUser::initWithCoder, kUserClassName);
}

}  // namespace orx::user
