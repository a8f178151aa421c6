// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

// Does the work for one input, and fails when it takes memory, freed or not, without proportion to
// the input's length. For some inputs it is done again with a piece of them repeated, and fails
// when its memory or the processor's time then grows with the square of the length, as that of what
// looks through the rest again and again does: in a short input that cannot be seen. The time is
// checked where an engine fuzzes, and the memory where a sanitizer counts allocations.
void checkGrowth(std::string_view input, void (*work)(std::string_view input));

// For a target that takes as much memory for any input, however short, as one that hashes
// passwords.
void allowForAnyInput(std::size_t bytes);

// For a target in which what is not the project's own takes the square of a long input's length.
void leaveInputsShort();
