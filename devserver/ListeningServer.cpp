// SPDX-License-Identifier: MIT
#include "devserver/ListeningServer.h"

#include <pthread.h>

namespace orx::devserver {

void ListeningServer::serve(ListeningSocket socket) {
  svr_sock_ = socket.handle();
  listener_ = std::thread([this] {
    // Threads of connections inherit this: the signals of the process belong to the host's own
    // threads, and a SIGPIPE of a connection that has gone must end nothing.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    listen_after_bind();
  });
  // The loop closes it from here on.
  socket.release();
  // A stop that comes before the loop has begun would be lost.
  while (!is_running()) std::this_thread::yield();
}

void ListeningServer::finish() {
  if (!listener_.joinable()) return;
  stop();
  listener_.join();
}

}  // namespace orx::devserver
