#pragma once

#include <ORXAccount/platform/Value.h>

#include <string>
#include <string_view>

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

// Text of the service as it may be shown on a terminal: without control characters.
std::string printable(std::string_view text);

// A table with the union of the rows' keys as columns; empty for no rows.
std::string tableOf(const orx::Array& rows);

}  // namespace tool
