#pragma once

// Every function that is used of GIO. They are looked up by name, so that nothing of it is linked.
// clang-format off
#define ORX_LIBRARY_FUNCTIONS(X) \
  X(g_cancellable_cancel) \
  X(g_cancellable_new) \
  X(g_dbus_connection_call_sync) \
  X(g_dbus_connection_is_closed) \
  X(g_dbus_connection_new_for_address_sync) \
  X(g_dbus_connection_signal_subscribe) \
  X(g_dbus_connection_signal_unsubscribe) \
  X(g_dbus_error_get_remote_error) \
  X(g_dbus_error_strip_remote_error) \
  X(g_error_free) \
  X(g_error_matches) \
  X(g_free) \
  X(g_io_error_quark) \
  X(g_main_context_iteration) \
  X(g_main_context_new) \
  X(g_main_context_pop_thread_default) \
  X(g_main_context_push_thread_default) \
  X(g_main_context_unref) \
  X(g_object_unref) \
  X(g_socket_get_type) \
  X(g_type_class_ref) \
  X(g_variant_builder_add) \
  X(g_variant_builder_end) \
  X(g_variant_builder_init) \
  X(g_variant_get) \
  X(g_variant_get_boolean) \
  X(g_variant_get_fixed_array) \
  X(g_variant_get_child_value) \
  X(g_variant_get_string) \
  X(g_variant_get_uint64) \
  X(g_variant_is_of_type) \
  X(g_variant_n_children) \
  X(g_variant_new) \
  X(g_variant_new_fixed_array) \
  X(g_variant_ref_sink) \
  X(g_variant_unref)
// clang-format on
