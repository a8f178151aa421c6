// SPDX-License-Identifier: MIT
// The keyring's replies: GIO's functions are as they are, but for those that reach a bus. These
// take each reply from a line of the input, in GLib's own notation for values.

#include <dlfcn.h>
#include <gio/gio.h>

#include <cstring>
#include <string>

#include "FuzzTarget.h"
#include "platform/base/Unicode.h"
#include "platform/keychain/secretservice/SecretServiceItems.h"
#include "platform/process/LoadedLibrary.h"

namespace {

FuzzInput* replies = nullptr;
GDBusSignalCallback promptCompleted = nullptr;
gpointer promptOwner = nullptr;

// GLib complains of other bytes than UTF-8, which no message of a bus holds in a string.
GVariant* valueIn(const std::string& text, const GVariantType* type) {
  if (!orx::platform::isValidUTF8(text)) return nullptr;
  return g_variant_parse(type, text.c_str(), nullptr, nullptr, nullptr);
}

// "!NAME" is an error of that name, an empty line one of GIO's own.
GVariant* call(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant*,
               const GVariantType* type, GDBusCallFlags, gint, GCancellable*, GError** error) {
  const std::string line(replies->line());
  if (line.starts_with('!')) {
    const std::string name = "org.freedesktop." + line.substr(1);
    const bool isName = g_dbus_is_interface_name(name.c_str()) != 0;
    *error = g_dbus_error_new_for_dbus_error(isName ? name.c_str() : "a.b", "refused");
    return nullptr;
  }
  if (line.empty()) {
    *error = g_error_new_literal(G_IO_ERROR, G_IO_ERROR_CLOSED, "closed");
    return nullptr;
  }
  GVariant* value = valueIn(line, type);
  if (value == nullptr) {
    *error = g_error_new_literal(G_IO_ERROR, G_IO_ERROR_INVALID_ARGUMENT, "of another type");
  }
  return value == nullptr ? nullptr : g_variant_ref_sink(value);
}

GDBusConnection* connect(const gchar*, GDBusConnectionFlags, GDBusAuthObserver*, GCancellable*,
                         GError**) {
  // Nothing but its reference is used.
  return reinterpret_cast<GDBusConnection*>(g_cancellable_new());
}

guint subscribe(GDBusConnection*, const gchar*, const gchar*, const gchar* member, const gchar*,
                const gchar*, GDBusSignalFlags, GDBusSignalCallback callback, gpointer data,
                GDestroyNotify) {
  if (std::strcmp(member, "Completed") == 0) {
    promptCompleted = callback;
    promptOwner = data;
  }
  return 1;
}
void unsubscribe(GDBusConnection*, guint) { promptCompleted = nullptr; }
gboolean isClosed(GDBusConnection*) { return replies->empty() ? 1 : 0; }

// A line is the signal's value, of any type.
gboolean iterate(GMainContext*, gboolean) {
  if (replies->empty() || promptCompleted == nullptr) return 1;
  GVariant* value = valueIn(std::string(replies->line()), nullptr);
  if (value == nullptr) return 1;
  g_variant_ref_sink(value);
  promptCompleted(nullptr, nullptr, nullptr, nullptr, nullptr, value, promptOwner);
  g_variant_unref(value);
  return 1;
}

}  // namespace

// Gives the library these functions in the place of GIO's.
namespace orx::platform {

LoadedLibrary::LoadedLibrary(const char*) : handle_(RTLD_DEFAULT) {}

void* LoadedLibrary::address(const char* name) {
  const auto is = [&](const char* other) { return std::strcmp(name, other) == 0; };
  if (is("g_dbus_connection_call_sync")) return reinterpret_cast<void*>(&call);
  if (is("g_dbus_connection_new_for_address_sync")) return reinterpret_cast<void*>(&connect);
  if (is("g_dbus_connection_signal_subscribe")) return reinterpret_cast<void*>(&subscribe);
  if (is("g_dbus_connection_signal_unsubscribe")) return reinterpret_cast<void*>(&unsubscribe);
  if (is("g_dbus_connection_is_closed")) return reinterpret_cast<void*>(&isClosed);
  if (is("g_main_context_iteration")) return reinterpret_cast<void*>(&iterate);
  return dlsym(handle_, name);
}

}  // namespace orx::platform

namespace {

using namespace orx::platform;

const KeychainItem kItem{.service = "s", .account = "a"};

void operate(unsigned operation, SecretServiceItems& items) {
  const orx::Data bytes(std::string_view("bytes"));
  switch (operation) {
    case 0:
      (void)items.read();
      return;
    case 1:
      return items.add(bytes);
    case 2:
      return items.update(bytes);
    case 3:
      return items.put(bytes);
    default:
      return items.remove();
  }
}

}  // namespace

// The first letter chooses the operation, the second whether prompts are allowed.
ORX_FUZZ_TARGET(text) {
  // What GLib complains of ends the process.
  static const auto earlier = g_log_set_always_fatal(G_LOG_LEVEL_CRITICAL);
  (void)earlier;
  FuzzInput input(text);
  const unsigned operation = input.number(5);
  const auto mayPrompt = static_cast<PromptRules::Answer>(input.number(3));
  input.line();
  replies = &input;
  const PromptRules rules{.mayPrompt = [=] { return mayPrompt; }, .noteDismissed = [] {}};
  requireSecretServiceLibrary();
  const auto call = std::make_shared<SecretServiceCall>(std::chrono::steady_clock::now() +
                                                        std::chrono::seconds(20));
  try {
    SecretServiceConnection connection("unix:", call, rules);
    SecretServiceItems items(connection, kItem);
    operate(operation, items);
    ORX_FUZZ_CHECK(promptCompleted == nullptr);
  } catch (const SecretServiceFailure& failure) {
    ORX_FUZZ_CHECK(failure.kind.status != 0);
  }
  call->finish(orx::Data());
}
