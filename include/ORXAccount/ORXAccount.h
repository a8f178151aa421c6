// SPDX-License-Identifier: MIT
#pragma once

// ORXAccount: users of a Linux program who have an account at an account service.
//
// It registers accounts and signs users in over HTTPS (by login name and password, by an identity
// of another provider, by a ticket), keeps the signed-in user across launches, announces every
// change of the user, fetches lists and user data, opens web sessions and loads profile pictures.
// This header includes what nearly every host application uses; all of it is in namespace orx. Some
// headers stand by themselves: Calls.h (futures and coroutines), CallbackExecutor.h and its
// adaptors, LogHandler.h, WorkerHandler.h and, for other languages, orxaccount.h.
//
// The order of the start:
//
//  1. The bundle identifier: Bundle::mainBundle()->setBundleIdentifier(). It names the place where
//     the signed-in user is stored.
//  2. The configuration, where the defaults do not fit: URLSessionConfiguration (proxy, certificate
//     authorities, time-outs), setKeychainPolicy() and setKeychainPromptsAllowed() (where the user
//     is stored), ORVAAccountAPI::setTargetServerWithIsCN() (which server is called) and
//     ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace() (whose).
//  3. ORVAAccount::initializeWithLaunchOptions_appKey_appID_isStage(): takes the application's
//     credentials and restores the user of the last launch.
//  4. The delegate of ORVAAccountLoginManager, which learns how each of its sign-ins ends, and an
//     observer of ORVAAccountUserDidChangeNotification, which learns of every change of the user.
//     An observer that is to hear of the restored user is added before step 3.
//  5. Sign in, unless ORVAAccountUser::currentUser() has been restored.
//
// A program that signs in with a password and waits for the outcome (Calls.h has every operation as
// a call that gives a future or that a coroutine awaits; below it are callbacks and the delegate):
//
//   #include <ORXAccount/Calls.h>
//   #include <ORXAccount/ORXAccount.h>
//
//   #include <iostream>
//
//   int main() {
//     orx::Bundle::mainBundle()->setBundleIdentifier("com.example.host");
//     orx::ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
//         std::nullopt, "the application's key", "the application's ID", false);
//     const auto outcome = orx::calls::signIn({{orx::kORVAAccountLogin, "ada@example.com"},
//                                              {orx::kORVAAccountPassword, "correct horse"}})
//                              .orError()
//                              .future()
//                              .get();
//     if (!outcome.error) {
//       std::cout << "Hello " << outcome.value->firstName().value_or("you") << std::endl;
//     } else if (outcome.error->domain() == orx::kORVAAccountErrorDomain &&
//                outcome.error->code() == orx::kORVAAccountErrorPassword) {
//       std::cout << "That is not the password." << std::endl;
//     } else {
//       std::cout << outcome.error->localizedDescription() << std::endl;
//     }
//   }
//
// Threads. Everything may be called from any thread unless its header says otherwise. A call over
// the network returns at once and reports later on a background thread of the library, never inside
// the call and never on the main thread: completion handlers, the delegate, picture blocks. Reports
// of different calls may run at the same time. Observers run on
// such a background thread at a sign-in, and inside initialize... and logout on the caller's. A
// callback may block and may call the library; it must not throw. A host with a loop of its own can
// have all of these run there: CallbackExecutor.h, with ready-made executors for GLib, Qt and asio.
// What goes wrong, a host can have logged: LogHandler.h.
//
// Errors. What a call over the network cannot do comes as an Error (see platform/Error.h).
// std::invalid_argument is thrown on the calling thread, and only for a mistake of the caller's own
// that the operation's header names. Two more come of the machine's own limits: where the system
// has not a single thread for the library, a call over the network throws std::system_error, and
// without memory std::bad_alloc; nothing is sent then, no callback comes, and the call may be made
// again. With one thread everything works, only slower.

#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountAPIResult.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountKeychain.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountLoginManagerDelegate.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/Bundle.h>
#include <ORXAccount/platform/Coder.h>
#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Keychain.h>
#include <ORXAccount/platform/NotificationCenter.h>
#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/SecItem.h>
#include <ORXAccount/platform/Terminal.h>
#include <ORXAccount/platform/URL.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <ORXAccount/platform/Value.h>
#include <ORXAccount/platform/XMLParser.h>
