#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/http/URLSession.h"
#include "platform/http/curl/ConnectionSockets.h"
#include "platform/http/curl/ProgressWatch.h"
#include "platform/http/curl/TransferHandle.h"
#include "platform/http/curl/TransferReply.h"
#include "platform/http/curl/TransportError.h"
#include "platform/queues/Job.h"
#include "platform/queues/OperationQueue.h"

namespace orx::platform {

// The arguments of a completion handler.
struct TransferOutcome {
  std::optional<Data> data;
  std::shared_ptr<HTTPURLResponse> response;
  std::shared_ptr<Error> error;
};

// What all transfers of the transfer loop have in common.
struct TransferSurroundings {
  ProgressWatch watch;
  SocketEvents events;
  ConnectionSockets sockets{events};
};

// One request on its way, with its redirects. Once submitted it is used by the transfer loop alone;
// at the end it is the job that reports, and goes to a worker.
class Transfer final : public ProgressWatch::Watched, public Job {
 public:
  // Whom it reports to.
  struct Receiver {
    URLSession::CompletionHandler handler;
    std::shared_ptr<OperationQueue> queue;  // absent: no order among the reports
  };

  Transfer(URLRequest request, std::shared_ptr<const URLSessionConfiguration> configuration,
           Receiver receiver);

  const std::shared_ptr<const URLSessionConfiguration>& configuration() const {
    return configuration_;
  }
  void* easy() const { return handle_->easy; }

  // Sets up a fresh or reset handle for any number of transfers.
  static void prepare(TransferHandle& handle, TransferSurroundings& surroundings);
  // Takes a handle for the time of the transfer and sets it up for this request. Whatever another
  // request may have left there is overwritten.
  void begin(std::unique_ptr<TransferHandle> handle, TransferSurroundings& surroundings);
  // Whose a CURL* is at the moment.
  static Transfer* servedBy(void* easy);
  // What follows when libcurl is done with the handle: true when it is to be run once more.
  bool continuesAfter(int code);
  // Keeps the outcome; `code` is libcurl's for the whole.
  void finish(int code);
  std::unique_ptr<TransferHandle> giveHandleBack();

  // Brings the outcome to its receiver, or this error.
  static void report(std::unique_ptr<Transfer> transfer);
  static void fail(std::unique_ptr<Transfer> transfer, std::shared_ptr<Error> error);

 private:
  void run() override;
  // What libcurl had done when it was last allowed to send.
  struct Sending {
    long redirects = 0;
    long bytes = 0;  // what proxies were told included
    long connections = 0;
  };

  void setRequest();
  void setBody();
  void goOnAsGET(std::string url);
  void goOnOverANewConnection();
  // Where redirects have led; absent when there were none.
  std::optional<std::string> landingPlace() const;
  TransportFailure failureOf(int code) const;
  std::shared_ptr<Error> errorOf(int code) const;

  // What libcurl calls, with a TransferHandle.
  static Transfer& of(void* handle);
  static int aboutToSend(void* handle, char* peerAddress, char* localAddress, int peerPort,
                         int localPort) noexcept;
  static int goOn(void* handle, std::int64_t bodySize, std::int64_t received, std::int64_t toSend,
                  std::int64_t sent) noexcept;
  static std::size_t readBody(char* buffer, std::size_t size, std::size_t count,
                              void* handle) noexcept;
  static int refuseToRewind(void* handle, std::int64_t offset, int origin) noexcept;
  static std::size_t receiveHeader(char* bytes, std::size_t size, std::size_t count,
                                   void* handle) noexcept;
  static std::size_t receiveBody(char* bytes, std::size_t size, std::size_t count,
                                 void* handle) noexcept;
  bool mayBeSent(const ConnectionSockets::Ends& connection);
  void noteProgress() { surroundings_->watch.noteProgress(*this); }
  template <typename Take>
  bool receive(const Take& take) noexcept;
  bool takeHeaderLine(std::string_view line);
  bool takeBody(std::string_view piece);

  URLRequest request_;
  std::shared_ptr<const URLSessionConfiguration> configuration_;
  Receiver receiver_;

  std::unique_ptr<TransferHandle> handle_;
  TransferSurroundings* surroundings_ = nullptr;
  std::size_t bodySent_ = 0;
  std::optional<std::string> redirectedTo_;  // the hop that this handle was last set up for
  long redirectsLeft_;
  bool libcurlFollows_ = false;  // redirects, by itself
  std::optional<Sending> sending_;
  bool connectionWasDead_ = false;

  TransferStage stage_ = TransferStage::connecting;
  TransferReply reply_;
  TransferOutcome outcome_;
};

}  // namespace orx::platform
