// SPDX-License-Identifier: MIT
#pragma once

namespace orx::torture {

// When a signal ends this process, writes to the descriptor where it was and what had failed
// before: lines "death", the frames, "failed", the frames. Makes no allocation.
void leaveDeathNote(int descriptor);
// Before anything else is written there. Does not return while a thread of this process is dying.
void leaveNoDeathNote() noexcept;

}  // namespace orx::torture
