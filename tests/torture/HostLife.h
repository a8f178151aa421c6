// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include "torture/FaultPlan.h"

namespace orx::torture {

// A host's life with the development service, in which memory runs out, or system calls fail where
// the plan is of calls everywhere. The request names its steps (LifeSteps.h), and says whether it
// leaves the choice of authorities to the system, and whether it has a loop that runs all
// callbacks. What fails is done a second time or ends the life. The answer says what came of each
// attempt.
Dictionary liveInTrouble(const Dictionary& request, const FaultPlan& plan);

}  // namespace orx::torture
