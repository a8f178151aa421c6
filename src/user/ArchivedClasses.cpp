#include "user/ArchivedClasses.h"

#include <ORXAccount/ORVAAccountUser.h>

#include "platform/formats/KeyedArchiver.h"
#include "user/ArchivedNames.h"

namespace orx {

using namespace platform;

void registerArchivedClasses() {
  KeyedUnarchiver::setClass_forClassName(&ORVAAccountUser::initWithCoder, kUserClassName);
}

}  // namespace orx
