// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>

// Does the work for one input, and fails when it takes more of the processor's time, or more memory
// in all, freed or not, than grows with the input's length: what copies the rest again and again
// takes its square. The time is checked where an engine fuzzes, and the memory where a sanitizer
// counts allocations.
void checkGrowth(std::size_t inputSize, const std::function<void()>& work);

// For a target that takes as much memory for any input, however short, as one that hashes
// passwords.
void allowForAnyInput(std::size_t bytes);
