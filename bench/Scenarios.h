// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

namespace orx::bench {

// The arguments name=value of the command line.
class Settings {
 public:
  Settings(int count, char** texts);

  long number(const std::string& name, long otherwise) const;
  std::string text(const std::string& name) const;

 private:
  std::map<std::string, std::string> values_;
};

// Each scenario prints JSON on standard output, one object a line.

// Every contestant on the same work in interleaved rounds.
void compareContestants(const Settings& settings);
// The processor time of some calls and of twice as many.
void growByCalls(const Settings& settings);
// Memory and threads while many calls wait for a slow server.
void holdCalls(const Settings& settings);
// The time that starting a call takes on the caller's thread, with one and with several callers.
void submitCalls(const Settings& settings);
// Reading an answer's body into the result.
void readAnswers(const Settings& settings);
// Archiving a user record and reading it back.
void archiveUsers(const Settings& settings);
// Memory, descriptors and threads over very many calls.
void endure(const Settings& settings);
// Wake-ups and processor time of an idle library.
void idle(const Settings& settings);
// The time from a process's start until it has restored the user.
void restoreUsers(const Settings& settings);
// A sign-in and further ones over a long way, with the connection prepared and without, each in a
// process of its own, which is the second scenario.
void signIn(const Settings& settings);
void signInOnce(const Settings& settings);
// The server of the calls, until standard input ends; says where it is.
void serve(const Settings& settings);
// One thing, `what`, so many `times`.
void repeat(const Settings& settings);

}  // namespace orx::bench
