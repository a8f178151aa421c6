// SPDX-License-Identifier: MIT
// A Secret Service on the session bus that behaves as a script says.
//
// usage: scripted_secret_service SCRIPT ITEMS LOG
//
// SCRIPT and ITEMS need not exist. Each call adds a line to LOG: the method and the object's path.
// Prints a line when it can be called. Exits when its bus ends.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "Keyring.h"

namespace {

struct Service {
  std::string script;
  std::string log;
  Keyring keyring;
};

void send(GDBusConnection* connection, GDBusMessage* message) {
  g_dbus_connection_send_message(connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                 nullptr);
  g_object_unref(message);
}

void sendCompleted(GDBusConnection* connection, const Keyring::Answer& answer) {
  GDBusMessage* signal = g_dbus_message_new_signal(answer.promptPath.c_str(),
                                                   "org.freedesktop.Secret.Prompt", "Completed");
  g_dbus_message_set_body(signal, answer.completed);
  send(connection, signal);
}

// The reading of a property is named "Get." and the property, so that scripts can tell them apart.
std::string methodOf(GDBusMessage* message) {
  std::string method = g_dbus_message_get_member(message);
  if (method != "Get") return method;
  const gchar* name = nullptr;
  g_variant_get(g_dbus_message_get_body(message), "(&s&s)", nullptr, &name);
  return method + "." + name;
}

int linesIn(const std::string& file) {
  std::ifstream stream(file);
  return static_cast<int>(std::count(std::istreambuf_iterator<char>(stream), {}, '\n'));
}

void answerCall(Service& service, GDBusConnection* connection, GDBusMessage* message) {
  const auto method = methodOf(message);
  const std::string path = g_dbus_message_get_path(message);
  std::ofstream(service.log, std::ios::app) << method + " " + path + "\n" << std::flush;
  Script script(service.script);
  script.apply(linesIn(service.log), method);
  const auto answer = service.keyring.call(script, path, method, g_dbus_message_get_body(message));
  if (answer.silent) return;
  GDBusMessage* reply = answer.error.empty() ? g_dbus_message_new_method_reply(message)
                                             : g_dbus_message_new_method_error_literal(
                                                   message, answer.error.c_str(), "as scripted");
  if (answer.value != nullptr) g_dbus_message_set_body(reply, answer.value);
  if (script.has(method, "delay")) {
    const auto delay = std::chrono::milliseconds(std::stoi(script.line(method, "delay").at(1)));
    std::thread([connection, reply, delay, answer] {
      std::this_thread::sleep_for(delay);
      send(connection, reply);
      if (answer.completed != nullptr) sendCompleted(connection, answer);
    }).detach();
    return;
  }
  send(connection, reply);
  if (answer.completed != nullptr) sendCompleted(connection, answer);
  if (script.has(method, "leave")) {
    // On another thread, because what this one has sent goes out when it returns.
    std::thread([connection] {
      g_dbus_connection_flush_sync(connection, nullptr, nullptr);
      _exit(0);
    }).detach();
  }
}

GDBusMessage* filter(GDBusConnection* connection, GDBusMessage* message, gboolean incoming,
                     gpointer data) {
  if (incoming == 0 ||
      g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
    return message;
  }
  answerCall(*static_cast<Service*>(data), connection, message);
  g_object_unref(message);
  return nullptr;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) return 2;
  Service service{.script = arguments[1], .log = arguments[3], .keyring = Keyring(arguments[2])};
  GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (connection == nullptr) return 1;
  g_dbus_connection_add_filter(connection, filter, &service, nullptr);
  GVariant* reply = g_dbus_connection_call_sync(
      connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
      "RequestName", g_variant_new("(su)", "org.freedesktop.secrets", 0U), G_VARIANT_TYPE("(u)"),
      G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
  if (reply == nullptr) return 1;
  std::puts("ready");
  std::fflush(stdout);
  g_main_loop_run(g_main_loop_new(nullptr, 0));
}
