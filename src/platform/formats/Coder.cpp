// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Coder.h>

namespace orx {

Coder::~Coder() = default;

}  // namespace orx
