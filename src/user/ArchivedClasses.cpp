// SPDX-License-Identifier: MIT
#include "user/ArchivedClasses.h"

#include <ORXAccount/ORVAAccountUser.h>

#include "platform/formats/KeyedUnarchiver.h"

namespace orx::user {

void registerArchivedClasses() {
  platform::setClass_forClassName(&ORVAAccountUser::initWithCoder, kUserClassName);
}

}  // namespace orx::user
