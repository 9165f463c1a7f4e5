// Calls SVE code in a shared library that it is linked with and in one that
// it opens with dlopen; the program itself has no SVE instruction. The path
// of the second library is argv[1], or beside the program.
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

int64_t library_sum(const int32_t* a, int n);

int main(int argc, char** argv) {
  static int32_t data[2000];
  for (int i = 0; i < 2000; ++i) data[i] = (i * 17) % 301 - 150;
  printf("linked library: %lld\n", (long long)library_sum(data, 2000));
  char path[4096];
  if (argc > 1) {
    snprintf(path, sizeof path, "%s", argv[1]);
  } else {
    snprintf(path, sizeof path, "%s", argv[0]);
    char* slash = strrchr(path, '/');
    snprintf(slash ? slash + 1 : path, sizeof path - (size_t)(slash ? slash + 1 - path : 0), "libsve_opened.so");
  }
  void* lib = dlopen(path, RTLD_NOW);
  if (!lib) {
    printf("dlopen: %s\n", dlerror());
    return 1;
  }
  int64_t (*sum)(const int32_t*, int) = (int64_t(*)(const int32_t*, int))dlsym(lib, "library_sum");
  for (int n = 1990; n <= 2000; n += 5) printf("opened library, %d: %lld\n", n, (long long)sum(data, n));
  dlclose(lib);
  return 0;
}
