# SPDX-License-Identifier: MIT
# Warnings, sanitizers and clang-tidy for the project's own targets. They link this privately, so a
# consumer of the library gets none of the flags.
add_library(orx_compiler_settings INTERFACE)
target_compile_options(orx_compiler_settings INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor)
# What the distribution gives its own libraries. A sanitizer checks the same things by itself, and
# gcovr finds no source whose folder is mapped away.
add_library(orx_hardening INTERFACE)
if(ORX_HARDENING AND NOT ORX_SANITIZE AND NOT ORX_LIBFUZZER AND NOT ORX_COVERAGE)
  # Without it, each folder that the sources are built in gives another library.
  target_compile_options(orx_hardening INTERFACE -ffile-prefix-map=${PROJECT_BINARY_DIR}=/build
                                                 -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
  target_compile_options(orx_hardening INTERFACE -fstack-protector-strong)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
    target_compile_options(orx_hardening INTERFACE -fcf-protection)
  endif()
  target_compile_definitions(orx_hardening INTERFACE _GLIBCXX_ASSERTIONS)
  # Fortified functions need the optimiser; a distribution's flags bring a level of their own.
  if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
    target_compile_definitions(
      orx_hardening INTERFACE $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:_FORTIFY_SOURCE=2>)
  endif()
  target_link_options(orx_hardening INTERFACE LINKER:-z,relro LINKER:-z,now)
endif()
if(ORX_SANITIZE)
  if(NOT ORX_SANITIZE MATCHES "^(address|undefined|address,undefined|thread)$")
    message(FATAL_ERROR "ORX_SANITIZE is '${ORX_SANITIZE}'; it takes address, undefined, both with "
                        "a comma, or thread")
  endif()
  # For every target of the build: an object without the sanitizer would go unchecked.
  add_compile_options(-fsanitize=${ORX_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ORX_SANITIZE})
endif()
if(ORX_LIBFUZZER)
  # For every target: without this the fuzzer could not see which code of the library an input
  # reaches.
  set(ORX_FUZZING_FLAGS -fsanitize=fuzzer-no-link,address
      CACHE STRING "Instruments for the fuzzer; empty where the compiler's flags do so already")
  add_compile_options(${ORX_FUZZING_FLAGS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(${ORX_FUZZING_FLAGS})
endif()
# Without these settings ccache does not cache any file that includes a precompiled header.
if(CMAKE_CXX_COMPILER_LAUNCHER MATCHES "(^|/)ccache$")
  list(PREPEND CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_SLOPPINESS=pch_defines,time_macros)
endif()
if(ORX_CLANG_TIDY)
  # clang-tidy cannot read a header that GCC has precompiled.
  set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
  set(CMAKE_CXX_CLANG_TIDY clang-tidy --quiet)
endif()
