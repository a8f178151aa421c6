// SPDX-License-Identifier: MIT
#pragma once

#include <devserver/OpenSSLHandles.h>
#include <openssl/pem.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace orx::testing {

// Puts a certificate into a directory, under the name by which OpenSSL looks for it there.
inline void putHashed(const std::filesystem::path& directory, const std::string& pem) {
  const devserver::MemoryBIO memory(BIO_new_mem_buf(pem.c_str(), -1));
  const devserver::Certificate certificate(
      PEM_read_bio_X509(memory.get(), nullptr, nullptr, nullptr));
  std::array<char, 16> name{};
  snprintf(name.data(), name.size(), "%08lx.0", X509_subject_name_hash(certificate.get()));
  std::filesystem::create_directory(directory);
  std::ofstream(directory / name.data()) << pem;
}

}  // namespace orx::testing
