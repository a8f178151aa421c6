#pragma once

#include <map>
#include <string>

namespace orx::bench {

// What stands on the command line as name=value.
class Settings {
 public:
  Settings(int count, char** texts);

  long number(const std::string& name, long otherwise) const;
  std::string text(const std::string& name) const;

 private:
  std::map<std::string, std::string> values_;
};

// Each prints JSON on standard output: one object, or one a line.

// Every contestant on the same work in interleaved rounds.
void compareContestants(const Settings& settings);
// Many calls at once against a server that takes its time.
void holdCalls(const Settings& settings);
// What starting a call costs its caller, from one and from several threads.
void submitCalls(const Settings& settings);
// From an answer's body to the result.
void readAnswers(const Settings& settings);
// A user record into its archive and back.
void archiveUsers(const Settings& settings);
// Memory, descriptors and threads over very many calls.
void endure(const Settings& settings);
// What the library does while there is nothing to do.
void idle(const Settings& settings);
// Start of a process to its restored user.
void restoreUsers(const Settings& settings);

}  // namespace orx::bench
