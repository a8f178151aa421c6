#include "platform/keychain/secretservice/SecretServiceFailure.h"

#include <array>
#include <string_view>

namespace orx::platform {

namespace {

using Kind = SecretServiceFailure::Kind;

struct Row {
  Kind kind;
  OSStatus status;
  std::string_view text;
  std::string_view remedy;
};

constexpr std::string_view unlock =
    "Unlock the keyring (log in to the desktop, or open its key manager), or let the application "
    "allow prompts.";
constexpr std::string_view restart =
    "Restart the keyring's service, or log in to the desktop anew; nothing that is stored was "
    "lost.";

constexpr std::array rows{
    Row{Kind::NoLibrary, errSecNoSuchKeychain,
        "No Secret Service can be used: GIO (libgio-2.0) is not installed.",
        "Install libglib2.0-0, or let the application use the file store."},
    Row{Kind::NoBus, errSecNoSuchKeychain, "No Secret Service exists: there is no session bus.",
        "Log in to a desktop, or let the application use the file store."},
    Row{Kind::NoService, errSecNoSuchKeychain,
        "No Secret Service exists: nothing on the session bus offers it.",
        "Install and start a keyring, or let the application use the file store."},
    Row{Kind::Forked, errSecNotAvailable,
        "The Secret Service cannot be used in a forked process whose parent has used it.",
        "Start a new program in the child, or use the keychain in the parent."},
    Row{Kind::BusUnusable, errSecNotAvailable, "The session bus cannot be used.",
        "Check DBUS_SESSION_BUS_ADDRESS, and that the program runs as the session's user."},
    Row{Kind::NotStarted, errSecNotAvailable, "The Secret Service could not be started.",
        "See the session's log for why the keyring did not start."},
    Row{Kind::Silent, errSecNotAvailable, "The Secret Service did not answer in time.", restart},
    Row{Kind::Died, errSecIO, "The Secret Service ended in mid-call.", restart},
    Row{Kind::Refused, errSecIO, "The Secret Service refused.", restart},
    Row{Kind::Misunderstood, errSecIO, "The Secret Service answered what makes no sense.", restart},
    Row{Kind::Locked, errSecInteractionNotAllowed,
        "The keyring is locked, or wants to ask somebody first.", unlock},
    Row{Kind::DismissedBefore, errSecInteractionNotAllowed,
        "The keyring is locked, and its prompt was dismissed before.",
        "Unlock the keyring, or let the application allow prompts anew."},
    Row{Kind::Dismissed, errSecAuthFailed, "The prompt of the keyring was dismissed.",
        "Unlock the keyring, or let the application allow prompts anew."},
    Row{Kind::Unanswered, errSecAuthFailed, "Nobody answered the prompt of the keyring.",
        "Unlock the keyring, or let the application allow prompts anew."},
    Row{Kind::NoCollection, errSecNotAvailable, "The Secret Service has no default keyring.",
        "Make a default keyring in the key manager, or let the application allow prompts."},
    Row{Kind::Vanished, errSecIO, "The item changed again and again while it was used.",
        "Try again when no other program changes it."},
    Row{Kind::Damaged, errSecDecode, "The item in the Secret Service is damaged.",
        "The next sign-in replaces it; nothing needs to be removed."},
    Row{Kind::NotKept, errSecIO, "The Secret Service did not keep what it was given.",
        "Check the keyring in the key manager; its disk may be full."},
    Row{Kind::NotRemoved, errSecIO, "The Secret Service did not remove the item.",
        "Remove it in the key manager, or sign in and out again."},
    Row{Kind::TooLarge, errSecParam, "The item is too large for the Secret Service.",
        "Store less in the user record."},
    Row{Kind::OutOfResources, errSecIO, "No thread can be started to ask the Secret Service.",
        "End other programs, or raise the limit of threads."},
};

constexpr bool everyKindHasItsRow() {
  for (std::size_t index = 0; index < rows.size(); ++index) {
    if (rows[index].kind != static_cast<Kind>(index)) return false;
  }
  return rows.size() == static_cast<std::size_t>(Kind::OutOfResources) + 1;
}
static_assert(everyKindHasItsRow());

Kind kindOf(std::string_view name) {
  if (name == "org.freedesktop.DBus.Error.ServiceUnknown" ||
      name == "org.freedesktop.DBus.Error.NameHasNoOwner" ||
      name == "org.freedesktop.DBus.Error.NoReply" ||
      name == "org.freedesktop.DBus.Error.Disconnected") {
    return Kind::Died;
  }
  if (name == "org.freedesktop.DBus.Error.Timeout" ||
      name == "org.freedesktop.DBus.Error.TimedOut") {
    return Kind::Silent;
  }
  if (name == "org.freedesktop.Secret.Error.IsLocked") return Kind::Locked;
  if (name == "org.freedesktop.Secret.Error.NoSuchObject" ||
      name == "org.freedesktop.DBus.Error.UnknownObject" ||
      name == "org.freedesktop.DBus.Error.UnknownMethod" ||
      name == "org.freedesktop.DBus.Error.UnknownInterface") {
    return Kind::Vanished;
  }
  return Kind::Refused;
}

}  // namespace

SecretServiceFailure failureNamed(std::string_view name, std::string_view message) {
  return {kindOf(name), std::string(name) + ": " + std::string(message)};
}

Failure keychainFailure(const SecretServiceFailure& failure) {
  const auto& row = rows[static_cast<std::size_t>(failure.kind)];
  std::string text(row.text);
  if (!failure.detail.empty()) text += " (" + failure.detail + ")";
  return keychainFailure(row.status, std::move(text), {}, std::string(row.remedy));
}

}  // namespace orx::platform
