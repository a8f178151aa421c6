// SPDX-License-Identifier: MIT
// What `./dev bench --instructions` runs under a tool that counts: one thing, many times, and next
// to nothing beside it. The server is a process of its own, which the tool does not count.
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <map>
#include <stdexcept>

#include "BenchServer.h"
#include "LibraryCalls.h"
#include "Samples.h"
#include "Scenarios.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "user/ArchivedClasses.h"

namespace orx::bench {

using namespace platform;

void serve(const Settings&) {
  const BenchServer server;
  std::printf("{\"port\":%u,\"ca\":\"%s\"}\n", unsigned{server.work().port},
              server.work().caFile.c_str());
  std::fflush(stdout);
  // Until whoever started it closes its end.
  char byte = 0;
  while (read(STDIN_FILENO, &byte, 1) > 0) continue;
}

void repeat(const Settings& settings) {
  const auto times = static_cast<std::size_t>(settings.number("times", 1));
  const std::string what = settings.text("what");
  const auto inFlight = static_cast<std::size_t>(settings.number("inflight", 1));
  if (what == "call") {
    reachServer(settings);
    makeLibraryCalls(commonCall(), inFlight, times);
    return;
  }
  if (what == "libcurl" || what == "beast") {
    const Work work =
        workAt(static_cast<std::uint16_t>(settings.number("port", 0)), settings.text("ca"));
    (what == "beast" ? keptBeastStreams(work) : keptCurlHandlesOverEpoll(work))
        ->run(inFlight, times);
    return;
  }
  user::registerArchivedClasses();
  const std::string small = soapAnswer();
  const std::string large = answerWith(listOfRecords(100'000));
  const Value user = users(1);
  const Data archive = archivedDataWithRootObject(user);
  const std::map<std::string, std::function<void()>> actions{
      {"small", [&] { readAnswer(small); }},
      {"large", [&] { readAnswer(large); }},
      {"archive", [&] { archivedDataWithRootObject(user); }},
      {"unarchive", [&] { unarchiveObjectWithData(archive); }}};
  const auto action = actions.find(what);
  if (action == actions.end()) throw std::runtime_error("repeat what?");
  for (std::size_t time = 0; time < times; ++time) action->second();
}

}  // namespace orx::bench
