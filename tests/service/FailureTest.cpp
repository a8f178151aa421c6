// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>

#include <limits>
#include <stdexcept>

#include "support/AccountServiceFixture.h"
#include "support/Operations.h"

// What each operation makes of a transfer that fails, of a status, and of misuse.
namespace orx {
namespace {

using namespace orx::testing;

class OperationTest : public AccountServiceFixture,
                      public ::testing::WithParamInterface<Operation> {
 protected:
  Report run(const Dictionary& parameters = {}) {
    return outcomeOf([&](auto handler) { GetParam().start(*api(), parameters, handler); });
  }
  // A whole result block within a body that is announced longer than it is.
  static Answer brokenAfterTheBlock() {
    const std::string block = resultBlock("1", "words", "Json", R"([{"login":"a"}])");
    const Answer whole = Answer::reply(200, block + std::string(1000, ' '));
    return whole.cutAfter(whole.headSize() + block.size() + 10, TLSTestServer::End::cut);
  }
};

class EveryOperation : public OperationTest {};

TEST_P(EveryOperation, ATransferWithoutAReplyReportsThePlatformsError) {
  answerWith(Answer::hangUp(TLSTestServer::End::cut));
  const Report outcome = run();
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_EQ(outcome.error->domain(), NSURLErrorDomain);
  EXPECT_EQ(outcome.error->code(), NSURLErrorNetworkConnectionLost);
  EXPECT_NE(outcome.error->localizedDescription().find(kGlobalHost), std::string::npos);
  EXPECT_EQ(server().requests().size(), 1U);
}

TEST_P(EveryOperation, AHostThatRefusesReportsThePlatformsError) {
  URLSessionConfiguration configuration = server().configuration();
  configuration.setConnectTo(kGlobalHost, {"127.0.0.1", 1});
  URLSessionConfiguration::setDefaultConfiguration(configuration);
  EXPECT_EQ(run().error->code(), NSURLErrorCannotConnectToHost);
}

INSTANTIATE_TEST_SUITE_P(, EveryOperation,
                         ::testing::Values(kRegister, kLogin, kLoginOpenID, kCommon, kWebSSO,
                                           kUserData, kRegisterV2, kLoginV2),
                         nameOf);

class ResponseTestedFirst : public OperationTest {
 protected:
  static void expectErrorOfTheEmptyDescription(const Report& outcome) {
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->domain(), kORVAAccountErrorDomain);
    EXPECT_EQ(outcome.error->code(), kORVAAccountErrorOther);
    EXPECT_EQ(outcome.error->userInfo(), (Dictionary{{"NSLocalizedDescription", ""}}));
  }
};

TEST_P(ResponseTestedFirst, ABodyThatBrokeOffIsReadSoFar) {
  answerWith(brokenAfterTheBlock());
  const Report outcome = run();
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), "words");
}

TEST_P(ResponseTestedFirst, ABodyThatBrokeOffWithinTheBlockIsTheErrorOfTheEmptyDescription) {
  const Answer whole = Answer::reply(200, resultBlock("1", "words", "Json", "[]"));
  answerWith(whole.cutAfter(whole.bytes.size() - 1, TLSTestServer::End::cut));
  expectErrorOfTheEmptyDescription(run());
}

TEST_P(ResponseTestedFirst, ABodyCompressedUnaskedIsTheErrorOfTheEmptyDescription) {
  // "<ResultCode>1</ResultCode>" as gzip stores it: a header, one block without compression.
  const std::string text = resultBlock("1", "words", "Json", "[]");
  const auto size = static_cast<unsigned char>(text.size());
  std::string body("\x1f\x8b\x08\0\0\0\0\0\0\x03\x01", 11);
  for (const int byte : {int{size}, 0, 0xff - size, 0xff}) body += static_cast<char>(byte);
  answerWith(Answer::reply(200, body + text, {{"Content-Encoding", "gzip"}}));
  expectErrorOfTheEmptyDescription(run());
}

TEST_P(ResponseTestedFirst, TheStatusIsNotExamined) {
  for (const int status : {201, 404, 500}) {
    answerWith(soapAnswer(resultBlock("1", "words", "Json", R"([{"login":"a"}])")), status);
    EXPECT_NE(run().result, nullptr) << status;
  }
}

TEST_P(ResponseTestedFirst, ABodyWithoutABlockIsTheErrorOfTheEmptyDescription) {
  for (const std::string body : {"", "<html><h1>Service Unavailable</h1></html>",
                                 "<soap:Fault><faultcode>x</faultcode></soap:Fault>", "\xc3("}) {
    answerWith(body, 503);
    expectErrorOfTheEmptyDescription(run());
  }
}

INSTANTIATE_TEST_SUITE_P(, ResponseTestedFirst,
                         ::testing::Values(kRegister, kLogin, kLoginOpenID, kCommon), nameOf);

class ErrorTestedFirst : public OperationTest {};

TEST_P(ErrorTestedFirst, ABodyThatBrokeOffIsTheTransferError) {
  answerWith(brokenAfterTheBlock());
  const Report outcome = run();
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_EQ(outcome.error->domain(), NSURLErrorDomain);
  EXPECT_EQ(outcome.error->code(), NSURLErrorNetworkConnectionLost);
}

INSTANTIATE_TEST_SUITE_P(, ErrorTestedFirst,
                         ::testing::Values(kWebSSO, kUserData, kRegisterV2, kLoginV2), nameOf);

class Misuse : public OperationTest {};

TEST_P(Misuse, ParametersThatJSONCannotHoldThrowAndSendNothing) {
  const auto never = [](const auto&, const auto&) { ADD_FAILURE() << "reported"; };
  const Dictionary nested{{"list", Array{Dictionary{{"deep", Data("bytes")}}}}};
  for (const Value& value :
       {Value(std::numeric_limits<double>::quiet_NaN()), Value(nested), Value(api()),
        Value(std::numeric_limits<double>::infinity()), Value(Data("x")), Value("\xc3(")}) {
    EXPECT_THROW(GetParam().start(*api(), Dictionary{{"a", value}}, never), std::invalid_argument);
  }
  EXPECT_TRUE(server().requests().empty());
  EXPECT_EQ(server().connectionCount(), 0U);
}

TEST_P(Misuse, AnEmptyCompletionHandlerThrows) {
  EXPECT_THROW(GetParam().start(*api(), Dictionary(), nullptr), std::invalid_argument);
  EXPECT_EQ(server().connectionCount(), 0U);
}

INSTANTIATE_TEST_SUITE_P(, Misuse,
                         ::testing::Values(kRegister, kLogin, kLoginOpenID, kCommon, kWebSSO,
                                           kUserData, kRegisterV2, kLoginV2),
                         nameOf);

class ForeignText : public OperationTest {};

TEST_P(ForeignText, AsACredentialThrowsAndSendsNothing) {
  const auto never = [](const auto&, const auto&) { ADD_FAILURE() << "reported"; };
  for (const auto key : {kORVAAccountAppID, kORVAAccountAppKey}) {
    const auto client = ORVAAccountAPI::initWithOptions(
        Dictionary{{kORVAAccountAppID, "id"}, {kORVAAccountAppKey, "key"}, {key, "\xff"}});
    EXPECT_THROW(GetParam().start(*client, Dictionary(), never), std::invalid_argument) << key;
  }
  EXPECT_EQ(server().connectionCount(), 0U);
}

INSTANTIATE_TEST_SUITE_P(, ForeignText,
                         ::testing::Values(kRegister, kLogin, kLoginOpenID, kCommon, kWebSSO,
                                           kUserData, kRegisterV2, kLoginV2, kList),
                         nameOf);

TEST_F(AccountServiceFixture, ForeignTextAsListNameOrApiIDThrowsAndSendsNothing) {
  const auto never = [](const auto&, const auto&) { ADD_FAILURE() << "reported"; };
  EXPECT_THROW(api()->parameterListWithName_completionHandler("\xc3(", never),
               std::invalid_argument);
  EXPECT_THROW(api()->commonWithApiId_parameters_completionHandler("w\x80", Dictionary(), never),
               std::invalid_argument);
  EXPECT_EQ(server().connectionCount(), 0U);
}

class CertificateFaults : public ::testing::TestWithParam<CertificateFault> {};

TEST_P(CertificateFaults, EndTheCallBeforeAByteOfItLeaves) {
  TLSTestServer server(
      {kGlobalHost}, [](const auto&) { return TLSTestServer::Answer::reply(200); }, GetParam());
  URLSessionConfiguration::setDefaultConfiguration(server.configurationFor({kGlobalHost}));
  const auto reports = std::make_shared<Mailbox<std::shared_ptr<Error>>>();
  ORVAAccountAPI::initWithOptions({})->login_completionHandler(
      Dictionary{{"passwd", "secret"}},
      [reports](const auto& /*result*/, const auto& error) { reports->put(error); });
  const auto error = reports->take();
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), NSURLErrorDomain);
  EXPECT_EQ(error->code(), NSURLErrorServerCertificateUntrusted);
  EXPECT_NE(error->localizedDescription().find(kGlobalHost), std::string::npos);
  EXPECT_EQ(server.receivedByteCount(), 0U);
}

INSTANTIATE_TEST_SUITE_P(, CertificateFaults,
                         ::testing::Values(CertificateFault::expired, CertificateFault::wrongName,
                                           CertificateFault::unknownAuthority));

}  // namespace
}  // namespace orx
