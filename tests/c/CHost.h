// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/orxaccount.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "support/AccountServiceFixture.h"
#include "support/StorageHome.h"

// A host in C, as far as C++ can be one.
namespace orx::testing {

inline std::optional<std::string> textAt(const char* text) {
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

// What a callback was told, copied out of what ends with it.
struct Told {
  Told() = default;
  Told(const orx_result* result, const orx_error* error)
      : isResult(result != nullptr),
        json(textAt(orx_result_json(result))),
        text(textAt(orx_result_text(result, nullptr))),
        description(textAt(orx_result_description(result))),
        login(textAt(orx_user_text(orx_result_user(result), ORX_LOGIN))),
        previousLogin(textAt(orx_user_text(orx_result_previous_user(result), ORX_LOGIN))),
        domain(textAt(orx_error_domain(error))),
        code(orx_error_code(error)),
        errorText(textAt(orx_error_text(error))),
        transferCode(orx_error_code(orx_result_transfer_error(result))) {
    EXPECT_NE(result == nullptr, error == nullptr);
    std::size_t size = 0;
    const void* start = orx_result_bytes(result, &size);
    if (start != nullptr) bytes.assign(static_cast<const char*>(start), size);
  }

  bool isResult = false;
  std::optional<std::string> json;
  std::optional<std::string> text;
  std::optional<std::string> description;
  std::optional<std::string> login;
  std::optional<std::string> previousLogin;
  std::string bytes;
  std::optional<std::string> domain;
  std::int64_t code = 0;
  std::optional<std::string> errorText;
  std::int64_t transferCode = 0;
};

using ToldBox = Mailbox<Told>;

// The callback of a call whose context is a ToldBox.
inline void putTold(void* context, const orx_result* result, const orx_error* error) {
  static_cast<ToldBox*>(context)->put(Told(result, error));
}

// The errno with which a function refused, 0 when it did its work.
inline std::int64_t refusal(orx_error* error) {
  if (error == nullptr) return 0;
  EXPECT_STREQ(orx_error_domain(error), ORX_ERROR_DOMAIN_SYSTEM);
  EXPECT_STRNE(orx_error_text(error), "");
  const auto code = orx_error_code(error);
  orx_error_release(error);
  return code;
}

struct ReleaseUser {
  void operator()(orx_user* user) const { orx_user_release(user); }
};
using User = std::unique_ptr<orx_user, ReleaseUser>;

inline User currentUser() {
  orx_user* user = nullptr;
  EXPECT_EQ(refusal(orx_current_user(&user)), 0);
  return User(user);
}

struct ReleaseResult {
  void operator()(orx_result* result) const { orx_result_release(result); }
};
using Result = std::unique_ptr<orx_result, ReleaseResult>;

inline std::optional<std::string> statusText(const char* key) {
  orx_result* status = nullptr;
  EXPECT_EQ(refusal(orx_status(&status)), 0);
  return textAt(orx_result_text(Result(status).get(), key));
}

// An initialised host with storage of its own, whose calls reach the test's server.
class CHost : public AccountServiceFixture {
 protected:
  CHost() {
    EXPECT_EQ(refusal(orx_set_option(ORX_OPTION_IDENTIFIER, "com.example.c-test")), 0);
    EXPECT_EQ(refusal(orx_initialize("my-app", "my-key", 0)), 0);
  }
  ~CHost() override { EXPECT_EQ(refusal(orx_sign_out()), 0); }

  // Starts a call and waits for what its callback is told.
  template <typename Start>
  Told told(const Start& start) {
    EXPECT_EQ(refusal(start(putTold, &box_)), 0);
    return box_.take();
  }
  std::size_t untaken() const { return box_.count(); }

  void answerWithRecord(const std::string& json) {
    answerWith(soapAnswer(resultBlock("1", "OK", "Json", "[" + json + "]")));
  }
  Told signIn(const std::string& name) {
    answerWithRecord(R"({"login":")" + name + R"("})");
    return told([](auto callback, void* context) { return orx_sign_in("{}", callback, context); });
  }

 private:
  StorageHome home_;
  ToldBox box_;
};

}  // namespace orx::testing
