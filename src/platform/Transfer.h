#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/ConnectionSockets.h"
#include "platform/ProgressWatch.h"
#include "platform/TransferHeader.h"
#include "platform/TransferOptions.h"
#include "platform/TransportError.h"
#include "platform/URLSession.h"

namespace orx {

// The arguments of a completion handler.
struct TransferOutcome {
  std::optional<Data> data;
  std::shared_ptr<HTTPURLResponse> response;
  std::shared_ptr<Error> error;

  static TransferOutcome failure(std::shared_ptr<Error> error) {
    return {std::nullopt, nullptr, std::move(error)};
  }
};

// What all transfers of the transfer loop have in common.
struct TransferSurroundings {
  ProgressWatch watch;
  SocketEvents events;
  ConnectionSockets sockets{events};
};

// One request on its way, with its redirects. Used by the transfer loop alone once submitted.
class Transfer : public ProgressWatch::Watched {
 public:
  // Called once, on the worker that runs the transfer loop, which it must not hold up.
  using Completion = std::function<void(TransferOutcome outcome)>;

  Transfer(URLRequest request, std::shared_ptr<const URLSessionConfiguration> configuration,
           Completion completion);
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  const std::shared_ptr<const URLSessionConfiguration>& configuration() const {
    return configuration_;
  }
  void* easy() const { return easy_; }
  const std::shared_ptr<const TransferOptions>& options() const { return options_; }

  // Sets up a fresh or reset libcurl handle for any number of transfers.
  static void prepare(void* easy, TransferSurroundings& surroundings);
  // Sets up a libcurl handle, prepared and with the options set, for this request. Whatever another
  // request may have left there is overwritten.
  void begin(void* easy, std::shared_ptr<const TransferOptions> options,
             TransferSurroundings& surroundings);
  // What follows when libcurl is done with the handle: true when it is to be run once more.
  bool continuesAfter(int code);
  // Reports; `code` is libcurl's for the whole.
  void finish(int code);
  void fail(std::shared_ptr<Error> error);

 private:
  enum class Excess { none, header, body, memory };

  void setRequest();
  void setBody();
  void receiveCallbacks();
  void forgetReply();
  void goOnAsGET(std::string url);
  const std::string& url() const {
    return redirectedTo_ ? *redirectedTo_ : request_.url.absoluteString();
  }
  bool isFollowedRedirect() const;
  TransportFailure failureOf(int code) const;
  std::shared_ptr<Error> errorOf(int code) const;
  std::string currentURL() const;

  static int aboutToSend(void* self, char* peerAddress, char* localAddress, int peerPort,
                         int localPort) noexcept;
  static int goOn(void* self, std::int64_t bodySize, std::int64_t received, std::int64_t toSend,
                  std::int64_t sent) noexcept;
  static std::size_t readBody(char* buffer, std::size_t size, std::size_t count,
                              void* self) noexcept;
  static int refuseToRewind(void* self, std::int64_t offset, int origin) noexcept;
  static std::size_t receiveHeader(char* bytes, std::size_t size, std::size_t count,
                                   void* self) noexcept;
  static std::size_t receiveBody(char* bytes, std::size_t size, std::size_t count,
                                 void* self) noexcept;
  bool mayBeSent(const ConnectionSockets::Ends& connection);
  void noteProgress() { surroundings_->watch.noteProgress(*this); }
  template <typename Take>
  bool receive(const Take& take) noexcept;
  bool takeBody(std::string_view piece);
  bool takeHeaderLine(std::string_view line);
  bool takeEndOfHead();

  URLRequest request_;
  std::shared_ptr<const URLSessionConfiguration> configuration_;
  Completion completion_;

  void* easy_ = nullptr;
  std::shared_ptr<const TransferOptions> options_;
  TransferSurroundings* surroundings_ = nullptr;
  TransferHeader header_;
  std::size_t bodySent_ = 0;
  std::optional<std::string> redirectedTo_;  // the hop that this handle was last set up for
  long redirectsLeft_;
  bool connectionWasDead_ = false;

  TransferStage stage_ = TransferStage::connecting;
  Excess excess_ = Excess::none;
  std::size_t headerSize_ = 0;
  long statusCode_ = 0;
  bool headIsComplete_ = false;
  bool endsWithUnassignedInterim_ = false;
  std::vector<std::pair<std::string, std::string>> headerFields_;
  std::vector<std::uint8_t> body_;
  std::array<char, 256> errorText_{};
};

}  // namespace orx
