// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Options.h"

namespace tool {

// Asks on the terminal, without showing what is typed; the terminal is as before when this returns
// or a signal ends or stops the process. Throws a Failure when there is no terminal to ask on and
// when the answer is empty.
std::string askForSecret(const std::string& prompt, const std::string& optionForScripts);

// Asks twice, and throws a Failure when the two answers differ.
std::string askForNewSecret(const std::string& prompt, const std::string& optionForScripts);

// One line of standard input, without its line end. Throws a Failure when there is none.
std::string readSecretLine(const std::string& option);

// The text of a file without the line end behind it; FILE may be /dev/stdin. Throws a Failure when
// it cannot be read, is empty or has more than 4 MB.
std::string readSecretFile(const std::string& file);

// The text with its capital letters, of ASCII, as small ones.
std::string lowered(std::string text);
// A name's letters alone, in lower case, so that "sso_Ticket" and "ssoticket" are one.
std::string lettersOf(const std::string& name);
// Whether an entry of that name holds a ticket.
bool namesTicket(const std::string& name);

// The ticket of a command: from standard input when the options say so, else asked for.
std::string ticketFor(const ParameterOptions& input);

}  // namespace tool
