// SPDX-License-Identifier: MIT
#include "devserver/RequestLog.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <sstream>
#include <stdexcept>

#include "devserver/JSONText.h"

namespace orx::devserver {
namespace {

constexpr std::size_t kLatest = 1000;

std::string utcTime(std::chrono::system_clock::time_point time) {
  const auto whole = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch());
  const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(whole).count();
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char date[32] = "";
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
  char text[48] = "";
  std::snprintf(text, sizeof text, "%s.%03dZ", date, static_cast<int>(whole.count() % 1000));
  return text;
}

std::size_t valueIn(const std::map<std::string, std::size_t>& counts, const std::string& key) {
  const auto found = counts.find(key);
  return found == counts.end() ? 0 : found->second;
}

}  // namespace

RequestLog::RequestLog(const std::filesystem::path& file) {
  if (file.empty()) return;
  // O_NONBLOCK: opening a FIFO would otherwise wait for somebody at its other end.
  file_ = file == "-"
              ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
              : open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC, 0600);
  if (file_ >= 0) return;
  throw std::runtime_error("cannot write " + file.string() + ": " + std::strerror(errno));
}

RequestLog::~RequestLog() {
  if (file_ >= 0) close(file_);
}

void RequestLog::countArrived(const std::string& operation, const std::string& host) {
  const std::lock_guard lock(mutex_);
  ++counts_[operation];
  ++hostCounts_[host];
}

void RequestLog::addAnswered(Request request) {
  const std::lock_guard lock(mutex_);
  if (file_ >= 0) write(jsonLine(request) + "\n");
  latest_.push_back(std::move(request));
  if (latest_.size() > kLatest) latest_.pop_front();
}

// A pipe that nobody reads would otherwise hold up every answer, and the end of the service. One
// that is ready takes a whole line, because lines are shorter than PIPE_BUF: the router cuts what
// clients write, and each byte becomes six at most.
void RequestLog::write(const std::string& line) const {
  pollfd entry{file_, POLLOUT, 0};
  if (poll(&entry, 1, 1000) > 0) (void)!::write(file_, line.data(), line.size());
}

void RequestLog::clear() {
  const std::lock_guard lock(mutex_);
  latest_.clear();
  counts_.clear();
  hostCounts_.clear();
}

std::vector<RequestLog::Request> RequestLog::requests() const {
  const std::lock_guard lock(mutex_);
  return {latest_.begin(), latest_.end()};
}

std::size_t RequestLog::countOf(const std::string& operation) const {
  const std::lock_guard lock(mutex_);
  return valueIn(counts_, operation);
}

std::size_t RequestLog::countOfHost(const std::string& host) const {
  const std::lock_guard lock(mutex_);
  return valueIn(hostCounts_, host);
}

std::string RequestLog::jsonLine(const Request& request) {
  std::ostringstream line;
  line << R"({"time":")" << utcTime(request.time) << R"(","host":)" << jsonString(request.host)
       << R"(,"method":)" << jsonString(request.method) << R"(,"operation":)"
       << jsonString(request.operation) << R"(,"status":)" << request.status << R"(,"resultCode":)"
       << jsonString(request.resultCode) << R"(,"fault":)" << (request.fault ? "true" : "false")
       << "}";
  return line.str();
}

}  // namespace orx::devserver
