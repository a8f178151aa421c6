// SPDX-License-Identifier: MIT
#include "devserver/ControlSocket.h"

#include <chrono>
#include <stdexcept>
#include <system_error>

#include "devserver/ListeningServer.h"

namespace orx::devserver {
namespace {

// Runs what was asked for; what is wrong with the text that came is said in the answer.
template <typename Action>
void answer(httplib::Response& response, Action action) {
  try {
    action();
    response.status = 204;
  } catch (const std::invalid_argument& problem) {
    response.status = 400;
    response.set_content(std::string(problem.what()) + "\n", "text/plain; charset=utf-8");
  } catch (const std::runtime_error& problem) {
    response.status = 500;
    response.set_content(std::string(problem.what()) + "\n", "text/plain; charset=utf-8");
  }
}

// The library itself refuses more than 8 KiB of what curl calls a form, whatever is in it.
std::string textOf(const httplib::ContentReader& body) {
  std::string text;
  const bool whole = body([&text](const char* bytes, std::size_t count) {
    text.append(bytes, count);
    return true;
  });
  if (!whole) throw std::invalid_argument("the text is cut off, or longer than 4 MiB");
  return text;
}

std::string linesOf(const std::vector<RequestLog::Request>& requests) {
  std::string lines;
  for (const auto& request : requests) lines += RequestLog::jsonLine(request) + "\n";
  return lines;
}

}  // namespace

class ControlSocket::Server : public ListeningServer {
 public:
  explicit Server(Router& router) {
    using Asked = const httplib::Request&;
    using Answer = httplib::Response&;
    using Body = const httplib::ContentReader&;
    new_task_queue = [] { return new httplib::ThreadPool(1); };
    // One caller at a time: a connection that is kept or silent would hold up the next.
    set_keep_alive_max_count(1);
    set_read_timeout(std::chrono::seconds(1));
    set_payload_max_length(std::size_t{4} << 20);
    Put("/faults", [&router](Asked, Answer to, Body body) {
      answer(to, [&] { router.setFaults(textOf(body)); });
    });
    Delete("/faults", [&router](Asked, Answer to) { answer(to, [&] { router.setFaults("[]"); }); });
    Post("/accounts", [&router](Asked, Answer to, Body body) {
      answer(to, [&] { router.addAccounts(textOf(body)); });
    });
    Post("/reset", [&router](Asked, Answer to) { answer(to, [&] { router.reset(); }); });
    Get("/requests", [&router](Asked, Answer to) {
      to.set_content(linesOf(router.log().requests()), "application/jsonl");
    });
  }
  ~Server() override { finish(); }
};

ControlSocket::ControlSocket(const std::filesystem::path& path, Router& router)
    : path_(std::filesystem::absolute(path)), server_(std::make_unique<Server>(router)) {
  server_->serve(ListeningSocket::atPath(path));
}

ControlSocket::~ControlSocket() {
  server_.reset();
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
}

}  // namespace orx::devserver
