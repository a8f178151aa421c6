// SPDX-License-Identifier: MIT
#include "devserver/ServiceClient.h"

#include <curl/curl.h>
#include <poll.h>

#include <memory>
#include <stdexcept>

namespace orx::testing {
namespace {

struct CurlDeleter {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Handle = std::unique_ptr<CURL, CurlDeleter>;
using List = std::unique_ptr<curl_slist, CurlDeleter>;

std::size_t takeBody(char* bytes, std::size_t, std::size_t count, void* reply) {
  static_cast<Reply*>(reply)->body.append(bytes, count);
  return count;
}

std::size_t takeHeader(char* bytes, std::size_t, std::size_t count, void* reply) {
  const std::string line(bytes, count);
  const std::size_t colon = line.find(": ");
  if (colon != std::string::npos) {
    std::string name = line.substr(0, colon);
    for (char& c : name) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    static_cast<Reply*>(reply)->headers[name] = line.substr(colon + 2, count - colon - 4);
  }
  return count;
}

std::string envelopeWithHeader(const std::string& prefix, const std::string& space,
                               const Credentials& credentials, const std::string& apiID,
                               const std::string& parameters) {
  const std::string service = R"( xmlns="https://account.orva.example/")";
  return R"(<?xml version="1.0" encoding="utf-8"?><)" + prefix +
         R"(:Envelope xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")" +
         R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema" xmlns:)" + prefix + "=\"" + space +
         "\">  <" + prefix + ":Header>    <AuthHeader" + service + "><AppID>" + credentials.appID +
         "</AppID><AppKey>" + credentials.appKey + "</AppKey></AuthHeader></" + prefix +
         ":Header>  <" + prefix + ":Body><call" + service + "><ApiID>" + apiID +
         "</ApiID><Parameters>" + parameters + "</Parameters></call></" + prefix + ":Body></" +
         prefix + ":Envelope>";
}

// Sets the options of every transfer. libcurl keeps a pointer to `connectTo`, which must outlive
// the transfer.
void configure(CURL* curl, const std::string& authority, curl_slist* connectTo, Reply& reply) {
  curl_blob blob{const_cast<char*>(authority.data()), authority.size(), CURL_BLOB_COPY};
  curl_easy_setopt(curl, CURLOPT_CAINFO_BLOB, &blob);
  curl_easy_setopt(curl, CURLOPT_CONNECT_TO, connectTo);
  curl_easy_setopt(curl, CURLOPT_PROXY, "");
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, 60L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, takeBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, takeHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &reply);
}

List connectToPort(int port) {
  return List(curl_slist_append(nullptr, ("::127.0.0.1:" + std::to_string(port)).c_str()));
}

Handle makeHandle() {
  Handle handle(curl_easy_init());
  if (!handle) throw std::runtime_error("no libcurl handle");
  return handle;
}

void ask(CURL* curl, const std::string& method, const std::string& url, const std::string& body,
         curl_slist* headers) {
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  if (method == "HEAD") curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
  if (method != "GET" && method != "HEAD") {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  }
}

}  // namespace

std::string Reply::element(const std::string& name) const {
  const std::size_t start = body.find("<" + name + ">");
  const std::size_t end = body.find("</" + name + ">", start);
  if (start == std::string::npos || end == std::string::npos) return {};
  return body.substr(start + name.size() + 2, end - start - name.size() - 2);
}

Reply ServiceClient::send(const std::string& method, const std::string& url,
                          const std::string& body, const std::string& contentType) const {
  const Handle handle = makeHandle();
  CURL* curl = handle.get();
  Reply reply;
  const List connectTo = connectToPort(port_);
  const List headers(curl_slist_append(nullptr, ("Content-Type: " + contentType).c_str()));
  configure(curl, caCertificate_, connectTo.get(), reply);
  ask(curl, method, url, body, headers.get());
  reply.transport = curl_easy_perform(curl);
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &reply.status);
  reply.contentType = reply.headers["content-type"];
  return reply;
}

Reply overSocket(const std::filesystem::path& socket, const std::string& method,
                 const std::string& url, const std::string& body) {
  const Handle handle = makeHandle();
  Reply reply;
  configure(handle.get(), "", nullptr, reply);
  curl_easy_setopt(handle.get(), CURLOPT_UNIX_SOCKET_PATH, socket.c_str());
  ask(handle.get(), method, url, body, nullptr);
  reply.transport = curl_easy_perform(handle.get());
  curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &reply.status);
  return reply;
}

std::string ServiceClient::exchange(const std::string& request) const {
  const Handle handle = makeHandle();
  Reply reply;
  const List connectTo = connectToPort(port_);
  configure(handle.get(), caCertificate_, connectTo.get(), reply);
  curl_easy_setopt(handle.get(), CURLOPT_URL, globalURL("/").c_str());
  curl_easy_setopt(handle.get(), CURLOPT_CONNECT_ONLY, 1L);
  if (curl_easy_perform(handle.get()) != CURLE_OK) throw std::runtime_error("no connection");
  curl_socket_t socket = CURL_SOCKET_BAD;
  curl_easy_getinfo(handle.get(), CURLINFO_ACTIVESOCKET, &socket);
  const auto await = [&](CURLcode code, short events) {
    pollfd entry{socket, events, 0};
    return code == CURLE_OK || (code == CURLE_AGAIN && poll(&entry, 1, -1) > 0);
  };
  std::size_t count = 0;
  for (std::size_t sent = 0; sent < request.size(); sent += count) {
    count = 0;
    const auto code =
        curl_easy_send(handle.get(), request.data() + sent, request.size() - sent, &count);
    if (!await(code, POLLOUT)) break;
  }
  std::string answer;
  char bytes[4096];
  for (bool more = true; more; answer.append(bytes, count)) {
    count = 0;
    const auto code = curl_easy_recv(handle.get(), bytes, sizeof bytes, &count);
    more = await(code, POLLIN) && (code == CURLE_AGAIN || count > 0);
  }
  return answer;
}

long ServiceClient::connectionsFor(const std::string& url, int count) const {
  const Handle handle = makeHandle();
  Reply reply;
  const List connectTo = connectToPort(port_);
  configure(handle.get(), caCertificate_, connectTo.get(), reply);
  curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
  long all = 0;
  for (int i = 0; i < count; ++i) {
    long opened = 0;
    if (curl_easy_perform(handle.get()) != CURLE_OK) return -1;
    curl_easy_getinfo(handle.get(), CURLINFO_NUM_CONNECTS, &opened);
    all += opened;
  }
  return all;
}

Reply ServiceClient::call(const std::string& apiID, const std::string& parameters,
                          const Credentials& credentials) const {
  const bool customerInfo = apiID.starts_with("w");
  if (customerInfo) {
    return post(globalURL("/ws/lumcusinfo.asmx"), paraJsonEnvelope(credentials, apiID, parameters),
                "text/xml; charset=utf-8");
  }
  return post(globalURL("/ws/OrvaService.asmx"),
              apiID == "sso0000004" ? soap12Envelope(credentials, apiID, parameters)
                                    : soap11HeaderEnvelope(credentials, apiID, parameters),
              "text/xml; charset=utf-8");
}

std::string globalURL(const std::string& path) { return "https://" ORX_TEST_GLOBAL_HOST + path; }

std::string chinaURL(const std::string& path) { return "https://" ORX_TEST_CHINA_HOST + path; }

std::string paraJsonEnvelope(const Credentials& credentials, const std::string& apiID,
                             const std::string& parameters) {
  return R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope)"
         R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
         R"( xmlns:xsd="http://www.w3.org/2001 XMLSchema")"
         R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body>)"
         R"(<call xmlns="https://account.orva.example/"><AppID>)" +
         credentials.appID + "</AppID><AppKey>" + credentials.appKey + "</AppKey><ApiID>" + apiID +
         "</ApiID><ParaJson>" + parameters + "</ParaJson></call></soap:Body></soap:Envelope>";
}

std::string soap11HeaderEnvelope(const Credentials& credentials, const std::string& apiID,
                                 const std::string& parameters) {
  return envelopeWithHeader("soap", "http://schemas.xmlsoap.org/soap/envelope/", credentials, apiID,
                            parameters);
}

std::string soap12Envelope(const Credentials& credentials, const std::string& apiID,
                           const std::string& parameters) {
  return envelopeWithHeader("soap12", "http://www.w3.org/2003/05/soap-envelope", credentials, apiID,
                            parameters);
}

std::string ticketIn(const std::string& answer) {
  for (const std::string marker : {R"("ticket":")", R"("Ticket":")"}) {
    const std::size_t start = answer.find(marker);
    if (start == std::string::npos) continue;
    const std::size_t from = start + marker.size();
    return answer.substr(from, answer.find('"', from) - from);
  }
  return {};
}

std::string ticketOfNewAccount(const ServiceClient& client, const std::string& login) {
  const std::string parameters = R"({"login":")" + login + R"(","passwd":"correct horse"})";
  client.call("w000000012", parameters);
  return ticketIn(client.call("w000000011", parameters).body);
}

}  // namespace orx::testing
