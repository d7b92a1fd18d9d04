// Registration of the function surface component.
#include "lumox/geometry/lumfuncobj.h"

namespace lumox {

void RegisterLumfuncobjClasses() { RegisterRenderClass<TLumFuncObj>(); }

}  // namespace lumox
