#pragma once

#include <gio/gio.h>

#include <memory>

#include "platform/keychain/secretservice/SecretServiceFailure.h"
#include "platform/keychain/secretservice/SecretServiceFunctions.h"

// GIO, loaded when first needed, for its D-Bus connections. Its functions are reached through lib()
// alone. libsecret, which stands on it, is of no use here: it insists on the connection that all of
// a process share, and GIO ends the process when that one breaks.
namespace orx::platform {

struct SecretServiceLibrary {
// A member's name takes no parentheses. NOLINTNEXTLINE(bugprone-macro-parentheses)
#define ORX_MEMBER(name) decltype(&::name) name;
  ORX_LIBRARY_FUNCTIONS(ORX_MEMBER)
#undef ORX_MEMBER
};

// Loads it, once. Throws a failure when it cannot be used in this process.
void requireSecretServiceLibrary();
// Only after it was loaded.
const SecretServiceLibrary& lib();

template <auto release>
struct Releasing {
  template <typename T>
  void operator()(T* object) const {
    (lib().*release)(object);
  }
};
using Variant = std::unique_ptr<GVariant, Releasing<&SecretServiceLibrary::g_variant_unref>>;
using ErrorPointer = std::unique_ptr<GError, Releasing<&SecretServiceLibrary::g_error_free>>;
using ReleasingObject = Releasing<&SecretServiceLibrary::g_object_unref>;
template <typename T>
using ObjectPointer = std::unique_ptr<T, ReleasingObject>;

// What an error of a call means.
SecretServiceFailure failureOf(const ErrorPointer& error);
// The same for an error of connecting to the bus.
SecretServiceFailure connectingFailureOf(const ErrorPointer& error);

}  // namespace orx::platform
