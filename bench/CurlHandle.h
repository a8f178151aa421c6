// SPDX-License-Identifier: MIT
#pragma once

#include <curl/curl.h>

#include <string>

#include "Contestant.h"

namespace orx::bench {

// A libcurl handle with the options that the call needs and no others.
class CurlHandle {
 public:
  CurlHandle(const Work& work, const std::string& caFile);
  CurlHandle(const CurlHandle&) = delete;
  CurlHandle& operator=(const CurlHandle&) = delete;
  ~CurlHandle();

  CURL* easy() const { return easy_; }
  void beginCall() { answer_.clear(); }
  // Throws unless the call gave the answer.
  void check(CURLcode code) const;

 private:
  static std::size_t receive(char* bytes, std::size_t size, std::size_t count, void* self);

  const Work& work_;
  CURL* easy_;
  curl_slist* headers_ = nullptr;
  curl_slist* connectTo_ = nullptr;
  std::string answer_;
};

}  // namespace orx::bench
