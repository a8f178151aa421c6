// SPDX-License-Identifier: MIT
#include "platform/keychain/secretservice/SecretServiceConnection.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "platform/base/Unicode.h"
#include "platform/storage/StandardPaths.h"

namespace orx::platform {

namespace {

using Path = SecretServiceConnection::Path;

constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* busPath = "/org/freedesktop/DBus";
constexpr const char* serviceName = "org.freedesktop.secrets";
constexpr const char* servicePath = "/org/freedesktop/secrets";
constexpr const char* serviceInterface = "org.freedesktop.Secret.Service";
constexpr const char* collectionInterface = "org.freedesktop.Secret.Collection";
constexpr const char* itemInterface = "org.freedesktop.Secret.Item";
constexpr const char* promptInterface = "org.freedesktop.Secret.Prompt";

// The G_VARIANT_TYPE macro checks its text by a call of a function that is not loaded here.
const GVariantType* typeOf(const char* text) { return reinterpret_cast<const GVariantType*>(text); }

// A text as an attribute: unchanged, or escaped where the bus could not carry it (a zero byte,
// bytes that are not UTF-8). Different texts give different attributes, and they never change:
// items of earlier versions are found by them.
std::string attributeOf(std::string_view text) {
  constexpr std::string_view mark = "%:";
  const bool plain = isValidUTF8(text) && text.find('\0') == std::string_view::npos;
  if (plain && !text.starts_with(mark)) return std::string(text);
  return std::string(mark) + pathComponent(text);
}

// Floating, as everything that these g_variant_new functions give: whoever is handed it owns it.
// Their format texts are fixed, because a wrong one ends the process.
GVariant* attributesOf(const KeychainItem& item) {
  return lib().g_variant_new_parsed("{'service': %s, 'account': %s}",
                                    attributeOf(item.service).c_str(),
                                    attributeOf(item.account).c_str());
}

std::string textOf(const Variant& value) {
  return lib().g_variant_get_string(value.get(), nullptr);
}

Variant childOf(const Variant& value, gsize index) {
  return Variant(lib().g_variant_get_child_value(value.get(), index));
}

GVariant* byteArrayOf(std::string_view text) {
  return lib().g_variant_new_fixed_array(typeOf("y"), text.data(), text.size(), 1);
}

SecretBytes secretBytesOf(const std::string& secret) {
  return SecretBytes(lib().g_variant_ref_sink(byteArrayOf(secret)));
}

// Empty for "/", which the service gives where there is no object or no prompt.
Path pathOf(const Variant& value) {
  auto path = textOf(value);
  return path == "/" ? Path() : path;
}

std::vector<Path> pathsOf(const Variant& array) {
  std::vector<Path> paths;
  const auto count = lib().g_variant_n_children(array.get());
  for (gsize index = 0; index < count; ++index) paths.push_back(textOf(childOf(array, index)));
  return paths;
}

}  // namespace

// Waits for the end of a prompt. It is made before the prompt is shown, since a signal that comes
// before the subscription is lost.
class SecretServiceConnection::PromptWatch {
 public:
  PromptWatch(SecretServiceConnection& owner, const Path& prompt)
      : owner_(owner),
        completion_(subscribe(serviceName, promptInterface, "Completed", prompt, nullptr,
                              &PromptWatch::completed)),
        ownership_(subscribe(busName, busName, "NameOwnerChanged", busPath, serviceName,
                             &PromptWatch::ownerChanged)) {}
  PromptWatch(const PromptWatch&) = delete;
  PromptWatch& operator=(const PromptWatch&) = delete;
  ~PromptWatch() {
    lib().g_dbus_connection_signal_unsubscribe(owner_.connection_.get(), completion_);
    lib().g_dbus_connection_signal_unsubscribe(owner_.connection_.get(), ownership_);
  }

  // The path that the prompt was about, empty where it was about none; absent when the time is up.
  std::optional<Path> wait(Deadline until) {
    // Polls, because two of the ends send no signal: the bus goes away, or the waiting side gives
    // up (remaining() throws then).
    while (!result_ && !failure_) {
      owner_.call_->remaining();
      if (std::chrono::steady_clock::now() >= until) return std::nullopt;
      if (lib().g_dbus_connection_is_closed(owner_.connection_.get()) != 0) {
        failure_ = failures::Died;
      }
      if (lib().g_main_context_iteration(owner_.context_.context, 0) == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
    }
    if (failure_) throw SecretServiceFailure{*failure_};
    return result_;
  }

 private:
  guint subscribe(const char* sender, const char* interface, const char* signal, const Path& path,
                  const char* argument, GDBusSignalCallback callback) {
    return lib().g_dbus_connection_signal_subscribe(
        owner_.connection_.get(), sender, interface, signal, path.c_str(), argument,
        G_DBUS_SIGNAL_FLAGS_NONE, callback, this, nullptr);
  }

  static void completed(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                        GVariant* arguments, gpointer data) {
    auto& watch = *static_cast<PromptWatch*>(data);
    // GIO does not check what a signal carries, and g_variant_get() ends the process over it.
    if (lib().g_variant_is_of_type(arguments, typeOf("(bv)")) == 0) {
      watch.failure_ = failures::Misunderstood;
      return;
    }
    gboolean dismissed = 0;
    GVariant* boxed = nullptr;
    lib().g_variant_get(arguments, "(bv)", &dismissed, &boxed);
    const Variant result(boxed);
    if (dismissed != 0) watch.failure_ = failures::Dismissed;
    const bool isPath = lib().g_variant_is_of_type(boxed, typeOf("o")) != 0;
    watch.result_ = isPath ? pathOf(result) : Path();
  }

  static void ownerChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                           GVariant*, gpointer data) {
    auto& watch = *static_cast<PromptWatch*>(data);
    // A service may end once it has answered; the answer counts.
    if (!watch.result_ && !watch.failure_) watch.failure_ = failures::Died;
  }

  SecretServiceConnection& owner_;
  std::optional<Path> result_;
  std::optional<SecretServiceFailure::Kind> failure_;
  guint completion_;
  guint ownership_;
};

SecretServiceConnection::SecretServiceConnection(const std::string& address,
                                                 std::shared_ptr<SecretServiceCall> call,
                                                 const PromptRules& rules)
    : call_(std::move(call)), rules_(rules) {
  // Before the first step that can block, so that giving up always finds something to cancel.
  call_->onAbandon([cancellable = cancellable_] { lib().g_cancellable_cancel(cancellable.get()); });
  FirstConnection first;
  GError* error = nullptr;
  // Of its own rather than GIO's shared one, whose end may end the process.
  const auto flags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  connection_.reset(lib().g_dbus_connection_new_for_address_sync(address.c_str(), flags, nullptr,
                                                                 cancellable_.get(), &error));
  if (!connection_) throw connectingFailureOf(ErrorPointer(error));
  first.isMade();
  startService();
}

// Takes over `arguments`, floating or null. `reply` is the type that the answer must have.
Variant SecretServiceConnection::invoke(const char* destination, const Path& path,
                                        const char* interface, const char* method,
                                        GVariant* arguments, const char* reply) {
  // Owned from here on, so that they are freed also when this throws.
  const Variant kept(arguments == nullptr ? nullptr : lib().g_variant_ref_sink(arguments));
  // GIO's own limit would be 25 seconds.
  const auto remaining = static_cast<gint>(call_->remaining().count());
  GError* error = nullptr;
  GVariant* answer = lib().g_dbus_connection_call_sync(
      connection_.get(), destination, path.c_str(), interface, method, kept.get(), typeOf(reply),
      G_DBUS_CALL_FLAGS_NO_AUTO_START, remaining, cancellable_.get(), &error);
  if (answer == nullptr) throw failureOf(ErrorPointer(error));
  return Variant(answer);
}

// Calls a method of the bus itself.
Variant SecretServiceConnection::askBus(const char* method, GVariant* arguments,
                                        const char* reply) {
  return invoke(busName, busPath, busName, method, arguments, reply);
}

// Calls a method of the service. The bus is not let start it: startService() has done so.
Variant SecretServiceConnection::ask(const Path& path, const char* interface, const char* method,
                                     GVariant* arguments, const char* reply) {
  return invoke(serviceName, path, interface, method, arguments, reply);
}

// The bus carries a property in a box of any type, so its type is checked here.
Variant SecretServiceConnection::property(const Path& path, const char* interface, const char* name,
                                          const char* type) {
  const auto reply = ask(path, "org.freedesktop.DBus.Properties", "Get",
                         lib().g_variant_new("(ss)", interface, name), "(v)");
  GVariant* boxed = nullptr;
  lib().g_variant_get(reply.get(), "(v)", &boxed);
  Variant value(boxed);
  if (lib().g_variant_is_of_type(boxed, typeOf(type)) != 0) return value;
  throw SecretServiceFailure{failures::Misunderstood, name};
}

// Only the bus knows whether there is a service that could be started. It is asked first whether
// one runs: asked to start one that somebody else started, it says that there is none.
void SecretServiceConnection::startService() {
  try {
    const auto owned =
        childOf(askBus("NameHasOwner", lib().g_variant_new("(s)", serviceName), "(b)"), 0);
    if (lib().g_variant_get_boolean(owned.get()) != 0) return;
    askBus("StartServiceByName", lib().g_variant_new("(su)", serviceName, guint32{0}), "(u)");
  } catch (const SecretServiceFailure& failure) {
    if (failure.detail.starts_with("org.freedesktop.DBus.Error.ServiceUnknown")) {
      throw SecretServiceFailure{failures::NoService};
    }
    // Without a detail it was the bus itself that went away or kept silent.
    const bool ofTheBus = failure.kind == failures::Silent || failure.detail.empty();
    if (ofTheBus) throw;
    throw SecretServiceFailure{failures::NotStarted, failure.detail};
  }
}

// A session without encryption: only the user's own programs can reach the socket, and each of
// them could ask for the secret itself.
const Path& SecretServiceConnection::session() {
  // Opened when first needed: a search or a removal needs none.
  if (session_.empty()) {
    const auto reply = ask(servicePath, serviceInterface, "OpenSession",
                           lib().g_variant_new_parsed("('plain', <''>)"), "(vo)");
    session_ = textOf(childOf(reply, 1));
  }
  return session_;
}

// A floating value of the session, no parameters, the secret and its content type.
GVariant* SecretServiceConnection::encoded(GVariant* secret) {
  const char* path = session().c_str();
  return lib().g_variant_new("(o@ay@ays)", path, byteArrayOf(""), secret, "text/plain");
}

SecretServiceConnection::Found SecretServiceConnection::search(const KeychainItem& item) {
  const auto reply = ask(servicePath, serviceInterface, "SearchItems",
                         lib().g_variant_new("(@a{ss})", attributesOf(item)), "(aoao)");
  return {.unlocked = pathsOf(childOf(reply, 0)), .locked = pathsOf(childOf(reply, 1))};
}

Path SecretServiceConnection::defaultCollection() {
  const auto reply =
      ask(servicePath, serviceInterface, "ReadAlias", lib().g_variant_new("(s)", "default"), "(o)");
  return pathOf(childOf(reply, 0));
}

bool SecretServiceConnection::isLocked(const Path& collection) {
  const auto value = property(collection, collectionInterface, "Locked", "b");
  return lib().g_variant_get_boolean(value.get()) != 0;
}

// "xdg:schema" is the attribute in which programs name the type of what they store.
std::optional<std::string> SecretServiceConnection::schemaOf(const Path& item) {
  const auto attributes = property(item, itemInterface, "Attributes", "a{ss}");
  const gchar* schema = nullptr;
  if (lib().g_variant_lookup(attributes.get(), "xdg:schema", "&s", &schema) == 0) return {};
  return schema;
}

std::uint64_t SecretServiceConnection::modificationOf(const Path& item) {
  const auto value = property(item, itemInterface, "Modified", "t");
  return lib().g_variant_get_uint64(value.get());
}

std::string SecretServiceConnection::secretOf(const Path& item) {
  const auto reply = ask(item, itemInterface, "GetSecret",
                         lib().g_variant_new("(o)", session().c_str()), "((oayays))");
  const auto secret = childOf(reply, 0);
  // A secret of another session might be encrypted.
  if (textOf(childOf(secret, 0)) != session()) {
    throw SecretServiceFailure{failures::Misunderstood, "a secret of another session"};
  }
  const SecretBytes value(childOf(secret, 2).release());
  gsize length = 0;
  const void* bytes = lib().g_variant_get_fixed_array(value.get(), &length, 1);
  // No bytes may be a null pointer, of which no string can be made.
  return length == 0 ? std::string() : std::string(static_cast<const char*>(bytes), length);
}

void SecretServiceConnection::setSecret(const Path& item, const std::string& secret) {
  const SecretBytes bytes = secretBytesOf(secret);
  ask(item, itemInterface, "SetSecret", lib().g_variant_new("(@(oayays))", encoded(bytes.get())),
      "()");
}

Path SecretServiceConnection::createItem(const Path& collection, const KeychainItem& item,
                                         const std::string& secret) {
  // First, since it asks the service and may throw: the other arguments would not be freed then.
  const SecretBytes bytes = secretBytesOf(secret);
  GVariant* value = encoded(bytes.get());
  GVariant* arguments = lib().g_variant_new_parsed(
      "({'org.freedesktop.Secret.Item.Label': <%s>,"
      "  'org.freedesktop.Secret.Item.Attributes': <%@a{ss}>}, %@(oayays), false)",
      attributeOf(item.service).c_str(), attributesOf(item), value);
  const auto reply = ask(collection, collectionInterface, "CreateItem", arguments, "(oo)");
  const auto prompt = pathOf(childOf(reply, 1));
  // A service may ask instead of saying that the keyring is locked.
  const bool asksFirst = !prompt.empty() && !isLocked(collection);
  return afterPrompt(pathOf(childOf(reply, 0)), prompt,
                     asksFirst ? failures::AsksFirst : failures::Locked);
}

void SecretServiceConnection::deleteItem(const Path& item) {
  const auto reply = ask(item, itemInterface, "Delete", nullptr, "(o)");
  afterPrompt({}, pathOf(childOf(reply, 0)), failures::AsksFirst);
}

// Which objects are unlocked is not told here: the caller looks again, since what a service says
// and what it did can differ.
void SecretServiceConnection::unlock(const std::vector<Path>& objects) {
  std::vector<const char*> paths(objects.size());
  std::ranges::transform(objects, paths.begin(), &Path::c_str);
  const auto reply =
      ask(servicePath, serviceInterface, "Unlock",
          lib().g_variant_new("(@ao)", lib().g_variant_new_objv(paths.data(), std::ssize(paths))),
          "(aoo)");
  afterPrompt({}, pathOf(childOf(reply, 1)));
}

// A service asks for the password of a new keyring, so without a prompt there is none.
Path SecretServiceConnection::createDefaultCollection() {
  if (rules_.mayPrompt() != PromptRules::Answer::Allowed) {
    throw SecretServiceFailure{failures::NoCollection};
  }
  const auto reply =
      ask(servicePath, serviceInterface, "CreateCollection",
          lib().g_variant_new_parsed(
              "({'org.freedesktop.Secret.Collection.Label': <'Default'>}, 'default')"),
          "(oo)");
  return afterPrompt(pathOf(childOf(reply, 0)), pathOf(childOf(reply, 1)));
}

// What the service has made: at once, or where it wants to show a prompt, when that was answered.
// Throws `forbidden` where nobody may be asked.
Path SecretServiceConnection::afterPrompt(const Path& made, const Path& prompt,
                                          const SecretServiceFailure::Kind& forbidden) {
  if (prompt.empty()) return made;
  switch (rules_.mayPrompt()) {
    case PromptRules::Answer::Forbidden:
      throw SecretServiceFailure{forbidden};
    case PromptRules::Answer::DismissedBefore:
      throw SecretServiceFailure{failures::DismissedBefore};
    case PromptRules::Answer::Allowed:
      break;
  }
  if (!promptsEnd_) promptsEnd_ = std::chrono::steady_clock::now() + rules_.patience;
  // The rest of the operation follows the last prompt, and needs time of its own.
  call_->extend(*promptsEnd_ + rules_.patienceAfterwards);
  try {
    auto path = show(prompt);
    call_->extend(std::chrono::steady_clock::now() + rules_.patienceAfterwards);
    return path;
  } catch (const SecretServiceFailure& failure) {
    const bool refused =
        failure.kind == failures::Dismissed || failure.kind == failures::Unanswered;
    // Nobody is asked again until the host allows prompts anew.
    if (refused) rules_.noteDismissed();
    throw;
  }
}

// The prompt's own window belongs to the service; the empty text names no window of the host's.
Path SecretServiceConnection::show(const Path& prompt) {
  PromptWatch watch(*this, prompt);
  ask(prompt, promptInterface, "Prompt", lib().g_variant_new("(s)", ""), "()");
  if (auto path = watch.wait(*promptsEnd_)) return *path;
  try {
    // Takes the prompt from the screen: an answer could have no effect any more.
    ask(prompt, promptInterface, "Dismiss", nullptr, "()");
  } catch (const SecretServiceFailure&) {
    // The prompt may be gone by itself just now. It stays unanswered: another failure in its place
    // could make the operation show it again.
  }
  throw SecretServiceFailure{failures::Unanswered};
}

}  // namespace orx::platform
