// A fresh process with floating-point traps switched on loads the library, which must
// mask them: a division by zero then gives an infinity instead of a signal.
#include <dlfcn.h>

#include <cfenv>
#include <cmath>
#include <cstdio>

int main(int argc, char** argv) {
  const int Traps = FE_DIVBYZERO | FE_INVALID | FE_OVERFLOW;
  if (argc != 2 || feenableexcept(Traps) == -1 || (fegetexcept() & Traps) != Traps) {
    std::fprintf(stderr, "fpmask_probe: cannot switch the traps on\n");
    return 1;
  }
  if (!dlopen(argv[1], RTLD_NOW)) {
    std::fprintf(stderr, "fpmask_probe: %s\n", dlerror());
    return 1;
  }
  if (fegetexcept() & Traps) {
    std::fprintf(stderr, "fpmask_probe: traps still on after loading %s\n", argv[1]);
    return 1;
  }
  volatile double Zero = 0.0;
  return std::isinf(1.0 / Zero) ? 0 : 1;
}
