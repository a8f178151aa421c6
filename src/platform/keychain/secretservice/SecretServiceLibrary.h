// SPDX-License-Identifier: MIT
#pragma once

#include <gio/gio.h>

#include <memory>
#include <mutex>

#include "platform/base/Wiping.h"
#include "platform/keychain/secretservice/SecretServiceFailure.h"

// GIO, loaded when first needed, for its D-Bus connections. Its functions are reached through lib()
// alone. libsecret, which stands on it, is of no use here: it insists on the connection that all of
// a process share, and GIO ends the process when that one breaks.
namespace orx::platform {

// Every function that is used of GIO. They are looked up by name, so that nothing of it is linked.
// clang-format off
#define ORX_LIBRARY_FUNCTIONS(X) \
  X(g_cancellable_cancel) X(g_cancellable_new) \
  X(g_dbus_connection_call_sync) X(g_dbus_connection_is_closed) \
  X(g_dbus_connection_new_for_address_sync) \
  X(g_dbus_connection_signal_subscribe) X(g_dbus_connection_signal_unsubscribe) \
  X(g_dbus_error_get_remote_error) X(g_dbus_error_strip_remote_error) \
  X(g_error_free) X(g_error_matches) X(g_free) X(g_io_error_quark) \
  X(g_main_context_iteration) X(g_main_context_new) X(g_main_context_pop_thread_default) \
  X(g_main_context_push_thread_default) X(g_main_context_unref) \
  X(g_object_unref) X(g_socket_get_type) X(g_type_class_ref) \
  X(g_variant_get) X(g_variant_get_boolean) X(g_variant_get_child_value) \
  X(g_variant_get_fixed_array) X(g_variant_get_string) X(g_variant_get_uint64) \
  X(g_variant_is_of_type) X(g_variant_lookup) X(g_variant_n_children) \
  X(g_variant_new) X(g_variant_new_fixed_array) X(g_variant_new_objv) X(g_variant_new_parsed) \
  X(g_variant_ref_sink) X(g_variant_unref)
// clang-format on

struct SecretServiceLibrary {
// A member's name takes no parentheses. NOLINTNEXTLINE(bugprone-macro-parentheses)
#define ORX_MEMBER(name) decltype(&::name) name;
  ORX_LIBRARY_FUNCTIONS(ORX_MEMBER)
#undef ORX_MEMBER
};

// Loads it, once in the process. Comes before anything else of this folder that needs GIO. Throws a
// failure when it cannot be used in this process.
void requireSecretServiceLibrary();
// Only after it was loaded.
const SecretServiceLibrary& lib();

// Held while the process's first connection is made. GIO starts threads with it that stay, and ends
// the process when the system refuses one. Waits while others make it, and throws a failure when
// there are too few. What others start at the same moment it cannot know.
class FirstConnection {
 public:
  FirstConnection();
  // From here on the threads are there, and nobody looks for them again.
  void isMade();

 private:
  std::unique_lock<std::mutex> turn_;
};

// Owners of what the functions return; empty for null.
template <auto release>
struct Releasing {
  template <typename T>
  void operator()(T* object) const {
    (lib().*release)(object);
  }
};
using Variant = std::unique_ptr<GVariant, Releasing<&SecretServiceLibrary::g_variant_unref>>;
// For the bytes of a secret, which GLib frees as they are.
struct WipingSecret {
  void operator()(GVariant* bytes) const {
    gsize length = 0;
    const void* memory = lib().g_variant_get_fixed_array(bytes, &length, 1);
    // Nobody else reads them any more: the message that they were in is over.
    wipe(const_cast<void*>(memory), length);
    lib().g_variant_unref(bytes);
  }
};
using SecretBytes = std::unique_ptr<GVariant, WipingSecret>;
using ErrorPointer = std::unique_ptr<GError, Releasing<&SecretServiceLibrary::g_error_free>>;
using ReleasingObject = Releasing<&SecretServiceLibrary::g_object_unref>;
template <typename T>
using ObjectPointer = std::unique_ptr<T, ReleasingObject>;

// What an error of a call means.
SecretServiceFailure failureOf(const ErrorPointer& error);
// The same for an error of connecting to the bus.
SecretServiceFailure connectingFailureOf(const ErrorPointer& error);

}  // namespace orx::platform
