// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountAPI.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>

// The operations of the web-service client that take parameters, to run a test over each.
namespace orx::testing {

struct Operation {
  std::string name;
  std::function<void(ORVAAccountAPI&, const Dictionary&, ORVAAccountAPICompletionHandler)> start;
};

inline void PrintTo(const Operation& operation, std::ostream* stream) { *stream << operation.name; }

inline std::string nameOf(const ::testing::TestParamInfo<Operation>& info) {
  return info.param.name;
}

inline const Operation kRegister{"Register", [](auto& api, const auto& parameters, auto handler) {
                                   api.register_completeHandler(parameters, handler);
                                 }};
inline const Operation kLogin{"Login", [](auto& api, const auto& parameters, auto handler) {
                                api.login_completionHandler(parameters, handler);
                              }};
inline const Operation kLoginOpenID{"LoginOpenID",
                                    [](auto& api, const auto& parameters, auto handler) {
                                      api.loginOpenID_completionHandler(parameters, handler);
                                    }};
inline const Operation kCommon{"Common", [](auto& api, const auto& parameters, auto handler) {
                                 api.commonWithApiId_parameters_completionHandler("w1", parameters,
                                                                                  handler);
                               }};
inline const Operation kWebSSO{"WebSSO", [](auto& api, const auto& parameters, auto handler) {
                                 api.apToWebSSOWithParameters_completionHandler(parameters,
                                                                                handler);
                               }};
inline const Operation kUserData{"UserData", [](auto& api, const auto& parameters, auto handler) {
                                   api.getUserData_completionHandler(parameters, handler);
                                 }};
inline const Operation kRegisterV2{
    "RegisterV2", [](auto& api, const auto& parameters, auto handler) {
      api.registerV2WithParameters_completeHandler(parameters, handler);
    }};
inline const Operation kLoginV2{"LoginV2", [](auto& api, const auto& parameters, auto handler) {
                                  api.loginOpenIDV2WithParameters_completionHandler(parameters,
                                                                                    handler);
                                }};
// This operation takes no parameters and ignores the given ones.
inline const Operation kList{"List", [](auto& api, const auto& /*parameters*/, auto handler) {
                               api.parameterListWithName_completionHandler("country", handler);
                             }};

}  // namespace orx::testing
