// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <utility>

#include "c/Results.h"

struct orx_observation {
  orx::Observation observation;
};

namespace orx::c {

namespace {

std::optional<std::string> textOf(const std::optional<URL>& url) {
  return url ? std::optional(url->absoluteString()) : std::nullopt;
}

orx_result resultOf(const Notification& change) {
  const auto userUnder = [&](std::string_view key) {
    return handleOf(change.userInfo()[key].objectOf<ORVAAccountUser>());
  };
  return {.user = userUnder(ORVAAccountUserChangeNewKey),
          .previousUser = userUnder(ORVAAccountUserChangeOldKey)};
}

}  // namespace

OwnedUser handleOf(const std::shared_ptr<ORVAAccountUser>& user) {
  return OwnedUser(user ? new orx_user(user) : nullptr);
}

}  // namespace orx::c

using namespace orx::c;

orx_user::orx_user(std::shared_ptr<orx::ORVAAccountUser> aRecord)
    : record(std::move(aRecord)),
      info(record->userInfo() ? orx::Value(*record->userInfo()) : orx::Value()),
      country(textOf(record->country())),
      isChina(record->isCNServer()),
      pictureURL(textOf(record->pictureURL())) {}

orx_error* orx_current_user(orx_user** user) {
  return guarded([&] {
    orx_user*& place = placeOf(user);
    place = handleOf(orx::ORVAAccountUser::currentUser()).release();
  });
}

const char* orx_user_json(const orx_user* user) {
  return user == nullptr ? nullptr : user->info.json.c_str();
}

const char* orx_user_text(const orx_user* user, const char* key) {
  if (user == nullptr || key == nullptr) return nullptr;
  return key == orx::kORVAAccountCountry ? pointerTo(user->country) : user->info.find(key);
}

const char* orx_user_picture_url(const orx_user* user) {
  return user == nullptr ? nullptr : pointerTo(user->pictureURL);
}

int orx_user_is_china(const orx_user* user) { return user != nullptr && user->isChina ? 1 : 0; }

orx_user* orx_user_retain(const orx_user* user) {
  if (user != nullptr) ++user->owners;
  // Made as a non-const one, and nobody changes it.
  return const_cast<orx_user*>(user);
}

void orx_user_release(orx_user* user) {
  if (user != nullptr && --user->owners == 0) delete user;
}

orx_error* orx_observe_user(orx_callback callback, void* context, void (*ended)(void* context),
                            orx_observation** observation) {
  return guarded([&] {
    orx_observation*& place = placeOf(observation);
    const auto held = std::make_shared<Context>(context);
    auto made = std::make_unique<orx_observation>();
    made->observation =
        orx::NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
            orx::ORVAAccountUserDidChangeNotification, orx::ORVAAccountUser::classObject(),
            [told = Callback(callback, context), held](const orx::Notification& change) {
              told.report(nullptr, [&] { return resultOf(change); });
            });
    held->endWith(ended);
    place = made.release();
  });
}

void orx_observation_release(orx_observation* observation) { delete observation; }
