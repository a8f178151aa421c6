// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>

#include <cstdint>
#include <string>
#include <string_view>

// The texts of the account service's interface. A host may spell any of them out instead: texts are
// compared, never the constants' identity.
namespace orx {

// Keys of the parameter dictionaries for registration and sign-in, and of a user's info dictionary.
// What each operation requires is the service's business.
inline constexpr std::string_view kORVAAccountLogin = "login";
inline constexpr std::string_view kORVAAccountPassword = "passwd";
inline constexpr std::string_view kORVAAccountFirstName = "first_name";
inline constexpr std::string_view kORVAAccountLastName = "last_name";
inline constexpr std::string_view kORVAAccountNickName = "nick_name";
inline constexpr std::string_view kORVAAccountGender = "title";
inline constexpr std::string_view kORVAAccountBirthDate = "birthdate";
inline constexpr std::string_view kORVAAccountAddress1 = "addr1";
inline constexpr std::string_view kORVAAccountAddress2 = "addr2";
inline constexpr std::string_view kORVAAccountCity = "city";
inline constexpr std::string_view kORVAAccountState = "state";
inline constexpr std::string_view kORVAAccountZipCode = "zipcode";
inline constexpr std::string_view kORVAAccountCountry = "country";
inline constexpr std::string_view kORVAAccountHomeVoice = "home_voice";
inline constexpr std::string_view kORVAAccountEducation = "education";
inline constexpr std::string_view kORVAAccountProfessional = "professional";
inline constexpr std::string_view kORVAAccountEMail = "email";
inline constexpr std::string_view kORVAAccountMobile = "mobile";
inline constexpr std::string_view kORVAAccountEDM1 = "c_01";
inline constexpr std::string_view kORVAAccountLanguage = "language";
inline constexpr std::string_view kORVAAccountIP = "ip";
inline constexpr std::string_view kORVAAccountOpenIDType = "openid_type";
inline constexpr std::string_view kORVAAccountOpenIDUID = "openid_uid";
inline constexpr std::string_view kORVAAccountProvision = "provision";
inline constexpr std::string_view kORVAAccountClientSID = "client_sid";
inline constexpr std::string_view kORVAAccountDeviceSN = "sn";
inline constexpr std::string_view kORVAAccountDeviceID = "device_id";
inline constexpr std::string_view kORVAAccountCloudEDM = "Cloud_edm";
inline constexpr std::string_view kORVAAccountCusID = "cus_id";
inline constexpr std::string_view kORVAAccountTicket = "ticket";
inline constexpr std::string_view kORVAAccountCountryAbbr = "abbr";
inline constexpr std::string_view kORVAAccountLanguageID = "lang_id";
inline constexpr std::string_view kORVAAccountProfession = "profession";
inline constexpr std::string_view kORVAAccountProfessionID = "p_id";
inline constexpr std::string_view kORVAAccountCheckCode = "check_code";
inline constexpr std::string_view kORVAAccountValidateCode = "validate_code";
inline constexpr std::string_view kORVAAccountPicture = "pic";

// Element names of the call envelope and of the answer's result block. kORVAAccountAppID and
// kORVAAccountAppKey are also the option keys of ORVAAccountAPI::initWithOptions.
inline constexpr std::string_view kORVAAccountAppID = "AppID";
inline constexpr std::string_view kORVAAccountAppKey = "AppKey";
inline constexpr std::string_view kORVAAccountAPIID = "ApiID";
inline constexpr std::string_view kORVAAccountParaJson = "ParaJson";
// The ticket's key in a user-data request; kORVAAccountTicket is its key in a user's info.
inline constexpr std::string_view kORVAAccounTicket = "Ticket";
inline constexpr std::string_view kORVAAccountResultCode = "ResultCode";
inline constexpr std::string_view kORVAAccountResultDescription = "ResultDesc";
inline constexpr std::string_view kORVAAccountResultDataType = "ReturnDataType";
inline constexpr std::string_view kORVAAccountResultData = "ReturnData";

// Keys of the dictionaries in ORVAAccountAPI::parsingTasks.
inline constexpr std::string_view kGetUserDataTaskCompletionHandler = "CompletionHandler";
inline constexpr std::string_view kGetUserDataTaskResponseDataParser = "UserDataResponseDataParser";
inline constexpr std::string_view kGetUserDataTaskParsingString = "ParsingString";
inline constexpr std::string_view kGetUserDataTaskParsingError = "ParsingError";
inline constexpr std::string_view kGetUserDataTaskResponseDataDictionary = "ResponseDataDictionary";

// Keys of the dictionaries in ORVAAccountLoginManager::loginWithTicketTasks.
inline constexpr std::string_view kLoginWithTicketXMLParser = "kLoginWithTicketXMLParser";
inline constexpr std::string_view kLoginWithTicketReturnDataDictionary =
    "kLoginWithTicketReturnDataDictionary";
inline constexpr std::string_view kLoginWithTicketParsingString = "kLoginWithTicketParsingString";
inline constexpr std::string_view kLoginWithTicketParsingError = "kLoginWithTicketParsingError";

// Where the stored user lives.
inline constexpr std::string_view ORVAAccountUserKeychainKey =
    "com.orva.account.ORVAAccountUserKeychainKey";
inline constexpr std::string_view ORVAAccountUserUserDefaultKey =
    "com.orva.account.ORVAAccountUserUserDefaultKey";
inline constexpr std::string_view ORVAAccountUserUUIDKey = "uuid";
inline constexpr std::string_view ORVAAccountUserDataKey = "data";

// Posted on the default notification centre whenever the current user has changed; the sender is
// ORVAAccountUser::classObject(). The information holds the new user and the previous one under the
// two keys below; a key whose user is absent is left out.
inline constexpr std::string_view ORVAAccountUserDidChangeNotification =
    "com.orva.account.ORVAAccountUserDidChangeNotification";
inline constexpr std::string_view ORVAAccountUserChangeNewKey = "ORVAAccountUser";
inline constexpr std::string_view ORVAAccountUserChangeOldKey = "ORVAAccountUserOld";

// Domain of the errors with which the account service itself refuses a call. The description is the
// service's own text, and the code stands for it. There is no code for success: 0 is an error too.
// A user-data fetch reports the service's ResultCode as it is instead.
inline constexpr std::string_view kORVAAccountErrorDomain = "com.orva.account";
inline constexpr std::int64_t kORVAAccountErrorAppID = 0;              // "AppID Error"
inline constexpr std::int64_t kORVAAccountErrorAppKey = 1;             // "AppKey Error"
inline constexpr std::int64_t kORVAAccountErrorAPIID = 2;              // "ApiID Error"
inline constexpr std::int64_t kORVAAccountErrorAlreadyRegistered = 3;  // the login name is taken
inline constexpr std::int64_t kORVAAccountErrorPassword = 4;           // "password error"
inline constexpr std::int64_t kORVAAccountErrorPasswordLength = 5;     // not 8 to 25 long
inline constexpr std::int64_t kORVAAccountErrorEmailFormat = 6;        // "Email Format Error"
inline constexpr std::int64_t kORVAAccountErrorOther = 7;              // any other text, or none

// Domain of the errors for an HTTP status other than 200, where an operation looks at the status;
// the code is the status. They carry no details.
inline constexpr std::string_view kORVAAccountAPIErrorDomain = "ORVAAccountAPIErrorDomain";

// Domain of the errors for a picture whose HTTP status is not 200 to 299; the code is the status.
inline constexpr std::string_view kORVAAccountUserErrorDomain = "ORVAAccountUserErrorDomain";

// Operation identifiers.
inline constexpr std::string_view registerAPIID = "w000000012";
inline constexpr std::string_view loginAPIID = "w000000011";
inline constexpr std::string_view getUserDataAPIID = "sso0000004";

// Envelope templates. Each has four places "%@" for AppID, AppKey, ApiID and the parameter text, in
// this order; what is put there is not escaped. The blank in the first template's xsd namespace is
// what the service was built against. The service's namespace in them is the one that was chosen
// when the library was built, whatever ORVAAccount's servers are: calls carry that of the servers.
extern ORX_EXPORT const std::string_view lumcusinfo_asmx_pattern;
extern ORX_EXPORT const std::string_view orvaservice_asmx_pattern;  // the same text
extern ORX_EXPORT const std::string_view soap12_request_pattern;

// The versions of the library and of what carries its transfers, for reports of problems:
// "ORXAccount/1.0.0 libcurl/7.88.1 OpenSSL/3.0.17". From any thread.
ORX_EXPORT std::string ORXAccountVersions();

}  // namespace orx

extern "C" {
// The interface's version.
extern ORX_EXPORT const double ORXAccountVersionNumber;
// The identification text, terminated by a zero byte; ends in a line feed.
extern ORX_EXPORT const unsigned char ORXAccountVersionString[];
}
