// SPDX-License-Identifier: MIT
// What a connection's TLS must hold to, towards a server and towards a proxy.
#include <devserver/OpenSSLHandles.h>
#include <gmock/gmock.h>
#include <openssl/pem.h>

#include <filesystem>
#include <fstream>

#include "support/Call.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using devserver::Certificate;
using devserver::Key;
using devserver::MemoryBIO;
using ::testing::HasSubstr;

constexpr const char* host = "one.example";

Outcome get(const URLSessionConfiguration& configuration) {
  return call(configuration, getRequest(std::string("https://") + host + '/'));
}

// Speaks TLS 1.2 at most, with these ciphers.
void restrict(const TLSTestServer& server, const char* ciphers) {
  SSL_CTX_set_max_proto_version(server.tls(), TLS1_2_VERSION);
  ASSERT_EQ(SSL_CTX_set_cipher_list(server.tls(), ciphers), 1);
}

// Gives the server another certificate of its authority: for the common name alone, or with
// alternative names as OpenSSL writes them.
void certify(const TLSTestServer& server, Key key, const char* alternativeNames) {
  const MemoryBIO memory(BIO_new_mem_buf(server.authority().certificatePEM().c_str(), -1));
  const Certificate issuer(PEM_read_bio_X509(memory.get(), nullptr, nullptr, nullptr));
  const MemoryBIO keyMemory(BIO_new_mem_buf(server.authority().privateKeyPEM().c_str(), -1));
  const Key issuersKey(PEM_read_bio_PrivateKey(keyMemory.get(), nullptr, nullptr, nullptr));
  const Certificate certificate(X509_new());
  X509* issued = certificate.get();
  X509_set_version(issued, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(issued), 2);
  X509_gmtime_adj(X509_getm_notBefore(issued), -3600);
  X509_gmtime_adj(X509_getm_notAfter(issued), 3600);
  X509_NAME_add_entry_by_NID(X509_get_subject_name(issued), NID_commonName, MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(host), -1, -1, 0);
  X509_set_issuer_name(issued, X509_get_subject_name(issuer.get()));
  X509_set_pubkey(issued, key.get());
  if (alternativeNames != nullptr) {
    const devserver::CertificateExtension extension(
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, alternativeNames));
    X509_add_ext(issued, extension.get(), -1);
  }
  ASSERT_GT(X509_sign(issued, issuersKey.get(), EVP_sha256()), 0);
  // Without the chain of the one before: the client knows the authority.
  ASSERT_EQ(SSL_CTX_clear_chain_certs(server.tls()), 1);
  ASSERT_EQ(SSL_CTX_use_certificate(server.tls(), issued), 1);
  ASSERT_EQ(SSL_CTX_use_PrivateKey(server.tls(), key.get()), 1);
}

TEST(TLSPolicy, TakesKeysThatStaySecret) {
  for (const auto* ciphers : {"ECDHE-ECDSA-AES128-GCM-SHA256", "ECDHE-ECDSA-CHACHA20-POLY1305",
                              "ECDHE-ECDSA-AES128-SHA256"}) {
    const TLSTestServer server({host}, Answer::reply(200));
    restrict(server, ciphers);
    EXPECT_EQ(get(server.configuration()).statusCode, 200) << ciphers;
  }
}

TEST(TLSPolicy, RefusesKeysThatTheServersOwnKeyGivesAway) {
  const TLSTestServer server({host}, Answer::reply(200));
  certify(server, Key(EVP_RSA_gen(2048)), "DNS:one.example");
  restrict(server, "AES256-GCM-SHA384:AES128-SHA");
  EXPECT_EQ(get(server.configuration()).errorCode(), NSURLErrorSecureConnectionFailed);
}

TEST(TLSPolicy, RefusesCBCWithSHA1) {
  const TLSTestServer server({host}, Answer::reply(200));
  restrict(server, "ECDHE-ECDSA-AES128-SHA:ECDHE-ECDSA-AES256-SHA");
  EXPECT_EQ(get(server.configuration()).errorCode(), NSURLErrorSecureConnectionFailed);
}

TEST(TLSPolicy, RefusesACertificateThatNamesItsHostInTheSubjectAlone) {
  for (const auto* names : {static_cast<const char*>(nullptr), "email:a@one.example"}) {
    const TLSTestServer server({host}, Answer::reply(200));
    certify(server, Key(EVP_EC_gen("P-256")), names);
    const Outcome outcome = get(server.configuration());
    EXPECT_EQ(outcome.errorCode(), NSURLErrorServerCertificateUntrusted);
    EXPECT_EQ(server.requests().size(), 0U);
  }
}

TEST(TLSPolicy, LogsNoKeys) {
  const TemporaryDirectory directory;
  const auto file = directory / "keys";
  setenv("SSLKEYLOGFILE", file.c_str(), 1);
  const TLSTestServer server({host}, Answer::reply(200));
  EXPECT_EQ(get(server.configuration()).statusCode, 200);
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_STREQ(getenv("SSLKEYLOGFILE"), file.c_str());
  unsetenv("SSLKEYLOGFILE");
}

// ---- Towards a proxy. One that answers has been trusted. ----

struct ProxyOverTLS {
  explicit ProxyOverTLS(CertificateFault fault = CertificateFault::none)
      : server(
            {"127.0.0.1"}, [](const TLSTestServer::Request&) { return Answer::reply(403); },
            fault) {}

  URLSessionConfiguration configuration() const {
    auto configuration = server.configurationFor({});
    configuration.setProxy("https://127.0.0.1:" + std::to_string(server.port()));
    return configuration;
  }
  bool wasAsked() const { return !server.requests().empty(); }

  TLSTestServer server;
};

TEST(TLSPolicy, TrustsAProxyAsItTrustsAServer) {
  const ProxyOverTLS proxy;
  const Outcome outcome = get(proxy.configuration());
  EXPECT_TRUE(proxy.wasAsked());
  EXPECT_NE(outcome.errorCode(), NSURLErrorServerCertificateUntrusted);
  EXPECT_THAT(outcome.error->localizedDescription(), HasSubstr(host));
}

TEST(TLSPolicy, NamesTheProxyWhoseCertificateItDoesNotTrust) {
  for (const auto fault : {CertificateFault::unknownAuthority, CertificateFault::expired,
                           CertificateFault::wrongName}) {
    const ProxyOverTLS proxy(fault);
    const Outcome outcome = get(proxy.configuration());
    EXPECT_EQ(outcome.errorCode(), NSURLErrorServerCertificateUntrusted);
    EXPECT_THAT(outcome.error->localizedDescription(),
                HasSubstr("could not trust the certificate of the proxy 127.0.0.1: "));
    EXPECT_FALSE(proxy.wasAsked());
  }
}

TEST(TLSPolicy, NamesTheServerThatIsReachedWithoutTheProxy) {
  const ProxyOverTLS proxy(CertificateFault::unknownAuthority);
  const TLSTestServer server(
      {host}, [](const auto&) { return Answer::reply(200); }, CertificateFault::unknownAuthority);
  auto configuration = server.configuration();
  configuration.setProxy(proxy.configuration().proxy());
  // The proxy first: what libcurl remembers of it must not colour the next call.
  for (const std::string exceptions : {"two.example", "one.example"}) {
    configuration.setProxyExceptions(exceptions);
    const std::string named = exceptions == host ? host : "the proxy 127.0.0.1";
    EXPECT_THAT(get(configuration).error->localizedDescription(),
                HasSubstr("could not trust the certificate of " + named + ": "));
  }
}

TEST(TLSPolicy, HoldsForAProxy) {
  const ProxyOverTLS weak;
  restrict(weak.server, "ECDHE-ECDSA-AES128-SHA");
  const Outcome outcome = get(weak.configuration());
  EXPECT_EQ(outcome.errorCode(), NSURLErrorSecureConnectionFailed);
  EXPECT_THAT(outcome.error->localizedDescription(), HasSubstr("to the proxy 127.0.0.1: "));
  EXPECT_FALSE(weak.wasAsked());
}

// What the system's own rules allow is another matter, so they are made lenient first.
TEST(TLSPolicy, WantsTLS12OfAServerAndOfAProxyWhateverTheSystemAllows) {
  const TemporaryDirectory directory;
  const auto rules = directory / "openssl.cnf";
  std::ofstream(rules) << "openssl_conf = all\n[all]\nssl_conf = tls\n[tls]\nsystem_default = any\n"
                          "[any]\nMinProtocol = TLSv1\nCipherString = ALL@SECLEVEL=0\n";
  setenv("OPENSSL_CONF", rules.c_str(), 1);
  const ProxyOverTLS proxy;
  const TLSTestServer server({host}, Answer::reply(200));
  for (ssl_ctx_st* tls : {proxy.server.tls(), server.tls()}) {
    SSL_CTX_set_min_proto_version(tls, TLS1_VERSION);
    SSL_CTX_set_max_proto_version(tls, TLS1_1_VERSION);
    ASSERT_EQ(SSL_CTX_set_cipher_list(tls, "ALL@SECLEVEL=0"), 1);
  }
  EXPECT_EQ(get(server.configuration()).errorCode(), NSURLErrorSecureConnectionFailed);
  EXPECT_EQ(get(proxy.configuration()).errorCode(), NSURLErrorSecureConnectionFailed);
  EXPECT_FALSE(proxy.wasAsked());
}

}  // namespace
}  // namespace orx::testing
