#include "user/ArchivedClasses.h"

#include <ORXAccount/ORVAAccountUser.h>

#include "platform/formats/KeyedUnarchiver.h"
#include "user/ArchivedNames.h"

namespace orx {

using namespace platform;

void registerArchivedClasses() {
  setClass_forClassName(&ORVAAccountUser::initWithCoder, kUserClassName);
}

}  // namespace orx
