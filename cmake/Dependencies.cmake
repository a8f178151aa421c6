# SPDX-License-Identifier: MIT
# Packages that several folders need: an imported target is only visible below the folder that finds
# it. What a single folder needs is found there.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl>=7.87)
find_package(OpenSSL 3.0 REQUIRED)
pkg_check_modules(EXPAT REQUIRED IMPORTED_TARGET expat>=2.4)
pkg_check_modules(UTF8PROC REQUIRED IMPORTED_TARGET libutf8proc>=2.5)
pkg_check_modules(UUID REQUIRED IMPORTED_TARGET uuid)

# For the programs beside the library only; the library has a JSON reader of its own.
if(ORX_BUILD_TOOLS OR ORX_BUILD_TESTS OR ORX_BUILD_FUZZERS OR ORX_BUILD_BENCHMARKS)
  find_package(nlohmann_json 3.11 REQUIRED)
  find_package(CLI11 REQUIRED)
endif()
