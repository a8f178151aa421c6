#pragma once

#include <ORXAccount/platform/Value.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ExitCode.h"
#include "Failure.h"

namespace tool {

// Prints a command's result on standard output: one JSON object, or text for people.
class Output {
 public:
  explicit Output(bool json) : json_(json) {}

  bool json() const { return json_; }

  // One object; as text one line for each field that holds something, nested values as JSON.
  void printFields(const orx::Dictionary& fields) const;
  // As JSON the value under `key`; as text a table when it is a list of dictionaries, one line for
  // each element of another list.
  void printValue(const std::string& key, const orx::Value& value) const;
  // As JSON the field, as text the sentence.
  void printDone(const std::string& sentence, const orx::Dictionary& fields) const;

  // As JSON an object with the one field "error" on standard output; as text on standard error.
  void printFailure(const Failure& failure) const;

 private:
  bool json_;
};

// Writes one line of text to standard error, in one piece, or the lines of several threads would
// mix.
void printMessage(std::string_view line);

// The lines of a table with the union of the rows' keys as columns. Absent when a row is no
// dictionary or an empty one, when there is no row, and for more than 64 columns: a table with
// thousands of columns would take gigabytes.
std::optional<std::vector<std::string>> tableOf(const orx::Array& rows);

}  // namespace tool
