// Registration of the function surface component.
#include "lumox/geometry/lumfuncobj.h"

#include "lumox/host/proptable.h"
#include "lumox/package/lumregister.h"

namespace lumox {

void RegisterLumfuncobjClasses() { RegisterRenderClass<TLumFuncObj>(); }

// --- the published-property table ------------------------------------------------------

void detail::RegisterLumfuncobjProperties() {
  TLumClassTable<TLumFuncObj, TLumCustomFuncObj> T(
      "TLumFuncObj", "Lumox Obj", "A surface swept from the program's curve and sweep functions");
  T.Creatable();
  for (const char* Name : {"OverDraw", "OnCalcXY", "OnCalcZ", "TextureFlags", "Stacks", "Slices"})
    T.Publish(Name);
}

}  // namespace lumox
