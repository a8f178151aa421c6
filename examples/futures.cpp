// SPDX-License-Identifier: MIT
// Two sign-ins at once, each with an outcome of its own: one gives its user or throws, the other
// gives its error.
#include <ORXAccount/Calls.h>
#include <ORXAccount/ORXAccount.h>

#include <iostream>

#include "Setup.h"

int main(int argc, char** argv) {
  setUp({argv, static_cast<std::size_t>(argc)});
  auto known = orx::calls::signInWithOpenID({{orx::kORVAAccountOpenIDType, "example"},
                                             {orx::kORVAAccountOpenIDUID, "1234567"}})
                   .future();
  auto unknown = orx::calls::signIn({{orx::kORVAAccountLogin, "nobody@example.com"},
                                     {orx::kORVAAccountPassword, "correct horse"}})
                     .orError()
                     .future();
  std::cout << "signed in: customer " << known.get()->cusID().value_or("unknown") << std::endl;
  if (const auto error = unknown.get().error) {
    std::cout << "refused: " << error->localizedDescription() << std::endl;
  }
}
