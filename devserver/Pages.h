#pragma once

#include <string>

#include "devserver/AccountStore.h"
#include "devserver/HTTPMessages.h"

namespace orx::devserver {

// Web pages: self-contained but for the user's picture, and safe for whatever a user has typed.
HTTPResponse startPage();
HTTPResponse signedInPage(const Account& account);
HTTPResponse spentLinkPage();
HTTPResponse notFoundPage();

}  // namespace orx::devserver
