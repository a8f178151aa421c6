#include <ORXAccount/ORVAAccountUser.h>
#include <malloc.h>

#include <cstdio>
#include <stdexcept>

#include "BenchServer.h"
#include "Measure.h"
#include "Scenarios.h"
#include "platform/formats/JSONSerialization.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "service/Answer.h"
#include "service/ResultBlock.h"
#include "user/ArchivedClasses.h"

namespace orx::bench {

using namespace platform;
using namespace service;
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

// The steps from an answer's body to the result that the callback receives.
bool read(const std::string& body) {
  const auto block = matchResultBlock(body, ResultBlockPattern::Lenient);
  if (!block) return false;
  Value data = JSONObjectWithText(block->returnData.value_or("")).value_or(Value());
  const auto result = makeResult(std::string(block->resultDescription), std::move(data));
  return result != nullptr;
}

std::string wrapped(const std::string& data) {
  return "<ResultCode>1</ResultCode><ResultDesc>Success</ResultDesc>"
         "<ReturnDataType>json</ReturnDataType><ReturnData>" +
         data + "</ReturnData>";
}

// A JSON array of records, on one line of about `size` bytes.
std::string longLine(std::size_t size) {
  std::string data = "[";
  while (data.size() < size) {
    data += R"({"Code":"DEU","Name":"An entry of a long list","Value":12345},)";
  }
  data.back() = ']';
  return wrapped(data);
}

// Hostile text: openings and closings of result blocks that never form a whole block.
std::string hostile(std::size_t size) {
  std::string text;
  while (text.size() < size) {
    text += "<ResultCode></ResultCode><ResultDesc></ResultDesc><ReturnDataType>";
  }
  return text;
}

std::shared_ptr<ORVAAccountUser> userOfTwentyFields() {
  Dictionary fields;
  for (int index = 0; index < 20; ++index) {
    const std::string number = std::to_string(index);
    fields.set("field" + number, "the value of field " + number);
  }
  return ORVAAccountUser::initWithUserInfo(fields);
}

// Says whether the allocator keeps freed memory. When it does not, the system maps and clears new
// pages for each large answer.
void keepMemory(bool keep) {
  constexpr int least = 128 * 1024;  // glibc's initial threshold
  mallopt(M_MMAP_THRESHOLD, keep ? 1 << 30 : least);
  mallopt(M_TRIM_THRESHOLD, keep ? 1 << 30 : least);
}

}  // namespace

void readAnswers(const Settings& settings) {
  const long rounds = settings.number("rounds", 15);
  const std::string small = soapAnswer();
  const std::string large = longLine(10'000'000);
  const std::string bad = hostile(100'000);
  if (!read(small) || !read(large) || read(bad)) throw std::runtime_error("wrongly read");
  const auto timeOfLarge = [&](bool keep) {
    keepMemory(keep);
    read(large);
    return medianTime(std::min(rounds, 5L), 1, [&] { read(large); });
  };
  const double fresh = timeOfLarge(false);
  const double kept = timeOfLarge(true);
  std::printf("{\"small\":%.2f,\"largeFresh\":%.0f,\"largeKept\":%.0f,\"hostile\":%.1f}\n",
              medianTime(rounds, 1000, [&] { read(small); }), fresh, kept,
              medianTime(rounds, 10, [&] { read(bad); }));
}

void archiveUsers(const Settings& settings) {
  const long rounds = settings.number("rounds", 15);
  const Value user = userOfTwentyFields();
  user::registerArchivedClasses();
  const Data archive = archivedDataWithRootObject(user);
  if (!unarchiveObjectWithData(archive)) throw std::runtime_error("the archive cannot be read");
  std::printf("{\"archive\":%.2f,\"unarchive\":%.2f}\n",
              medianTime(rounds, 1000, [&] { archivedDataWithRootObject(user); }),
              medianTime(rounds, 1000, [&] { unarchiveObjectWithData(archive); }));
}

}  // namespace orx::bench
