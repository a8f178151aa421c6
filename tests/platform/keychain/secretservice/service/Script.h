// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <vector>

// A file of lines, each a word and its arguments, that says how the scripted service behaves. It is
// read before every call, so a test can change it at any time.
//
//   METHOD silent          never answers
//   METHOD die             ends the process in place of an answer
//   METHOD leave           answers and ends the process then
//   METHOD error NAME      answers with that D-Bus error
//   METHOD delay MS        answers that much later
//   METHOD malformed       answers with another type than the interface has
//   METHOD ignore          reports success and does nothing
//   METHOD vanish          removes the item before it carries out the call
//   METHOD kill FILE       kills the process whose number FILE holds, in place of an answer
//   METHOD kill-after FILE kills it after carrying out the call, and does not answer
//   call N ...             as METHOD ..., but only for the N-th call in the log
//   keep                   the file of items and the keyring in memory always agree
//   locked free|prompt|refuse|never   the keyring is locked; what Unlock does about it
//   hide                   a locked keyring finds nothing
//   prompt answer|dismiss|silent|die|malformed   how a prompt ends
//   ask METHOD             this method needs a prompt first
//   no-default             there is no default keyring
//   secret TEXT            what GetSecret gives in place of the secret; %XX stands for a byte
//   secret-size N          GetSecret gives N letters instead
//   content-type TEXT      the content type that GetSecret gives
//   session PATH           the session that GetSecret says it used
//
// METHOD is a method's name, or "Get." and the name of a property.
class Script {
 public:
  explicit Script(const std::string& file);

  // The arguments of the first line with this word; null when there is none.
  const std::vector<std::string>* find(const std::string& word) const;
  std::string argument(const std::string& word) const;
  bool has(const std::string& word, const std::string& argument) const;
  // The arguments of the line with this word and first argument, which must exist.
  const std::vector<std::string>& line(const std::string& word, const std::string& argument) const;
  // Takes the lines "call N" of this call as lines of its method.
  void apply(int call, const std::string& method);

 private:
  using Lines = std::multimap<std::string, std::vector<std::string>>;
  Lines::const_iterator lookUp(const std::string& word, const std::string& argument) const;

  Lines lines_;
};

// The text with each %XX replaced by its byte.
std::string unescaped(const std::string& text);
