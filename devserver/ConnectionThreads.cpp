// SPDX-License-Identifier: MIT
#include "devserver/ConnectionThreads.h"

#include <openssl/crypto.h>

#include <system_error>
#include <thread>

namespace orx::devserver {

void ConnectionThreads::run(std::function<void()> task) {
  {
    const std::lock_guard lock(mutex_);
    ++running_;
  }
  auto whole = [this, task = std::move(task)] {
    task();
    // Free OpenSSL's data of this thread while the thread still counts. After that the process may
    // exit, and OpenSSL's own clean-up would run at the same time.
    OPENSSL_thread_stop();
    // Notify under the lock: finish may destroy this object as soon as the count is 0.
    const std::lock_guard lock(mutex_);
    --running_;
    changed_.notify_all();
  };
  try {
    std::thread(whole).detach();
  } catch (const std::system_error&) {
    whole();
  }
}

ConnectionThreads::Registration::Registration(ConnectionThreads& threads, TLSConnection& connection)
    : threads_(threads), connection_(connection) {
  const std::lock_guard lock(threads_.mutex_);
  // Each has a thread and a descriptor; without descriptors the listener could accept nobody.
  constexpr std::size_t kMostConnections = 512;
  accepted_ = !threads_.finishing_ && threads_.open_.size() < kMostConnections;
  threads_.open_.insert(&connection_);
}

ConnectionThreads::Registration::~Registration() {
  const std::lock_guard lock(threads_.mutex_);
  threads_.open_.erase(&connection_);
}

bool ConnectionThreads::finishing() const {
  const std::lock_guard lock(mutex_);
  return finishing_;
}

void ConnectionThreads::finish() {
  std::unique_lock lock(mutex_);
  finishing_ = true;
  for (TLSConnection* connection : open_) connection->stopReading();
  const auto allGone = [this] { return running_ == 0; };
  if (changed_.wait_for(lock, std::chrono::seconds(1), allGone)) return;
  for (TLSConnection* connection : open_) connection->abort();
  changed_.wait(lock, allGone);
}

}  // namespace orx::devserver
