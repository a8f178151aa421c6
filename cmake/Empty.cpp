// SPDX-License-Identifier: MIT
// Empty, because only the target's precompiled header is needed.
