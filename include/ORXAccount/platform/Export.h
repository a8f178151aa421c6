#pragma once

// Marks what the shared library shows to a host; everything else is compiled hidden.
#if defined(ORX_STATIC)
#define ORX_EXPORT
#else
#define ORX_EXPORT __attribute__((visibility("default")))
#endif
