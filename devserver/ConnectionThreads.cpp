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
    // What OpenSSL keeps for this thread goes while the thread still counts: once it does not, the
    // process may end, and OpenSSL with it.
    OPENSSL_thread_stop();
    // Notified under the lock: finish may destroy this object as soon as it sees the last one gone.
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
  accepted_ = !threads_.finishing_;
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
