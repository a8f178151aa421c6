# How everything but the library is compiled: tests, tools, development service, fuzz targets.

# None of it goes into a shared library, and a precompiled header serves only targets that agree
# about position-independent code.
unset(CMAKE_POSITION_INDEPENDENT_CODE)

# Most of these files run for less time than it takes to optimise them. The library keeps its own
# settings: it is what the tests are about, and what is installed.
if(NOT ORX_QUICK_PROGRAMS)
  link_libraries(orx_hardening)
else()
  string(APPEND CMAKE_CXX_FLAGS_RELWITHDEBINFO " -O0 -g1")
  # Halves the time of linking some twenty programs with the library's debug information.
  find_program(ORX_GOLD ld.gold)
  if(ORX_GOLD)
    add_link_options(-fuse-ld=gold)
  endif()
endif()

# Headers of others only: with one of the project's own, its every change would compile every
# program again.
set(ORX_STANDARD_HEADERS
    <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdint> <deque> <filesystem>
    <fstream> <functional> <future> <iostream> <map> <memory> <mutex> <optional> <set> <sstream>
    <stdexcept> <string> <string_view> <thread> <utility> <variant> <vector>)

# A target that has others reuse its precompiled header needs a source, but nothing to say in it.
add_library(orx_standard_headers OBJECT EXCLUDE_FROM_ALL ${CMAKE_CURRENT_LIST_DIR}/Empty.cpp)
target_precompile_headers(orx_standard_headers PRIVATE ${ORX_STANDARD_HEADERS})
