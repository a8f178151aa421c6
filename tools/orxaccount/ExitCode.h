// SPDX-License-Identifier: MIT
#pragma once

namespace tool {

// Scripts test these numbers, so they never change.
enum class ExitCode {
  Success = 0,
  Refused = 1,      // the service answered, with a refusal or with nothing usable
  Usage = 2,        // wrong options, or values that cannot be sent
  Transport = 3,    // no complete answer came
  NotSignedIn = 4,  // the command needs a signed-in user
  Storage = 5,      // a file or the stored user could not be written or removed
};

}  // namespace tool
