#pragma once

#include <string_view>

namespace orx {

// Names within stored archives. They are a format and never change.
inline constexpr std::string_view kUserClassName = "ORVAAccountUser";
inline constexpr std::string_view kUserInfoKey = "_userInfo";

}  // namespace orx
