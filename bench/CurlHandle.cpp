// SPDX-License-Identifier: MIT
#include "CurlHandle.h"

#include <stdexcept>

namespace orx::bench {

CurlHandle::CurlHandle(const Work& work, const std::string& caFile)
    : work_(work), easy_(curl_easy_init()) {
  headers_ = curl_slist_append(headers_, ("Content-Type: " + work.contentType).c_str());
  headers_ = curl_slist_append(headers_, "Expect:");
  const std::string address = "::127.0.0.1:" + std::to_string(work.port);
  connectTo_ = curl_slist_append(connectTo_, (work.host + address).c_str());

  curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy_, CURLOPT_PRIVATE, this);
  curl_easy_setopt(easy_, CURLOPT_URL, ("https://" + work.host + work.path).c_str());
  curl_easy_setopt(easy_, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy_, CURLOPT_CONNECT_TO, connectTo_);
  curl_easy_setopt(easy_, CURLOPT_CAINFO, caFile.c_str());
  curl_easy_setopt(easy_, CURLOPT_CAPATH, nullptr);
  curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headers_);
  curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, work.body.c_str());
  curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE, static_cast<long>(work.body.size()));
  curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &CurlHandle::receive);
  curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
}

CurlHandle::~CurlHandle() {
  curl_easy_cleanup(easy_);
  curl_slist_free_all(headers_);
  curl_slist_free_all(connectTo_);
}

std::size_t CurlHandle::receive(char* bytes, std::size_t size, std::size_t count, void* self) {
  static_cast<CurlHandle*>(self)->answer_.append(bytes, size * count);
  return size * count;
}

void CurlHandle::check(CURLcode code) const {
  if (code != CURLE_OK) throw std::runtime_error(curl_easy_strerror(code));
  if (answer_ != work_.answer) throw std::runtime_error("libcurl: a foreign answer");
}

}  // namespace orx::bench
