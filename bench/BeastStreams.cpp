// SPDX-License-Identifier: MIT
#include <algorithm>
#include <boost/asio/connect.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <deque>
#include <stdexcept>

#include "Contestant.h"
#include "Measure.h"

namespace orx::bench {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;

// How many calls of one run are still to be started, and the times of those that have ended.
struct Run {
  std::size_t toStart;
  std::vector<double> times;
};

// A connection that stays open and carries one call at a time.
class Stream {
 public:
  Stream(asio::io_context& loop, asio::ssl::context& tls, const Work& work)
      : work_(work), stream_(loop, tls) {
    beast::get_lowest_layer(stream_).connect({asio::ip::address_v4::loopback(), work.port});
    beast::get_lowest_layer(stream_).socket().set_option(tcp::no_delay(true));
    stream_.set_verify_callback(asio::ssl::host_name_verification(work.host));
    SSL_set_tlsext_host_name(stream_.native_handle(), work.host.c_str());
    stream_.handshake(asio::ssl::stream_base::client);
  }

  void start(Run& run) {
    --run.toStart;
    begin_ = Clock::now();
    request_ = {http::verb::post, work_.path, 11};
    request_.set(http::field::host, work_.host);
    request_.set(http::field::content_type, work_.contentType);
    request_.body() = work_.body;
    request_.prepare_payload();
    http::async_write(stream_, request_, [this, &run](beast::error_code error, std::size_t) {
      if (error) throw beast::system_error(error);
      receive(run);
    });
  }

 private:
  void receive(Run& run) {
    reply_ = {};
    http::async_read(stream_, buffer_, reply_, [this, &run](beast::error_code error, std::size_t) {
      if (error) throw beast::system_error(error);
      if (reply_.body() != work_.answer) throw std::runtime_error("Beast: a foreign answer");
      run.times.push_back(microsecondsSince(begin_));
      if (run.toStart > 0) start(run);
    });
  }

  const Work& work_;
  beast::ssl_stream<beast::tcp_stream> stream_;
  beast::flat_buffer buffer_;
  http::request<http::string_body> request_;
  http::response<http::string_body> reply_;
  Clock::time_point begin_;
};

class KeptBeastStreams final : public Contestant {
 public:
  explicit KeptBeastStreams(const Work& work) : work_(work) {
    tls_.set_verify_mode(asio::ssl::verify_peer);
    tls_.load_verify_file(work.caFile);
  }

  std::vector<double> run(std::size_t inFlight, std::size_t calls) override {
    while (streams_.size() < inFlight) streams_.emplace_back(loop_, tls_, work_);
    Run current{calls, {}};
    current.times.reserve(calls);
    for (std::size_t index = 0; index < std::min(inFlight, calls); ++index) {
      streams_[index].start(current);
    }
    loop_.restart();
    loop_.run();
    return std::move(current.times);
  }

 private:
  const Work& work_;
  asio::io_context loop_{1};
  asio::ssl::context tls_{asio::ssl::context::tls_client};
  std::deque<Stream> streams_;
};

}  // namespace

std::unique_ptr<Contestant> keptBeastStreams(const Work& work) {
  return std::make_unique<KeptBeastStreams>(work);
}

}  // namespace orx::bench
