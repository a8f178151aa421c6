// SPDX-License-Identifier: MIT
#pragma once

namespace orx::torture {

// When a signal ends this process, writes to the descriptor where it was and which allocation had
// failed: lines "death", the frames, "allocation", the frames. Makes no allocation.
void leaveDeathNote(int descriptor);

}  // namespace orx::torture
