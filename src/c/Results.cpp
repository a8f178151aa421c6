// SPDX-License-Identifier: MIT
#include "c/Results.h"

#include <stdexcept>
#include <utility>

namespace orx::c {

Callback::Callback(orx_callback aFunction, void* aContext)
    : function(aFunction), context(aContext) {
  if (function == nullptr) throw std::invalid_argument("the callback is a null pointer");
}

void Callback::fail(const std::shared_ptr<Error>& error) const noexcept {
  const HeldError held(error);
  function(context, nullptr, &held);
}

}  // namespace orx::c

const char* orx_result_json(const orx_result* result) {
  return result == nullptr ? nullptr : result->payload.json.c_str();
}

const char* orx_result_text(const orx_result* result, const char* key) {
  return result == nullptr ? nullptr : result->payload.find(key);
}

const char* orx_result_description(const orx_result* result) {
  return result == nullptr ? nullptr : orx::c::pointerTo(result->description);
}

const orx_error* orx_result_transfer_error(const orx_result* result) {
  return result == nullptr ? nullptr : result->transferError.get();
}

const void* orx_result_bytes(const orx_result* result, size_t* size) {
  const size_t count = result == nullptr ? 0 : result->bytes.size();
  if (size != nullptr) *size = count;
  return count == 0 ? nullptr : result->bytes.bytes().data();
}

const orx_user* orx_result_user(const orx_result* result) {
  return result == nullptr ? nullptr : result->user.get();
}

const orx_user* orx_result_previous_user(const orx_result* result) {
  return result == nullptr ? nullptr : result->previousUser.get();
}

void orx_result_release(orx_result* result) { delete result; }

orx_error* orx_json_object(const char* const* texts, orx_result** object) {
  using namespace orx::c;
  return guarded([&] {
    orx_result*& place = placeOf(object);
    if (texts == nullptr) throw std::invalid_argument("the texts are a null pointer");
    orx::Dictionary dictionary;
    for (; *texts != nullptr; texts += 2) {
      dictionary.set(requiredText(texts[0], "a key"), requiredText(texts[1], "a value"));
    }
    place = new orx_result{.payload = Document(dictionary)};
  });
}
