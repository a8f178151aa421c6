// SPDX-License-Identifier: MIT
#pragma once

#include <httplib.h>

#include <condition_variable>
#include <mutex>
#include <set>

#include "devserver/TLSConnection.h"

namespace orx::devserver {

// The open connections and the number of their threads, so that finish can end them all.
class ConnectionThreads {
 public:
  // Runs the task on a thread of its own; a task that finds no thread is run by the caller.
  void run(std::function<void()> task);

  // While it lives, the connection can be ended by finish; `accepted` is false once that has begun,
  // and for a connection beyond 512.
  class Registration {
   public:
    Registration(ConnectionThreads& threads, TLSConnection& connection);
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration();
    bool accepted() const { return accepted_; }

   private:
    ConnectionThreads& threads_;
    TLSConnection& connection_;
    bool accepted_;
  };

  bool finishing() const;
  // Ends reading everywhere, after a second writing too, and waits for the last thread.
  void finish();

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::set<TLSConnection*> open_;
  std::size_t running_ = 0;
  bool finishing_ = false;
};

// The HTTP library owns and deletes its task queue; the threads belong to ConnectionThreads, which
// lives longer.
class ConnectionQueue : public httplib::TaskQueue {
 public:
  explicit ConnectionQueue(ConnectionThreads& threads) : threads_(threads) {}
  void enqueue(std::function<void()> task) override { threads_.run(std::move(task)); }
  void shutdown() override { threads_.finish(); }

 private:
  ConnectionThreads& threads_;
};

}  // namespace orx::devserver
