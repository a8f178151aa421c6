// SPDX-License-Identifier: MIT
#include "devserver/UserRecord.h"

#include <algorithm>
#include <array>

#include "devserver/Envelope.h"
#include "devserver/JSONText.h"

namespace orx::devserver {
namespace {

constexpr std::array<std::string_view, 7> kAlways = {
    "email", "first_name", "last_name", "nick_name", "country", "birthdate", "mobile"};
constexpr std::array<std::string_view, 15> kWhenPresent = {
    "region", "title",    "addr1",      "addr2",     "city",
    "state",  "zipcode",  "home_voice", "education", "professional",
    "c_01",   "language", "Cloud_edm",  "sn",        "device_id"};

std::string field(const Profile& profile, std::string_view name) {
  const auto found = profile.find(std::string(name));
  return found == profile.end() ? std::string() : found->second;
}

bool isDateAlone(std::string_view text) {
  constexpr std::string_view form = "0000-00-00";
  return std::equal(text.begin(), text.end(), form.begin(), form.end(),
                    [](char c, char f) { return f == '0' ? c >= '0' && c <= '9' : c == f; });
}

}  // namespace

std::string pictureName(const Account& account) {
  constexpr std::array<const char*, 4> extensions = {".png", ".jpg", ".gif", ".webp"};
  return account.customerID() + extensions[static_cast<std::size_t>(account.number) % 4];
}

UserRecord userRecord(const Account& account, const std::string& ticket) {
  UserRecord record{{"cus_id", account.customerID()}, {"login", account.login}};
  for (const auto name : kAlways) record.emplace_back(name, field(account.profile, name));
  for (const auto name : kWhenPresent) {
    std::string value = field(account.profile, name);
    if (!value.empty()) record.emplace_back(name, std::move(value));
  }
  record.emplace_back("pic", pictureName(account));
  if (!ticket.empty()) record.emplace_back("ticket", ticket);
  return record;
}

bool isProfileField(std::string_view name) {
  const auto holds = [name](const auto& fields) {
    return std::find(fields.begin(), fields.end(), name) != fields.end();
  };
  return holds(kAlways) || holds(kWhenPresent);
}

Profile profileFrom(const Parameters& parameters) {
  Profile profile;
  const auto take = [&](std::string_view name) {
    if (parameters.has(name)) profile[std::string(name)] = parameters.get(name);
  };
  std::for_each(kAlways.begin(), kAlways.end(), take);
  std::for_each(kWhenPresent.begin(), kWhenPresent.end(), take);
  const auto birthdate = profile.find("birthdate");
  if (birthdate != profile.end() && isDateAlone(birthdate->second)) {
    birthdate->second += "T00:00:00";
  }
  return profile;
}

std::string asJSONArray(const UserRecord& record) {
  return std::string("[").append(jsonObject(record)).append("]");
}

std::string asCapitalisedJSON(const UserRecord& record) {
  UserRecord capitalised = record;
  for (auto& [name, value] : capitalised) {
    if (name[0] >= 'a' && name[0] <= 'z') name[0] = static_cast<char>(name[0] - 32);
  }
  return jsonObject(capitalised);
}

std::string asXML(const UserRecord& record) {
  // Declared as utf-16 like the real service's document, although the text is sent as UTF-8.
  std::string document = R"(<?xml version="1.0" encoding="utf-16"?><UserData>)";
  for (const auto& [name, value] : record) {
    if (value.empty()) continue;
    document += "<" + name + ">";
    document += escapedForElement(value);
    document += "</" + name + ">";
  }
  return document + "</UserData>";
}

}  // namespace orx::devserver
