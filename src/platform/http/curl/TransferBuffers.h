#pragma once

namespace orx::platform {

// Gives back the memory in which the TLS connection of a running transfer (a CURL*) would read and
// write its next records; it takes it anew when they come. Nothing happens while some are on their
// way, or when the TLS library is another one than expected.
void releaseConnectionBuffers(void* easy);

}  // namespace orx::platform
