#pragma once

// Everything that a host application uses.
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountAPIResult.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountKeychain.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountLoginManagerDelegate.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/Bundle.h>
#include <ORXAccount/platform/Coder.h>
#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Keychain.h>
#include <ORXAccount/platform/NotificationCenter.h>
#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/SecItem.h>
#include <ORXAccount/platform/URL.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <ORXAccount/platform/Value.h>
#include <ORXAccount/platform/XMLParser.h>
