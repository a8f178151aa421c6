#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/http/URLSession.h"

struct curl_slist;

namespace orx::platform {

// The header lines of a request in libcurl's form, kept for the next one: that mostly has the same.
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
  void make();

  // What the lines say.
  std::string method_;
  std::shared_ptr<const HeaderFields> fields_;

  std::vector<std::string> lines_;
  std::vector<curl_slist> list_;
};

}  // namespace orx::platform
