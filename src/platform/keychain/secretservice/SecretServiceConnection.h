#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/keychain/secretservice/SecretServiceCall.h"
#include "platform/keychain/secretservice/SecretServiceFailure.h"

namespace orx::platform {

// A connection of its own to the session bus and the Secret Service on it, for one operation. Made,
// used and destroyed on one thread. Each call ends within what remains of the operation's time and
// throws a SecretServiceFailure when it does not give what it promises. Shows nobody a prompt
// unless prompt() is called.
class SecretServiceConnection {
 public:
  using Path = std::string;
  using Attributes = std::map<std::string, std::string>;

  // Loads the library below, unless it is loaded. Throws a failure when it cannot be used in this
  // process. Comes before anything else.
  static void requireLibrary();

  // Connects, and starts the service where it does not run yet.
  SecretServiceConnection(const std::string& address, std::shared_ptr<SecretServiceCall> call);
  SecretServiceConnection(const SecretServiceConnection&) = delete;
  SecretServiceConnection& operator=(const SecretServiceConnection&) = delete;
  ~SecretServiceConnection();

  // The items that have these attributes, perhaps among others.
  struct Found {
    std::vector<Path> unlocked;
    std::vector<Path> locked;
  };
  Found search(const Attributes& attributes);

  // Empty when there is none.
  Path defaultCollection();
  bool isLocked(const Path& collection);
  Attributes attributesOf(const Path& item);
  // Seconds since 1970.
  std::uint64_t modificationOf(const Path& item);

  // Secrets are text of one line.
  std::string secretOf(const Path& item);
  void setSecret(const Path& item, const std::string& secret);

  // What the service did at once, or the prompt that it wants to show before.
  struct Reply {
    std::vector<Path> done;  // of a creation one path, empty where the prompt makes the object
    Path prompt;             // empty when there is none
  };
  Reply createItem(const Path& collection, const std::string& label, const Attributes& attributes,
                   const std::string& secret);
  Reply deleteItem(const Path& item);
  Reply unlock(const std::vector<Path>& objects);
  Reply createDefaultCollection();

  // Shows the prompt and waits for its end. Gives the path that it was about; empty where it was
  // about none. Throws Dismissed or, when it is not answered by then, Unanswered.
  Path prompt(const Path& prompt, Deadline until);

 private:
  struct State;
  class PromptWatch;
  std::unique_ptr<State> state_;
};

}  // namespace orx::platform
