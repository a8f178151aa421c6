// SPDX-License-Identifier: MIT
#include "c/Texts.h"

#include <cerrno>
#include <cmath>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/base/Limits.h"
#include "platform/base/Unicode.h"
#include "platform/formats/JSONSerialization.h"

namespace orx::c {

using namespace platform;

namespace {

// The value without what JSON cannot hold. `depth`: of the containers around it.
Value writable(const Value& value, std::size_t depth) {
  if (const auto* text = value.string()) return validUTF8(*text);
  if (const auto number = value.number()) return std::isfinite(*number) ? value : Value();
  if (value.boolean()) return value;
  if (depth == limits::jsonDepth) return {};
  if (const Array* array = value.array()) {
    Array elements;
    for (const Value& element : *array) elements.push_back(writable(element, depth + 1));
    return elements;
  }
  if (const Dictionary* dictionary = value.dictionary()) {
    Dictionary entries;
    for (const DictionaryEntry& entry : *dictionary) {
      entries.set(validUTF8(entry.key), writable(entry.value, depth + 1));
    }
    return entries;
  }
  return {};
}

std::string jsonOf(const Value& value) {
  try {
    return textWithJSONObject(value);
  } catch (const std::invalid_argument&) {
    // Seldom: a service's answer whose text is not UTF-8, a record that a C++ part of the host
    // made.
    return textWithJSONObject(writable(value, 0));
  }
}

std::optional<Wiped<std::string>> wipedTextOf(const Value& value) {
  std::optional<Wiped<std::string>> text = value.text();
  if (text) text = Wiped<std::string>(validUTF8(*text));
  return text;
}

}  // namespace

std::optional<std::string_view> optionalText(const char* text, std::string_view what) {
  if (text == nullptr) return std::nullopt;
  if (!isValidUTF8(text)) {
    throw std::system_error(EILSEQ, std::generic_category(), std::string(what) + " is not UTF-8");
  }
  return text;
}

std::string_view requiredText(const char* text, std::string_view what) {
  const auto given = optionalText(text, what);
  if (!given) throw std::invalid_argument(std::string(what) + " is a null pointer");
  return *given;
}

Dictionary parametersIn(const char* json) {
  const auto text = optionalText(json, "the text of the parameters");
  if (!text) return {};
  const auto value = JSONObjectWithText(*text);
  if (!value) throw std::invalid_argument(value.error()->localizedDescription());
  const Dictionary* parameters = value->dictionary();
  if (parameters == nullptr) throw std::invalid_argument("the parameters are no JSON object");
  return *parameters;
}

std::string validUTF8(std::string_view text) {
  constexpr char32_t replacement = 0xFFFD;
  if (isValidUTF8(text)) return std::string(text);
  std::string valid;
  for (std::size_t position = 0; position < text.size();) {
    const auto character = nextCharacter(text, position);
    if (!character) ++position;
    appendCharacter(character.value_or(replacement), valid);
  }
  return valid;
}

std::optional<std::string> textOf(const Value& value) {
  auto text = value.text();
  if (text) text = validUTF8(*text);
  return text;
}

Document::Document(const Value& value) : json(jsonOf(value)), text(wipedTextOf(value)) {
  const Dictionary* dictionary = value.dictionary();
  if (dictionary == nullptr) return;
  for (const DictionaryEntry& entry : *dictionary) {
    if (auto field = wipedTextOf(entry.value))
      fields.emplace(validUTF8(entry.key), *std::move(field));
  }
}

const char* Document::find(const char* key) const noexcept {
  if (key == nullptr) return text ? text->c_str() : nullptr;
  const auto field = fields.find(std::string_view(key));
  return field == fields.end() ? nullptr : field->second.c_str();
}

const char* pointerTo(const std::optional<std::string>& text) noexcept {
  return text ? text->c_str() : nullptr;
}

}  // namespace orx::c
