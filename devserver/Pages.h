// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "devserver/AccountStore.h"
#include "devserver/HTTPMessages.h"

namespace orx::devserver {

// Web pages. They load nothing but the user's picture, and escape what users have typed.
HTTPResponse startPage();
HTTPResponse signedInPage(const Account& account);
HTTPResponse spentLinkPage();
HTTPResponse notFoundPage();

}  // namespace orx::devserver
