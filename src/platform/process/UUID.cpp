// SPDX-License-Identifier: MIT
#include "platform/process/UUID.h"

#include <uuid/uuid.h>

#include <array>

namespace orx::platform {

std::string UUIDString() {
  uuid_t uuid;
  uuid_generate_random(uuid);
  std::array<char, UUID_STR_LEN> text{};
  uuid_unparse_upper(uuid, text.data());
  return text.data();
}

}  // namespace orx::platform
