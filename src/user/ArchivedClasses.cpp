#include "user/ArchivedClasses.h"

#include <ORXAccount/ORVAAccountUser.h>

#include "platform/KeyedArchiver.h"
#include "user/ArchivedNames.h"

namespace orx {

void registerArchivedClasses() {
  KeyedUnarchiver::setClass_forClassName(&ORVAAccountUser::initWithCoder, kUserClassName);
}

}  // namespace orx
