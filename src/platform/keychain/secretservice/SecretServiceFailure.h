// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "platform/keychain/KeychainStore.h"

namespace orx::platform {

// Why an operation on the Secret Service did not happen. Thrown on the thread that talks to the
// service and caught there.
struct SecretServiceFailure {
  // What callers are told, and people in two sentences. Both sentences are empty where the status
  // says it all.
  struct Kind {
    OSStatus status;
    std::string_view text;
    std::string_view remedy;
    bool operator==(const Kind& other) const = default;
  };
  Kind kind;
  std::string detail = {};  // what the service or the library said; may be empty
};

// Every kind of failure that there is. The texts tell the kinds apart, so no two are alike.
namespace failures {

using Kind = SecretServiceFailure::Kind;

// No service exists.
inline constexpr Kind NoLibrary{errSecNoSuchKeychain,
                                "No Secret Service can be used: GIO (libgio-2.0) is not installed.",
                                "Install libglib2.0-0, or let the application use the file store."};
inline constexpr Kind NoBus{errSecNoSuchKeychain,
                            "No Secret Service exists: there is no session bus.",
                            "Log in to a desktop, or let the application use the file store."};
inline constexpr Kind NoService{
    errSecNoSuchKeychain, "No Secret Service exists: nothing on the session bus offers it.",
    "Install and start a keyring, or let the application use the file store."};

// There may be one, but it cannot be used.
inline constexpr std::string_view restart =
    "Restart the keyring's service, or log in to the desktop anew; nothing that is stored was "
    "lost.";
inline constexpr Kind Forked{
    errSecNotAvailable,
    "The Secret Service cannot be used in a forked process whose parent has used it.",
    "Start a new program in the child, or use the keychain in the parent."};
inline constexpr Kind BusUnusable{
    errSecNotAvailable, "The session bus cannot be used.",
    "Check DBUS_SESSION_BUS_ADDRESS (it must begin with unix:), and that the program runs as the "
    "session's user."};
inline constexpr Kind NotStarted{errSecNotAvailable, "The Secret Service could not be started.",
                                 "See the session's log for why the keyring did not start."};
inline constexpr Kind Silent{errSecNotAvailable, "The Secret Service did not answer in time.",
                             restart};
inline constexpr Kind Died{errSecIO, "The Secret Service ended in mid-call.", restart};
inline constexpr Kind Refused{errSecIO, "The Secret Service refused.", restart};
inline constexpr Kind Misunderstood{errSecIO, "The Secret Service answered what makes no sense.",
                                    restart};
inline constexpr Kind OutOfResources{errSecIO,
                                     "No thread can be started to ask the Secret Service.",
                                     "End other programs, or raise the limit of threads."};

// It works, but somebody has to unlock it or to make a keyring first.
inline constexpr std::string_view allowAnew =
    "Unlock the keyring, or let the application allow prompts anew.";
inline constexpr Kind Locked{
    errSecInteractionNotAllowed, "The keyring is locked.",
    "Unlock the keyring (log in to the desktop, or open its key manager), or let the application "
    "allow prompts."};
inline constexpr Kind AsksFirst{
    errSecInteractionRequired,
    "The keyring asks somebody before each change, and the application allows no prompts.",
    "Let the application allow prompts, or switch this question off in the key manager."};
inline constexpr Kind DismissedBefore{errSecInteractionNotAllowed,
                                      "The keyring is locked, and its prompt was dismissed before.",
                                      allowAnew};
inline constexpr Kind Dismissed{errSecAuthFailed, "The prompt of the keyring was dismissed.",
                                allowAnew};
inline constexpr Kind Unanswered{errSecAuthFailed, "Nobody answered the prompt of the keyring.",
                                 allowAnew};
inline constexpr Kind NoCollection{
    errSecNotAvailable, "The Secret Service has no default keyring.",
    "Make a default keyring in the key manager, or let the application allow prompts."};

// It works, but the item cannot be read or written.
inline constexpr Kind NotFound{errSecItemNotFound, "", ""};
inline constexpr Kind Duplicate{errSecDuplicateItem, "", ""};
inline constexpr Kind Vanished{errSecIO, "The item changed again and again while it was used.",
                               "Try again when no other program changes it."};
inline constexpr Kind Damaged{errSecDecode, "The item in the Secret Service is damaged.",
                              "The next sign-in replaces it; nothing needs to be removed."};
inline constexpr Kind NotKept{errSecIO, "The Secret Service did not keep what it was given.",
                              "Check the keyring in the key manager; its disk may be full."};
inline constexpr Kind NotRemoved{errSecIO, "The Secret Service did not remove the item.",
                                 "Remove it in the key manager, or sign in and out again."};
inline constexpr Kind TooLarge{errSecParam, "The item is too large for the Secret Service.",
                               "Store less in the user record."};

}  // namespace failures

}  // namespace orx::platform
