// SPDX-License-Identifier: MIT
#include <malloc.h>
#include <plist/plist.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "BenchServer.h"
#include "Measure.h"
#include "Samples.h"
#include "Scenarios.h"
#include "oracles/JSONOracle.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "user/ArchivedClasses.h"

namespace orx::bench {

using namespace platform;
namespace {

// Measures processor time, so that other programs on the machine do not count.
template <typename Action>
double medianTime(long rounds, long repetitions, Action action) {
  std::vector<double> times;
  for (long round = 0; round < rounds; ++round) {
    const double begin = processorTime();
    for (long repetition = 0; repetition < repetitions; ++repetition) action();
    times.push_back((processorTime() - begin) / static_cast<double>(repetitions));
  }
  return median(times);
}

// Says whether the allocator keeps freed memory. When it does not, the system maps and clears new
// pages for each large answer.
void keepMemory(bool keep) {
  constexpr int least = 128 * 1024;  // glibc's initial threshold
  mallopt(M_MMAP_THRESHOLD, keep ? 1 << 30 : least);
  mallopt(M_TRIM_THRESHOLD, keep ? 1 << 30 : least);
}

struct FreeTree {
  void operator()(void* tree) const { plist_free(tree); }
};
using Tree = std::unique_ptr<void, FreeTree>;

Tree readByLibplist(const Data& archive) {
  plist_t tree = nullptr;
  const std::string_view bytes = archive.text();
  plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &tree);
  return Tree(tree);
}

void writeByLibplist(const Tree& tree) {
  char* bytes = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(tree.get(), &bytes, &size);
  if (size == 0) throw std::runtime_error("libplist has written nothing");
  std::free(bytes);
}

}  // namespace

void readAnswers(const Settings& settings) {
  const long rounds = settings.number("rounds", 15);
  const std::string small = soapAnswer();
  const std::string list = listOfRecords(10'000'000);
  const std::string large = answerWith(list);
  const std::string half = answerWith(listOfRecords(5'000'000));
  const std::string bad = hostileAnswer(100'000);
  const std::string good = answerWith(listOfRecords(100'000));
  if (!readAnswer(small) || !readAnswer(large) || readAnswer(bad) || !readAnswerByOthers(small)) {
    throw std::runtime_error("wrongly read");
  }
  const auto print = [](const char* name, double ours, double others) {
    std::printf("{\"what\":\"%s\",\"ours\":%.2f,\"others\":%.2f}\n", name, ours, others);
  };
  print("small", medianTime(rounds, 1000, [&] { readAnswer(small); }),
        medianTime(rounds, 1000, [&] { readAnswerByOthers(small); }));
  print("hostile", medianTime(rounds, 10, [&] { readAnswer(bad); }),
        medianTime(rounds, 10, [&] { readAnswer(good); }));
  const long few = std::min(rounds, 5L);
  for (const bool keep : {false, true}) {
    keepMemory(keep);
    readAnswer(large);
    print(keep ? "largeKept" : "large", medianTime(few, 1, [&] { readAnswer(large); }),
          medianTime(few, 1, [&] { testing::readJSONByOracle(list); }));
  }
  print("growth", medianTime(few, 1, [&] { readAnswer(large); }),
        medianTime(few, 1, [&] { readAnswer(half); }));
}

void archiveUsers(const Settings& settings) {
  const long rounds = settings.number("rounds", 15);
  user::registerArchivedClasses();
  const Value user = users(1);
  const Data archive = archivedDataWithRootObject(user);
  if (!unarchiveObjectWithData(archive)) throw std::runtime_error("the archive cannot be read");
  const Tree tree = readByLibplist(archive);
  const auto growth = [&](std::size_t count) {
    const Value many = users(count);
    return medianTime(std::min(rounds, 9L), 1,
                      [&] { unarchiveObjectWithData(archivedDataWithRootObject(many)); });
  };
  std::printf("{\"archive\":%.2f,\"unarchive\":%.2f,\"archiveByOthers\":%.2f,",
              medianTime(rounds, 1000, [&] { archivedDataWithRootObject(user); }),
              medianTime(rounds, 1000, [&] { unarchiveObjectWithData(archive); }),
              medianTime(rounds, 1000, [&] { writeByLibplist(tree); }));
  std::printf("\"unarchiveByOthers\":%.2f,\"half\":%.1f,\"whole\":%.1f}\n",
              medianTime(rounds, 1000, [&] { readByLibplist(archive); }), growth(500),
              growth(1000));
}

}  // namespace orx::bench
