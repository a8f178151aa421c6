// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ExitCode.h"
#include "Failure.h"
#include "Options.h"

namespace tool {

// Prints a command's result on standard output: one JSON object, or text for people. Entries named
// after a ticket are left out, at any depth, and a text that names one is replaced by its size,
// unless the user asked for tickets.
class Output {
 public:
  explicit Output(const GlobalOptions& options)
      : json_(options.json), showsTickets_(options.showTicket) {}

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
  orx::Value shown(const orx::Value& value) const;

  bool json_;
  bool showsTickets_;
};

// What is printed in the place of a text that may hold a ticket.
std::string sizeOf(const std::string& text);

// Writes one line of text to standard error, in one piece, or the lines of several threads would
// mix.
void printMessage(std::string_view line);

// The lines of a table with the union of the rows' keys as columns. Where it is wider than
// `widest`, its widest columns are cut, and the cells there end in an ellipsis; a table of so many
// columns that none would have room is not. Absent when a row is no dictionary or an empty one,
// when there is no row, and for more than 64 columns: a table with thousands of columns would take
// gigabytes.
std::optional<std::vector<std::string>> tableOf(const orx::Array& rows, std::size_t widest);

}  // namespace tool
