// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

namespace orx::torture {

// A host's life with the development service, in which memory runs out: restore, sign-in by
// password, picture, and sign-out where the request asks for it. What fails is done a second time
// or ends the life. The answer says what came of each attempt.
Dictionary liveWithoutMemory(const Dictionary& request);

}  // namespace orx::torture
