// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include "torture/FaultPlan.h"

namespace orx::torture {

// A host's life with the development service, in which memory runs out, or system calls fail where
// the plan is of calls everywhere: restore, sign-in by password, picture, list, and sign-out where
// the request asks for it. What fails is done a second time or ends the life. The answer says what
// came of each attempt.
Dictionary liveInTrouble(const Dictionary& request, const FaultPlan& plan);

}  // namespace orx::torture
