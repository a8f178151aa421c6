// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "service/SOAPCall.h"

namespace orx {

using service::soap11_header_request_pattern;

namespace {

// The service's own texts, written out a second time on purpose: they are a format.
TEST(Constants, HoldTheTextsThatTheServiceKnows) {
  const std::vector<std::pair<std::string_view, std::string_view>> texts{
      {kORVAAccountLogin, "login"},
      {kORVAAccountPassword, "passwd"},
      {kORVAAccountFirstName, "first_name"},
      {kORVAAccountLastName, "last_name"},
      {kORVAAccountNickName, "nick_name"},
      {kORVAAccountGender, "title"},
      {kORVAAccountBirthDate, "birthdate"},
      {kORVAAccountAddress1, "addr1"},
      {kORVAAccountAddress2, "addr2"},
      {kORVAAccountCity, "city"},
      {kORVAAccountState, "state"},
      {kORVAAccountZipCode, "zipcode"},
      {kORVAAccountCountry, "country"},
      {kORVAAccountHomeVoice, "home_voice"},
      {kORVAAccountEducation, "education"},
      {kORVAAccountProfessional, "professional"},
      {kORVAAccountEMail, "email"},
      {kORVAAccountMobile, "mobile"},
      {kORVAAccountEDM1, "c_01"},
      {kORVAAccountLanguage, "language"},
      {kORVAAccountIP, "ip"},
      {kORVAAccountOpenIDType, "openid_type"},
      {kORVAAccountOpenIDUID, "openid_uid"},
      {kORVAAccountProvision, "provision"},
      {kORVAAccountClientSID, "client_sid"},
      {kORVAAccountDeviceSN, "sn"},
      {kORVAAccountDeviceID, "device_id"},
      {kORVAAccountCloudEDM, "Cloud_edm"},
      {kORVAAccountCusID, "cus_id"},
      {kORVAAccountTicket, "ticket"},
      {kORVAAccountCountryAbbr, "abbr"},
      {kORVAAccountLanguageID, "lang_id"},
      {kORVAAccountProfession, "profession"},
      {kORVAAccountProfessionID, "p_id"},
      {kORVAAccountCheckCode, "check_code"},
      {kORVAAccountValidateCode, "validate_code"},
      {kORVAAccountPicture, "pic"},
      {kORVAAccountAppID, "AppID"},
      {kORVAAccountAppKey, "AppKey"},
      {kORVAAccountAPIID, "ApiID"},
      {kORVAAccountParaJson, "ParaJson"},
      {kORVAAccounTicket, "Ticket"},
      {kORVAAccountResultCode, "ResultCode"},
      {kORVAAccountResultDescription, "ResultDesc"},
      {kORVAAccountResultDataType, "ReturnDataType"},
      {kORVAAccountResultData, "ReturnData"},
      {kGetUserDataTaskCompletionHandler, "CompletionHandler"},
      {kGetUserDataTaskResponseDataParser, "UserDataResponseDataParser"},
      {kGetUserDataTaskParsingString, "ParsingString"},
      {kGetUserDataTaskParsingError, "ParsingError"},
      {kGetUserDataTaskResponseDataDictionary, "ResponseDataDictionary"},
      {kLoginWithTicketXMLParser, "kLoginWithTicketXMLParser"},
      {kLoginWithTicketReturnDataDictionary, "kLoginWithTicketReturnDataDictionary"},
      {kLoginWithTicketParsingString, "kLoginWithTicketParsingString"},
      {kLoginWithTicketParsingError, "kLoginWithTicketParsingError"},
      {ORVAAccountUserKeychainKey, "com.orva.account.ORVAAccountUserKeychainKey"},
      {ORVAAccountUserUserDefaultKey, "com.orva.account.ORVAAccountUserUserDefaultKey"},
      {ORVAAccountUserUUIDKey, "uuid"},
      {ORVAAccountUserDataKey, "data"},
      {ORVAAccountUserDidChangeNotification,
       "com.orva.account.ORVAAccountUserDidChangeNotification"},
      {ORVAAccountUserChangeNewKey, "ORVAAccountUser"},
      {ORVAAccountUserChangeOldKey, "ORVAAccountUserOld"},
      {kORVAAccountErrorDomain, "com.orva.account"},
      {registerAPIID, "w000000012"},
      {loginAPIID, "w000000011"},
      {getUserDataAPIID, "sso0000004"},
  };
  for (const auto& [constant, text] : texts) EXPECT_EQ(constant, text);
}

TEST(Constants, NameTheErrorCodesAndDomains) {
  EXPECT_EQ(kORVAAccountAPIErrorDomain, "ORVAAccountAPIErrorDomain");
  EXPECT_EQ(kORVAAccountUserErrorDomain, "ORVAAccountUserErrorDomain");
  EXPECT_THAT((std::vector{kORVAAccountErrorAppID, kORVAAccountErrorAppKey, kORVAAccountErrorAPIID,
                           kORVAAccountErrorAlreadyRegistered, kORVAAccountErrorPassword,
                           kORVAAccountErrorPasswordLength, kORVAAccountErrorEmailFormat,
                           kORVAAccountErrorOther}),
              ::testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
}

TEST(Constants, TheTwoTicketKeysDifferInTheCaseOfTheFirstLetterAlone) {
  EXPECT_EQ(kORVAAccounTicket, "Ticket");
  EXPECT_EQ(kORVAAccountTicket, "ticket");
}

TEST(Constants, TheTwoParaJsonTemplatesAreOneText) {
  EXPECT_EQ(lumcusinfo_asmx_pattern, orvaservice_asmx_pattern);
}

TEST(Constants, VersionNumberReadsOne) { EXPECT_EQ(ORXAccountVersionNumber, 1.0); }

TEST(Constants, VersionStringEndsInALineFeedAndAZeroByte) {
  const std::string_view text = reinterpret_cast<const char*>(ORXAccountVersionString);
  EXPECT_EQ(text, "@(#)PROGRAM:ORXAccount  PROJECT:ORXFrameworks-1\n");
}

constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="utf-8"?>)";

std::string withNamespace(std::string_view text) {
  std::string filled(text);
  for (auto place = filled.find("NAMESPACE"); place != std::string::npos;
       place = filled.find("NAMESPACE")) {
    filled.replace(place, 9, ORX_TEST_NAMESPACE);
  }
  return filled;
}

TEST(Templates, ParaJsonKeepsTheBlankInItsSchemaNamespace) {
  EXPECT_EQ(lumcusinfo_asmx_pattern,
            withNamespace(std::string(kDeclaration) +
                          "<soap:Envelope xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                          "xmlns:xsd=\"http://www.w3.org/2001 XMLSchema\" "
                          "xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"><soap:Body>"
                          "<call xmlns=\"NAMESPACE\"><AppID>%@</AppID><AppKey>%@</AppKey>"
                          "<ApiID>%@</ApiID><ParaJson>%@</ParaJson></call></soap:Body>"
                          "</soap:Envelope>"));
}

TEST(Templates, Soap12CarriesTheCredentialsInItsHeader) {
  EXPECT_EQ(
      soap12_request_pattern,
      withNamespace(std::string(kDeclaration) +
                    "<soap12:Envelope xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
                    "xmlns:soap12=\"http://www.w3.org/2003/05/soap-envelope\"><soap12:Header>"
                    "<AuthHeader xmlns=\"NAMESPACE\"><AppID>%@</AppID><AppKey>%@</AppKey>"
                    "</AuthHeader></soap12:Header><soap12:Body><call xmlns=\"NAMESPACE\">"
                    "<ApiID>%@</ApiID><Parameters>%@</Parameters></call></soap12:Body>"
                    "</soap12:Envelope>"));
}

TEST(Templates, Soap11WithHeaderIsLaidOutWithRunsOfBlanks) {
  EXPECT_EQ(
      soap11_header_request_pattern,
      withNamespace(std::string(kDeclaration) +
                    "<soap:Envelope xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
                    "xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\">"
                    "  <soap:Header>    <AuthHeader xmlns=\"NAMESPACE\">      <AppID>%@</AppID>"
                    "      <AppKey>%@</AppKey>    </AuthHeader>  </soap:Header>  <soap:Body>"
                    "    <call xmlns=\"NAMESPACE\">      <ApiID>%@</ApiID>"
                    "      <Parameters>%@</Parameters>    </call>  </soap:Body></soap:Envelope>"));
}

TEST(Templates, AreSingleLines) {
  for (const std::string_view text :
       {lumcusinfo_asmx_pattern, soap12_request_pattern, soap11_header_request_pattern}) {
    EXPECT_EQ(text.find_first_of("\r\n"), std::string_view::npos);
  }
}

TEST(Versions, NameTheLibraryAndWhatCarriesItsTransfers) {
  EXPECT_THAT(ORXAccountVersions(),
              testing::MatchesRegex(R"(ORXAccount/[0-9.]+ libcurl/[^ ]+ [A-Za-z]+/[^ ]+)"));
}

}  // namespace
}  // namespace orx
