// SPDX-License-Identifier: MIT
#include <dlfcn.h>
#include <stdio.h>

/* Loads each plug-in that is named, lets it begin something, and unloads it. */
int main(int count, char** names) {
  for (int at = 1; at < count; ++at) {
    void* plugin = dlopen(names[at], RTLD_NOW | RTLD_LOCAL);
    if (!plugin) {
      fprintf(stderr, "%s\n", dlerror());
      return 1;
    }
    _Bool (*start)(void) = (_Bool(*)(void))dlsym(plugin, "startAccount");
    if (!start || !start()) return 1;
    dlclose(plugin);
  }
  puts("unloaded");
  return 0;
}
