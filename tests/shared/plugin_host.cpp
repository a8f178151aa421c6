// SPDX-License-Identifier: MIT
// Loads the plug-in that is named, and fails when that cannot be loaded.
#include <dlfcn.h>

int main(int, char** arguments) { return dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL) ? 0 : 1; }
