// Puts the floating-point unit into the non-trapping state that OpenGL drivers and
// the library's own divisions need, when the library is loaded.
#include "lumox/math/lumgl.h"

#include <cfenv>

namespace lumox {

void LumglMaskFPUExceptions() {
#if defined(__GLIBC__)
  fedisableexcept(FE_ALL_EXCEPT);
#endif
  std::feclearexcept(FE_ALL_EXCEPT);
}

namespace {
struct MaskAtLoad {
  MaskAtLoad() { LumglMaskFPUExceptions(); }
};
const MaskAtLoad TheMask;
}  // namespace

}  // namespace lumox
