// SPDX-License-Identifier: MIT
#include "Keyring.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

constexpr const char* collectionPath = "/org/freedesktop/secrets/collection/login";
constexpr const char* sessionPath = "/org/freedesktop/secrets/session/s1";

std::map<std::string, std::string> attributesIn(GVariant* dictionary) {
  std::map<std::string, std::string> attributes;
  GVariantIter iterator;
  const gchar* key = nullptr;
  const gchar* value = nullptr;
  g_variant_iter_init(&iterator, dictionary);
  while (g_variant_iter_next(&iterator, "{&s&s}", &key, &value)) attributes[key] = value;
  return attributes;
}

std::string secretIn(GVariant* secret) {
  GVariant* bytes = g_variant_get_child_value(secret, 2);
  gsize length = 0;
  const auto* data = static_cast<const char*>(g_variant_get_fixed_array(bytes, &length, 1));
  std::string text(data == nullptr ? "" : data, length);
  g_variant_unref(bytes);
  return text;
}

GVariant* bytesOf(const std::string& text) {
  return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, text.data(), text.size(), 1);
}

void killProcessNamedIn(const std::string& file) {
  pid_t process = 0;
  std::ifstream(file) >> process;
  // kill() of 0 or a negative number would reach a group of processes, or all of them.
  if (process > 1) kill(process, SIGKILL);
}

Keyring::Answer refusal(const std::string& name) { return {.value = nullptr, .error = name}; }

Keyring::Answer noSuchObject() { return refusal("org.freedesktop.Secret.Error.NoSuchObject"); }

}  // namespace

Keyring::Keyring(const std::string& items) : file_(items) { load(); }

void Keyring::load() {
  items_.clear();
  std::ifstream stream(file_);
  for (std::string line; std::getline(stream, line);) {
    std::istringstream words(line);
    std::string service, account, schema, secret;
    Item item;
    words >> service >> account >> schema >> item.modified >> secret;
    item.attributes = {{"service", service}, {"account", account}};
    if (schema != "-") item.attributes["xdg:schema"] = schema;
    item.secret = unescaped(secret);
    clock_ = std::max(clock_, item.modified);
    if (int number = 0; words >> number) number_ = number - 1;
    insert(std::move(item));
  }
}

void Keyring::save() {
  const auto temporary = file_ + ".new";
  std::ofstream stream(temporary);
  for (const auto& [path, item] : items_) {
    const auto schema = item.attributes.find("xdg:schema");
    stream << item.attributes.at("service") << ' ' << item.attributes.at("account") << ' '
           << (schema == item.attributes.end() ? "-" : schema->second) << ' ' << item.modified
           << ' ' << item.secret << ' ' << path.substr(path.rfind('/') + 1) << '\n';
  }
  stream.close();
  std::filesystem::rename(temporary, file_);
}

const std::map<std::string, Keyring::Handler>& Keyring::handlers() {
  static const std::map<std::string, Handler> table{
      {"OpenSession", &Keyring::openSession},
      {"SearchItems", &Keyring::searchItems},
      {"Unlock", &Keyring::unlock},
      {"ReadAlias", &Keyring::readAlias},
      {"CreateCollection", &Keyring::createCollection},
      {"CreateItem", &Keyring::createItem},
      {"GetSecret", &Keyring::getSecret},
      {"SetSecret", &Keyring::setSecret},
      {"Delete", &Keyring::deleteItem},
      {"Get.Locked", &Keyring::getLocked},
      {"Get.Attributes", &Keyring::getAttributes},
      {"Get.Modified", &Keyring::getModified},
      {"Prompt", &Keyring::prompt},
      {"Dismiss", &Keyring::dismiss},
  };
  return table;
}

Keyring::Answer Keyring::call(const Script& script, const std::string& path,
                              const std::string& method, GVariant* arguments) {
  Answer none{.value = nullptr, .error = {}, .silent = true};
  if (script.has(method, "silent")) return none;
  if (script.has(method, "kill")) {
    killProcessNamedIn(script.line(method, "kill").at(1));
    return none;
  }
  const bool keeps = script.find("keep") != nullptr;
  if (keeps) load();
  auto answer = answerTo(script, path, method, arguments);
  if (keeps) save();
  if (!script.has(method, "kill-after")) return answer;
  killProcessNamedIn(script.line(method, "kill-after").at(1));
  return none;
}

Keyring::Answer Keyring::answerTo(const Script& script, const std::string& path,
                                  const std::string& method, GVariant* arguments) {
  if (script.has(method, "die")) _exit(0);
  if (script.has(method, "error")) return refusal(script.line(method, "error").at(1));
  if (script.has(method, "malformed")) return {.value = g_variant_new("(u)", 7U), .error = {}};
  if (script.has(method, "vanish")) items_.erase(path);
  const auto handler = handlers().find(method);
  if (handler == handlers().end()) return refusal("org.freedesktop.DBus.Error.UnknownMethod");
  const bool ofItem = method == "GetSecret" || method == "SetSecret" || method == "Delete" ||
                      method == "Get.Attributes" || method == "Get.Modified";
  if (ofItem && items_.count(path) == 0) return noSuchObject();
  return (this->*handler->second)(script, path, arguments);
}

bool Keyring::isLocked(const Script& script) const {
  return script.find("locked") != nullptr && !unlocked_;
}

std::string Keyring::insert(Item item) {
  auto path = std::string(collectionPath) + "/" + std::to_string(++number_);
  items_[path] = std::move(item);
  return path;
}

std::string Keyring::createPrompt(std::function<GVariant*()> action) {
  auto path = "/org/freedesktop/secrets/prompt/p" + std::to_string(++number_);
  prompts_[path] = std::move(action);
  return path;
}

Keyring::Answer Keyring::openSession(const Script&, const std::string&, GVariant* arguments) {
  const gchar* algorithm = nullptr;
  g_variant_get(arguments, "(&sv)", &algorithm, nullptr);
  if (std::string(algorithm) != "plain") return refusal("org.freedesktop.DBus.Error.NotSupported");
  return {.value = g_variant_new("(vo)", g_variant_new_string(""), sessionPath), .error = {}};
}

Keyring::Answer Keyring::searchItems(const Script& script, const std::string&,
                                     GVariant* arguments) {
  GVariant* dictionary = g_variant_get_child_value(arguments, 0);
  const auto wanted = attributesIn(dictionary);
  g_variant_unref(dictionary);
  GVariantBuilder found;
  g_variant_builder_init(&found, G_VARIANT_TYPE("ao"));
  const bool hides = isLocked(script) && script.find("hide") != nullptr;
  for (const auto& [path, item] : items_) {
    bool matches = !hides;
    for (const auto& [key, value] : wanted) {
      const auto attribute = item.attributes.find(key);
      matches = matches && attribute != item.attributes.end() && attribute->second == value;
    }
    if (matches) g_variant_builder_add(&found, "o", path.c_str());
  }
  GVariant* paths = g_variant_builder_end(&found);
  GVariant* none = g_variant_new("ao", nullptr);
  if (isLocked(script)) return {.value = g_variant_new("(@ao@ao)", none, paths), .error = {}};
  return {.value = g_variant_new("(@ao@ao)", paths, none), .error = {}};
}

Keyring::Answer Keyring::unlock(const Script& script, const std::string&, GVariant* arguments) {
  GVariant* objects = g_variant_get_child_value(arguments, 0);
  const auto how = script.argument("locked");
  std::string prompt = "/";
  if (how == "free") unlocked_ = true;
  if (how == "prompt") {
    prompt = createPrompt([this, objects] {
      unlocked_ = true;
      return g_variant_ref(objects);
    });
  }
  GVariant* done = unlocked_ ? g_variant_ref(objects) : g_variant_new("ao", nullptr);
  return {.value = g_variant_new("(@aoo)", done, prompt.c_str()), .error = {}};
}

Keyring::Answer Keyring::readAlias(const Script& script, const std::string&, GVariant*) {
  const bool none = script.find("no-default") != nullptr && !defaultCreated_;
  return {.value = g_variant_new("(o)", none ? "/" : collectionPath), .error = {}};
}

Keyring::Answer Keyring::createCollection(const Script&, const std::string&, GVariant*) {
  const auto prompt = createPrompt([this] {
    defaultCreated_ = true;
    return g_variant_new_object_path(collectionPath);
  });
  return {.value = g_variant_new("(oo)", "/", prompt.c_str()), .error = {}};
}

Keyring::Answer Keyring::createItem(const Script& script, const std::string&, GVariant* arguments) {
  if (isLocked(script)) return refusal("org.freedesktop.Secret.Error.IsLocked");
  GVariant* properties = g_variant_get_child_value(arguments, 0);
  GVariant* dictionary = g_variant_lookup_value(
      properties, "org.freedesktop.Secret.Item.Attributes", G_VARIANT_TYPE("a{ss}"));
  GVariant* secret = g_variant_get_child_value(arguments, 1);
  const Item item{
      .attributes = attributesIn(dictionary), .modified = ++clock_, .secret = secretIn(secret)};
  for (auto* used : {properties, dictionary, secret}) g_variant_unref(used);
  if (script.has("ask", "CreateItem")) {
    const auto prompt =
        createPrompt([this, item] { return g_variant_new_object_path(insert(item).c_str()); });
    return {.value = g_variant_new("(oo)", "/", prompt.c_str()), .error = {}};
  }
  const bool ignored = script.has("CreateItem", "ignore");
  const auto path = ignored ? std::string("/") : insert(item);
  return {.value = g_variant_new("(oo)", path.c_str(), "/"), .error = {}};
}

Keyring::Answer Keyring::getSecret(const Script& script, const std::string& path, GVariant*) {
  if (isLocked(script)) return refusal("org.freedesktop.Secret.Error.IsLocked");
  auto secret = items_[path].secret;
  if (const auto* text = script.find("secret")) {
    secret = text->empty() ? std::string() : unescaped(text->front());
  }
  if (script.find("secret-size") != nullptr) {
    secret.assign(std::stoul(script.argument("secret-size")), 'A');
  }
  auto contentType = script.argument("content-type");
  if (contentType.empty()) contentType = "text/plain";
  auto session = script.argument("session");
  if (session.empty()) session = sessionPath;
  return {.value = g_variant_new("((o@ay@ays))", session.c_str(), bytesOf(""), bytesOf(secret),
                                 contentType.c_str()),
          .error = {}};
}

Keyring::Answer Keyring::setSecret(const Script& script, const std::string& path,
                                   GVariant* arguments) {
  if (isLocked(script)) return refusal("org.freedesktop.Secret.Error.IsLocked");
  GVariant* secret = g_variant_get_child_value(arguments, 0);
  if (!script.has("SetSecret", "ignore")) {
    items_[path].secret = secretIn(secret);
    items_[path].modified = ++clock_;
  }
  g_variant_unref(secret);
  return {.value = g_variant_new("()"), .error = {}};
}

Keyring::Answer Keyring::deleteItem(const Script& script, const std::string& path, GVariant*) {
  if (isLocked(script)) return refusal("org.freedesktop.Secret.Error.IsLocked");
  if (script.has("ask", "Delete")) {
    const auto prompt = createPrompt([this, path] {
      items_.erase(path);
      return g_variant_new_string("");
    });
    return {.value = g_variant_new("(o)", prompt.c_str()), .error = {}};
  }
  if (!script.has("Delete", "ignore")) items_.erase(path);
  return {.value = g_variant_new("(o)", "/"), .error = {}};
}

Keyring::Answer Keyring::getLocked(const Script& script, const std::string&, GVariant*) {
  return {.value = g_variant_new("(v)", g_variant_new_boolean(isLocked(script))), .error = {}};
}

Keyring::Answer Keyring::getAttributes(const Script&, const std::string& path, GVariant*) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
  for (const auto& [key, value] : items_[path].attributes) {
    g_variant_builder_add(&builder, "{ss}", key.c_str(), value.c_str());
  }
  return {.value = g_variant_new("(v)", g_variant_builder_end(&builder)), .error = {}};
}

Keyring::Answer Keyring::getModified(const Script&, const std::string& path, GVariant*) {
  return {.value = g_variant_new("(v)", g_variant_new_uint64(items_[path].modified)), .error = {}};
}

Keyring::Answer Keyring::prompt(const Script& script, const std::string& path, GVariant*) {
  const auto found = prompts_.find(path);
  if (found == prompts_.end()) return noSuchObject();
  Answer answer{.value = g_variant_new("()"), .error = {}};
  const auto how = script.argument("prompt");
  if (how == "die") _exit(0);
  if (how == "silent") return answer;
  answer.promptPath = path;
  if (how == "malformed") {
    answer.completed = g_variant_new("(u)", 7U);
  } else if (how == "dismiss") {
    answer.completed = g_variant_new("(bv)", 1, g_variant_new_string(""));
  } else {
    answer.completed = g_variant_new("(bv)", 0, found->second());
  }
  prompts_.erase(path);
  return answer;
}

Keyring::Answer Keyring::dismiss(const Script&, const std::string& path, GVariant*) {
  prompts_.erase(path);
  return {.value = g_variant_new("()"), .error = {}};
}
