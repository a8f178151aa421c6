// SPDX-License-Identifier: MIT
// Linked in place of _exit() where coverage is counted: without it, what a forked child has run
// would not be counted.

// The linker and the compiler name these. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void __gcov_dump();
[[noreturn]] void __real__exit(int status);

[[noreturn]] void __wrap__exit(int status) {
  __gcov_dump();
  __real__exit(status);
}
}
// NOLINTEND(bugprone-reserved-identifier)
