#pragma once

#include <memory>

#include "platform/SecretServiceFailure.h"
#include "platform/SecretServiceFunctions.h"

#define SECRET_API_SUBJECT_TO_CHANGE
#include <libsecret/secret.h>

// libsecret, loaded when first needed. Its functions are reached through lib() alone.
namespace orx {

struct SecretServiceLibrary {
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
using SecretPointer =
    std::unique_ptr<SecretValue, Releasing<&SecretServiceLibrary::secret_value_unref>>;
using ReleasingObject = Releasing<&SecretServiceLibrary::g_object_unref>;
template <typename T>
using ObjectPointer = std::unique_ptr<T, ReleasingObject>;

// What an error of a call means.
SecretServiceFailure failureOf(const ErrorPointer& error);
// The same for an error of connecting to the bus.
SecretServiceFailure connectingFailureOf(const ErrorPointer& error);

}  // namespace orx
