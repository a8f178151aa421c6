# SPDX-License-Identifier: MIT
# Settings for all programs beside the library: tests, tools, development service, fuzz targets.

# The programs need no position-independent code, and they can share one precompiled header only
# when all are compiled the same way.
unset(CMAKE_POSITION_INDEPENDENT_CODE)

# Most of these files run for less time than it takes to optimise them. The library keeps its own
# settings: it is what the tests are about, and what is installed.
if(NOT ORX_QUICK_PROGRAMS)
  # For the build alone: one of them is a library that is installed.
  link_libraries($<BUILD_INTERFACE:orx_hardening>)
else()
  string(APPEND CMAKE_CXX_FLAGS_RELWITHDEBINFO " -O0 -g1")
  # gold halves the time of linking some twenty programs with the library's debug information.
  find_program(ORX_GOLD ld.gold)
  if(ORX_GOLD)
    add_link_options(-fuse-ld=gold)
  endif()
endif()

# None of the project's own headers: a change of one would recompile every program.
set(ORX_STANDARD_HEADERS
    <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdint> <deque> <filesystem>
    <fstream> <functional> <future> <iostream> <map> <memory> <mutex> <optional> <set> <sstream>
    <stdexcept> <string> <string_view> <thread> <utility> <variant> <vector>)

# A target whose precompiled header others reuse needs a source, which is empty.
add_library(orx_standard_headers OBJECT EXCLUDE_FROM_ALL ${CMAKE_CURRENT_LIST_DIR}/Empty.cpp)
target_precompile_headers(orx_standard_headers PRIVATE ${ORX_STANDARD_HEADERS})
