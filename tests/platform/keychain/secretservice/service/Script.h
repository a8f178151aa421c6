#pragma once

#include <map>
#include <string>
#include <vector>

// What the scripted service is to do, as a file of lines says it: a word and its arguments. Read
// anew before every call, so that a test can change it at any time.
//
//   METHOD silent          never answers
//   METHOD die             ends the process in place of an answer
//   METHOD error NAME      answers with that D-Bus error
//   METHOD delay MS        answers that much later
//   METHOD malformed       answers with another type than the interface has
//   METHOD ignore          answers as if it were done, and does nothing
//   METHOD vanish          loses the item first
//   METHOD kill FILE       kills the process whose number FILE holds, in place of an answer
//   METHOD kill-after FILE kills it when all is done, and does not answer
//   call N ...             as METHOD ..., but only for the N-th call in the log
//   keep                   the file of items always holds what the keyring does, and the reverse
//   locked free|prompt|refuse|never   the keyring is locked; what Unlock does about it
//   prompt answer|dismiss|silent|die|malformed   what becomes of a prompt
//   ask METHOD             this method wants a prompt first
//   no-default             there is no default keyring
//   secret TEXT            what GetSecret gives in place of the secret; %XX stands for a byte
//   secret-size N          so many letters in its place
//   content-type TEXT      what GetSecret calls its secret
//   session PATH           the session that GetSecret says it used
//
// METHOD is a method's name, or "Get." and the name of a property.
class Script {
 public:
  explicit Script(const std::string& file);

  // The arguments behind the word (and the second word); absent as null.
  const std::vector<std::string>* find(const std::string& word) const;
  std::string argument(const std::string& word) const;
  bool has(const std::string& word, const std::string& argument) const;
  // The arguments of the line that has both; to be called only where there is one.
  const std::vector<std::string>& line(const std::string& word, const std::string& argument) const;
  // What is written for this call counts for its method from now on.
  void apply(int call, const std::string& method);

 private:
  using Lines = std::multimap<std::string, std::vector<std::string>>;
  Lines::const_iterator lookUp(const std::string& word, const std::string& argument) const;

  Lines lines_;
};

// %XX in a text of a script or of an item as the byte that it stands for.
std::string unescaped(const std::string& text);
