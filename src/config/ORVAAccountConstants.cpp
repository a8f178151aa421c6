#include <ORXAccount/ORVAAccountConstants.h>

#include "platform/http/Transport.h"

namespace orx {

std::string ORXAccountVersions() {
  return "ORXAccount/" ORX_VERSION " " + platform::transportVersions();
}

}  // namespace orx

const double ORXAccountVersionNumber = 1.0;
const unsigned char ORXAccountVersionString[] = "@(#)PROGRAM:ORXAccount  PROJECT:ORXFrameworks-1\n";
