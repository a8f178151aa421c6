// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/keychain/PromptRules.h"
#include "platform/keychain/secretservice/SecretServiceCall.h"
#include "platform/keychain/secretservice/SecretServiceLibrary.h"

namespace orx::platform {

// A connection of its own to the session bus and the Secret Service on it, for one operation. Made,
// used and destroyed on one thread. Each call ends within what remains of the operation's time and
// throws a SecretServiceFailure when it does not give what it promises.
class SecretServiceConnection {
 public:
  // The name of an object of the service on the bus.
  using Path = std::string;

  // Connects, and starts the service where it does not run yet. The library is loaded by then.
  SecretServiceConnection(const std::string& address, std::shared_ptr<SecretServiceCall> call,
                          const PromptRules& rules);
  SecretServiceConnection(const SecretServiceConnection&) = delete;
  SecretServiceConnection& operator=(const SecretServiceConnection&) = delete;

  // The items whose attributes "service" and "account" name this item, whoever stored them.
  struct Found {
    std::vector<Path> unlocked;
    std::vector<Path> locked;
  };
  Found search(const KeychainItem& item);

  // Empty when there is none.
  Path defaultCollection();
  bool isLocked(const Path& collection);
  // The type that a program gave the item; absent when it gave none.
  std::optional<std::string> schemaOf(const Path& item);
  // Seconds since 1970.
  std::uint64_t modificationOf(const Path& item);

  // Secrets are text of one line.
  std::string secretOf(const Path& item);
  void setSecret(const Path& item, const std::string& secret);

  // For these the service may want to show a prompt first. They wait for its end, and throw Locked,
  // AsksFirst (nothing is locked) or DismissedBefore without showing it where the rules forbid it,
  // Dismissed or Unanswered where somebody did not consent. What is made is empty where the service
  // does not say what it made.
  Path createItem(const Path& collection, const KeychainItem& item, const std::string& secret);
  void deleteItem(const Path& item);
  void unlock(const std::vector<Path>& objects);
  // Throws NoCollection without asking the service where the rules forbid prompts.
  Path createDefaultCollection();

 private:
  class PromptWatch;

  // What the thread's calls into GIO deliver their events to. Without one of its own they would
  // wait in the host's, for a loop that it may not run.
  struct ThreadContext {
    GMainContext* context = lib().g_main_context_new();
    ThreadContext() { lib().g_main_context_push_thread_default(context); }
    ThreadContext(const ThreadContext&) = delete;
    ThreadContext& operator=(const ThreadContext&) = delete;
    ~ThreadContext() {
      lib().g_main_context_pop_thread_default(context);
      lib().g_main_context_unref(context);
    }
  };

  Variant invoke(const char* destination, const Path& path, const char* interface,
                 const char* method, GVariant* arguments, const char* reply);
  Variant askBus(const char* method, GVariant* arguments, const char* reply);
  Variant ask(const Path& path, const char* interface, const char* method, GVariant* arguments,
              const char* reply);
  Variant property(const Path& path, const char* interface, const char* name, const char* type);
  void startService();
  const Path& session();
  GVariant* encoded(GVariant* secret);
  Path afterPrompt(const Path& made, const Path& prompt,
                   const SecretServiceFailure::Kind& forbidden = failures::Locked);
  Path show(const Path& prompt);

  std::shared_ptr<SecretServiceCall> call_;
  const PromptRules& rules_;
  // When the last of the operation's prompts is taken back; absent before the first.
  std::optional<Deadline> promptsEnd_;
  ThreadContext context_;
  // Shared with the waiting thread, which cancels by it what this one is doing.
  std::shared_ptr<GCancellable> cancellable_{lib().g_cancellable_new(), ReleasingObject()};
  ObjectPointer<GDBusConnection> connection_;
  Path session_;  // empty before the first secret
};

}  // namespace orx::platform
