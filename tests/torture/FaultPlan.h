// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

// Which system call of the library goes wrong, and how. The library is linked statically into this
// program, so its calls of open(), write() and the like reach the functions of FaultPlan.cpp. Those
// of WireCalls.cpp are reached by the vendors' calls too.
namespace orx::torture {

struct FaultPlan {
  enum class Action {
    CountOnly,
    KillBefore,  // SIGKILL in place of the call
    KillAfter,   // SIGKILL once the call is done
    Fail,        // the call does nothing and sets errno to `number`
    ShortWrite,  // a write stores half of its bytes, at least one; none where `number` is 0
  };
  Action action = Action::CountOnly;
  unsigned at = 0;        // the number of the call that goes wrong; the first is 1
  bool forEver = false;   // every counted call after it goes wrong too
  int number = 0;         // errno
  bool readsToo = false;  // counts calls that only read, besides those that change the disk
  bool everywhere =
      false;         // counts all calls, those about connections and threads too, on each thread
  std::string call;  // counts those of this name alone; empty: of every name
};

// Carries out the plan on the calls that this thread makes from now on, or every one.
void begin(const FaultPlan& plan);
// Ends the plan and returns the names of the counted calls, in their order.
std::vector<std::string> end();

}  // namespace orx::torture
