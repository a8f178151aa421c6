// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>

#include <functional>

namespace orx {

// Brings the library's callbacks to threads of the host's choosing, as to the main loop of a
// program with windows. Without an executor, as at start, they run on background threads of the
// library. Ready-made ones: GLibCallbackExecutor.h, QtCallbackExecutor.h, AsioCallbackExecutor.h.
//
// It is handed a block, arranges for that block to be called once, and returns. What a host sees
// to:
//   - It can be called from any thread, and from several at the same time. It should not block, and
//     should not throw.
//   - Blocks that are handed over one after the other run one after the other, in that order, where
//     the order of reports matters. A thread pool does not do that.
//   - The loop is there for as long as the executor may be called.
//
// The library keeps to exactly one report whatever an executor does. A second call of a block does
// nothing. A block that is destroyed without having been called, as when its loop ends or its
// executor throws, is run by a background thread of the library after all. A block that is
// called before the executor returns runs there and then. One that is kept and never called is
// never reported, and holds up no thread of the library, only the later pictures of its own record.
// A callback that throws ends the process on the loop's thread as it does on any other.
using CallbackExecutor = std::function<void(std::function<void()> block)>;

// What goes to the executor.
enum class CallbackScope {
  // Completion handlers and picture blocks. Observers and the delegate are told on the threads
  // of the library or of the host's own call, as without an executor.
  Handlers,
  // The observers of ORVAAccountUserDidChangeNotification and the delegate of the login manager
  // too. At a sign-in the notification and then the delegate's report are one block. A change that
  // the host makes itself (initialisation, sign-out, setCurrentUser) is announced by a block too,
  // so these calls return before observers have run.
  Everything,
};

// Sets the executor of the process; an empty one takes it away. It counts from now on for
// everything that is reported afterwards, calls that are under way included. A host whose loop ends
// takes the executor away first. The child of a fork has the same one, though the loop's thread may
// not be there: it sets its own. What a handler or picture block holds is destroyed where it ran.
// From any thread. Throws std::bad_alloc without memory, and then the former one stays.
ORX_EXPORT void setCallbackExecutor(CallbackExecutor executor,
                                    CallbackScope scope = CallbackScope::Handlers);

}  // namespace orx
