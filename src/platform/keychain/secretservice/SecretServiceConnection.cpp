#include "platform/keychain/secretservice/SecretServiceConnection.h"

#include <thread>
#include <utility>

#include "platform/keychain/secretservice/SecretServiceLibrary.h"

namespace orx::platform {

namespace {

using Kind = SecretServiceFailure::Kind;

constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* serviceName = "org.freedesktop.secrets";
constexpr const char* servicePath = "/org/freedesktop/secrets";
constexpr const char* serviceInterface = "org.freedesktop.Secret.Service";
constexpr const char* collectionInterface = "org.freedesktop.Secret.Collection";
constexpr const char* itemInterface = "org.freedesktop.Secret.Item";
constexpr const char* promptInterface = "org.freedesktop.Secret.Prompt";

// The G_VARIANT_TYPE macro checks its text by a call of a function that is not loaded here.
const GVariantType* type(const char* text) { return reinterpret_cast<const GVariantType*>(text); }

GVariantBuilder builderOf(const char* text) {
  GVariantBuilder builder;
  lib().g_variant_builder_init(&builder, type(text));
  return builder;
}

GVariant* variantOf(const SecretServiceConnection::Attributes& attributes) {
  auto builder = builderOf("a{ss}");
  for (const auto& [key, value] : attributes) {
    lib().g_variant_builder_add(&builder, "{ss}", key.c_str(), value.c_str());
  }
  return lib().g_variant_builder_end(&builder);
}

std::string textOf(const Variant& value) {
  return lib().g_variant_get_string(value.get(), nullptr);
}

Variant childOf(const Variant& value, gsize index) {
  return Variant(lib().g_variant_get_child_value(value.get(), index));
}

std::vector<std::string> pathsOf(const Variant& array) {
  std::vector<std::string> paths;
  const auto count = lib().g_variant_n_children(array.get());
  for (gsize index = 0; index < count; ++index) paths.push_back(textOf(childOf(array, index)));
  return paths;
}

// Empty for "/", which the service gives where there is no object or no prompt.
std::string pathOf(const Variant& value) {
  auto path = textOf(value);
  return path == "/" ? std::string() : path;
}

struct ThreadContext {
  GMainContext* context = lib().g_main_context_new();
  ThreadContext() { lib().g_main_context_push_thread_default(context); }
  ThreadContext(const ThreadContext&) = delete;
  ThreadContext& operator=(const ThreadContext&) = delete;
  ~ThreadContext() {
    lib().g_main_context_pop_thread_default(context);
    lib().g_main_context_unref(context);
  }
};

// (object, prompt)
SecretServiceConnection::Reply replyOf(const Variant& pair) {
  return {.done = {pathOf(childOf(pair, 0))}, .prompt = pathOf(childOf(pair, 1))};
}

}  // namespace

struct SecretServiceConnection::State {
  std::shared_ptr<SecretServiceCall> call;
  ThreadContext context;
  std::shared_ptr<GCancellable> cancellable{lib().g_cancellable_new(), ReleasingObject()};
  ObjectPointer<GDBusConnection> connection;
  std::string session_;

  // Takes over `arguments`, floating or null. `reply` is the type that the answer must have.
  Variant invoke(const char* destination, const std::string& path, const char* interface,
                 const char* method, GVariant* arguments, const char* reply) {
    // Owned from here on, so that they are freed also when this throws.
    const Variant kept(arguments == nullptr ? nullptr : lib().g_variant_ref_sink(arguments));
    const auto remaining = static_cast<gint>(call->remaining().count());
    GError* error = nullptr;
    GVariant* answer = lib().g_dbus_connection_call_sync(
        connection.get(), destination, path.c_str(), interface, method, kept.get(), type(reply),
        G_DBUS_CALL_FLAGS_NO_AUTO_START, remaining, cancellable.get(), &error);
    if (answer == nullptr) throw failureOf(ErrorPointer(error));
    return Variant(answer);
  }

  Variant askBus(const char* method, GVariant* arguments, const char* reply) {
    return invoke(busName, "/org/freedesktop/DBus", busName, method, arguments, reply);
  }

  // Only the bus knows whether there is a service that could be started. It is asked first whether
  // one runs: asked to start one that somebody else started, it says that there is none.
  void startService() {
    try {
      const auto owned =
          childOf(askBus("NameHasOwner", lib().g_variant_new("(s)", serviceName), "(b)"), 0);
      if (lib().g_variant_get_boolean(owned.get()) != 0) return;
      askBus("StartServiceByName", lib().g_variant_new("(su)", serviceName, guint32{0}), "(u)");
    } catch (const SecretServiceFailure& failure) {
      if (failure.detail.starts_with("org.freedesktop.DBus.Error.ServiceUnknown")) {
        throw SecretServiceFailure{Kind::NoService, {}};
      }
      const bool ofTheBus = failure.kind == Kind::Silent || failure.detail.empty();
      if (ofTheBus) throw;
      throw SecretServiceFailure{Kind::NotStarted, failure.detail};
    }
  }

  // A session without encryption: only the user's own programs can reach the socket, and each of
  // them could ask for the secret itself.
  const std::string& session() {
    if (session_.empty()) {
      const auto reply =
          ask(servicePath, serviceInterface, "OpenSession",
              lib().g_variant_new("(sv)", "plain", lib().g_variant_new("s", "")), "(vo)");
      session_ = textOf(childOf(reply, 1));
    }
    return session_;
  }

  // A floating value of the session, no parameters, the secret and its content type.
  GVariant* encoded(const std::string& secret) {
    const char* path = session().c_str();
    const auto bytes = [](std::string_view text) {
      return lib().g_variant_new_fixed_array(type("y"), text.data(), text.size(), 1);
    };
    return lib().g_variant_new("(o@ay@ays)", path, bytes(""), bytes(secret), "text/plain");
  }

  Variant ask(const std::string& path, const char* interface, const char* method,
              GVariant* arguments, const char* reply) {
    return invoke(serviceName, path, interface, method, arguments, reply);
  }

  Variant property(const std::string& path, const char* interface, const char* name,
                   const char* propertyType) {
    const auto reply = ask(path, "org.freedesktop.DBus.Properties", "Get",
                           lib().g_variant_new("(ss)", interface, name), "(v)");
    GVariant* boxed = nullptr;
    lib().g_variant_get(reply.get(), "(v)", &boxed);
    Variant value(boxed);
    if (lib().g_variant_is_of_type(boxed, type(propertyType)) == 0) {
      throw SecretServiceFailure{Kind::Misunderstood, name};
    }
    return value;
  }
};

// Waits for the end of a prompt. It is made before the prompt is shown, since a signal that comes
// before the subscription is lost.
class SecretServiceConnection::PromptWatch {
 public:
  PromptWatch(State& state, const Path& prompt)
      : state_(state),
        completion_(subscribe(serviceName, promptInterface, "Completed", prompt, nullptr,
                              &PromptWatch::completed)),
        ownership_(subscribe(busName, busName, "NameOwnerChanged", "/org/freedesktop/DBus",
                             serviceName, &PromptWatch::ownerChanged)) {}
  PromptWatch(const PromptWatch&) = delete;
  PromptWatch& operator=(const PromptWatch&) = delete;
  ~PromptWatch() {
    lib().g_dbus_connection_signal_unsubscribe(state_.connection.get(), completion_);
    lib().g_dbus_connection_signal_unsubscribe(state_.connection.get(), ownership_);
  }

  // Absent when the time is up.
  std::optional<Path> wait(Deadline until) {
    // Polls, because two of the ends send no signal: the bus goes away, or the waiting side gives
    // up (remaining() throws then).
    while (!result_ && !failure_) {
      state_.call->remaining();
      if (std::chrono::steady_clock::now() >= until) return std::nullopt;
      if (lib().g_dbus_connection_is_closed(state_.connection.get()) != 0) failure_ = Kind::Died;
      if (lib().g_main_context_iteration(state_.context.context, 0) == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
    }
    if (failure_) throw SecretServiceFailure{*failure_, {}};
    return result_;
  }

 private:
  guint subscribe(const char* sender, const char* interface, const char* signal,
                  const std::string& path, const char* argument, GDBusSignalCallback callback) {
    return lib().g_dbus_connection_signal_subscribe(
        state_.connection.get(), sender, interface, signal, path.c_str(), argument,
        G_DBUS_SIGNAL_FLAGS_NONE, callback, this, nullptr);
  }

  static void completed(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                        GVariant* arguments, gpointer data) {
    auto& watch = *static_cast<PromptWatch*>(data);
    if (lib().g_variant_is_of_type(arguments, type("(bv)")) == 0) {
      watch.failure_ = Kind::Misunderstood;
      return;
    }
    gboolean dismissed = 0;
    GVariant* boxed = nullptr;
    lib().g_variant_get(arguments, "(bv)", &dismissed, &boxed);
    const Variant result(boxed);
    if (dismissed != 0) watch.failure_ = Kind::Dismissed;
    const bool isPath = lib().g_variant_is_of_type(boxed, type("o")) != 0;
    watch.result_ = isPath ? pathOf(result) : Path();
  }

  static void ownerChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                           GVariant*, gpointer data) {
    auto& watch = *static_cast<PromptWatch*>(data);
    if (!watch.result_ && !watch.failure_) watch.failure_ = Kind::Died;
  }

  State& state_;
  std::optional<Path> result_;
  std::optional<Kind> failure_;
  guint completion_;
  guint ownership_;
};

void SecretServiceConnection::requireLibrary() { requireSecretServiceLibrary(); }

SecretServiceConnection::SecretServiceConnection(const std::string& address,
                                                 std::shared_ptr<SecretServiceCall> call)
    : state_(std::make_unique<State>()) {
  state_->call = std::move(call);
  state_->call->onAbandon(
      [cancellable = state_->cancellable] { lib().g_cancellable_cancel(cancellable.get()); });
  GError* error = nullptr;
  const auto flags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  state_->connection.reset(lib().g_dbus_connection_new_for_address_sync(
      address.c_str(), flags, nullptr, state_->cancellable.get(), &error));
  if (!state_->connection) throw connectingFailureOf(ErrorPointer(error));
  state_->startService();
}

SecretServiceConnection::~SecretServiceConnection() = default;

SecretServiceConnection::Found SecretServiceConnection::search(const Attributes& attributes) {
  const auto reply = state_->ask(servicePath, serviceInterface, "SearchItems",
                                 lib().g_variant_new("(@a{ss})", variantOf(attributes)), "(aoao)");
  return {.unlocked = pathsOf(childOf(reply, 0)), .locked = pathsOf(childOf(reply, 1))};
}

SecretServiceConnection::Path SecretServiceConnection::defaultCollection() {
  const auto reply = state_->ask(servicePath, serviceInterface, "ReadAlias",
                                 lib().g_variant_new("(s)", "default"), "(o)");
  return pathOf(childOf(reply, 0));
}

bool SecretServiceConnection::isLocked(const Path& collection) {
  const auto value = state_->property(collection, collectionInterface, "Locked", "b");
  return lib().g_variant_get_boolean(value.get()) != 0;
}

SecretServiceConnection::Attributes SecretServiceConnection::attributesOf(const Path& item) {
  const auto value = state_->property(item, itemInterface, "Attributes", "a{ss}");
  Attributes attributes;
  const auto count = lib().g_variant_n_children(value.get());
  for (gsize index = 0; index < count; ++index) {
    const auto entry = childOf(value, index);
    attributes[textOf(childOf(entry, 0))] = textOf(childOf(entry, 1));
  }
  return attributes;
}

std::uint64_t SecretServiceConnection::modificationOf(const Path& item) {
  const auto value = state_->property(item, itemInterface, "Modified", "t");
  return lib().g_variant_get_uint64(value.get());
}

std::string SecretServiceConnection::secretOf(const Path& item) {
  const std::string session = state_->session();
  const auto reply = state_->ask(item, itemInterface, "GetSecret",
                                 lib().g_variant_new("(o)", session.c_str()), "((oayays))");
  const auto secret = childOf(reply, 0);
  if (textOf(childOf(secret, 0)) != session) {
    throw SecretServiceFailure{Kind::Misunderstood, "a secret of another session"};
  }
  const auto value = childOf(secret, 2);
  gsize length = 0;
  const void* bytes = lib().g_variant_get_fixed_array(value.get(), &length, 1);
  return length == 0 ? std::string() : std::string(static_cast<const char*>(bytes), length);
}

void SecretServiceConnection::setSecret(const Path& item, const std::string& secret) {
  state_->ask(item, itemInterface, "SetSecret",
              lib().g_variant_new("(@(oayays))", state_->encoded(secret)), "()");
}

SecretServiceConnection::Reply SecretServiceConnection::createItem(const Path& collection,
                                                                   const std::string& label,
                                                                   const Attributes& attributes,
                                                                   const std::string& secret) {
  GVariant* encoded = state_->encoded(secret);
  auto properties = builderOf("a{sv}");
  lib().g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Item.Label",
                              lib().g_variant_new("s", label.c_str()));
  lib().g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Item.Attributes",
                              variantOf(attributes));
  const auto reply = state_->ask(
      collection, collectionInterface, "CreateItem",
      lib().g_variant_new("(a{sv}@(oayays)b)", &properties, encoded, gboolean{0}), "(oo)");
  return replyOf(reply);
}

SecretServiceConnection::Reply SecretServiceConnection::deleteItem(const Path& item) {
  const auto reply = state_->ask(item, itemInterface, "Delete", nullptr, "(o)");
  return {.done = {}, .prompt = pathOf(childOf(reply, 0))};
}

SecretServiceConnection::Reply SecretServiceConnection::unlock(const std::vector<Path>& objects) {
  auto paths = builderOf("ao");
  for (const auto& object : objects) {
    lib().g_variant_builder_add(&paths, "o", object.c_str());
  }
  const auto reply = state_->ask(servicePath, serviceInterface, "Unlock",
                                 lib().g_variant_new("(ao)", &paths), "(aoo)");
  return {.done = pathsOf(childOf(reply, 0)), .prompt = pathOf(childOf(reply, 1))};
}

SecretServiceConnection::Reply SecretServiceConnection::createDefaultCollection() {
  auto properties = builderOf("a{sv}");
  lib().g_variant_builder_add(&properties, "{sv}", "org.freedesktop.Secret.Collection.Label",
                              lib().g_variant_new("s", "Default"));
  const auto reply = state_->ask(servicePath, serviceInterface, "CreateCollection",
                                 lib().g_variant_new("(a{sv}s)", &properties, "default"), "(oo)");
  return replyOf(reply);
}

SecretServiceConnection::Path SecretServiceConnection::prompt(const Path& prompt, Deadline until) {
  PromptWatch watch(*state_, prompt);
  state_->ask(prompt, promptInterface, "Prompt", lib().g_variant_new("(s)", ""), "()");
  if (auto path = watch.wait(until)) return *path;
  state_->ask(prompt, promptInterface, "Dismiss", nullptr, "()");
  throw SecretServiceFailure{Kind::Unanswered, {}};
}

}  // namespace orx::platform
