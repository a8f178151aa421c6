// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/CallbackExecutor.h>
#include <glib.h>

#include <functional>
#include <memory>
#include <utility>

namespace orx {

// Runs callbacks in an iteration of this main context (null: the default one, which is GTK's), in
// the order in which they were reported. Keeps the context. For a host that uses GLib; the library
// does not.
//
//   orx::setCallbackExecutor(orx::glibCallbackExecutor(), orx::CallbackScope::Everything);
inline CallbackExecutor glibCallbackExecutor(GMainContext* context = nullptr) {
  if (context == nullptr) context = g_main_context_default();
  const std::shared_ptr<GMainContext> held(g_main_context_ref(context), g_main_context_unref);
  return [held](std::function<void()> block) {
    using Block = std::function<void()>;
    auto given = std::make_unique<Block>(std::move(block));
    // Not g_main_context_invoke_full(): while nobody runs the loop, that one would call the block
    // here, on a thread of the library.
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        source,
        [](gpointer data) -> gboolean {
          (*static_cast<Block*>(data))();
          return G_SOURCE_REMOVE;
        },
        given.release(), [](gpointer data) { delete static_cast<Block*>(data); });
    g_source_attach(source, held.get());
    g_source_unref(source);
  };
}

}  // namespace orx
