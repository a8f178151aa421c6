// SPDX-License-Identifier: MIT
#include <ORXAccount/orxaccount.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "FuzzTarget.h"
#include "c/Texts.h"
#include "platform/base/Unicode.h"
#include "platform/formats/JSONSerialization.h"

namespace {

using Failure = std::unique_ptr<orx_error, decltype(&orx_error_release)>;

// A refusal of the caller's text, in words that can be read.
void check(orx_error* error) {
  const Failure failure(error, orx_error_release);
  if (!failure) return;
  ORX_FUZZ_CHECK(orx_error_domain(error) == std::string_view(ORX_ERROR_DOMAIN_SYSTEM));
  ORX_FUZZ_CHECK(orx_error_code(error) == EINVAL || orx_error_code(error) == EILSEQ);
  ORX_FUZZ_CHECK(orx::platform::isValidUTF8(orx_error_text(error)));
}

// NAME=VALUE, or NAME alone for the default.
void setOptions(FuzzInput input) {
  while (!input.empty()) {
    FuzzInput line(input.line());
    const std::string name(line.upTo("="));
    const std::string value(line.rest());
    check(orx_set_option(name.c_str(), value.empty() ? nullptr : value.c_str()));
  }
  orx::URLSessionConfiguration::setDefaultConfiguration({});
}

// Keys and values by turns, written as JSON and read back.
void writeObject(FuzzInput input) {
  std::vector<std::string> texts;
  while (!input.empty()) texts.emplace_back(std::string(input.line()).c_str());
  std::vector<const char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const auto& text : texts) pointers.push_back(text.c_str());
  if (pointers.size() % 2 != 0) pointers.pop_back();
  pointers.push_back(nullptr);
  orx_result* object = nullptr;
  orx_error* error = orx_json_object(pointers.data(), &object);
  ORX_FUZZ_CHECK((error == nullptr) == (object != nullptr));
  check(error);
  if (object == nullptr) return;
  const auto read = orx::c::parametersIn(orx_result_json(object));
  for (std::size_t at = 0; at + 2 < pointers.size(); at += 2) {
    ORX_FUZZ_CHECK(read[texts[at]].string() != nullptr);
  }
  orx_result_release(object);
}

// Parameters that were read are written as the same JSON.
void readObject(const std::string& json) {
  try {
    const orx::Dictionary parameters = orx::c::parametersIn(json.c_str());
    const orx::c::Document document(parameters);
    ORX_FUZZ_CHECK(orx::c::parametersIn(document.json.c_str()) == parameters);
    for (const auto& [key, text] : document.fields) {
      // No text of C names a field beyond a zero byte; it is in the JSON.
      if (key.find('\0') == std::string::npos) ORX_FUZZ_CHECK(document.find(key.c_str()));
    }
  } catch (const std::invalid_argument&) {
    return;
  } catch (const std::system_error& error) {
    ORX_FUZZ_CHECK(error.code().value() == EILSEQ);
  }
}

}  // namespace

ORX_FUZZ_TARGET(text) {
  FuzzInput input(text);
  const unsigned part = input.number(3);
  if (part == 0) setOptions(input);
  if (part == 1) writeObject(input);
  if (part == 2) readObject(std::string(input.rest()));
}
