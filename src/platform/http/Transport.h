// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/URL.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Wiping.h"

// The seam to whatever moves the bytes. Everything above it starts its requests here and nowhere
// else. Another transport defines startTransfer(), and parsedURL() of URLParser.h, in a room of its
// own; the linker picks it.
namespace orx::platform {

// One request as it is to be sent. Only the headers that HTTP itself needs are added.
struct URLRequest {
  URL url;
  // Present, even when empty: the request is a POST. Absent: it is a GET.
  std::optional<Wiped<std::string>> httpBody{};
  // The body's media type; empty: no such header is sent. A string literal, for it is not copied.
  std::string_view contentType{};
};

// What came of a request. A complete reply, of any status, gives data and status. A transfer that
// broke off in the body gives all three, `data` holding the bytes so far. Any other failure gives
// the error alone.
struct TransferOutcome {
  std::optional<Data> data{};
  // Of the last reply, when redirects were followed; 0 when there is none.
  long statusCode = 0;
  // NSURLErrorDomain, with a description that names the stage, the host and the cause.
  std::shared_ptr<Error> error;
};

// Must not throw.
using TransferHandler = std::function<void(const TransferOutcome& outcome)>;

// Starts a transfer and returns at once; from any thread. The handler may be empty; else it is
// called once, on a background worker, never inside this call and in no order with other handlers.
// It may block, for other transfers go on meanwhile. Only when the process ends first is it neither
// called nor destroyed. Throws std::system_error when the system has not a single thread to report
// from, and std::bad_alloc without memory: nothing is sent then, and the handler is not called.
//
// A request is sent at most once: when its connection is lost after a byte has left, that is the
// outcome. A GET follows 301, 302, 303, 307 and 308 to the place that they name. A POST that is
// answered by 301, 302 or 303 goes on as a GET without a body. Any other 3xx is the reply.
void startTransfer(URLRequest request, const URLSessionConfiguration& configuration,
                   TransferHandler handler);

// Makes a connection to the URL's server ready for the next transfer of the same configuration:
// name, TCP, proxy, TLS and trust. Not a byte of a request leaves. Returns at once; from any
// thread. Does nothing while such a connection is idle, or is being prepared; one that a transfer
// is making for itself does not count. Reports nothing: what hinders it, the next transfer meets
// and reports. Throws as startTransfer() does.
void prepareConnection(const URL& url, const URLSessionConfiguration& configuration);

// The names and versions of what carries the transfers, the TLS library included: words of the form
// NAME/VERSION with a blank between them, the version "none" for what cannot be loaded. From any
// thread.
std::string transportVersions();

}  // namespace orx::platform
