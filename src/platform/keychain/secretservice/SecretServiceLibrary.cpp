// SPDX-License-Identifier: MIT
#include "platform/keychain/secretservice/SecretServiceLibrary.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <exception>
#include <latch>
#include <mutex>
#include <new>
#include <optional>
#include <thread>

#include "platform/process/ForkSafety.h"
#include "platform/process/LoadedLibrary.h"
#include "platform/process/Signals.h"

namespace orx::platform {

namespace {

using Library = SecretServiceLibrary;

constinit std::atomic<const Library*> loadedLibrary{nullptr};
// The fork count of the process that has loaded the library, or is loading it. GIO starts a thread
// of its own, which a forked child does not have: a call there would wait for it for ever. So the
// child of a process that has loaded GIO must not use it. Guarded by the mutex below.
constinit std::optional<std::uint64_t> loadedInFork;
// Two loads at once would restore the wrong SIGPIPE handler: the second one would read as the
// host's choice what GIO has just set. A load reads files, so a fork does not wait for it.
constinit std::mutex loadingMutex;
const ForkChildHandler unlockInChild([] { std::construct_at(&loadingMutex); });

// GIO sets SIGPIPE to be ignored when its sockets are first used, for the whole process and all
// that it starts, although it sends so that the signal is never raised. They are set up here, and
// what the host had chosen is put back.
void setUpSockets(const Library& library) {
  struct sigaction chosen {};
  sigaction(SIGPIPE, nullptr, &chosen);
  library.g_type_class_ref(library.g_socket_get_type());
  sigaction(SIGPIPE, &chosen, nullptr);
}

// Throws a failure when it or one of the functions is missing. It stays until the process ends.
const Library* load() {
  LoadedLibrary gio("libgio-2.0.so.0");
  auto library = std::make_unique<Library>();
#define ORX_FIND(name) gio.find(library->name, #name);
  ORX_LIBRARY_FUNCTIONS(ORX_FIND)
#undef ORX_FIND
  if (!gio.missing().empty()) throw SecretServiceFailure{failures::NoLibrary};
  setUpSockets(*library);
  return library.release();
}

// Which the first connection needs: one for GLib, one for its D-Bus.
constexpr std::size_t threadsOfGIO = 2;
constinit std::atomic<bool> threadsAreThere{false};
// Without it the threads with which one operation finds out could be those that another lacks. An
// operation waits on a thread of its own, and whoever called it no longer than its time limit.
constinit std::mutex firstConnection;

// Finds out by starting as many at once, since the system tells in no other way. They are gone when
// this returns. Throws std::bad_alloc.
bool canHaveThreads() {
  std::array<std::thread, threadsOfGIO> threads;
  std::array<std::atomic<pid_t>, threadsOfGIO> numbers{};
  std::latch all(1);
  bool areThere = true;
  bool hadMemory = true;
  try {
    const BlockedSignals blocked;
    for (std::size_t place = 0; place < threadsOfGIO; ++place) {
      threads[place] = std::thread([&all, &number = numbers[place]] {
        number = gettid();
        all.wait();
      });
    }
  } catch (const std::bad_alloc&) {
    hadMemory = false;
  } catch (const std::exception&) {
    areThere = false;
  }
  all.count_down();
  for (std::size_t place = 0; place < threadsOfGIO; ++place) {
    if (!threads[place].joinable()) continue;
    threads[place].join();
    // It still counts for a moment after it was joined.
    while (tgkill(getpid(), numbers[place], 0) == 0) std::this_thread::yield();
  }
  if (!hadMemory) throw std::bad_alloc();
  return areThere;
}

bool isIOError(const GError& error, std::initializer_list<GIOErrorEnum> codes) {
  return std::any_of(codes.begin(), codes.end(), [&](GIOErrorEnum code) {
    return lib().g_error_matches(&error, lib().g_io_error_quark(), code) != 0;
  });
}

// What an error of this D-Bus name means. Anything unknown is a refusal.
SecretServiceFailure::Kind kindNamed(std::string_view name) {
  using namespace std::string_view_literals;
  const auto isOneOf = [&](std::string_view prefix, std::initializer_list<std::string_view> ends) {
    if (!name.starts_with(prefix)) return false;
    return std::ranges::find(ends, name.substr(prefix.size())) != ends.end();
  };
  constexpr auto bus = "org.freedesktop.DBus.Error."sv;
  constexpr auto service = "org.freedesktop.Secret.Error."sv;
  if (isOneOf(bus, {"ServiceUnknown", "NameHasNoOwner", "NoReply", "Disconnected"})) {
    return failures::Died;
  }
  if (isOneOf(bus, {"Timeout", "TimedOut"})) return failures::Silent;
  if (isOneOf(service, {"IsLocked"})) return failures::Locked;
  const bool isGone = isOneOf(service, {"NoSuchObject"}) ||
                      isOneOf(bus, {"UnknownObject", "UnknownMethod", "UnknownInterface"});
  return isGone ? failures::Vanished : failures::Refused;
}

}  // namespace

const Library& lib() { return *loadedLibrary.load(); }

void requireSecretServiceLibrary() {
  const std::lock_guard lock(loadingMutex);
  if (!loadedInFork) {
    loadedInFork = forkCount();
    try {
      loadedLibrary = load();
    } catch (...) {
      loadedInFork.reset();  // the next use tries again
      throw;
    }
  }
  if (loadedInFork != forkCount()) throw SecretServiceFailure{failures::Forked};
}

FirstConnection::FirstConnection() : turn_(firstConnection, std::defer_lock) {
  if (threadsAreThere) return;
  turn_.lock();
  if (!threadsAreThere && !canHaveThreads()) throw SecretServiceFailure{failures::OutOfResources};
}

void FirstConnection::isMade() { threadsAreThere = true; }

// `error` is null when GIO has given neither an answer nor an error.
SecretServiceFailure failureOf(const ErrorPointer& error) {
  if (!error) return {failures::Misunderstood};
  if (gchar* remote = lib().g_dbus_error_get_remote_error(error.get())) {
    const std::string name = remote;
    lib().g_free(remote);
    // GIO puts the error's name before the message; without this it would be told twice.
    lib().g_dbus_error_strip_remote_error(error.get());
    return {kindNamed(name), name + ": " + error->message};
  }
  if (isIOError(*error, {G_IO_ERROR_TIMED_OUT, G_IO_ERROR_CANCELLED})) return {failures::Silent};
  if (isIOError(*error, {G_IO_ERROR_CLOSED, G_IO_ERROR_BROKEN_PIPE})) return {failures::Died};
  // The answer has another type than the one that the call asked for.
  if (isIOError(*error, {G_IO_ERROR_INVALID_ARGUMENT})) {
    return {failures::Misunderstood, error->message};
  }
  return {failures::Refused, error->message};
}

SecretServiceFailure connectingFailureOf(const ErrorPointer& error) {
  if (isIOError(*error, {G_IO_ERROR_NOT_FOUND, G_IO_ERROR_CONNECTION_REFUSED})) {
    return {failures::NoBus, error->message};
  }
  if (isIOError(*error, {G_IO_ERROR_TIMED_OUT, G_IO_ERROR_CANCELLED})) return {failures::Silent};
  return {failures::BusUnusable, error->message};
}

}  // namespace orx::platform
