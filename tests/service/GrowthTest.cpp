// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include "support/Growth.h"

namespace orx::testing {
namespace {

TEST(Growth, OfTheTimeForUserDataIsLinear) {
  expectLinearTime(
      {
          {"<r>", "a", "</r>"},
          {"<r>", "\n", "</r>"},
          {"<r>", "<a>b</a>", "</r>"},
          {"<r>", "<a@>b</a@>", "</r>"},
          {"<r>",
           "<kkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkk@> </kkkkkkkkkkkkkkkkkkkkkkkk"
           "kkkkkkkkkkkkkkkkkkkkk@>",
           "</r>"},
      },
      [](std::string_view answer) {
        const auto api = ORVAAccountAPI::initWithOptions({});
        const auto parser = XMLParser::initWithData(Data(answer));
        parser->setDelegate(api);
        api->setParsingTasks(
            std::vector<Dictionary>{{{kGetUserDataTaskResponseDataParser, parser}}});
        EXPECT_TRUE(parser->parse());
        EXPECT_TRUE(api->parsingTasks()->empty());
      });
}

}  // namespace
}  // namespace orx::testing
