// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devserver/AccountStore.h"
#include "devserver/Parameters.h"

namespace orx::devserver {

// Field names and texts, in the order in which the service sends them.
using UserRecord = std::vector<std::pair<std::string, std::string>>;

// Some fields are part of every record, even when they are empty. Other fields of the profile, and
// the ticket, are left out when they are empty.
UserRecord userRecord(const Account& account, const std::string& ticket);

// Whether a field of a profile has this name; letter case counts.
bool isProfileField(std::string_view name);

// The profile fields among the parameters; a birth date without a time gets midnight.
Profile profileFrom(const Parameters& parameters);

// The account's picture file.
std::string pictureName(const Account& account);

// A JSON array with this one record, on one line, that needs no escaping inside XML.
std::string asJSONArray(const UserRecord& record);
// A JSON object whose keys begin with a capital letter.
std::string asCapitalisedJSON(const UserRecord& record);
// A compact document with an element for each field that is not empty.
std::string asXML(const UserRecord& record);

}  // namespace orx::devserver
