// SPDX-License-Identifier: MIT
#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <memory>

// Owners of the TLS library's objects.
namespace orx::devserver {

template <auto Free>
struct FreedBy {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

using Certificate = std::unique_ptr<X509, FreedBy<X509_free>>;
using CertificateExtension = std::unique_ptr<X509_EXTENSION, FreedBy<X509_EXTENSION_free>>;
using Key = std::unique_ptr<EVP_PKEY, FreedBy<EVP_PKEY_free>>;
using MemoryBIO = std::unique_ptr<BIO, FreedBy<BIO_free_all>>;
using TLSContext = std::unique_ptr<SSL_CTX, FreedBy<SSL_CTX_free>>;
using TLSStream = std::unique_ptr<SSL, FreedBy<SSL_free>>;

}  // namespace orx::devserver
