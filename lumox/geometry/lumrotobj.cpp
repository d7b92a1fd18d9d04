// Registration of the body-of-rotation component.
#include "lumox/geometry/lumrotobj.h"

namespace lumox {

void RegisterLumrotobjClasses() { RegisterRenderClass<TLumRotObj>(); }

}  // namespace lumox
