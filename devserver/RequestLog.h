// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/DevelopmentService.h>

#include <cstddef>
#include <deque>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace orx::devserver {

// What has been asked of the service. Any thread may call.
class RequestLog {
 public:
  using Request = DevelopmentService::Request;

  // Appends a line for each answer to the file; "-" is the standard output, an empty path nothing.
  // Throws std::runtime_error when the file cannot be had.
  explicit RequestLog(const std::filesystem::path& file);
  RequestLog(const RequestLog&) = delete;
  RequestLog& operator=(const RequestLog&) = delete;
  ~RequestLog();

  void countArrived(const std::string& operation, const std::string& host);
  // A line that the reader of a pipe leaves no room for within a second is dropped.
  void addAnswered(Request request);
  // The file keeps what it holds.
  void clear();

  std::vector<Request> requests() const;
  std::size_t countOf(const std::string& operation) const;
  std::size_t countOfHost(const std::string& host) const;

  static std::string jsonLine(const Request& request);

 private:
  void write(const std::string& line) const;

  int file_ = -1;
  mutable std::mutex mutex_;
  std::deque<Request> latest_;
  std::map<std::string, std::size_t> counts_;
  std::map<std::string, std::size_t> hostCounts_;
};

}  // namespace orx::devserver
