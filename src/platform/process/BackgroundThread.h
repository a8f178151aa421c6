#pragma once

#include <functional>
#include <mutex>

namespace orx::platform {

// Starts a detached thread to which no signal from outside is ever delivered: signals are the
// host's. Throws std::system_error when the system has no thread left.
void startBackgroundThread(std::function<void()> body);

// The end of a background thread while the process ends. It must not return: thread-local
// destructors would run beside those of the process.
[[noreturn]] void parkForever(std::unique_lock<std::mutex>& lock);

}  // namespace orx::platform
