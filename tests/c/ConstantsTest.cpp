// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/orxaccount.h>
#include <ORXAccount/platform/Error.h>
#include <gtest/gtest.h>

#include <string_view>

namespace orx {
namespace {

TEST(CConstants, AreTheTextsOfTheCppInterface) {
  const std::pair<std::string_view, std::string_view> pairs[] = {
      {ORX_LOGIN, kORVAAccountLogin},
      {ORX_PASSWORD, kORVAAccountPassword},
      {ORX_FIRST_NAME, kORVAAccountFirstName},
      {ORX_LAST_NAME, kORVAAccountLastName},
      {ORX_NICK_NAME, kORVAAccountNickName},
      {ORX_GENDER, kORVAAccountGender},
      {ORX_BIRTH_DATE, kORVAAccountBirthDate},
      {ORX_ADDRESS1, kORVAAccountAddress1},
      {ORX_ADDRESS2, kORVAAccountAddress2},
      {ORX_CITY, kORVAAccountCity},
      {ORX_STATE, kORVAAccountState},
      {ORX_ZIP_CODE, kORVAAccountZipCode},
      {ORX_COUNTRY, kORVAAccountCountry},
      {ORX_HOME_VOICE, kORVAAccountHomeVoice},
      {ORX_EDUCATION, kORVAAccountEducation},
      {ORX_PROFESSIONAL, kORVAAccountProfessional},
      {ORX_EMAIL, kORVAAccountEMail},
      {ORX_MOBILE, kORVAAccountMobile},
      {ORX_EDM1, kORVAAccountEDM1},
      {ORX_LANGUAGE, kORVAAccountLanguage},
      {ORX_IP, kORVAAccountIP},
      {ORX_OPENID_TYPE, kORVAAccountOpenIDType},
      {ORX_OPENID_UID, kORVAAccountOpenIDUID},
      {ORX_PROVISION, kORVAAccountProvision},
      {ORX_CLIENT_SID, kORVAAccountClientSID},
      {ORX_DEVICE_SN, kORVAAccountDeviceSN},
      {ORX_DEVICE_ID, kORVAAccountDeviceID},
      {ORX_CLOUD_EDM, kORVAAccountCloudEDM},
      {ORX_CUS_ID, kORVAAccountCusID},
      {ORX_TICKET, kORVAAccountTicket},
      {ORX_COUNTRY_ABBR, kORVAAccountCountryAbbr},
      {ORX_LANGUAGE_ID, kORVAAccountLanguageID},
      {ORX_PROFESSION, kORVAAccountProfession},
      {ORX_PROFESSION_ID, kORVAAccountProfessionID},
      {ORX_CHECK_CODE, kORVAAccountCheckCode},
      {ORX_VALIDATE_CODE, kORVAAccountValidateCode},
      {ORX_PICTURE, kORVAAccountPicture},
      {ORX_LIST_COUNTRIES, kORVAAccountCountry},
      {ORX_LIST_PROFESSIONS, kORVAAccountProfession},
      {ORX_ERROR_DOMAIN_SERVICE, kORVAAccountErrorDomain},
      {ORX_ERROR_DOMAIN_NETWORK, NSURLErrorDomain},
      {ORX_ERROR_DOMAIN_STATUS, kORVAAccountAPIErrorDomain},
      {ORX_ERROR_DOMAIN_PICTURE, kORVAAccountUserErrorDomain},
      {ORX_ERROR_DOMAIN_JSON, NSCocoaErrorDomain},
      {ORX_ERROR_DOMAIN_XML, NSXMLParserErrorDomain},
  };
  for (const auto& [inC, inCpp] : pairs) EXPECT_EQ(inC, inCpp);
}

TEST(CConstants, AreTheCodesOfTheCppInterface) {
  const std::pair<int, std::int64_t> pairs[] = {
      {ORX_ERROR_APP_ID, kORVAAccountErrorAppID},
      {ORX_ERROR_APP_KEY, kORVAAccountErrorAppKey},
      {ORX_ERROR_API_ID, kORVAAccountErrorAPIID},
      {ORX_ERROR_ALREADY_REGISTERED, kORVAAccountErrorAlreadyRegistered},
      {ORX_ERROR_PASSWORD, kORVAAccountErrorPassword},
      {ORX_ERROR_PASSWORD_LENGTH, kORVAAccountErrorPasswordLength},
      {ORX_ERROR_EMAIL_FORMAT, kORVAAccountErrorEmailFormat},
      {ORX_ERROR_OTHER, kORVAAccountErrorOther},
      {ORX_ERROR_UNKNOWN, NSURLErrorUnknown},
      {ORX_ERROR_TIMED_OUT, NSURLErrorTimedOut},
      {ORX_ERROR_CANNOT_FIND_HOST, NSURLErrorCannotFindHost},
      {ORX_ERROR_CANNOT_CONNECT, NSURLErrorCannotConnectToHost},
      {ORX_ERROR_CONNECTION_LOST, NSURLErrorNetworkConnectionLost},
      {ORX_ERROR_TOO_LONG, NSURLErrorDataLengthExceedsMaximum},
      {ORX_ERROR_NO_SECURE_CONNECTION, NSURLErrorSecureConnectionFailed},
      {ORX_ERROR_NOT_TRUSTED, NSURLErrorServerCertificateUntrusted},
  };
  for (const auto& [inC, inCpp] : pairs) EXPECT_EQ(inC, inCpp);
}

}  // namespace
}  // namespace orx
