// SPDX-License-Identifier: MIT
#pragma once

// Marks what the library shows to a host; everything else is compiled hidden.
#define ORX_EXPORT __attribute__((visibility("default")))
