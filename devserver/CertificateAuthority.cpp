// SPDX-License-Identifier: MIT
#include "CertificateAuthority.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>

#include <array>
#include <ctime>
#include <stdexcept>
#include <utility>

#include "devserver/OpenSSLHandles.h"

namespace orx::devserver {
namespace {

[[noreturn]] void fail(const std::string& what) {
  std::array<char, 256> reason{};
  ERR_error_string_n(ERR_get_error(), reason.data(), reason.size());
  ERR_clear_error();
  throw std::runtime_error("certificate authority: " + what + ": " + reason.data());
}

void require(bool done, const char* what) {
  if (!done) fail(what);
}

std::string contents(BIO* memory) {
  char* bytes = nullptr;
  const long length = BIO_get_mem_data(memory, &bytes);
  return {bytes, static_cast<std::size_t>(length)};
}

std::string pem(X509* certificate) {
  const MemoryBIO memory(BIO_new(BIO_s_mem()));
  require(PEM_write_bio_X509(memory.get(), certificate) == 1, "cannot write a certificate");
  return contents(memory.get());
}

std::string pem(EVP_PKEY* key) {
  const MemoryBIO memory(BIO_new(BIO_s_mem()));
  require(
      PEM_write_bio_PKCS8PrivateKey(memory.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1,
      "cannot write a key");
  return contents(memory.get());
}

Key generateKey() {
  Key key(EVP_EC_gen("P-256"));
  require(key != nullptr, "cannot make a key");
  return key;
}

void addExtension(X509* certificate, X509* issuer, int name, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const CertificateExtension extension(X509V3_EXT_conf_nid(nullptr, &context, name, value.c_str()));
  require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1,
          "cannot add an extension");
}

void setRandomSerialNumber(X509* certificate) {
  std::array<unsigned char, 16> bytes{};
  require(RAND_bytes(bytes.data(), bytes.size()) == 1, "no random bytes");
  bytes[0] &= 0x7F;  // a serial number is positive
  BIGNUM* number = BN_bin2bn(bytes.data(), bytes.size(), nullptr);
  BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate));
  BN_free(number);
}

// A certificate that still lacks its issuer, its extensions and its signature.
Certificate draft(EVP_PKEY* key, const std::string& commonName,
                  CertificateAuthority::Validity validity) {
  Certificate certificate(X509_new());
  require(certificate != nullptr, "cannot make a certificate");
  X509_set_version(certificate.get(), X509_VERSION_3);
  setRandomSerialNumber(certificate.get());
  using std::chrono::seconds;
  const std::time_t now = std::time(nullptr);
  X509_time_adj_ex(X509_getm_notBefore(certificate.get()), 0, seconds(validity.from).count(),
                   const_cast<std::time_t*>(&now));
  X509_time_adj_ex(X509_getm_notAfter(certificate.get()), 0, seconds(validity.until).count(),
                   const_cast<std::time_t*>(&now));
  // A common name holds at most 64 characters. Clients check the alternative names only.
  const std::string name = commonName.substr(0, 64);
  X509_NAME_add_entry_by_NID(X509_get_subject_name(certificate.get()), NID_commonName,
                             MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(name.data()),
                             static_cast<int>(name.size()), -1, 0);
  require(X509_set_pubkey(certificate.get(), key) == 1, "cannot set a key");
  return certificate;
}

void sign(X509* certificate, EVP_PKEY* key) {
  require(X509_sign(certificate, key, EVP_sha256()) > 0, "cannot sign");
}

bool isAddress(const std::string& name) {
  std::array<unsigned char, 16> address{};
  return inet_pton(AF_INET, name.c_str(), address.data()) == 1 ||
         inet_pton(AF_INET6, name.c_str(), address.data()) == 1;
}

std::string alternativeNames(const std::vector<std::string>& names) {
  std::string value;
  for (const auto& name : names) {
    if (!value.empty()) value += ',';
    value += (isAddress(name) ? "IP:" : "DNS:") + name;
  }
  return value;
}

}  // namespace

struct CertificateAuthority::State {
  Certificate certificate;
  Key key;
  std::string certificatePEM;
  std::string privateKeyPEM;
};

CertificateAuthority::CertificateAuthority() : state_(std::make_unique<State>()) {}
CertificateAuthority::~CertificateAuthority() = default;
CertificateAuthority::CertificateAuthority(CertificateAuthority&&) noexcept = default;
CertificateAuthority& CertificateAuthority::operator=(CertificateAuthority&&) noexcept = default;

CertificateAuthority CertificateAuthority::generate() {
  CertificateAuthority authority;
  State& state = *authority.state_;
  state.key = generateKey();
  state.certificate = draft(state.key.get(), "ORXAccount development CA", Validity{});
  X509* self = state.certificate.get();
  X509_set_issuer_name(self, X509_get_subject_name(self));
  addExtension(self, self, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
  addExtension(self, self, NID_key_usage, "critical,keyCertSign,cRLSign");
  addExtension(self, self, NID_subject_key_identifier, "hash");
  sign(self, state.key.get());
  state.certificatePEM = pem(self);
  state.privateKeyPEM = pem(state.key.get());
  return authority;
}

CertificateAuthority CertificateAuthority::fromPEM(const std::string& certificatePEM,
                                                   const std::string& privateKeyPEM) {
  CertificateAuthority authority;
  State& state = *authority.state_;
  const MemoryBIO certificate(
      BIO_new_mem_buf(certificatePEM.data(), static_cast<int>(certificatePEM.size())));
  state.certificate.reset(PEM_read_bio_X509(certificate.get(), nullptr, nullptr, nullptr));
  require(state.certificate != nullptr, "not a certificate");
  const MemoryBIO key(
      BIO_new_mem_buf(privateKeyPEM.data(), static_cast<int>(privateKeyPEM.size())));
  // The empty pass phrase keeps OpenSSL from asking for one on the terminal.
  state.key.reset(PEM_read_bio_PrivateKey(key.get(), nullptr, nullptr, const_cast<char*>("")));
  require(state.key != nullptr, "not a private key");
  require(X509_check_private_key(state.certificate.get(), state.key.get()) == 1,
          "the key is not the certificate's");
  state.certificatePEM = certificatePEM;
  state.privateKeyPEM = privateKeyPEM;
  return authority;
}

const std::string& CertificateAuthority::certificatePEM() const { return state_->certificatePEM; }

const std::string& CertificateAuthority::privateKeyPEM() const { return state_->privateKeyPEM; }

ServerCertificate CertificateAuthority::issue(const std::vector<std::string>& names,
                                              Validity validity) const {
  if (names.empty()) throw std::runtime_error("certificate authority: no name to certify");
  const Key key = generateKey();
  const Certificate certificate = draft(key.get(), names.front(), validity);
  X509* issued = certificate.get();
  X509* issuer = state_->certificate.get();
  X509_set_issuer_name(issued, X509_get_subject_name(issuer));
  addExtension(issued, issuer, NID_basic_constraints, "critical,CA:FALSE");
  addExtension(issued, issuer, NID_key_usage, "critical,digitalSignature");
  addExtension(issued, issuer, NID_ext_key_usage, "serverAuth");
  addExtension(issued, issuer, NID_subject_key_identifier, "hash");
  addExtension(issued, issuer, NID_authority_key_identifier, "keyid");
  addExtension(issued, issuer, NID_subject_alt_name, alternativeNames(names));
  sign(issued, state_->key.get());
  return {pem(issued) + state_->certificatePEM, pem(key.get())};
}

}  // namespace orx::devserver
