// SPDX-License-Identifier: MIT
#pragma once

#include <errno.h>

// For the functions that stand before those of the C library.
namespace orx::torture {

enum class Side {
  Write,  // changes the disk
  Read,   // only reads it
  Wire,   // connections and threads
};

// One interposed call: counts it, and kills, fails or shortens it when the plan says so.
class Passage {
 public:
  Passage(const char* name, Side side);

  bool fails() const;
  bool isShort() const;

  // -1 with errno set in place of a call that fails.
  template <typename Call>
  long through(const Call& call) const {
    if (fails()) {
      errno = error();
      return -1;
    }
    const long result = call();
    killAfter();
    return result;
  }
  // The errno of the plan.
  static int error();

 private:
  void killAfter() const;

  bool meant_ = false;
};

}  // namespace orx::torture
