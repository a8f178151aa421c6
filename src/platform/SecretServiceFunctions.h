#pragma once

// Every function that is used of libsecret and of what it stands on. They are looked up by name, so
// that nothing of it is linked.
#define ORX_LIBRARY_FUNCTIONS(X)            \
  X(g_cancellable_cancel)                   \
  X(g_cancellable_new)                      \
  X(g_dbus_connection_call_sync)            \
  X(g_dbus_connection_is_closed)            \
  X(g_dbus_connection_new_for_address_sync) \
  X(g_dbus_connection_signal_subscribe)     \
  X(g_dbus_connection_signal_unsubscribe)   \
  X(g_dbus_error_get_remote_error)          \
  X(g_dbus_error_strip_remote_error)        \
  X(g_dbus_proxy_set_default_timeout)       \
  X(g_error_free)                           \
  X(g_error_matches)                        \
  X(g_free)                                 \
  X(g_initable_new)                         \
  X(g_io_error_quark)                       \
  X(g_main_context_iteration)               \
  X(g_main_context_new)                     \
  X(g_main_context_pop_thread_default)      \
  X(g_main_context_push_thread_default)     \
  X(g_main_context_unref)                   \
  X(g_object_unref)                         \
  X(g_variant_builder_add)                  \
  X(g_variant_builder_end)                  \
  X(g_variant_builder_init)                 \
  X(g_variant_get)                          \
  X(g_variant_get_boolean)                  \
  X(g_variant_get_child_value)              \
  X(g_variant_get_string)                   \
  X(g_variant_get_uint64)                   \
  X(g_variant_is_of_type)                   \
  X(g_variant_n_children)                   \
  X(g_variant_new)                          \
  X(g_variant_ref_sink)                     \
  X(g_variant_unref)                        \
  X(secret_service_decode_dbus_secret)      \
  X(secret_service_encode_dbus_secret)      \
  X(secret_service_ensure_session_sync)     \
  X(secret_service_get_session_dbus_path)   \
  X(secret_service_get_type)                \
  X(secret_value_get)                       \
  X(secret_value_new)                       \
  X(secret_value_unref)
