#pragma once

#include <string>
#include <vector>

#include "platform/URLSession.h"

struct curl_slist;

namespace orx {

// The header lines of one request in libcurl's form.
class TransferHeader {
 public:
  TransferHeader();
  ~TransferHeader();
  TransferHeader(const TransferHeader&) = delete;
  TransferHeader& operator=(const TransferHeader&) = delete;

  // The request's fields, and what keeps libcurl from adding any that HTTP does not need. Valid
  // until the next call.
  curl_slist* listFor(const URLRequest& request);

 private:
  std::vector<std::string> lines_;
  std::vector<curl_slist> list_;
};

}  // namespace orx
