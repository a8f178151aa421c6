// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace orx::platform {

// The parts of an absolute URL as the transport reads them.
struct URLParts {
  std::string scheme;  // in lower case
  std::string host;    // in the letters of the text, never empty
  std::string path;    // "/" when the text names none
};

// Absent when the transport would not take the text for a URL; of any scheme. Defined by the
// transport, so that what passes here is what it will go to. Where the transport cannot be loaded
// now, the parts are as they are spelled.
std::optional<URLParts> parsedURL(const std::string& text);

// The text for people: without user, password, query and fragment, any of which can be a secret.
// Empty when the transport would not take the text for a URL, since nobody knows then where a
// password in it ends.
std::string shownURL(const std::string& text);

}  // namespace orx::platform
