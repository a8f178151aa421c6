// Empty, because only the target's precompiled header is needed.
