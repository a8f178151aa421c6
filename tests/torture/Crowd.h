// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include <string>

namespace orx::torture {

// The task of one of many processes that sign in, read and sign out at once over the same stores.
struct CrowdTask {
  int process = 0;
  int threads = 0;
  double seconds = 0;
  // A file of 64-bit numbers, one for each thread of each process, shared by all of them: how many
  // users the thread has begun to sign in so far.
  std::string counters;
};

// Counts of what the threads did, and under "complaints" the errors that they saw.
Dictionary joinCrowd(const CrowdTask& task);

}  // namespace orx::torture
